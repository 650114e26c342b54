#pragma once

#include "transfer/route/RoutePlan.h"

#include <functional>
#include <stop_token>

// Carries out a route plan file by file. Nothing is deleted: a move onto another volume copies and sends
// the original to the Trash, a file overwritten goes to the Trash first, and a name that is taken is
// never written over unless the policy says so.
namespace RouteRunner {

enum class Verb { move, copy };

// Moves or copies one file into `folder` under the policy. A source that already sits in `folder` is
// left where it is when moved; copied, it takes a free name or is skipped.
Route::RouteResult::ItemResult fileStep(const QString &source, const QString &folder,
                                        const TransferEngine::ConflictPolicy &policy, Verb verb);

using PublishProgress = std::function<void(const Route::RunProgress &)>;

// Every match in plan order, until a stop request, which ends the run before the next file. Then, also
// after a stop, with `trashCopiedSources` each source whose outcome is `copied` goes to the Trash; one
// the Trash refuses stays where it was and still reads `copied`.
Route::RouteResult run(const Route::RoutePlan &plan, const TransferEngine::ConflictPolicy &policy,
                       bool trashCopiedSources, const PublishProgress &publish = {}, std::stop_token stop = {});

// The outcome's counts, as the progress and the done screen show them.
Route::RunProgress tally(const QList<Route::RouteResult::Outcome> &outcomes);

} // namespace RouteRunner
