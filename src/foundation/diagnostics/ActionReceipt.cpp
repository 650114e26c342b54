#include "foundation/diagnostics/ActionReceipt.h"

#include "foundation/EnumNames.h"

#include <array>
#include <utility>

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

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
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
    QJsonObject object{{QStringLiteral("id"), uuidText(id)},
                       {QStringLiteral("timestamp"), timestamp.toUTC().toString(Qt::ISODateWithMs)},
                       {QStringLiteral("kind"), toString(kind)},
                       {QStringLiteral("source"), source}};
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
    const auto kind = kindFromString(object.value(QStringLiteral("kind")).toString());
    const QDateTime timestamp =
        QDateTime::fromString(object.value(QStringLiteral("timestamp")).toString(), Qt::ISODateWithMs);
    const QUuid id = QUuid::fromString(object.value(QStringLiteral("id")).toString());
    if (!kind || !timestamp.isValid() || id.isNull())
        return std::nullopt;
    ActionReceipt receipt;
    receipt.id = id;
    receipt.timestamp = timestamp;
    receipt.kind = *kind;
    receipt.source = object.value(QStringLiteral("source")).toString();
    const auto text = [&object](const char *key) -> std::optional<QString> {
        const QJsonValue value = object.value(QLatin1String(key));
        return value.isString() ? std::optional(value.toString()) : std::nullopt;
    };
    if (const auto correlation = text("correlationID"))
        receipt.correlationID = QUuid::fromString(*correlation);
    receipt.before = text("before");
    receipt.after = text("after");
    receipt.errorDescription = text("errorDescription");
    return receipt;
}
