#include "platform/FileMoves.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
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

} // namespace

FileMoves::Result FileMoves::moveNoReplace(const QString &from, const QString &to)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (renameExclusive(source.constData(), target.constData()) == 0)
        return {Outcome::moved, {}};
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
