#include "app/diagnostics/ActionReceipt.h"

#include "app/EnumNames.h"

#include <QJsonValue>

namespace {

using K = ActionReceipt::Kind;
constexpr EnumNameTable<K, 6> kindNames{{
    {K::ui, "ui"},
    {K::cmd, "cmd"},
    {K::persist, "persist"},
    {K::state, "state"},
    {K::workflow, "workflow"},
    {K::errorSwallow, "errorSwallow"},
}};

// The form Foundation's UUID string has, so files read the same on both systems.
QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> uuidFrom(const QJsonValue &value)
{
    if (!value.isString())
        return std::nullopt;
    const QUuid id = QUuid::fromString(value.toString());
    if (id.isNull())
        return std::nullopt;
    return id;
}

// A present optional key must hold its type; null and missing both mean absent.
template <typename T, typename Read>
bool readOptional(const QJsonObject &object, const char *key, std::optional<T> &field, Read read)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined() || value.isNull())
        return true;
    field = read(value);
    return field.has_value();
}

std::optional<QString> stringFrom(const QJsonValue &value)
{
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

} // namespace

QString ActionReceipt::toString(Kind kind)
{
    return enumName(kindNames, kind);
}

std::optional<ActionReceipt::Kind> ActionReceipt::kindFromString(const QString &raw)
{
    return enumFromName(kindNames, raw);
}

QJsonObject ActionReceipt::toJson() const
{
    QJsonObject object{
        {QStringLiteral("id"), uuidText(id)},
        {QStringLiteral("timestamp"), timestamp.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("kind"), toString(kind)},
        {QStringLiteral("source"), source},
    };
    if (correlationID)
        object.insert(QStringLiteral("correlationID"), uuidText(*correlationID));
    if (before)
        object.insert(QStringLiteral("before"), *before);
    if (after)
        object.insert(QStringLiteral("after"), *after);
    if (errorDescription)
        object.insert(QStringLiteral("errorDescription"), *errorDescription);
    return object;
}

std::optional<ActionReceipt> ActionReceipt::fromJson(const QJsonObject &object)
{
    const std::optional<QUuid> id = uuidFrom(object.value(QStringLiteral("id")));
    const QJsonValue timestampValue = object.value(QStringLiteral("timestamp"));
    const QDateTime timestamp = QDateTime::fromString(timestampValue.toString(), Qt::ISODateWithMs);
    const std::optional<Kind> kind = kindFromString(object.value(QStringLiteral("kind")).toString());
    const QJsonValue source = object.value(QStringLiteral("source"));
    if (!id || !timestampValue.isString() || !timestamp.isValid() || !kind || !source.isString())
        return std::nullopt;

    ActionReceipt receipt;
    receipt.id = *id;
    receipt.timestamp = timestamp;
    receipt.kind = *kind;
    receipt.source = source.toString();
    if (!readOptional(object, "correlationID", receipt.correlationID, uuidFrom) ||
        !readOptional(object, "before", receipt.before, stringFrom) ||
        !readOptional(object, "after", receipt.after, stringFrom) ||
        !readOptional(object, "errorDescription", receipt.errorDescription, stringFrom))
        return std::nullopt;
    return receipt;
}
