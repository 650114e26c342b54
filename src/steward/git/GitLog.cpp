#include "steward/git/GitLog.h"

#include "foundation/diagnostics/Redaction.h"

LogEntry LogEntry::make(Kind kind, const QString &line)
{
    return LogEntry{QUuid::createUuid(), kind, Redaction::hideCredentials(line)};
}

QString LogEntry::toString(Kind kind)
{
    switch (kind) {
    case Kind::command:
        return QStringLiteral("command");
    case Kind::stdout:
        return QStringLiteral("stdout");
    case Kind::stderr:
        return QStringLiteral("stderr");
    case Kind::info:
        return QStringLiteral("info");
    case Kind::warning:
        break;
    }
    return QStringLiteral("warning");
}

QString LogEntry::prefix(Kind kind)
{
    switch (kind) {
    case Kind::command:
        return QStringLiteral("$");
    case Kind::info:
        return QStringLiteral("i");
    case Kind::warning:
        return QStringLiteral("!");
    case Kind::stdout:
    case Kind::stderr:
        break;
    }
    return {};
}

QString LogEntry::shown() const
{
    const QString mark = prefix(kind);
    return mark.isEmpty() ? line : mark + QLatin1Char(' ') + line;
}

QJsonObject LogEntry::toJson() const
{
    return {{QStringLiteral("kind"), toString(kind)}, {QStringLiteral("line"), line}};
}

void GitLogs::appendOutput(GitLog &log, const QString &stdout, const QString &stderr)
{
    const auto append = [&log](LogEntry::Kind kind, QString text) {
        while (text.endsWith(QLatin1Char('\n')) || text.endsWith(QLatin1Char('\r')))
            text.chop(1);
        if (!text.trimmed().isEmpty())
            log.append(LogEntry::make(kind, text));
    };
    append(LogEntry::Kind::stdout, stdout);
    append(LogEntry::Kind::stderr, stderr);
}
