#pragma once

#include <QByteArray>

#include <functional>

namespace FileCopy {

// What differs between the systems: carrying the mode, dates and extended attributes (and, for a
// regular file, the bytes) from one open descriptor to another. False with errno set when it failed.
bool copyContents(int in, int out);
bool copyMetadata(int in, int out);

// Copies the file, symbolic link or folder at `from` to `to`, which must not exist yet; a folder
// comes with everything inside it. Pipes, sockets and devices have no copy and fail with EXDEV.
// False with errno set when it failed, leaving whatever was made for the caller to remove.
bool copyTree(const QByteArray &from, const QByteArray &to);

// How a long copy is watched: `cancelled` is asked between chunks, so a cancel acts inside a file of
// gigabytes; `advanced` is told each chunk's bytes.
struct Watch {
    std::function<bool()> cancelled;
    std::function<void(qint64)> advanced;
    // A clone shares the source's blocks instead of copying them (btrfs, XFS); never tried on a share.
    bool mayClone = true;
    // Told when the file system has no clones, so that a run stops asking for them.
    std::function<void()> cannotClone;
};

// Copies the regular file at `from` to the new name `to`, bytes, mode, dates and user attributes. The
// file is made without a name (or, where the file system can't, under a hidden locked name) and named
// only once whole, by a step that never replaces: a name taken meanwhile fails with EEXIST and is left
// alone. Cancelled, it fails with ECANCELED and leaves nothing. Nothing is synced to the disk: the
// caller decides when the copies have to be safe. False with errno set when it failed.
bool copyFileAsNew(const QByteArray &from, const QByteArray &to, const Watch &watch);

// Removes the file, link or folder at `path` with everything inside it; a link is removed, never
// followed. False with errno set when something stayed.
bool removeTree(const QByteArray &path);

} // namespace FileCopy
