#include "scan/DuplicateScan.h"

#include "foundation/ByteCountFormatter.h"
#include "platform/NativeNames.h"
#include "scan/ContentDigests.h"

#include <QFileInfo>

#include <algorithm>

namespace {

using FileWalker::WalkedFile;

// The group's label is read, not followed: a byte that isn't UTF-8 shows as "\xE9".
QString fileName(const QString &path)
{
    return NativeNames::display(QFileInfo(path).fileName());
}

} // namespace

ScanReport DuplicateScan::emptySelectionReport()
{
    ScanReport result = ScanReport::begin(QString::fromLatin1(workflowID), QStringLiteral("Duplicate Reports"),
                                          ScanReport::Kind::duplicates);
    result.summary = QStringLiteral("No files in the selection to scan.");
    return result;
}

ScanReport DuplicateScan::report(const QList<QList<WalkedFile>> &groups)
{
    ScanReport result = ScanReport::begin(QString::fromLatin1(workflowID), QStringLiteral("Duplicate Reports"),
                                          ScanReport::Kind::duplicates);
    QList<ScanGroup> labelled;
    quint64 reclaimable = 0;
    for (const QList<WalkedFile> &files : groups) {
        if (files.isEmpty())
            continue;
        const ScanGroup group{QUuid::createUuid(),
                              QStringLiteral("%1 copies · %2").arg(files.size()).arg(fileName(files.first().url))};
        labelled.append(group);
        reclaimable += quint64(files.size() - 1) * files.first().size;
        for (qsizetype i = 0; i < files.size(); ++i) {
            const WalkedFile &file = files[i];
            result.items.append({QUuid::createUuid(), file.url, file.size, file.modificationDate,
                                 i == 0 ? QStringLiteral("original") : QStringLiteral("duplicate"), group.id});
        }
    }
    if (labelled.isEmpty()) {
        result.summary = QStringLiteral("No duplicates found in the selection.");
    } else {
        result.summary = QStringLiteral("%1 duplicate group%2 across %3 files. Removing extras could free %4.")
                             .arg(labelled.size())
                             .arg(labelled.size() == 1 ? QString() : QStringLiteral("s"))
                             .arg(result.items.size())
                             .arg(ByteCountFormatter::format(reclaimable));
    }
    result.groups = labelled;
    return result;
}

std::optional<ScanReport> DuplicateScan::scan(const QStringList &paths, std::stop_token stop,
                                              const ScanState::PublishProgress &publish)
{
    const QList<WalkedFile> walked = FileWalker::walk(paths, stop);
    if (stop.stop_requested())
        return std::nullopt;
    if (walked.isEmpty())
        return emptySelectionReport();

    ContentDigests::Progress progress;
    if (publish) {
        publish({QStringLiteral("Hashing files"), 0, int(walked.size())});
        progress = [&publish](int processed, int total) {
            publish({QStringLiteral("Hashing files"), processed, total});
        };
    }
    std::optional<std::vector<std::vector<int>>> found = ContentDigests::identicalGroups(walked, stop, progress);
    if (!found)
        return std::nullopt;

    // Largest files first; among equal sizes, the group whose original was walked first.
    std::sort(found->begin(), found->end(), [&walked](const std::vector<int> &a, const std::vector<int> &b) {
        const quint64 sizeA = walked[a.front()].size;
        const quint64 sizeB = walked[b.front()].size;
        return sizeA != sizeB ? sizeA > sizeB : a.front() < b.front();
    });
    QList<QList<WalkedFile>> groups;
    groups.reserve(qsizetype(found->size()));
    for (const std::vector<int> &indices : *found) {
        QList<WalkedFile> files;
        files.reserve(qsizetype(indices.size()));
        for (int index : indices)
            files.append(walked[index]);
        groups.append(std::move(files));
    }
    return report(groups);
}

void DuplicateScan::run(const QStringList &paths, ScanState &scans)
{
    scans.runScan([paths](std::stop_token stop, const ScanState::PublishProgress &publish) {
        return scan(paths, stop, publish);
    });
}
