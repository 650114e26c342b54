#pragma once

#include "foundation/Interaction.h"
#include "foundation/ItemFailure.h"
#include "scan/ScanReport.h"

#include <QSet>
#include <QUuid>

#include <functional>
#include <stop_token>

class ScanState;

// Carrying out the moves a Downloads Tidy report plans, once the user has confirmed them. A move never
// replaces a file: a taken name gets " (1)", " (2)", … up to " (999)". Nothing is deleted and nothing is
// rolled back; a move that fails leaves its file where it was.
namespace TidyPlan {

// "Move {n} files?", with the action first and Cancel last.
AlertRequest confirmation(const ScanReport &report);

// The k-th name tried for `destination`: itself for 0, else "{name} ({k}).{extension}".
QString candidateName(const QString &destination, int k);

struct Outcome {
    QSet<QUuid> moved;           // ids of the planned moves done
    QList<ItemFailure> failures; // each source left where it was, with the system's reason
};

// The moves in order, each into a free name. Stops between two moves when asked.
Outcome execute(const QList<PlannedMove> &moves, std::stop_token stop,
                const std::function<void(int done, int total)> &progress = {});

// What the user reads once the moves are done, with the first failure's reason. `root` is the tidy
// folder, as shown.
QString resultText(const Outcome &outcome, const QString &root);

// The report without the moves done and their items; the rest stays as it was.
ScanReport withoutMoved(const ScanReport &report, const QSet<QUuid> &moved);
// The report with each failed move's row badged "failed: {reason}", so the row says why its file stayed,
// and the failures listed.
ScanReport withFailures(const ScanReport &report, const QList<ItemFailure> &failures);

// Runs the plan of `report` on the scan task with progress, keeping the scan's cache; then shows the
// report without the moved files and hands the result text and the failed moves to `announce`.
void run(const ScanReport &report, ScanState &scans,
         std::function<void(const QString &text, const QList<ItemFailure> &failures)> announce);

} // namespace TidyPlan
