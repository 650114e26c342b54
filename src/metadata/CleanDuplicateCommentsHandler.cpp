#include "metadata/CleanDuplicateCommentsHandler.h"

#include "foundation/Plural.h"
#include "metadata/FinderMetadata.h"
#include "scan/ScanState.h"

namespace {

bool changed(const CleanDuplicateCommentsHandler::Outcome &outcome)
{
    return outcome.cleanup.before.size() != outcome.cleanup.after.size();
}

} // namespace

QList<CleanDuplicateCommentsHandler::Outcome> CleanDuplicateCommentsHandler::clean(const QStringList &urls,
                                                                                   std::stop_token stop)
{
    QList<Outcome> outcomes;
    for (const QString &url : urls) {
        if (stop.stop_requested())
            break;
        Outcome outcome;
        outcome.url = url;
        outcome.cleanup.before = CommentTokenEditor::tokens(FinderMetadata::readComment(url));
        outcome.cleanup.after = CommentTokenEditor::dedupe(outcome.cleanup.before);
        if (changed(outcome)) {
            try {
                FinderMetadata::writeComment(outcome.cleanup.after.join(QStringLiteral(", ")), url);
            } catch (const std::exception &error) {
                // One file's failure is its badge; the others go on.
                outcome.writeError = FinderMetadata::describe(error);
            }
        }
        outcomes.append(outcome);
    }
    return outcomes;
}

QString CleanDuplicateCommentsHandler::summary(const QList<Outcome> &outcomes)
{
    qsizetype cleaned = 0;
    qsizetype failed = 0;
    for (const Outcome &outcome : outcomes) {
        if (outcome.writeError)
            ++failed;
        else if (changed(outcome))
            ++cleaned;
    }
    if (cleaned > 0 && failed == 0)
        return QStringLiteral("Cleaned %1 file%2.").arg(cleaned).arg(pluralSuffix(cleaned));
    if (cleaned == 0 && failed == 0)
        return QStringLiteral("Comments were already clean across %1 file%2.")
            .arg(outcomes.size())
            .arg(pluralSuffix(outcomes.size()));
    return ItemFailures::withFirstReason(QStringLiteral("Cleaned %1 · %2 failed.").arg(cleaned).arg(failed),
                                         failures(outcomes));
}

QList<ItemFailure> CleanDuplicateCommentsHandler::failures(const QList<Outcome> &outcomes)
{
    QList<ItemFailure> list;
    for (const Outcome &outcome : outcomes) {
        if (outcome.writeError)
            list.append({outcome.url, *outcome.writeError});
    }
    return list;
}

QString CleanDuplicateCommentsHandler::badge(const Outcome &outcome)
{
    if (outcome.writeError)
        return QStringLiteral("failed: %1").arg(*outcome.writeError);
    if (changed(outcome)) {
        const qsizetype removed = std::max<qsizetype>(0, outcome.cleanup.before.size() - outcome.cleanup.after.size());
        return QStringLiteral("removed %1 duplicate%2").arg(removed).arg(pluralSuffix(removed));
    }
    return QStringLiteral("no change");
}

ScanReport CleanDuplicateCommentsHandler::report(const QList<Outcome> &outcomes)
{
    ScanReport result = ScanReport::begin(QStringLiteral("clean-duplicate-comments"),
                                          QStringLiteral("Clean Duplicate Comments"), ScanReport::Kind::tidy);
    for (const Outcome &outcome : outcomes)
        result.items.append(ScanReport::itemFor(outcome.url, badge(outcome)));
    result.summary = summary(outcomes);
    result.failures = failures(outcomes);
    return result;
}

void CleanDuplicateCommentsHandler::run(const QStringList &urls, ScanState &scans)
{
    // A cancelled run keeps what it did; the scan state shows no report for it.
    scans.runScan([urls](std::stop_token stop, const ScanState::PublishProgress &) -> std::optional<ScanReport> {
        return report(clean(urls, stop));
    });
}
