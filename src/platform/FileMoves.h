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

Result moveNoReplace(const QString &from, const QString &to);

// Puts `from` in place of `to`, replacing it if it exists, in one step.
Result replace(const QString &from, const QString &to);

} // namespace FileMoves
