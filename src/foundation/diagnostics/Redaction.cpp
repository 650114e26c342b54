#include "foundation/diagnostics/Redaction.h"

#include "platform/Paths.h"

#include <QRegularExpression>

QString Redaction::redact(const QString &text)
{
    static const QRegularExpression homes(QStringLiteral("/(?:Users|home)/[^/]+/"));
    QString result = text;
    // The real home may lie elsewhere (/root, /var/home/…): it goes first, whole.
    const QString home = Paths::home() + QLatin1Char('/');
    if (home.size() > 1)
        result.replace(home, QStringLiteral("~/"));
    if (homes.isValid())
        result.replace(homes, QStringLiteral("~/"));
    return result;
}
