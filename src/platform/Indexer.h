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
// Runs it and waits, with no time limit: true only if the tool started and exited with status 0.
bool refresh(const QString &path);

} // namespace Indexer
