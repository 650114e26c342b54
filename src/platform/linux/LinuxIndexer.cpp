#include "platform/Indexer.h"

#include <QStandardPaths>

// Tracker (GNOME) and Baloo (KDE) are the desktop indexers; the first one found
// on PATH is asked. Without any, a refresh fails.
std::optional<Indexer::Command> Indexer::command(const QString &path)
{
    if (const QString tracker = QStandardPaths::findExecutable(QStringLiteral("tracker3")); !tracker.isEmpty())
        return Command{tracker, {QStringLiteral("index"), QStringLiteral("--file"), path}};
    for (const QString &name : {QStringLiteral("balooctl6"), QStringLiteral("balooctl")}) {
        if (const QString baloo = QStandardPaths::findExecutable(name); !baloo.isEmpty())
            return Command{baloo, {QStringLiteral("index"), path}};
    }
    return std::nullopt;
}
