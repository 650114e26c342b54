#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Reading a file that came from outside (a user's pick, a pack, a path on the command line, or what
// sits at a store's path): only a regular file is read, and never more than a limit, counted on the
// bytes actually read. A FIFO would block forever and /dev/zero would never end.
namespace RegularFile {

enum class Failure {
    missing,
    notRegular, // a folder, FIFO, socket or device
    tooLarge,
    unreadable,
};

struct Read {
    QByteArray bytes;
    std::optional<Failure> failure;
    // The system's reason for `unreadable` and `missing`; a plain description otherwise.
    QString reason;
    // For `tooLarge`: the size the file declared, or the bytes read before the limit was passed.
    qint64 size = 0;

    bool ok() const { return !failure; }
};

// Reads all of `path`, following a symbolic link, when it is a regular file of at most `limit` bytes.
Read read(const QString &path, qint64 limit);

} // namespace RegularFile
