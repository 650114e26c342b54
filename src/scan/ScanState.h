#pragma once

#include "foundation/Concurrency.h"
#include "scan/FileWalker.h"
#include "scan/ScanReport.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

class Defaults;

// What the application keeps of its scans: the report on show, the progress of
// the one running scan, and the last walk of a threshold scan. Lives on the
// main thread; scans run on a task of their own and come back here.
class ScanState : public QObject {
    Q_OBJECT
public:
    using PublishProgress = std::function<void(const ScanProgress &)>;
    // The work of one scan, off the main thread. Returns the report, or nothing
    // when it has none to show.
    using Work = std::function<std::optional<ScanReport>(std::stop_token, const PublishProgress &)>;
    // Builds a threshold scan's report again from its cached walk.
    using Rebuild = std::function<ScanReport(const QList<FileWalker::WalkedFile> &walked, int threshold)>;

    // What a task hands back to the main thread.
    struct Result {
        std::optional<ScanReport> report;
        // A threshold scan's walk, kept with the way to report it again.
        std::optional<ScanCache> cache;
        Rebuild rebuild;
        // Runs on the main thread once the report is on show (a banner, say).
        std::function<void()> then;
        // Work that changed things on disk reports what it did even when it was cancelled part way.
        bool standsWhenCancelled = false;
    };
    using Task = std::function<std::optional<Result>(std::stop_token, const PublishProgress &)>;

    static constexpr int staleFloorDays = 180;
    static constexpr int largeFloorMB = 100;
    static constexpr int downloadsTidyFloorDays = 30;

    explicit ScanState(Defaults &defaults, QObject *parent = nullptr);
    ~ScanState() override;

    const std::optional<ScanReport> &activeReport() const { return report; }
    const std::optional<ScanProgress> &scanProgress() const { return progress; }
    const std::optional<ScanCache> &scanCache() const { return cache; }
    bool isScanning() const { return activeScanTask != nullptr; }

    // Cancels the running scan and forgets its progress and cache; the report on show stays.
    void resetScan();
    // Cancels the running scan from its progress card: it ends without a report.
    void cancelScan();
    void presentReport(const ScanReport &newReport);
    void dismissReport();
    // resetScan(), then `work` on a task; its report is presented when it ends uncancelled.
    void runScan(Work work);
    // A threshold scan: walks `paths` on the scan task, reports the walk through `rebuild` with
    // `threshold`, and keeps the walk as the cache of `workflowID`.
    void runThresholdScan(const QString &workflowID, const QStringList &paths, int threshold, Rebuild rebuild);
    // Runs `task` in the place of the running scan but keeps the cache: the work that follows a report,
    // like carrying out its planned moves, leaves a later threshold change its walk.
    void runFollowUp(Task task);
    // Keeps a threshold scan's walk, so a changed threshold reworks the report without walking again.
    void storeCache(const ScanCache &walk, Rebuild rebuild);

    int staleThresholdDays() const { return staleDays; }
    int largeFileThresholdMB() const { return largeMB; }
    int downloadsTidyThresholdDays() const { return tidyDays; }
    void setStaleThreshold(int days);
    void setLargeFileThreshold(int megabytes);
    void setDownloadsTidyThreshold(int days);
    // The threshold of the scan `workflowID` for this run of the program only: nothing is stored, so a
    // one-off value from the command line doesn't become the user's setting. False for a scan without one.
    bool useThresholdForThisRun(const QString &workflowID, int value);
    static bool hasThreshold(const QString &workflowID);

signals:
    void activeReportChanged();
    void scanProgressChanged();
    void scanningChanged();
    void thresholdsChanged();

private:
    void start(Task task);
    void finish(quint64 generation, std::optional<Result> result);
    void setProgress(const std::optional<ScanProgress> &value);
    void rebuildFromCache(const QString &workflowID, int threshold);
    void retireFinishedTasks();

    Defaults &defaults;
    std::optional<ScanReport> report;
    std::optional<ScanProgress> progress;
    std::optional<ScanCache> cache;
    Rebuild cacheRebuild;
    std::unique_ptr<BackgroundTask> activeScanTask;
    // Cancelled scans wind down here, so cancelling never waits on the main thread.
    std::vector<std::unique_ptr<BackgroundTask>> retiredTasks;
    quint64 generation = 0;
    int staleDays;
    int largeMB;
    int tidyDays;
};
