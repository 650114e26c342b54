#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUuid>

#include <optional>

// One row of the audit trail: what sort of event, who recorded it, and the
// state before and after as short texts. Its JSON form is one line of a
// session file.
struct ActionReceipt {
    enum class Kind { ui, cmd, persist, state, workflow, errorSwallow };

    QUuid id;
    QDateTime timestamp;
    Kind kind = Kind::state;
    QString source; // "Type.member", or a store's file name for `persist`
    std::optional<QUuid> correlationID;
    std::optional<QString> before;
    std::optional<QString> after;
    std::optional<QString> errorDescription;

    bool operator==(const ActionReceipt &) const = default;

    static QString toString(Kind kind);
    static std::optional<Kind> kindFromString(const QString &raw);

    // Keys as the fields are named; absent optionals are left out. Dates are
    // ISO 8601 in UTC with milliseconds, UUIDs upper-case without braces.
    QJsonObject toJson() const;
    // Nothing when a required key is missing or any key holds a value of the
    // wrong type; a null optional reads as absent.
    static std::optional<ActionReceipt> fromJson(const QJsonObject &object);
};
