#include "platform/FileCopy.h"

#include "platform/Descriptor.h"

#include <QDir>
#include <QFile>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool copyFile(const QByteArray &from, const QByteArray &to)
{
    const Descriptor in(::open(from.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!in.isOpen())
        return false;
    Descriptor out(::open(to.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!out.isOpen())
        return false;
    if (!FileCopy::copyContents(in.get(), out.get()) || ::fsync(out.get()) != 0)
        return false;
    return out.close();
}

bool copyLink(const QByteArray &from, const QByteArray &to, const struct stat &status)
{
    QByteArray target(qsizetype(status.st_size) + 1, '\0');
    const ssize_t length = ::readlink(from.constData(), target.data(), std::size_t(target.size()));
    if (length < 0)
        return false;
    target.truncate(length);
    if (::symlink(target.constData(), to.constData()) != 0)
        return false;
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    return ::utimensat(AT_FDCWD, to.constData(), times.data(), AT_SYMLINK_NOFOLLOW) == 0;
}

// The folder's own mode and dates are set last: writing its entries would change the dates again.
bool copyFolder(const QByteArray &from, const QByteArray &to)
{
    if (::mkdir(to.constData(), 0700) != 0)
        return false;
    const QStringList names =
        QDir(QFile::decodeName(from)).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        const QByteArray encoded = QFile::encodeName(name);
        if (!FileCopy::copyTree(from + '/' + encoded, to + '/' + encoded))
            return false;
    }
    const Descriptor in(::open(from.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    const Descriptor out(::open(to.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
    return in.isOpen() && out.isOpen() && FileCopy::copyMetadata(in.get(), out.get());
}

} // namespace

bool FileCopy::copyTree(const QByteArray &from, const QByteArray &to)
{
    struct stat status {};
    if (::lstat(from.constData(), &status) != 0)
        return false;
    if (S_ISREG(status.st_mode))
        return copyFile(from, to);
    if (S_ISDIR(status.st_mode))
        return copyFolder(from, to);
    if (S_ISLNK(status.st_mode))
        return copyLink(from, to, status);
    errno = EXDEV;
    return false;
}
