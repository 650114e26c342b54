#pragma once

#include "scan/FileWalker.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// One row of a report.
struct ScanItem {
    QUuid id;
    QString url;
    quint64 size = 0;
    std::optional<QDateTime> modificationDate;
    std::optional<QString> badge;
    std::optional<QUuid> groupID;
    bool operator==(const ScanItem &) const = default;
};

struct ScanGroup {
    QUuid id;
    QString label;
    bool operator==(const ScanGroup &) const = default;
};

struct PlannedMove {
    QUuid id;
    QString source;
    QString destination;
    QString reason;
    bool operator==(const PlannedMove &) const = default;
};

// A total of 0 means the amount isn't known yet.
struct ScanProgress {
    QString title;
    int processed = 0;
    int total = 0;
    bool operator==(const ScanProgress &) const = default;
};

// The last walk of a threshold scan, so a changed threshold reworks the report
// without walking again.
struct ScanCache {
    QString workflowID;
    QList<FileWalker::WalkedFile> walked;
    bool operator==(const ScanCache &) const = default;
};

// What every scan produces and the results window shows.
struct ScanReport {
    enum class Kind {
        duplicates,
        stale,
        large,
        tidy,
        metadataExport,
        metadataRestore,
        tagAudit,
        transferCopy,
        transferMove,
        projectSnapshot
    };

    QUuid id;
    QString workflowID;
    QString title;
    QString summary;
    QDateTime generatedAt;
    Kind kind = Kind::tidy;
    QList<ScanItem> items;
    std::optional<QList<ScanGroup>> groups;
    std::optional<QList<PlannedMove>> plannedMoves;
    bool operator==(const ScanReport &) const = default;

    static QString toString(Kind kind);
    static std::optional<Kind> kindFromString(const QString &raw);
    // The symbol the results window shows for a kind.
    static QString symbol(Kind kind);

    quint64 totalSize() const;
    QJsonObject toJson() const;
    static std::optional<ScanReport> fromJson(const QJsonObject &object);

    // A new, empty report of `kind`, dated now.
    static ScanReport begin(const QString &workflowID, const QString &title, Kind kind);

    // A row for one selected path: size and date of the first file a walk of it
    // gives, or 0 and none.
    static ScanItem itemFor(const QString &url, std::optional<QString> badge);
};

// The presets of the three thresholds, as the results window offers them.
namespace ScanThresholds {
struct Preset {
    int value = 0;
    QString label;
    bool operator==(const Preset &) const = default;
};
QList<Preset> stalePresets();
QList<Preset> largePresets();
QList<Preset> tidyPresets();
} // namespace ScanThresholds

// Publishes progress about 60 times a scan at most: at every step-th file and at
// the last one. The step is 1 under 60 files, else the count divided by 60.
class ProgressThrottle {
public:
    explicit ProgressThrottle(int total) : count(total), every(total < 60 ? 1 : total / 60) {}
    bool shouldPublish(int index) const { return index % every == 0 || index == count - 1; }
    int step() const { return every; }

private:
    int count;
    int every;
};
