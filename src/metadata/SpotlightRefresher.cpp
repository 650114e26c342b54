#include "metadata/SpotlightRefresher.h"

#include "platform/Indexer.h"
#include "scan/ScanState.h"

bool SpotlightRefresher::refresh(const QString &path, QString *reason)
{
    return Indexer::refresh(path, reason);
}

QList<SpotlightRefresher::Result> SpotlightRefresher::refreshAll(const QStringList &urls, std::stop_token stop)
{
    QList<Result> results;
    for (const QString &url : urls) {
        // A folder goes to the indexer as one path; it is never walked here.
        QString reason;
        const bool success = refresh(url, &reason);
        results.append({url, success, success ? QString() : reason});
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
        return ItemFailures::withFirstReason(QStringLiteral("All %1 refreshes failed.").arg(total), failures(results));
    if (succeeded == total)
        return QStringLiteral("Refreshed Spotlight metadata for %1 path%2.")
            .arg(total)
            .arg(total == 1 ? QString() : QStringLiteral("s"));
    return ItemFailures::withFirstReason(
        QStringLiteral("Refreshed %1 · %2 failed.").arg(succeeded).arg(total - succeeded), failures(results));
}

QList<ItemFailure> SpotlightRefresher::failures(const QList<Result> &results)
{
    QList<ItemFailure> list;
    for (const Result &r : results) {
        if (!r.success)
            list.append({r.url, r.reason});
    }
    return list;
}

ScanReport SpotlightRefresher::report(const QList<Result> &results)
{
    ScanReport result = ScanReport::begin(QStringLiteral("spotlight-refresher"), QStringLiteral("Spotlight Refresher"),
                                          ScanReport::Kind::tidy);
    for (const Result &r : results) {
        const QString badge = r.success            ? QStringLiteral("refreshed")
                              : r.reason.isEmpty() ? QStringLiteral("failed")
                                                   : QStringLiteral("failed: %1").arg(r.reason);
        result.items.append(ScanReport::itemFor(r.url, badge));
    }
    result.summary = summary(results);
    result.failures = failures(results);
    return result;
}

void SpotlightRefresher::run(const QStringList &urls, ScanState &scans)
{
    // A cancelled run keeps what it did; the scan state shows no report for it.
    scans.runScan([urls](std::stop_token stop, const ScanState::PublishProgress &) -> std::optional<ScanReport> {
        return report(refreshAll(urls, stop));
    });
}
