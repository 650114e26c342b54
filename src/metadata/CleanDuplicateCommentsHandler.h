#pragma once

#include "metadata/CommentTokenEditor.h"
#include "scan/ScanReport.h"

#include <QList>
#include <QStringList>

#include <optional>
#include <stop_token>

class ScanState;

// Removes repeated tokens from the comments of the selected files. A comment
// without repeats is never rewritten, so its separators stay as they were.
namespace CleanDuplicateCommentsHandler {

struct Outcome {
    QString url;
    CommentTokenEditor::CleanupResult cleanup;
    std::optional<QString> writeError;
    bool operator==(const Outcome &) const = default;
};

// Cleans each file in order, without expanding folders; stops early when asked.
QList<Outcome> clean(const QStringList &urls, std::stop_token stop = {});
QString summary(const QList<Outcome> &outcomes);
// Each outcome whose write failed, with its error, in order.
QList<ItemFailure> failures(const QList<Outcome> &outcomes);
QString badge(const Outcome &outcome);
ScanReport report(const QList<Outcome> &outcomes);

// The workflow: a scan task that cleans and then presents the report.
void run(const QStringList &urls, ScanState &scans);

} // namespace CleanDuplicateCommentsHandler
