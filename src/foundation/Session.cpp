#include "foundation/Session.h"

#include <QJsonArray>

Session::Session(SessionHost &host, QStringList targets, QObject *parent)
    : QObject(parent), sessionHost(&host), sources(std::move(targets))
{
}

// The task is stopped and joined before the object it reports to goes.
Session::~Session() = default;

std::optional<QString> Session::missingFields(const QStringList &set)
{
    QStringList content;
    for (const Field &field : fields()) {
        if (!field.content)
            continue;
        if (set.contains(field.name))
            return std::nullopt;
        content.append(QStringLiteral("--set %1=%2").arg(field.name, field.accepts));
    }
    if (content.isEmpty())
        return std::nullopt;
    return QStringLiteral("%1 changes files, so it needs %2; nothing was changed.")
        .arg(title(), content.join(QStringLiteral(" or ")));
}

QStringList Session::listValue(const QString &value)
{
    QStringList items;
    for (const QString &piece : value.split(QLatin1Char(','))) {
        if (!piece.trimmed().isEmpty())
            items.append(piece.trimmed());
    }
    return items;
}

void Session::cancel()
{
    if (isRunning())
        activeTask->cancel();
    else
        close();
}

QJsonObject Session::toJson() const
{
    return {{QStringLiteral("title"), title()}, {QStringLiteral("targets"), QJsonArray::fromStringList(sources)}};
}

void Session::close()
{
    if (done)
        return;
    done = true;
    emit closed();
}

void Session::post(std::function<void()> call)
{
    postToMain(this, std::move(call));
}
