#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

// A Linux file name is any string of bytes, and not every one is UTF-8 (a Latin-1 name from an old disk,
// a zip made on another system). Paths are QStrings here, so a name is read with each byte that isn't
// part of valid UTF-8 kept as a lone surrogate U+DC80..U+DCFF, which no valid UTF-8 can produce, and
// written back to exactly the bytes it came from. Every system call on a user's path goes through
// encode(); every name read from the system goes through decode().
namespace NativeNames {

// The bytes as a QString: valid UTF-8 as its characters, any other byte b as U+DC00 + b. Overlong forms,
// encoded surrogates, code points past U+10FFFF and cut-off sequences are not valid UTF-8 and are kept
// byte by byte.
QString decode(QByteArrayView bytes);

// The bytes decode() read the name from: U+DC80..U+DCFF back to single bytes, everything else as UTF-8.
// A lone surrogate outside that range never comes from decode(); it becomes U+FFFD, as it would in UTF-8.
QByteArray encode(QStringView name);

// Writes decode(bytes) at `out`, which has room for bytes.size() characters (a byte never yields more
// than one UTF-16 unit), and returns the end. The file walker builds paths with it without a copy.
QChar *decodeInto(QChar *out, QByteArrayView bytes);

// Whether the name holds a byte that isn't UTF-8, so that APIs taking a QString as UTF-8 would miss it.
bool hasRawBytes(QStringView name);

// The name for people to read: each byte that isn't UTF-8 shown as "\xE9". Messages, reports and the
// window show this; the files themselves are always reached through encode().
QString display(const QString &name);

// The file URL of an absolute path, its bytes percent-encoded, as file managers take it over D-Bus:
// QUrl::fromLocalFile would encode a byte that isn't UTF-8 as U+FFFD.
QString fileURL(const QString &path);

// `path` made absolute against the working directory, which is read as bytes too.
QString absolutePath(const QString &path);

} // namespace NativeNames
