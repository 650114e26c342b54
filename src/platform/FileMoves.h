#pragma once

#include <QString>

#include <optional>

// Moving files without ever replacing what is there: the check and the move are
// one system call, so no other program can slip a file in between.
namespace FileMoves {

enum class Outcome { moved, destinationExists, failed };

struct Result {
    Outcome outcome = Outcome::failed;
    // The system's own message when the move failed.
    QString error;
};

// Renames `from` to `to` unless `to` exists. Across file systems, where no rename
// reaches, the file or folder is copied and its original goes to the Trash; should
// the Trash refuse it, the copy is taken back and the move counts as failed.
Result moveNoReplace(const QString &from, const QString &to);

// Copies the file or folder `from` to `to` with permissions, dates and extended
// attributes, unless `to` exists. The copy is made in a hidden folder beside `to`
// and takes its name only once complete, so no half-written file ever shows.
Result copyNoReplace(const QString &from, const QString &to);

// Puts `from` in place of `to`, replacing it if it exists, in one step.
Result replace(const QString &from, const QString &to);

// Swaps the two names in one step, both of which must stand: a new folder takes the place of an old
// one with no moment in which neither, or half of either, is there.
Result exchange(const QString &first, const QString &second);

// Makes the folder `path` and whatever folders above it are missing; the system's reason when it
// doesn't stand as a folder afterwards.
std::optional<QString> makeFolders(const QString &path);

} // namespace FileMoves
