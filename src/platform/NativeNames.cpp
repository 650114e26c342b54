#include "platform/NativeNames.h"

#include <QDir>

#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace {

constexpr char16_t escapeBase = 0xDC00;
constexpr char16_t firstEscape = 0xDC80;
constexpr char16_t lastEscape = 0xDCFF;

bool isEscape(char16_t unit)
{
    return unit >= firstEscape && unit <= lastEscape;
}

// The length of the well-formed UTF-8 sequence at `p`, or 0 when the byte there starts none. The ranges
// are those of the Unicode standard's table of well-formed byte sequences: its narrower second bytes
// after E0, ED, F0 and F4 are what rule out overlong forms, encoded surrogates and code points past
// U+10FFFF.
int sequenceLength(const uchar *p, const uchar *end)
{
    const uchar lead = p[0];
    int length = 0;
    uchar low = 0x80;
    uchar high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;
        else if (lead == 0xED)
            high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        else if (lead == 0xF4)
            high = 0x8F;
    } else {
        return 0;
    }
    if (end - p < length || p[1] < low || p[1] > high)
        return 0;
    for (int i = 2; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
    }
    return length;
}

void appendUtf8(QByteArray &out, char32_t code)
{
    if (code < 0x80) {
        out.append(char(code));
    } else if (code < 0x800) {
        out.append(char(0xC0 | (code >> 6)));
        out.append(char(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out.append(char(0xE0 | (code >> 12)));
        out.append(char(0x80 | ((code >> 6) & 0x3F)));
        out.append(char(0x80 | (code & 0x3F)));
    } else {
        out.append(char(0xF0 | (code >> 18)));
        out.append(char(0x80 | ((code >> 12) & 0x3F)));
        out.append(char(0x80 | ((code >> 6) & 0x3F)));
        out.append(char(0x80 | (code & 0x3F)));
    }
}

bool hasSurrogate(QStringView name)
{
    for (const QChar c : name) {
        if (c.isSurrogate())
            return true;
    }
    return false;
}

} // namespace

QChar *NativeNames::decodeInto(QChar *out, QByteArrayView bytes)
{
    const auto *p = reinterpret_cast<const uchar *>(bytes.data());
    const uchar *const end = p + bytes.size();
    while (p < end) {
        const uchar lead = *p;
        if (lead < 0x80) {
            *out++ = QChar(lead);
            ++p;
            continue;
        }
        const int length = sequenceLength(p, end);
        if (length == 0) {
            *out++ = QChar(char16_t(escapeBase + lead));
            ++p;
            continue;
        }
        char32_t code = lead & (0x7F >> length);
        for (int i = 1; i < length; ++i)
            code = (code << 6) | (p[i] & 0x3F);
        if (QChar::requiresSurrogates(code)) {
            *out++ = QChar(QChar::highSurrogate(code));
            *out++ = QChar(QChar::lowSurrogate(code));
        } else {
            *out++ = QChar(char16_t(code));
        }
        p += length;
    }
    return out;
}

QString NativeNames::decode(QByteArrayView bytes)
{
    QString name(bytes.size(), Qt::Uninitialized);
    QChar *const begin = name.data();
    name.truncate(decodeInto(begin, bytes) - begin);
    return name;
}

QByteArray NativeNames::encode(QStringView name)
{
    // Most names hold no surrogate at all, and Qt's own encoder is the fast way for those.
    if (!hasSurrogate(name))
        return name.toUtf8();
    QByteArray out;
    out.reserve(name.size() * 3);
    for (qsizetype i = 0; i < name.size(); ++i) {
        const char16_t unit = name[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < name.size() && name[i + 1].isLowSurrogate()) {
            appendUtf8(out, QChar::surrogateToUcs4(unit, name[i + 1].unicode()));
            ++i;
        } else if (isEscape(unit)) {
            out.append(char(unit - escapeBase));
        } else if (QChar::isSurrogate(unit)) {
            appendUtf8(out, QChar::ReplacementCharacter);
        } else {
            appendUtf8(out, unit);
        }
    }
    return out;
}

bool NativeNames::hasRawBytes(QStringView name)
{
    for (qsizetype i = 0; i < name.size(); ++i) {
        const char16_t unit = name[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < name.size() && name[i + 1].isLowSurrogate())
            ++i;
        else if (isEscape(unit))
            return true;
    }
    return false;
}

QString NativeNames::display(const QString &name)
{
    if (!hasRawBytes(name))
        return name;
    QString shown;
    shown.reserve(name.size() + 8);
    for (qsizetype i = 0; i < name.size(); ++i) {
        const char16_t unit = name[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < name.size() && name[i + 1].isLowSurrogate()) {
            shown.append(name[i]);
            shown.append(name[++i]);
        } else if (isEscape(unit)) {
            shown.append(QStringLiteral("\\x") + QString::number(unit - escapeBase, 16).toUpper());
        } else {
            shown.append(name[i]);
        }
    }
    return shown;
}

QString NativeNames::fileURL(const QString &path)
{
    return QStringLiteral("file://") + QString::fromLatin1(encode(path).toPercentEncoding("/"));
}

QString NativeNames::absolutePath(const QString &path)
{
    if (QDir::isAbsolutePath(path))
        return QDir::cleanPath(path);
    // QDir::currentPath() reads the working directory as UTF-8 and would lose a byte that isn't.
    const std::unique_ptr<char, decltype(&std::free)> working(::getcwd(nullptr, 0), &std::free);
    const QString base = working ? decode(working.get()) : QDir::currentPath();
    return QDir::cleanPath(path.isEmpty() ? base : QString(base + QLatin1Char('/') + path));
}
