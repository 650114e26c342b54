#include "platform/macos/FinderScripts.h"

QString FinderScripts::escape(const QString &value)
{
    QString escaped = value;
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return escaped;
}

QString FinderScripts::setCommentScript(const QString &path, const QString &comment)
{
    return QStringLiteral("tell application \"Finder\"\n    set theFile to POSIX file \"") + escape(path) +
           QStringLiteral("\" as alias\n    set comment of theFile to \"") + escape(comment) +
           QStringLiteral("\"\nend tell");
}

QString FinderScripts::osascriptProgram()
{
    return QStringLiteral("/usr/bin/osascript");
}

QStringList FinderScripts::osascriptArguments(const QString &script)
{
    return {QStringLiteral("-e"), script};
}
