#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// A saved piece of text for a file's comment.
struct CommentTemplate {
    QUuid id;
    QString name;
    QString body;
    bool operator==(const CommentTemplate &) const = default;

    QJsonObject toJson() const;
    // Nothing when a field is missing or of another type.
    static std::optional<CommentTemplate> fromJson(const QJsonValue &value);
    // The three templates a new library starts with, each with a new id.
    static QList<CommentTemplate> defaults();
};
