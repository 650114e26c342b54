#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// The desktop's search indexer, asked to read one path again.
namespace Indexer {

struct Command {
    QString program;
    QStringList arguments;
    bool operator==(const Command &) const = default;
};

// The command that refreshes `path` on this system; none when no indexer is installed.
std::optional<Command> command(const QString &path);
// Runs it and waits, with no time limit: true only if the tool started and exited with status 0. Otherwise
// `reason`, when given, says why: no indexer, a tool that didn't start, or its exit status and first line
// of standard error.
bool refresh(const QString &path, QString *reason = nullptr);

} // namespace Indexer
