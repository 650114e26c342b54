#include "platform/FileMoves.h"

#include "platform/Descriptor.h"
#include "platform/FileCopy.h"
#include "platform/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

FileMoves::Result failure(int error)
{
    if (error == EEXIST)
        return {FileMoves::Outcome::destinationExists, {}};
    return {FileMoves::Outcome::failed, QString::fromLocal8Bit(std::strerror(error))};
}

#if defined(__linux__)
#include <sys/syscall.h>
int renameExclusive(const char *from, const char *to)
{
    constexpr unsigned int noReplace = 1; // RENAME_NOREPLACE
    return int(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, noReplace));
}
#elif defined(__APPLE__)
int renameExclusive(const char *from, const char *to)
{
    return ::renamex_np(from, to, RENAME_EXCL);
}
#endif

// A new, hidden file beside `target`, created exclusively; its path goes to `path`.
int createPartial(const QString &target, QByteArray &path)
{
    const QFileInfo info(target);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString name = QStringLiteral(".%1.vantrel-%2")
                                 .arg(info.fileName())
                                 .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
        path = QFile::encodeName(info.dir().filePath(name));
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

// No rename reaches another file system: the file is copied, and only then does the original go,
// to the Trash rather than away for good. Should the Trash refuse it, the copy is taken back so that
// the file doesn't stand in two places.
FileMoves::Result moveAcrossFileSystems(const QString &from, const QString &to)
{
    FileMoves::Result copied = FileMoves::copyNoReplace(from, to);
    if (copied.outcome != FileMoves::Outcome::moved)
        return copied;
    if (Trash::moveToTrash(from))
        return copied;
    QFile::remove(to);
    return {FileMoves::Outcome::failed, QStringLiteral("The original couldn’t be moved to the Trash.")};
}

} // namespace

FileMoves::Result FileMoves::moveNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (renameExclusive(source.constData(), target.constData()) == 0)
        return {Outcome::moved, {}};
    if (errno == EXDEV)
        return moveAcrossFileSystems(from, to);
    if (errno != EINVAL && errno != ENOSYS)
        return failure(errno);
    // A file system that can't rename exclusively: a hard link can't replace
    // either, and the old name goes once the new one stands.
    if (::link(source.constData(), target.constData()) == 0) {
        ::unlink(source.constData());
        return {Outcome::moved, {}};
    }
    if (errno == EEXIST)
        return failure(errno);
    // Folders can't be linked: the last resort checks first, then renames.
    if (QFile::exists(to))
        return {Outcome::destinationExists, {}};
    if (std::rename(source.constData(), target.constData()) == 0)
        return {Outcome::moved, {}};
    return failure(errno);
}

FileMoves::Result FileMoves::replace(const QString &from, const QString &to)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return {Outcome::moved, {}};
    return failure(errno);
}

FileMoves::Result FileMoves::copyNoReplace(const QString &from, const QString &to)
{
    Descriptor in(::open(QFile::encodeName(from).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (in.get() < 0)
        return failure(errno);
    struct stat status {};
    if (::fstat(in.get(), &status) != 0)
        return failure(errno);
    // Folders and special files have no copy that could stand for them.
    if (!S_ISREG(status.st_mode))
        return failure(EXDEV);
    if (QFileInfo::exists(to))
        return {Outcome::destinationExists, {}};

    QByteArray partial;
    Descriptor out(createPartial(to, partial));
    if (out.get() < 0)
        return failure(errno);
    const bool written = FileCopy::copyContents(in.get(), out.get()) && ::fsync(out.get()) == 0;
    const int error = errno;
    if (!out.close() || !written) {
        const int reported = written ? errno : error;
        ::unlink(partial.constData());
        return failure(reported);
    }
    // On the destination's own file system now: the last step is an exclusive rename, and a file
    // that took the name meanwhile keeps it.
    Result placed = moveNoReplace(QFile::decodeName(partial), to);
    if (placed.outcome != Outcome::moved)
        ::unlink(partial.constData());
    return placed;
}
