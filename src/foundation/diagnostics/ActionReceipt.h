#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUuid>

#include <optional>

// One row of the audit trail: what happened, who recorded it, and the state
// before and after as short texts.
struct ActionReceipt {
    enum class Kind { ui, cmd, persist, state, workflow, errorSwallow };

    QUuid id;
    QDateTime timestamp;
    Kind kind = Kind::state;
    QString source; // "Type.member"
    std::optional<QUuid> correlationID;
    std::optional<QString> before;
    std::optional<QString> after;
    std::optional<QString> errorDescription;
    bool operator==(const ActionReceipt &) const = default;

    static QString toString(Kind kind);
    static std::optional<Kind> kindFromString(const QString &raw);
    // One compact object; absent fields are left out.
    QJsonObject toJson() const;
    static std::optional<ActionReceipt> fromJson(const QJsonObject &object);
};
