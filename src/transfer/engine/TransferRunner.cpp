#include "transfer/engine/TransferRunner.h"

#include "platform/Descriptor.h"
#include "platform/FileCopy.h"
#include "platform/FileMoves.h"
#include "platform/NativeNames.h"
#include "platform/Volumes.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr int lastNumber = 999;

QString folderOf(const QString &path)
{
    return path.left(std::max<qsizetype>(path.lastIndexOf(QLatin1Char('/')), 1));
}

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

using namespace TransferEngine;

// Where one item goes, decided when it is its turn: what is on disk now wins over what the plan saw.
struct ResolvedDest {
    QString url;
    bool preExisted = false;
    std::optional<QString> skipReason;
};

ResolvedDest resolve(const QString &intended, const ConflictPolicy &policy)
{
    if (!TransferRunner::isTaken(intended))
        return {intended, false, std::nullopt};
    if (std::holds_alternative<skip>(policy))
        return {intended, false, QStringLiteral("Already exists at destination")};
    if (std::holds_alternative<overwrite>(policy))
        return {intended, true, std::nullopt};
    return {TransferRunner::uniqueURL(intended, std::get<renameWithSuffix>(policy).suffix), false, std::nullopt};
}

// One run's copying: the folders it made, which volumes may clone, and the bytes done so far.
class Run {
    // How one copy ended.
    struct Copy {
        enum class End { done, cancelled, taken, failed };
        End end = End::done;
        QString error = {};
    };

public:
    Run(const Plan &plan, const TransferRunner::PublishProgress &publish, std::stop_token stop)
        : plan(plan), publish(publish), stop(stop), mounts(Volumes::parseMountInfo(mountTable()))
    {
        clock.start();
    }

    // The outcome of copying `item` to its resolved place; nothing when a cancel cut it short.
    std::optional<ItemOutcome> write(const PlannedItem &item, ResolvedDest target, const ConflictPolicy &policy)
    {
        const QString parent = folderOf(target.url);
        if (!madeFolders.contains(parent)) {
            QStringList missing;
            for (QString folder = parent; !TransferRunner::isTaken(folder) && folder.size() > 1;
                 folder = folderOf(folder))
                missing.append(folder);
            if (const auto problem = FileMoves::makeFolders(parent))
                return failed{QStringLiteral("Couldn't create destination folder: %1").arg(*problem)};
            madeFolders.insert(parent);
            // The folders made here mirror the source's: they get its modes and dates once filled.
            QString source = folderOf(item.source);
            for (QString folder = parent; missing.contains(folder) && source.size() > 1;
                 folder = folderOf(folder), source = folderOf(source))
                foldersFrom.append({folder, source});
        }
        if (target.preExisted && !FileCopy::removeTree(NativeNames::encode(target.url)))
            return failed{systemText(errno)};
        const Copy done = copy(item, target.url);
        if (done.end == Copy::End::cancelled)
            return std::nullopt;
        // Taken between the check and the copy: the policy answers, and a skip or a renamed copy never
        // replaces the newcomer.
        if (done.end == Copy::End::taken && !target.preExisted) {
            const ResolvedDest again = resolve(item.intendedDestination, policy);
            if (again.skipReason)
                return skipped{*again.skipReason};
            if (again.url == target.url && !again.preExisted)
                return failed{systemText(EEXIST)};
            return write(item, again, policy);
        }
        if (done.end != Copy::End::done)
            return failed{done.end == Copy::End::taken ? systemText(EEXIST) : done.error};
        if (target.preExisted)
            return overwrote{target.url};
        if (target.url == item.intendedDestination)
            return copied{target.url};
        return renamed{target.url};
    }

    void report(int index, const PlannedItem &item, bool itemStart)
    {
        const int total = int(plan.items.size());
        const bool due = itemStart ? (index % TransferRunner::progressStride(total) == 0 || index == total - 1)
                                   : sinceLast.isValid() && sinceLast.elapsed() >= 100;
        if (!publish || !due)
            return;
        // A name that isn't UTF-8 is shown with its odd bytes escaped, as everywhere people read names.
        ScanProgress progress{QStringLiteral("Copying ") +
                                  NativeNames::display(item.source.mid(item.source.lastIndexOf(QLatin1Char('/')) + 1)),
                              index + 1, total};
        progress.bytesTotal = plan.totalSizeBytes;
        progress.bytesProcessed = std::min(bytesDone, plan.totalSizeBytes);
        const qint64 elapsed = clock.elapsed();
        if (elapsed >= 1000 && bytesDone > 0 && plan.totalSizeBytes > bytesDone)
            progress.secondsLeft =
                qint64(double(plan.totalSizeBytes - bytesDone) * double(elapsed) / double(bytesDone) / 1000.0);
        sinceLast.start();
        publish(progress);
    }

    void advance(qint64 bytes, int index, const PlannedItem &item)
    {
        bytesDone += bytes;
        report(index, item, false);
    }

