#include "foundation/RunURL.h"

#include "platform/NativeNames.h"

#include <QUrl>
#include <QUrlQuery>

namespace {

// What may stand unencoded in a URL path besides letters, digits and "-._~".
const QByteArray pathAllowed = QByteArrayLiteral("!$&'()*+,;=:@/");
// What may stand unencoded in a query item's value: "&", "=", "+" and "#" would
// change how the query reads, so they are encoded.
const QByteArray queryValueAllowed = QByteArrayLiteral("!$'()*,;:@/?");

int hexValue(QChar c)
{
    if (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
        return c.unicode() - '0';
    if (c >= QLatin1Char('a') && c <= QLatin1Char('f'))
        return c.unicode() - 'a' + 10;
    if (c >= QLatin1Char('A') && c <= QLatin1Char('F'))
        return c.unicode() - 'A' + 10;
    return -1;
}

QString trimSlashes(QString text)
{
    while (text.startsWith(QLatin1Char('/')))
        text.remove(0, 1);
    while (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    return text;
}

// The host exactly as written: between "//" and the next "/", "?" or "#", without
// user info and port.
std::optional<QString> rawHost(const QString &urlText)
{
    const qsizetype colon = urlText.indexOf(QLatin1Char(':'));
    if (colon < 0 || urlText.mid(colon + 1, 2) != QLatin1String("//"))
        return std::nullopt;
    const qsizetype start = colon + 3;
    qsizetype end = start;
    while (end < urlText.size() && urlText[end] != QLatin1Char('/') && urlText[end] != QLatin1Char('?') &&
           urlText[end] != QLatin1Char('#'))
        ++end;
    QString authority = urlText.mid(start, end - start);
    authority = authority.mid(authority.lastIndexOf(QLatin1Char('@')) + 1);
    if (!authority.startsWith(QLatin1Char('['))) {
        const qsizetype port = authority.indexOf(QLatin1Char(':'));
        if (port >= 0)
            authority.truncate(port);
    }
    if (authority.isEmpty())
        return std::nullopt;
    return QUrl::fromPercentEncoding(authority.toUtf8());
}

} // namespace

QString RunURL::encodePath(const QString &path)
{
    // The name's own bytes are encoded, so a byte that isn't UTF-8 travels as itself ("%E9").
    return QString::fromLatin1(NativeNames::encode(path).toPercentEncoding(pathAllowed));
}

std::optional<QString> RunURL::removePercentEncoding(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    const QByteArray raw = NativeNames::encode(text);
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const char c = raw[i];
        if (c != '%') {
            bytes.append(c);
            continue;
        }
        if (i + 2 >= raw.size())
            return std::nullopt;
        const int high = hexValue(QLatin1Char(raw[i + 1]));
        const int low = hexValue(QLatin1Char(raw[i + 2]));
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.append(char(high * 16 + low));
        i += 2;
    }
    // A file name need not be UTF-8: its bytes are kept as they are.
    return NativeNames::decode(bytes);
}

QString RunURL::make(const QString &id, const QStringList &paths)
{
    QStringList encoded;
    encoded.reserve(paths.size());
    for (const QString &path : paths)
        encoded.append(encodePath(path));
    const QString joined = encoded.join(QLatin1Char('|'));
    return QStringLiteral("vantrel://run/") + encodePath(id) + QStringLiteral("?files=") +
           QString::fromLatin1(QUrl::toPercentEncoding(joined, queryValueAllowed));
}

QString RunURL::makeWithOptionalFiles(const QString &id, const QStringList &paths)
{
    if (paths.isEmpty())
        return QStringLiteral("vantrel://run/") + encodePath(id);
    return make(id, paths);
}

RunURL::Parts RunURL::split(const QString &urlText)
{
    const QUrl url(urlText, QUrl::TolerantMode);
    Parts parts;
    parts.scheme = url.scheme().toLower();
    parts.host = rawHost(urlText);
    parts.id = trimSlashes(url.path(QUrl::FullyDecoded));
    const QUrlQuery query(url);
    const QString name = QStringLiteral("files");
    if (query.hasQueryItem(name))
        parts.files = query.queryItemValue(name, QUrl::FullyDecoded);
    return parts;
}

QStringList RunURL::decodePaths(const std::optional<QString> &files)
{
    QStringList paths;
    if (!files || files->isEmpty())
        return paths;
    for (const QString &piece : files->split(QLatin1Char('|'), Qt::SkipEmptyParts))
        paths.append(removePercentEncoding(piece).value_or(piece));
    return paths;
}
