#include "scan/TidyPlan.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Plural.h"
#include "platform/FileMoves.h"
#include "platform/Paths.h"
#include "scan/HygieneScans.h"
#include "scan/ScanState.h"

#include <QFileInfo>
#include <QHash>

namespace {

constexpr int lastCounter = 999;

// Moves one file into the first free name; the system's reason when it couldn't.
std::optional<QString> moveIntoFreeName(const PlannedMove &move)
{
    if (auto error = FileMoves::makeFolders(move.destination.left(move.destination.lastIndexOf(QLatin1Char('/')))))
        return error;
    for (int k = 0; k <= lastCounter; ++k) {
        const FileMoves::Result result =
            FileMoves::moveNoReplace(move.source, TidyPlan::candidateName(move.destination, k));
        switch (result.outcome) {
        case FileMoves::Outcome::moved:
            return std::nullopt;
        case FileMoves::Outcome::destinationExists:
            continue;
        case FileMoves::Outcome::failed:
            return result.error;
        }
    }
    return QStringLiteral("Every name up to “%1” is taken.")
        .arg(QFileInfo(TidyPlan::candidateName(move.destination, lastCounter)).fileName());
}

} // namespace

AlertRequest TidyPlan::confirmation(const ScanReport &report)
{
    const qsizetype n = report.plannedMoves ? report.plannedMoves->size() : 0;
    return {QStringLiteral("Move %1 files?").arg(n),
            QStringLiteral("Vantrel will move %1 item%2 (%3) into %4/, organized by file type. Nothing is deleted. "
                           "You can move them back to their original locations any time.")
                .arg(n)
                .arg(pluralSuffix(n), ByteCountFormatter::format(report.totalSize()),
                     Paths::displayPath(HygieneScans::tidyRoot())),
            {QStringLiteral("Move Files"), QStringLiteral("Cancel")}};
}

QString TidyPlan::candidateName(const QString &destination, int k)
{
    if (k == 0)
        return destination;
    const QFileInfo info(destination);
    const QString extension = info.suffix();
    const QString stem = extension.isEmpty() ? info.fileName() : info.completeBaseName();
    QString name = QStringLiteral("%1 (%2)").arg(stem).arg(k);
    if (!extension.isEmpty())
        name += QLatin1Char('.') + extension;
    return info.path() + QLatin1Char('/') + name;
}

TidyPlan::Outcome TidyPlan::execute(const QList<PlannedMove> &moves, std::stop_token stop,
                                    const std::function<void(int done, int total)> &progress)
{
    Outcome outcome;
    const ProgressThrottle throttle(int(moves.size()));
    for (qsizetype i = 0; i < moves.size(); ++i) {
        if (stop.stop_requested())
            break;
        if (const auto reason = moveIntoFreeName(moves[i]))
            outcome.failures.append({moves[i].source, *reason});
        else
            outcome.moved.insert(moves[i].id);
        if (progress && throttle.shouldPublish(int(i)))
            progress(int(i) + 1, int(moves.size()));
    }
    return outcome;
}

QString TidyPlan::resultText(const Outcome &outcome, const QString &root)
{
    const qsizetype moved = outcome.moved.size();
    const qsizetype failed = outcome.failures.size();
    if (moved == 0 && failed == 0)
        return QStringLiteral("No moves to perform.");
    if (failed == 0)
        return QStringLiteral("Moved %1 file%2 into %3/.").arg(moved).arg(pluralSuffix(moved), root);
    const QString counts =
        moved == 0 ? QStringLiteral("All %1 moves failed.").arg(failed)
                   : QStringLiteral("Moved %1 file%2 · %3 failed.").arg(moved).arg(pluralSuffix(moved)).arg(failed);
    return ItemFailures::withFirstReason(counts, outcome.failures);
}

ScanReport TidyPlan::withoutMoved(const ScanReport &report, const QSet<QUuid> &moved)
{
    ScanReport result = report;
    if (!report.plannedMoves)
        return result;
    const QList<PlannedMove> &moves = *report.plannedMoves;
    QSet<QString> movedSources;
    QList<PlannedMove> left;
    for (const PlannedMove &move : moves) {
        if (moved.contains(move.id))
            movedSources.insert(move.source);
        else
            left.append(move);
    }
    result.plannedMoves = left;
    result.items.clear();
    for (const ScanItem &item : report.items) {
        if (!movedSources.contains(item.url))
            result.items.append(item);
    }
    return result;
}

ScanReport TidyPlan::withFailures(const ScanReport &report, const QList<ItemFailure> &failures)
{
    QHash<QString, QString> reasons;
    for (const ItemFailure &failure : failures)
        reasons.insert(failure.path, failure.reason);
    ScanReport result = report;
    result.failures = failures;
    for (ScanItem &item : result.items) {
        if (const auto found = reasons.constFind(item.url); found != reasons.cend())
            item.badge = QStringLiteral("failed: %1").arg(*found);
    }
    return result;
}

void TidyPlan::run(const ScanReport &report, ScanState &scans,
                   std::function<void(const QString &text, const QList<ItemFailure> &failures)> announce)
{
    const QList<PlannedMove> moves = report.plannedMoves.value_or(QList<PlannedMove>());
    scans.runFollowUp([report, moves, announce = std::move(announce)](std::stop_token stop,
                                                                      const ScanState::PublishProgress &publish) {
        const Outcome outcome = execute(moves, stop, [&publish](int done, int total) {
            if (publish)
                publish({QStringLiteral("Moving files"), done, total});
        });
        const QString text = resultText(outcome, Paths::displayPath(HygieneScans::tidyRoot()));
        ScanState::Result result;
        result.report = withFailures(withoutMoved(report, outcome.moved), outcome.failures);
        result.then = [announce, text, failures = outcome.failures] { announce(text, failures); };
        // Files that were moved before a cancel stay moved: the report and the banner say so.
        result.standsWhenCancelled = true;
        return std::optional<ScanState::Result>(std::move(result));
    });
}
