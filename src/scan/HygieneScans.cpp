#include "scan/HygieneScans.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Plural.h"
#include "platform/MetadataBackend.h"
#include "platform/Paths.h"
#include "scan/ScanState.h"

#include <QCollator>
#include <QFileInfo>
#include <QHash>

#include <algorithm>
#include <array>

namespace {

using FileWalker::WalkedFile;

ScanItem itemOf(const WalkedFile &file, std::optional<QString> badge = std::nullopt,
                std::optional<QUuid> group = std::nullopt)
{
    return {QUuid::createUuid(), file.url, file.size, file.modificationDate, std::move(badge), group};
}

struct TidyCategory {
    const char *label;
    std::initializer_list<const char *> extensions;
};

// Tested in this order.
const std::array<TidyCategory, 7> &tidyCategories()
{
    static const std::array<TidyCategory, 7> table{{
        {"Old PDFs", {"pdf"}},
        {"Old Images", {"jpg", "jpeg", "png", "heic", "gif", "tiff", "webp"}},
        {"Old Archives", {"zip", "tar", "gz", "7z", "rar", "bz2"}},
        {"Old Installers", {"dmg", "pkg"}},
        {"Old Audio", {"mp3", "m4a", "wav", "flac", "aac"}},
        {"Old Video", {"mp4", "mov", "mkv", "avi", "webm"}},
        {"Old Docs", {"doc", "docx", "xls", "xlsx", "ppt", "pptx", "pages", "numbers", "keynote"}},
    }};
    return table;
}

bool isInside(const QString &path, const QString &folder)
{
    return path.startsWith(folder + QLatin1Char('/'));
}

} // namespace

QDateTime HygieneScans::cutoff(const QDateTime &now, int days)
{
    return now.toLocalTime().addDays(-days);
}

QString HygieneScans::ageBadge(qint64 days)
{
    if (days < 365)
        return QStringLiteral("%1 days old").arg(days);
    return QStringLiteral("%1 yr+ old").arg(days / 365);
}

