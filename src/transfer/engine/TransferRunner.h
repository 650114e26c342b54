#pragma once

#include "scan/ScanReport.h"
#include "transfer/engine/TransferEngine.h"

#include <QString>

#include <functional>
#include <stop_token>

// Carries out a transfer plan, one file after another, and says what became of each. A transfer copies:
// it never moves or deletes a source.
namespace TransferRunner {

using PublishProgress = std::function<void(const ScanProgress &)>;

// Never fails as a whole: each file's failure is its outcome. A stop request ends the run before the
// next file, or inside a large one, whose partial copy then leaves nothing and no outcome.
TransferEngine::Result execute(const TransferEngine::Plan &plan, const TransferEngine::ConflictPolicy &policy,
                               const PublishProgress &publish = {}, std::stop_token stop = {});

// Whether anything, a dangling link too, has the name.
bool isTaken(const QString &path);

// How many items apart the progress is published: about sixty updates a run, and the last always.
int progressStride(int total);

// The first free name for `intended` in its folder: "report -copy.pdf", then "report -copy 2.pdf"… up
// to " 999". No " 1" is ever written. When all are taken the last is returned although it exists: the
// copy then fails on it rather than replace anything.
QString uniqueURL(const QString &intended, const QString &suffix);

} // namespace TransferRunner
