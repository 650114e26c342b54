#include "platform/FileMoves.h"

#include "platform/AtomicFile.h"
#include "platform/FileCopy.h"
#include "platform/NativeNames.h"
#include "platform/Trash.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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
int renameSwapping(const char *from, const char *to)
{
    constexpr unsigned int exchange = 2; // RENAME_EXCHANGE
    return int(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, exchange));
}
#elif defined(__APPLE__)
int renameExclusive(const char *from, const char *to)
{
    return ::renamex_np(from, to, RENAME_EXCL);
}
int renameSwapping(const char *from, const char *to)
{
    return ::renamex_np(from, to, RENAME_SWAP);
}
#endif

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
    FileCopy::removeTree(NativeNames::encode(to));
    return {FileMoves::Outcome::failed, QStringLiteral("The original couldn’t be moved to the Trash.")};
}

} // namespace

FileMoves::Result FileMoves::moveNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = NativeNames::encode(from);
    const QByteArray target = NativeNames::encode(to);
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
    struct stat status {};
    if (::lstat(target.constData(), &status) == 0)
        return {Outcome::destinationExists, {}};
    if (std::rename(source.constData(), target.constData()) == 0)
        return {Outcome::moved, {}};
    return failure(errno);
}

FileMoves::Result FileMoves::replace(const QString &from, const QString &to)
{
    if (std::rename(NativeNames::encode(from).constData(), NativeNames::encode(to).constData()) == 0)
        return {Outcome::moved, {}};
    return failure(errno);
}

FileMoves::Result FileMoves::exchange(const QString &first, const QString &second)
{
    if (renameSwapping(NativeNames::encode(first).constData(), NativeNames::encode(second).constData()) == 0)
        return {Outcome::moved, {}};
    return failure(errno);
}

std::optional<QString> FileMoves::makeFolders(const QString &path)
{
    const QByteArray folder = NativeNames::encode(path);
    for (qsizetype slash = folder.indexOf('/', 1); slash > 0; slash = folder.indexOf('/', slash + 1))
        ::mkdir(folder.left(slash).constData(), 0777);
    const int made = ::mkdir(folder.constData(), 0777) == 0 ? 0 : errno;
    struct stat status {};
    if (::stat(folder.constData(), &status) == 0 && S_ISDIR(status.st_mode))
        return std::nullopt;
    return QString::fromLocal8Bit(std::strerror(made != 0 && made != EEXIST ? made : ENOTDIR));
}

FileMoves::Result FileMoves::copyNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = NativeNames::encode(from);
    const QByteArray target = NativeNames::encode(to);
    struct stat status {};
    if (::lstat(source.constData(), &status) != 0)
        return failure(errno);
    if (::lstat(target.constData(), &status) == 0)
        return {Outcome::destinationExists, {}};

    // Built inside a hidden holding folder beside `to`, so that a copy cut short never shows under the
    // real name; the holding folder goes with whatever it still holds. Should the run be killed, the
    // next run into that folder finds it unlocked and removes it.
    const qsizetype slash = target.lastIndexOf('/');
    const PartialFiles::Folder holding(NativeNames::decode(slash < 0 ? QByteArray(".") : target.left(slash)));
    if (!holding.isValid())
        return {Outcome::failed, holding.errorString()};
    const QByteArray partial = NativeNames::encode(holding.path()) + '/' + target.mid(slash + 1);
    if (!FileCopy::copyTree(source, partial))
        return failure(errno);
    // On the destination's own file system now: the last step is an exclusive rename, and a file
    // that took the name meanwhile keeps it.
    return moveNoReplace(NativeNames::decode(partial), to);
}