ScanReport HygieneScans::stale(const WalkedFiles &walked, int days, const QDateTime &now)
{
    ScanReport result = ScanReport::begin(QStringLiteral("old-stale-files"), QStringLiteral("Old & Stale Files"),
                                          ScanReport::Kind::stale);
    const QDateTime before = cutoff(now, days);
    WalkedFiles old;
    for (const WalkedFile &file : walked) {
        if (file.modificationDate && *file.modificationDate < before)
            old.append(file);
    }
    std::stable_sort(old.begin(), old.end(), [](const WalkedFile &a, const WalkedFile &b) {
        return *a.modificationDate < *b.modificationDate;
    });
    for (const WalkedFile &file : old)
        result.items.append(itemOf(file, ageBadge(file.modificationDate->secsTo(now) / 86'400)));
    const qsizetype n = result.items.size();
    result.summary =
        n == 0 ? QStringLiteral("Nothing older than %1 days in the selection.").arg(days)
               : QStringLiteral("%1 file%2 not touched in over %3 days.").arg(n).arg(pluralSuffix(n)).arg(days);
    return result;
}

ScanReport HygieneScans::large(const WalkedFiles &walked, int megabytes)
{
    ScanReport result = ScanReport::begin(QStringLiteral("large-file-finder"), QStringLiteral("Large File Finder"),
                                          ScanReport::Kind::large);
    const quint64 limit = quint64(std::max(megabytes, 0)) * 1'048'576;
    WalkedFiles big;
    for (const WalkedFile &file : walked) {
        if (file.size >= limit)
            big.append(file);
    }
    std::stable_sort(big.begin(), big.end(), [](const WalkedFile &a, const WalkedFile &b) { return a.size > b.size; });
    for (const WalkedFile &file : big)
        result.items.append(itemOf(file));
    const qsizetype n = result.items.size();
    const QString shown = ByteCountFormatter::format(limit);
    result.summary = n == 0 ? QStringLiteral("Nothing larger than %1 in the selection.").arg(shown)
                            : QStringLiteral("%1 file%2 larger than %3.").arg(n).arg(pluralSuffix(n), shown);
    return result;
}

std::optional<QString> HygieneScans::tidyCategory(const QString &fileName)
{
    const QString extension = QFileInfo(fileName).suffix().toLower();
    if (extension.isEmpty())
        return std::nullopt;
    for (const TidyCategory &category : tidyCategories()) {
        for (const char *candidate : category.extensions) {
            if (extension == QLatin1String(candidate))
                return QString::fromLatin1(category.label);
        }
    }
    return std::nullopt;
}

ScanReport HygieneScans::tidy(const WalkedFiles &walked, int days, const QDateTime &now, const QString &root)
{
    ScanReport result =
        ScanReport::begin(QStringLiteral("downloads-tidy"), QStringLiteral("Downloads Tidy"), ScanReport::Kind::tidy);
    const QDateTime before = cutoff(now, days);
    QList<PlannedMove> moves;
    for (const WalkedFile &file : walked) {
        if (!file.modificationDate || !(*file.modificationDate < before) || isInside(file.url, root))
            continue;
        const QString name = QFileInfo(file.url).fileName();
        const std::optional<QString> category = tidyCategory(name);
        if (!category)
            continue;
        moves.append({QUuid::createUuid(), file.url, root + QLatin1Char('/') + *category + QLatin1Char('/') + name,
                      QStringLiteral("older than %1 days").arg(days)});
        result.items.append(itemOf(file));
    }
    const qsizetype n = moves.size();
    if (n > 0)
        result.summary =
            QStringLiteral("Would move %1 item%2 (%3) into %4/. Nothing happens until you confirm.")
                .arg(n)
                .arg(pluralSuffix(n), ByteCountFormatter::format(result.totalSize()), Paths::displayPath(root));
    else
        result.summary = QStringLiteral("%1 file%2 scanned. Nothing older than %3 days in the supported categories "
                                        "(PDFs, images, archives, installers, audio, video, docs).")
                             .arg(walked.size())
                             .arg(pluralSuffix(walked.size()))
                             .arg(days);
    result.plannedMoves = moves;
    return result;
}

QString HygieneScans::tidyRoot()
{
    return Paths::documents() + QStringLiteral("/Vantrel Tidy");
}

ScanReport HygieneScans::tagAudit(const WalkedFiles &walked, const TagReader &readTags)
{
    ScanReport result =
        ScanReport::begin(QStringLiteral("tag-audit"), QStringLiteral("Tag Audit"), ScanReport::Kind::tagAudit);
    QStringList tags; // in the order first met
    QHash<QString, QList<qsizetype>> carriers;
    qsizetype tagged = 0;
    for (qsizetype i = 0; i < walked.size(); ++i) {
        const QStringList own = readTags(walked[i].url);
        if (own.isEmpty())
            continue;
        ++tagged;
        QStringList seen;
        for (const QString &tag : own) {
            if (seen.contains(tag))
                continue; // a tag written twice on one file still counts the file once
            seen.append(tag);
            if (!carriers.contains(tag))
                tags.append(tag);
            carriers[tag].append(i);
        }
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(tags.begin(), tags.end(),
                     [&collator](const QString &a, const QString &b) { return collator.compare(a, b) < 0; });
    QList<ScanGroup> groups;
    for (const QString &tag : tags) {
        const QList<qsizetype> &files = carriers[tag];
        const ScanGroup group{
            QUuid::createUuid(),
            QStringLiteral("%1 — %2 file%3").arg(tag).arg(files.size()).arg(pluralSuffix(files.size()))};
        groups.append(group);
        for (qsizetype index : files)
            result.items.append(itemOf(walked[index], std::nullopt, group.id));
    }
    result.groups = groups;
    const qsizetype n = walked.size();
    result.summary = tags.isEmpty()
                         ? QStringLiteral("No Finder tags found across %1 file%2.").arg(n).arg(pluralSuffix(n))
                         : QStringLiteral("%1 unique tag%2 across %3 of %4 files.")
                               .arg(tags.size())
                               .arg(pluralSuffix(tags.size()))
                               .arg(tagged)
                               .arg(n);
    return result;
}

void HygieneScans::runStale(const QStringList &paths, ScanState &scans)
{
    scans.runThresholdScan(
        QStringLiteral("old-stale-files"), paths, scans.staleThresholdDays(),
        [](const WalkedFiles &walked, int days) { return stale(walked, days, QDateTime::currentDateTime()); });
}

void HygieneScans::runLarge(const QStringList &paths, ScanState &scans)
{
    scans.runThresholdScan(QStringLiteral("large-file-finder"), paths, scans.largeFileThresholdMB(), &large);
}

void HygieneScans::runTidy(const QStringList &paths, ScanState &scans)
{
    const QStringList walked = paths.isEmpty() ? QStringList{Paths::downloads()} : paths;
    const QString root = tidyRoot();
    scans.runThresholdScan(
        QStringLiteral("downloads-tidy"), walked, scans.downloadsTidyThresholdDays(),
        [root](const WalkedFiles &files, int days) { return tidy(files, days, QDateTime::currentDateTime(), root); });
}

void HygieneScans::runTagAudit(const QStringList &paths, ScanState &scans)
{
    scans.runScan(
        [paths](std::stop_token stop, const ScanState::PublishProgress &publish) -> std::optional<ScanReport> {
            const WalkedFiles walked = FileWalker::walk(paths, stop);
            if (stop.stop_requested())
                return std::nullopt;
            const ProgressThrottle throttle(int(walked.size()));
            int index = 0;
            MetadataBackend &backend = MetadataBackend::system();
            // Reading a tag is a system call per file: the loop publishes progress and stops when asked.
            ScanReport report = tagAudit(walked, [&](const QString &path) -> QStringList {
                if (stop.stop_requested())
                    return {};
                if (publish && throttle.shouldPublish(index))
                    publish({QStringLiteral("Reading tags"), index + 1, int(walked.size())});
                ++index;
                return backend.readTags(path);
            });
            if (stop.stop_requested())
                return std::nullopt;
            return report;
        });
}
