#include "platform/FileCopy.h"

#include "platform/Descriptor.h"

#include <QList>

#include <array>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The names in a folder, "." and ".." left out, as the bytes they are: a name that isn't UTF-8 must come
// out the same in the copy. Read whole before anything is done with them. False with errno set when the
// folder can't be read.
bool namesIn(const QByteArray &folder, QList<QByteArray> &names)
{
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return false;
    errno = 0;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.append(QByteArray(entry->d_name));
    }
    const int error = errno;
    ::closedir(dir);
    errno = error;
    return error == 0;
}

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
    QList<QByteArray> names;
    if (!namesIn(from, names))
        return false;
    for (const QByteArray &name : names) {
        if (!FileCopy::copyTree(from + '/' + name, to + '/' + name))
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

bool FileCopy::removeTree(const QByteArray &path)
{
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0)
        return false;
    if (!S_ISDIR(status.st_mode))
        return ::unlink(path.constData()) == 0;
    QList<QByteArray> names;
    if (!namesIn(path, names))
        return false;
    bool removed = true;
    for (const QByteArray &name : names)
        removed = removeTree(path + '/' + name) && removed;
    return ::rmdir(path.constData()) == 0 && removed;
}
