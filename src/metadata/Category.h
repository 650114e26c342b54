#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <optional>

// A named group of tags, as the tagging sheets offer it.
struct Category {
    QUuid id;
    QString name;
    QString colorHex;
    QStringList tags;
    QString systemImage;
    bool operator==(const Category &) const = default;

    QJsonObject toJson() const;
    // Nothing when a field is missing or of another type.
    static std::optional<Category> fromJson(const QJsonValue &value);

    // The look a new category takes at `position`: eight colours and symbols, in turn.
    static QString paletteColor(qsizetype position);
    static QString paletteSymbol(qsizetype position);
    // The four example categories a new library starts with.
    static QList<Category> seed();
};
