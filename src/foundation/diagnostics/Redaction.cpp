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

QString Redaction::hideCredentials(const QString &text)
{
    // The user info runs from "//" to the last "@" before the host's first "/", and holds no white space.
    static const QRegularExpression userInfo(QStringLiteral(R"((https?://)([^/\s@]*@)+)"),
                                             QRegularExpression::CaseInsensitiveOption);
    QString result;
    qsizetype copied = 0;
    auto match = userInfo.globalMatch(text);
    while (match.hasNext()) {
        const QRegularExpressionMatch found = match.next();
        const QString info = found.captured(0).mid(found.capturedLength(1));
        const qsizetype colon = info.indexOf(QLatin1Char(':'));
        // "user:secret@" keeps the user; a lone "secret@" is all secret.
        const QString kept = colon > 0 ? info.left(colon) + QStringLiteral(":***@") : QStringLiteral("***@");
        result += text.mid(copied, found.capturedStart() - copied) + found.captured(1) + kept;
        copied = found.capturedEnd();
    }
    return result + text.mid(copied);
}
