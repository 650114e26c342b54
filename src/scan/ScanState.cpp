#include "scan/ScanState.h"

#include "foundation/Defaults.h"

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
    start([work = std::move(work)](std::stop_token stop, const PublishProgress &publish) -> std::optional<Result> {
        std::optional<ScanReport> report = work(stop, publish);
        if (!report)
            return std::nullopt;
        return Result{std::move(report), std::nullopt, nullptr, nullptr, false};
    });
}

void ScanState::runThresholdScan(const QString &workflowID, const QStringList &paths, int threshold, Rebuild rebuild)
{
    resetScan();
    start([workflowID, paths, threshold,
           rebuild = std::move(rebuild)](std::stop_token stop, const PublishProgress &) -> std::optional<Result> {
        QList<FileWalker::WalkedFile> walked = FileWalker::walk(paths, stop);
        if (stop.stop_requested())
            return std::nullopt;
        ScanReport report = rebuild(walked, threshold);
        return Result{std::move(report), ScanCache{workflowID, std::move(walked)}, rebuild, nullptr, false};
    });
}

void ScanState::runFollowUp(Task task)
{
    std::optional<ScanCache> kept = cache;
    Rebuild keptRebuild = cacheRebuild;
    resetScan();
    cache = std::move(kept);
    cacheRebuild = std::move(keptRebuild);
    start(std::move(task));
}

void ScanState::start(Task task)
{
    const quint64 current = ++generation;
    activeScanTask = std::make_unique<BackgroundTask>([this, current, task = std::move(task)](std::stop_token stop) {
        const PublishProgress publish = [this, current](const ScanProgress &value) {
            postToMain(this, [this, current, value] {
                if (current == generation)
                    setProgress(value);
            });
        };
        std::optional<Result> result = task(stop, publish);
        if (result && stop.stop_requested() && !result->standsWhenCancelled)
            result.reset();
        postToMain(this, [this, current, result = std::move(result)] { finish(current, result); });
    });
    emit scanningChanged();
}

void ScanState::finish(quint64 finished, std::optional<Result> result)
{
    if (finished != generation) {
        retireFinishedTasks();
        return;
    }
    // A cancelled scan shows nothing; either way the task and its progress are done.
    if (result && activeScanTask && activeScanTask->isCancelled() && !result->standsWhenCancelled)
        result.reset();
    retiredTasks.push_back(std::move(activeScanTask));
    setProgress(std::nullopt);
    emit scanningChanged();
    if (result) {
        if (result->cache)
            storeCache(*result->cache, result->rebuild);
        if (result->report)
            presentReport(*result->report);
        if (result->then)
            result->then();
    }
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

bool ScanState::hasThreshold(const QString &workflowID)
{
    return workflowID == QLatin1String("old-stale-files") || workflowID == QLatin1String("large-file-finder") ||
           workflowID == QLatin1String("downloads-tidy");
}

bool ScanState::useThresholdForThisRun(const QString &workflowID, int value)
{
    if (workflowID == QLatin1String("old-stale-files"))
        staleDays = value;
    else if (workflowID == QLatin1String("large-file-finder"))
        largeMB = value;
    else if (workflowID == QLatin1String("downloads-tidy"))
        tidyDays = value;
    else
        return false;
    emit thresholdsChanged();
    return true;
}
