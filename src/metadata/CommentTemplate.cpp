#include "metadata/CommentTemplate.h"

QJsonObject CommentTemplate::toJson() const
{
    return {{QStringLiteral("id"), id.toString(QUuid::WithoutBraces).toUpper()},
            {QStringLiteral("name"), name},
            {QStringLiteral("body"), body}};
}

std::optional<CommentTemplate> CommentTemplate::fromJson(const QJsonValue &value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const QUuid id = QUuid::fromString(object.value(QStringLiteral("id")).toString());
    const QJsonValue name = object.value(QStringLiteral("name"));
    const QJsonValue body = object.value(QStringLiteral("body"));
    if (id.isNull() || !name.isString() || !body.isString())
        return std::nullopt;
    return CommentTemplate{id, name.toString(), body.toString()};
}

QList<CommentTemplate> CommentTemplate::defaults()
{
    return {
        {QUuid::createUuid(), QStringLiteral("Receipt"), QStringLiteral("Receipt — keep for tax records.")},
        {QUuid::createUuid(), QStringLiteral("Reference"), QStringLiteral("Reference material — do not edit.")},
        {QUuid::createUuid(), QStringLiteral("Draft"), QStringLiteral("Working draft. Not for distribution.")},
    };
}
