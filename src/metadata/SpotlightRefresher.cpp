#include "metadata/SpotlightRefresher.h"

#include "platform/Indexer.h"
#include "scan/ScanState.h"

bool SpotlightRefresher::refresh(const QString &path)
{
    return Indexer::refresh(path);
}

QList<SpotlightRefresher::Result> SpotlightRefresher::refreshAll(const QStringList &urls, std::stop_token stop)
{
    QList<Result> results;
    for (const QString &url : urls) {
        // A folder goes to the indexer as one path; it is never walked here.
        results.append({url, refresh(url)});
        if (stop.stop_requested())
            break;
    }
    return results;
}

QString SpotlightRefresher::summary(const QList<Result> &results)
{
    const qsizetype total = results.size();
    const qsizetype succeeded =
        std::count_if(results.cbegin(), results.cend(), [](const Result &r) { return r.success; });
    if (total == 0)
        return QStringLiteral("Nothing to refresh.");
    if (succeeded == 0)
        return QStringLiteral("All %1 refreshes failed.").arg(total);
    if (succeeded == total)
        return QStringLiteral("Refreshed Spotlight metadata for %1 path%2.")
            .arg(total)
            .arg(total == 1 ? QString() : QStringLiteral("s"));
    return QStringLiteral("Refreshed %1 · %2 failed.").arg(succeeded).arg(total - succeeded);
}

ScanReport SpotlightRefresher::report(const QList<Result> &results)
{
    ScanReport result = ScanReport::begin(QStringLiteral("spotlight-refresher"), QStringLiteral("Spotlight Refresher"),
                                          ScanReport::Kind::tidy);
    for (const Result &r : results)
        result.items.append(
            ScanReport::itemFor(r.url, r.success ? QStringLiteral("refreshed") : QStringLiteral("failed")));
    result.summary = summary(results);
    return result;
}

void SpotlightRefresher::run(const QStringList &urls, ScanState &scans)
{
    // A cancelled run keeps what it did; the scan state shows no report for it.
    scans.runScan([urls](std::stop_token stop, const ScanState::PublishProgress &) -> std::optional<ScanReport> {
        return report(refreshAll(urls, stop));
    });
}
