#pragma once

#include <QList>
#include <QString>

#include <optional>

// One Quick Action the application knows: a row of the compiled-in catalogue.
struct Workflow {
    enum class Kind { tagging, duplicates, text, spotlight, hygiene, metadata, transfer, steward, stitch };
    enum class Status { installed, available, missing, needsSetup, planned };
    enum class InputKind { folder, folderOrFiles, files };

    QString id;
    QString displayName;
    QString summary;
    QString bundleName;
    Kind kind = Kind::tagging;
    QString systemImage;
    QString accentHex;
    QString version;
    Status status = Status::installed;
    std::optional<InputKind> inputKind;

    bool operator==(const Workflow &) const = default;

    // The bundle's file name without ".workflow": "Vantrel - Smart Mover".
    QString bundleBaseName() const;

    static QList<Kind> allKinds();
    static QString toString(Kind kind);
    static std::optional<Kind> kindFromString(const QString &raw);
    static QString toString(Status status);
    static std::optional<Status> statusFromString(const QString &raw);
    static QString toString(InputKind inputKind);
    static std::optional<InputKind> inputKindFromString(const QString &raw);
};
