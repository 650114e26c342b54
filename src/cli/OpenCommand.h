#pragma once

#include <QStringList>

#include <optional>

// `vantrel open URL…` and `vantrel open --workflow ID -- PATH…`: the words turned
// into the URL texts that go to the running instance.
namespace OpenCommand {

// A plain path (no scheme) becomes a file URL, so an opened pack reaches the runner as a file.
std::optional<QStringList> urls(const QStringList &arguments, QString *error);

} // namespace OpenCommand
