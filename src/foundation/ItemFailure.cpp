#include "foundation/ItemFailure.h"

#include <QJsonObject>

QString ItemFailures::withFirstReason(const QString &text, const QList<ItemFailure> &failures)
{
    if (failures.isEmpty())
        return text;
    QString reason = failures.first().reason.trimmed();
    if (reason.isEmpty())
        return text;
    QString head = text;
    if (head.endsWith(QLatin1Char('.')))
        head.chop(1);
    // A reason that is a sentence of its own keeps its stop; no second one is added.
    if (!reason.endsWith(QLatin1Char('.')))
        reason += QLatin1Char('.');
    return head + QStringLiteral(": ") + reason;
}

QJsonArray ItemFailures::toJson(const QList<ItemFailure> &failures)
{
    QJsonArray array;
    for (const ItemFailure &failure : failures)
        array.append(QJsonObject{{QStringLiteral("path"), failure.path}, {QStringLiteral("reason"), failure.reason}});
    return array;
}