    // Gives each folder the run made its source folder's mode and dates, deepest first, since writing
    // into a folder changes its dates. A folder's dates are a courtesy: a failure here fails no file.
    void finishFolders()
    {
        std::sort(foldersFrom.begin(), foldersFrom.end(),
                  [](const auto &a, const auto &b) { return a.first.size() > b.first.size(); });
        for (const auto &[made, source] : foldersFrom) {
            const Descriptor in(::open(NativeNames::encode(source).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            const Descriptor out(::open(NativeNames::encode(made).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (in.isOpen() && out.isOpen())
                FileCopy::copyMetadata(in.get(), out.get());
        }
    }

    int current = 0;

private:
    static QByteArray mountTable()
    {
        QFile file(QStringLiteral("/proc/self/mountinfo"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // A clone is tried only between local disks: a share may take seconds to refuse one.
    bool mayClone(const QString &source)
    {
        const auto local = [this](const QString &path) {
            const QString folder = folderOf(path);
            if (const auto known = localFolders.constFind(folder); known != localFolders.cend())
                return *known;
            const auto mount = Volumes::mountFor(folder, mounts);
            const bool isLocal = !mount || !Volumes::isNetworkType(mount->type);
            localFolders.insert(folder, isLocal);
            return isLocal;
        };
        return local(source) && local(plan.destinationRoot + QLatin1Char('/'));
    }

    Copy copy(const PlannedItem &item, const QString &to)
    {
        const QByteArray from = NativeNames::encode(item.source);
        // Most items are regular files: tried as one straight away, the copy itself tells what isn't.
        {
            const int index = current;
            const FileCopy::Watch watch{[this] { return stop.stop_requested(); },
                                        [this, index, &item](qint64 bytes) { advance(bytes, index, item); },
                                        clones && mayClone(item.source), [this] { clones = false; }};
            const qint64 before = bytesDone;
            if (FileCopy::copyFileAsNew(from, NativeNames::encode(to), watch))
                return {};
            const int error = errno;
            // A copy that didn't stand doesn't count towards the bytes done.
            bytesDone = before;
            if (error == ECANCELED)
                return {Copy::End::cancelled};
            if (error == EEXIST)
                return {Copy::End::taken};
            // A pipe, socket or device has no copy; its bytes would never end, or never come.
            if (error == EXDEV)
                return {Copy::End::failed, QStringLiteral("A pipe, socket or device can't be copied.")};
            // ELOOP: a link chosen on its own; EISDIR: a package. Both are copied whole, below.
            if (error != ELOOP && error != EISDIR)
                return {Copy::End::failed, systemText(error)};
        }
        // A package, a link chosen on its own, or something special: whole, through a hidden holding folder.
        const FileMoves::Result result = FileMoves::copyNoReplace(item.source, to);
        if (result.outcome == FileMoves::Outcome::moved) {
            bytesDone += item.sizeBytes;
            return {};
        }
        if (result.outcome == FileMoves::Outcome::destinationExists)
            return {Copy::End::taken};
        return {Copy::End::failed, result.error};
    }

    const Plan &plan;
    const TransferRunner::PublishProgress &publish;
    std::stop_token stop;
    QList<Volumes::Mount> mounts;
    QHash<QString, bool> localFolders;
    QSet<QString> madeFolders;
    QList<std::pair<QString, QString>> foldersFrom;
    QElapsedTimer clock;
    QElapsedTimer sinceLast;
    qint64 bytesDone = 0;
    // Until the destination's file system says it has no clones.
    bool clones = true;
};

} // namespace

bool TransferRunner::isTaken(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

int TransferRunner::progressStride(int total)
{
    return total >= 60 ? total / 60 : 1;
}

Result TransferRunner::execute(const Plan &plan, const ConflictPolicy &policy, const PublishProgress &publish,
                               std::stop_token stop)
{
    Result result{plan, policy, {}, false};
    Run run(plan, publish, stop);
    for (int i = 0; i < plan.items.size(); ++i) {
        if (stop.stop_requested()) {
            result.wasCancelled = true;
            break;
        }
        const PlannedItem &item = plan.items[i];
        run.current = i;
        run.report(i, item, true);
        // A name free at plan time is tried straight away; the copy itself refuses a name taken since.
        const ResolvedDest target = item.conflictsAtPlanTime
                                        ? resolve(item.intendedDestination, policy)
                                        : ResolvedDest{item.intendedDestination, false, std::nullopt};
        if (target.skipReason) {
            result.items.append({item.source, skipped{*target.skipReason}});
            continue;
        }
        std::optional<ItemOutcome> outcome = run.write(item, target, policy);
        if (!outcome) {
            result.wasCancelled = true;
            break;
        }
        result.items.append({item.source, std::move(*outcome)});
    }
    run.finishFolders();
    return result;
}

QString TransferRunner::uniqueURL(const QString &intended, const QString &suffix)
{
    const qsizetype slash = intended.lastIndexOf(QLatin1Char('/'));
    const QString folder = intended.left(slash + 1);
    const QString name = intended.mid(slash + 1);
    // The extension is what follows the last point, unless the point leads the name (".profile") or
    // ends it ("notes."): "archive.tar.gz" keeps "archive.tar" as its stem.
    const qsizetype point = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = point > 0 && point < name.size() - 1;
    const QString stem = hasExtension ? name.left(point) : name;
    const QString extension = hasExtension ? name.mid(point) : QString();

    QString candidate;
    for (int n = 1; n <= lastNumber; ++n) {
        const QString number = n == 1 ? QString() : QLatin1Char(' ') + QString::number(n);
        candidate = folder + stem + suffix + number + extension;
        if (!isTaken(candidate))
            return candidate;
    }
    return candidate;
}
