#pragma once

#include "platform/Volumes.h"
#include "transfer/engine/TransferEngine.h"

#include <QStringList>

#include <functional>
#include <stop_token>

// Works out, reading only, everything a copy of a selection into a folder would write: each file with
// its place and size, the names already taken, and what stands in the way.
namespace TransferPlanner {

// The facts of the destination's volume; tests feed their own.
using VolumeProbe = std::function<Volumes::Facts(const QString &path)>;

// Never fails: what can't be read counts as absent. A stop request ends the walk early; the caller
// throws such a plan away.
TransferEngine::Plan plan(const QStringList &sources, const QString &destinationRoot,
                          const VolumeProbe &probe = Volumes::facts, std::stop_token stop = {});

// Whether `destination` is `source` or lies inside it, as paths compare ("/a/bc" is not inside "/a/b").
bool contains(const QString &source, const QString &destination);
// Whether `totalBytes` would leave less than a tenth of its own size free; unknown space (0) never warns.
bool nearlyFull(qint64 totalBytes, qint64 freeBytes);
// The summed size of the regular files in a folder or package; a file's own size otherwise.
qint64 recursiveSize(const QString &path);

} // namespace TransferPlanner
