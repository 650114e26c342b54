#include "quickactions/QuickActionBackupStore.h"

#include "platform/FileMoves.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/Trash.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString extension = QStringLiteral(".workflow");
const QString stampFormat = QStringLiteral("yyyy-MM-dd-HHmmss");

QString systemReason(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// What a failed FileMoves step says: a name taken by then has no system message of its own.
QString reasonOf(const FileMoves::Result &result)
{
    return result.outcome == FileMoves::Outcome::destinationExists ? systemReason(EEXIST) : result.error;
}

QString lastComponent(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    return trimmed.mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1);
}

QString withoutExtension(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.left(dot) : fileName;
}

// Texts written for macOS name ~/Library/Services; here they name the folder that stands in for it.
QString servicesShown()
{
    return Paths::displayPath(Paths::servicesFolder());
}

struct DirCloser {
    void operator()(DIR *dir) const { ::closedir(dir); }
};

// The names in a folder, as bytes, without "." and "..".
QList<QByteArray> entries(int folderFd)
{
    QList<QByteArray> names;
    const int own = ::dup(folderFd);
    if (own < 0)
        return names;
    const std::unique_ptr<DIR, DirCloser> dir(::fdopendir(own));
    if (!dir) {
        ::close(own);
        return names;
    }
    while (const dirent *entry = ::readdir(dir.get())) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    return names;
}

