#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The disk side of the JSON stores in the Application Support folder: atomic
// writes, and a file that doesn't decode kept for repair instead of replaced.
namespace StoreFile {

// Creates `folder` if needed and writes `bytes` to `folder/name` atomically.
// Returns the error text, or nothing on success.
std::optional<QString> write(const QString &folder, const QString &name, const QByteArray &bytes);

// Renames `path` to `path.unreadable-{time}` so the store can start afresh
// without losing what was there.
void moveAside(const QString &path);

} // namespace StoreFile
