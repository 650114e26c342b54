#pragma once

#include "scan/ScanReport.h"

#include <QList>
#include <QStringList>

#include <stop_token>

class ScanState;

// Asks the desktop's indexer to read each selected path again, one after the
// other, and reports which paths it refreshed.
namespace SpotlightRefresher {

struct Result {
    QString url;
    bool success = false;
    QString reason = {}; // why it failed, in the indexer's or the system's words
    bool operator==(const Result &) const = default;
};

// Refreshes one path; true only if the indexer ran and said yes, else `reason` says why.
bool refresh(const QString &path, QString *reason = nullptr);
QList<Result> refreshAll(const QStringList &urls, std::stop_token stop = {});
// The counts, with the first failure's reason.
QString summary(const QList<Result> &results);
QList<ItemFailure> failures(const QList<Result> &results);
ScanReport report(const QList<Result> &results);
void run(const QStringList &urls, ScanState &scans);

} // namespace SpotlightRefresher
