#pragma once

#include "scan/FileWalker.h"
#include "scan/ScanReport.h"
#include "scan/ScanState.h"

#include <QList>
#include <QStringList>

#include <optional>
#include <stop_token>

class ScanState;

// Duplicate Reports: files of the selection with the same content, in clusters. It reports how much
// removing the extras could free and removes nothing itself.
namespace DuplicateScan {

inline constexpr const char *workflowID = "duplicate-reports";

// The report of a selection that holds no file at all.
ScanReport emptySelectionReport();

// The report of `groups`, each a list of files of one content in walk order: the largest files' group
// first, groups of equal size in the order their first files were walked. The first file of a group is
// its "original", the others are its "duplicate"s.
ScanReport report(const QList<QList<FileWalker::WalkedFile>> &groups);

// The whole scan of a selection: walk, find the files alike, report. Progress is "Hashing files" over the
// walked files. Nothing when stopped.
std::optional<ScanReport> scan(const QStringList &paths, std::stop_token stop,
                               const ScanState::PublishProgress &publish = {});

// Runs the scan on the application's scan task; its report opens the results window.
void run(const QStringList &paths, ScanState &scans);

} // namespace DuplicateScan
