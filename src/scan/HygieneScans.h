#pragma once

#include "scan/FileWalker.h"
#include "scan/ScanReport.h"

#include <QDateTime>
#include <QList>
#include <QStringList>

#include <functional>
#include <optional>

class ScanState;

// Four reductions of a walk to a report: Old & Stale Files, Large File Finder, Downloads Tidy and Tag
// Audit. They read and plan; only Downloads Tidy's plan, once confirmed, changes anything (TidyPlan).
namespace HygieneScans {

using WalkedFiles = QList<FileWalker::WalkedFile>;

// The moment `days` calendar days before `now`, in local time, so that a change of daylight saving time
// in between doesn't shift it by an hour.
QDateTime cutoff(const QDateTime &now, int days);

// Files modified strictly before the cutoff, oldest first, badged with their age.
ScanReport stale(const WalkedFiles &walked, int days, const QDateTime &now);
// "{age} days old" up to 364 days, "{age / 365} yr+ old" from 365.
QString ageBadge(qint64 days);

// Files of at least `megabytes` × 1,048,576 bytes, largest first.
ScanReport large(const WalkedFiles &walked, int megabytes);

// The folder a file goes to by its extension ("Old PDFs", "Old Images", …); nothing for a kind that is
// never tidied.
std::optional<QString> tidyCategory(const QString &fileName);
// Plans moves of the files older than the cutoff, of a kind it tidies, into `root`/{category}/{name}.
// Files already inside `root` stay where they are: they were tidied before.
ScanReport tidy(const WalkedFiles &walked, int days, const QDateTime &now, const QString &root);
// Where Downloads Tidy puts files: "Vantrel Tidy" in the user's documents folder.
QString tidyRoot();

using TagReader = std::function<QStringList(const QString &path)>;
// Per tag, the files that carry it; tags in a case-insensitive order.
ScanReport tagAudit(const WalkedFiles &walked, const TagReader &readTags);

// The four scans on the application's scan task. Downloads Tidy with no selection looks at the
// downloads folder.
void runStale(const QStringList &paths, ScanState &scans);
void runLarge(const QStringList &paths, ScanState &scans);
void runTidy(const QStringList &paths, ScanState &scans);
void runTagAudit(const QStringList &paths, ScanState &scans);

} // namespace HygieneScans
