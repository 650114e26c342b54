#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

// One line of what a git workflow did, as its sheet lists it and a script reads it. Every git session
// keeps the same log, so a user reads the same marks whichever sheet ran the commands.
struct LogEntry {
    enum class Kind { command, stdout, stderr, info, warning };

    QUuid id;
    Kind kind = Kind::info;
    // Already redacted: nothing that reaches a log line can carry a credential.
    QString line;
    bool operator==(const LogEntry &) const = default;

    // A new entry with its own id, its text redacted.
    static LogEntry make(Kind kind, const QString &line);

    static QString toString(Kind kind);
    // The mark the sheet puts before a line: "$" for a command, "i" for a note, "!" for a warning; the
    // output of git itself goes bare.
    static QString prefix(Kind kind);
    // The line as the sheet shows it: the mark, a space and the text.
    QString shown() const;
    QJsonObject toJson() const;
};

using GitLog = QList<LogEntry>;

namespace GitLogs {
// Appends what a command printed: each stream that said something, trailing line feeds dropped.
void appendOutput(GitLog &log, const QString &stdout, const QString &stderr);
} // namespace GitLogs
