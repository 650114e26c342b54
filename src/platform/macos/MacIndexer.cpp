#include "platform/Indexer.h"

std::optional<Indexer::Command> Indexer::command(const QString &path)
{
    return Command{QStringLiteral("/usr/bin/mdimport"), {QStringLiteral("-i"), path}};
}