// The bytes of every regular file below a folder (or the file itself), links not followed.
qint64 regularBytes(int parentFd, const QByteArray &name)
{
    struct stat status {};
    if (::fstatat(parentFd, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return 0;
    if (S_ISREG(status.st_mode))
        return status.st_size;
    if (!S_ISDIR(status.st_mode))
        return 0;
    const int fd = ::openat(parentFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return 0;
    qint64 total = 0;
    for (const QByteArray &child : entries(fd))
        total += regularBytes(fd, child);
    ::close(fd);
    return total;
}

// When the entry itself came to be, as the file system recorded it; a copy keeps its source's
// modification time, so that one would date the backup by its original instead.
QDateTime birthTime(int folderFd, const QByteArray &name)
{
    struct statx status {};
    if (::statx(folderFd, name.constData(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status) != 0 ||
        (status.stx_mask & STATX_BTIME) == 0 || status.stx_btime.tv_sec == 0)
        return {}; // some file systems answer with a zero they never recorded
    return QDateTime::fromMSecsSinceEpoch(qint64(status.stx_btime.tv_sec) * 1000 + status.stx_btime.tv_nsec / 1000000);
}

// Without a birth time nor a stamp in its name (a folder put there by hand), the last change to the
// entry itself, which a copy doesn't carry over.
QDateTime changeTime(int folderFd, const QByteArray &name)
{
    struct stat status {};
    if (::fstatat(folderFd, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return {};
    return QDateTime::fromMSecsSinceEpoch(qint64(status.st_ctim.tv_sec) * 1000 + status.st_ctim.tv_nsec / 1000000);
}

} // namespace

namespace QuickActionBackupStore {

BackupError::BackupError(const QString &message) : std::runtime_error(message.toStdString()), text(message) {}

QString folder()
{
    return Paths::applicationSupport() + QStringLiteral("/Quick Action Backups");
}

QString save(const QString &source)
{
    const QString backups = folder();
    if (const auto problem = FileMoves::makeFolders(backups))
        throw BackupError(QStringLiteral("Couldn't create the backup folder: ") + *problem);
    const QString name = withoutExtension(lastComponent(source));
    QString target = backups + QLatin1Char('/') + name + QLatin1Char(' ') +
                     QDateTime::currentDateTime().toString(stampFormat) + extension;
    const FileMoves::Result copied = FileMoves::copyNoReplace(source, target);
    if (copied.outcome != FileMoves::Outcome::moved)
        throw BackupError(QStringLiteral("Couldn't copy the workflow: ") + reasonOf(copied));
    return target;
}

QList<Backup> list()
{
    const QString backups = folder();
    const int fd = ::open(NativeNames::encode(backups).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return {};
    QList<Backup> found;
    for (const QByteArray &bytes : entries(fd)) {
        const QString fileName = NativeNames::decode(bytes);
        if (!fileName.endsWith(extension) || fileName.size() == extension.size())
            continue;
        Backup backup;
        backup.url = backups + QLatin1Char('/') + fileName;
        backup.workflowName = workflowNameOf(fileName);
        backup.createdAt = birthTime(fd, bytes);
        if (!backup.createdAt.isValid())
            backup.createdAt = timestampOf(fileName);
        if (!backup.createdAt.isValid())
            backup.createdAt = changeTime(fd, bytes);
        backup.sizeBytes = regularBytes(fd, bytes);
        found.append(backup);
    }
    ::close(fd);
    // Same-time entries by name, so the order never depends on how the folder happens to be read.
    std::sort(found.begin(), found.end(), [](const Backup &a, const Backup &b) {
        return a.createdAt != b.createdAt ? a.createdAt > b.createdAt : a.url > b.url;
    });
    return found;
}

void restore(const Backup &backup)
{
    const QString services = Paths::servicesFolder();
    const QString target = services + QLatin1Char('/') + backup.workflowName + extension;
    const QString refusal = QStringLiteral("“") + backup.workflowName +
                            QStringLiteral("” is still installed. Remove or rename it in ") + servicesShown() +
                            QStringLiteral(" first, so restoring can't overwrite it.");
    struct stat status {};
    if (::lstat(NativeNames::encode(target).constData(), &status) == 0)
        throw BackupError(refusal);
    if (const auto problem = FileMoves::makeFolders(services))
        throw BackupError(QStringLiteral("Couldn't copy the workflow: ") + *problem);
    const FileMoves::Result copied = FileMoves::copyNoReplace(backup.url, target);
    // Installed meanwhile: the same refusal, and what was installed stays.
    if (copied.outcome == FileMoves::Outcome::destinationExists)
        throw BackupError(refusal);
    if (copied.outcome != FileMoves::Outcome::moved)
        throw BackupError(QStringLiteral("Couldn't copy the workflow: ") + copied.error);
}

void remove(const Backup &backup)
{
    struct stat status {};
    if (::lstat(NativeNames::encode(backup.url).constData(), &status) != 0)
        throw BackupError(QStringLiteral("Couldn't move the backup to the Trash: ") + systemReason(errno));
    errno = 0;
    if (Trash::moveToTrash(backup.url))
        return;
    const int error = errno;
    throw BackupError(QStringLiteral("Couldn't move the backup to the Trash: ") +
                      (error != 0 ? systemReason(error) : QStringLiteral("the Trash refused it")));
}

QString workflowNameOf(const QString &fileName)
{
    const QString stem = fileName.endsWith(extension) ? fileName.chopped(extension.size()) : fileName;
    const qsizetype blank = stem.lastIndexOf(QLatin1Char(' '));
    return blank < 0 ? stem : stem.left(blank);
}

QDateTime timestampOf(const QString &fileName)
{
    const QString stem = fileName.endsWith(extension) ? fileName.chopped(extension.size()) : fileName;
    const qsizetype blank = stem.lastIndexOf(QLatin1Char(' '));
    if (blank < 0)
        return {};
    return QDateTime::fromString(stem.mid(blank + 1), stampFormat);
}

QString restoredMessage(const QString &workflowName)
{
    return QStringLiteral("Restored “") + workflowName + QStringLiteral("” to ") + servicesShown() +
           QStringLiteral(". It's back in Finder's Quick Actions menu.");
}

QString cardDescription()
{
    return QStringLiteral("Copies of your Quick Actions taken when you converted them. Restore puts one back in ") +
           servicesShown() + QStringLiteral(" — it never overwrites a workflow that's still installed.");
}

QString cardTitle(qsizetype count)
{
    return QStringLiteral("Backups of your originals · ") + QString::number(count);
}

} // namespace QuickActionBackupStore
