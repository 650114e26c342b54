#include "transfer/engine/TransferPlanner.h"

#include "platform/NativeNames.h"
#include "platform/Packages.h"

#include <QDir>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace TransferEngine;

namespace {

QString cleaned(const QString &path)
{
    return QDir::cleanPath(NativeNames::absolutePath(path));
}

// The path with every link on the way resolved; the cleaned path when it doesn't exist.
QString resolved(const QString &path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(NativeNames::encode(path).constData(), nullptr),
                                                           &std::free);
    return real ? NativeNames::decode(real.get()) : cleaned(path);
}

QString lastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

bool isPackageFolder(const QString &path, const struct stat &status)
{
    return S_ISDIR(status.st_mode) && Packages::isPackageName(lastComponent(path));
}

qint64 folderSize(const QByteArray &folder)
{
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return 0;
    qint64 total = 0;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        struct stat status {};
        if (::fstatat(::dirfd(dir), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISREG(status.st_mode))
            total += status.st_size;
        else if (S_ISDIR(status.st_mode))
            total += folderSize(folder + '/' + entry->d_name);
    }
    ::closedir(dir);
    return total;
}

// A selected folder's leaves, in the order the folder lists them: each regular file, hidden ones too,
// and each package whole. Links, folders and special files make none, so empty folders don't arrive.
struct Leaf {
    QString url;
    qint64 size = 0;
};

// A folder's entries in the order of their inode numbers: on a cold disk the files' records and, mostly,
// their blocks are then read front to back rather than in the order of the folder's hash.
QList<std::pair<ino_t, QByteArray>> entriesByInode(DIR *dir)
{
    QList<std::pair<ino_t, QByteArray>> entries;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            entries.append({entry->d_ino, QByteArray(entry->d_name)});
    }
    std::sort(entries.begin(), entries.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    return entries;
}

void walk(const QByteArray &folder, QList<Leaf> &leaves, std::stop_token stop)
{
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return;
    for (const auto &[inode, name] : entriesByInode(dir)) {
        if (stop.stop_requested())
            break;
        const QByteArray path = folder + '/' + name;
        struct stat status {};
        if (::fstatat(::dirfd(dir), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISREG(status.st_mode)) {
            leaves.append({NativeNames::decode(path), status.st_size});
        } else if (S_ISDIR(status.st_mode)) {
            if (Packages::isPackageName(NativeNames::decode(name)))
                leaves.append({NativeNames::decode(path), folderSize(path)});
            else
                walk(path, leaves, stop);
        }
    }
    ::closedir(dir);
}

bool exists(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

} // namespace

bool TransferPlanner::contains(const QString &source, const QString &destination)
{
    if (source == destination)
        return true;
    const QString prefix = source.endsWith(QLatin1Char('/')) ? source : source + QLatin1Char('/');
    return destination.startsWith(prefix);
}

bool TransferPlanner::nearlyFull(qint64 totalBytes, qint64 freeBytes)
{
    return freeBytes >= 1 && totalBytes > 0 && double(totalBytes) * 1.1 > double(freeBytes);
}

qint64 TransferPlanner::recursiveSize(const QString &path)
{
    const QByteArray bytes = NativeNames::encode(path);
    struct stat status {};
    if (::lstat(bytes.constData(), &status) != 0)
        return 0;
    if (S_ISDIR(status.st_mode))
        return folderSize(bytes);
    return S_ISREG(status.st_mode) ? status.st_size : 0;
}

Plan TransferPlanner::plan(const QStringList &sources, const QString &destinationRoot, const VolumeProbe &probe,
                           std::stop_token stop)
{
    Plan plan;
    plan.destinationRoot = cleaned(destinationRoot);
    plan.topLevelItemCount = int(sources.size());

    // 1. A destination inside a source would copy the copy again. Paths are compared as written, then
    // with links resolved, so that a link into the source is caught too.
    const QString destinationResolved = resolved(plan.destinationRoot);
    for (const QString &source : sources) {
        if (contains(cleaned(source), plan.destinationRoot) || contains(resolved(source), destinationResolved)) {
            plan.safetyIssues.append(SafetyIssue::sourceContainsDestination);
            break;
        }
    }

    // 2.
    const Volumes::Facts facts = probe(plan.destinationRoot);
    if (!facts.writable)
        plan.safetyIssues.append(SafetyIssue::destinationUnwritable);

    // 3. Folders arrive as folders of the same name; everything else as one item.
    for (const QString &given : sources) {
        if (stop.stop_requested())
            return plan;
        const QString source = cleaned(given);
        const QString name = lastComponent(source);
        const QByteArray bytes = NativeNames::encode(source);
        struct stat status {};
        const bool readable = ::lstat(bytes.constData(), &status) == 0;
        if (readable && S_ISDIR(status.st_mode) && !isPackageFolder(source, status)) {
            QList<Leaf> leaves;
            walk(bytes, leaves, stop);
            const QString base = plan.destinationRoot + QLatin1Char('/') + name + QLatin1Char('/');
            for (const Leaf &leaf : leaves) {
                const QString relative = leaf.url.mid(source.size() + 1);
                plan.items.append({leaf.url, base + relative, leaf.size, false});
            }
        } else {
            qint64 size = 0;
            if (readable)
                size = S_ISDIR(status.st_mode) ? folderSize(bytes) : (S_ISREG(status.st_mode) ? status.st_size : 0);
            plan.items.append({source, plan.destinationRoot + QLatin1Char('/') + name, size, false});
        }
    }
    for (PlannedItem &item : plan.items) {
        item.conflictsAtPlanTime = exists(item.intendedDestination);
        if (item.conflictsAtPlanTime)
            plan.conflicts.append(item);
        plan.totalSizeBytes += item.sizeBytes;
    }
    plan.totalFileCount = int(plan.items.size());

    // 5, 6.
    plan.destinationFreeSpaceBytes = std::max<qint64>(facts.availableBytes, 0);
    if (nearlyFull(plan.totalSizeBytes, plan.destinationFreeSpaceBytes))
        plan.safetyIssues.append(SafetyIssue::destinationVolumeAlmostFull);
    // 7.
    if (plan.items.isEmpty() && !plan.safetyIssues.contains(SafetyIssue::empty))
        plan.safetyIssues.append(SafetyIssue::empty);
    return plan;
}
