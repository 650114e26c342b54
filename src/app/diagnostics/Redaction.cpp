#include "app/diagnostics/Redaction.h"

#include "platform/Paths.h"

#include <QRegularExpression>

QString Redaction::redact(const QString &text)
{
    // Compiled once for the life of the process; a pattern that failed to
    // compile leaves the texts as they are rather than mangling them.
    static const QRegularExpression macHomes(QStringLiteral("/Users/[^/]+/"));
    static const QRegularExpression linuxHomes(QStringLiteral("/home/[^/]+/"));

    QString result = text;
    // The real home is read now, not cached: it may lie outside /home (/root,
    // /var/home/{name}), and tests point HOME elsewhere. It goes first so a
    // home under /home/{name}/sub is taken out whole.
    const QString home = Paths::home();
    if (!home.isEmpty() && home != QLatin1String("/"))
        result.replace(home + QLatin1Char('/'), QStringLiteral("~/"));
    for (const QRegularExpression *pattern : {&macHomes, &linuxHomes}) {
        if (pattern->isValid())
            result.replace(*pattern, QStringLiteral("~/"));
    }
    return result;
}
