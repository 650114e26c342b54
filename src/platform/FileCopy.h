#pragma once

#include <QByteArray>

namespace FileCopy {

// What differs between the systems: carrying the mode, dates and extended attributes (and, for a
// regular file, the bytes) from one open descriptor to another. False with errno set when it failed.
bool copyContents(int in, int out);
bool copyMetadata(int in, int out);

// Copies the file, symbolic link or folder at `from` to `to`, which must not exist yet; a folder
// comes with everything inside it. Pipes, sockets and devices have no copy and fail with EXDEV.
// False with errno set when it failed, leaving whatever was made for the caller to remove.
bool copyTree(const QByteArray &from, const QByteArray &to);

// Removes the file, link or folder at `path` with everything inside it; a link is removed, never
// followed. False with errno set when something stayed.
bool removeTree(const QByteArray &path);

} // namespace FileCopy
