#include "scan/ScanState.h"

#include "app/Defaults.h"

#include <algorithm>

ScanState::ScanState(Defaults &store, QObject *parent)
    : QObject(parent), defaults(store),
      // At launch the defaults are floors: a smaller preset holds only until the program quits.
      staleDays(std::max(store.value(DefaultsKeys::staleThresholdDays), staleFloorDays)),
      largeMB(std::max(store.value(DefaultsKeys::largeFileThresholdMB), largeFloorMB)),
      tidyDays(std::max(store.value(DefaultsKeys::downloadsTidyThresholdDays), downloadsTidyFloorDays))
{
}

ScanState::~ScanState()
{
    // Threads are cancelled and joined before the state they report to goes.
    if (activeScanTask)
        activeScanTask->cancel();
    for (auto &task : retiredTasks)
        task->cancel();
}

void ScanState::resetScan()
{
    if (activeScanTask) {
        activeScanTask->cancel();
        retiredTasks.push_back(std::move(activeScanTask));
        ++generation;
        emit scanningChanged();
    }
    setProgress(std::nullopt);
    cache.reset();
    cacheRebuild = nullptr;
    retireFinishedTasks();
}

void ScanState::cancelScan()
{
    if (activeScanTask)
        activeScanTask->cancel();
}

void ScanState::presentReport(const ScanReport &newReport)
{
    report = newReport;
    emit activeReportChanged();
}

void ScanState::dismissReport()
{
    if (!report)
        return;
    report.reset();
    emit activeReportChanged();
}

void ScanState::runScan(Work work)
{
    resetScan();
    const quint64 current = ++generation;
    activeScanTask = std::make_unique<BackgroundTask>([this, current, work = std::move(work)](std::stop_token stop) {
        const PublishProgress publish = [this, current](const ScanProgress &value) {
            postToMain(this, [this, current, value] {
                if (current == generation)
                    setProgress(value);
            });
        };
        std::optional<ScanReport> result = work(stop, publish);
        if (stop.stop_requested())
            result.reset();
        postToMain(this, [this, current, result] { finish(current, result); });
    });
    emit scanningChanged();
}

void ScanState::finish(quint64 finished, std::optional<ScanReport> result)
{
    if (finished != generation) {
        retireFinishedTasks();
        return;
    }
    // A cancelled scan shows nothing; either way the task and its progress are done.
    if (activeScanTask && activeScanTask->isCancelled())
        result.reset();
    retiredTasks.push_back(std::move(activeScanTask));
    setProgress(std::nullopt);
    emit scanningChanged();
    if (result)
        presentReport(*result);
    retireFinishedTasks();
}

void ScanState::storeCache(const ScanCache &walk, Rebuild rebuild)
{
    cache = walk;
    cacheRebuild = std::move(rebuild);
}

void ScanState::setProgress(const std::optional<ScanProgress> &value)
{
    if (progress == value)
        return;
    progress = value;
    emit scanProgressChanged();
}

void ScanState::retireFinishedTasks()
{
    std::erase_if(retiredTasks,
                  [](const std::unique_ptr<BackgroundTask> &task) { return !task || task->isFinished(); });
}

void ScanState::rebuildFromCache(const QString &workflowID, int threshold)
{
    if (!cache || cache->workflowID != workflowID || !cacheRebuild)
        return;
    presentReport(cacheRebuild(cache->walked, threshold));
}

void ScanState::setStaleThreshold(int days)
{
    staleDays = days;
    defaults.setValue(DefaultsKeys::staleThresholdDays, days);
    emit thresholdsChanged();
    rebuildFromCache(QStringLiteral("old-stale-files"), days);
}

void ScanState::setLargeFileThreshold(int megabytes)
{
    largeMB = megabytes;
    defaults.setValue(DefaultsKeys::largeFileThresholdMB, megabytes);
    emit thresholdsChanged();
    rebuildFromCache(QStringLiteral("large-file-finder"), megabytes);
}

void ScanState::setDownloadsTidyThreshold(int days)
{
    tidyDays = days;
    defaults.setValue(DefaultsKeys::downloadsTidyThresholdDays, days);
    emit thresholdsChanged();
    rebuildFromCache(QStringLiteral("downloads-tidy"), days);
}
