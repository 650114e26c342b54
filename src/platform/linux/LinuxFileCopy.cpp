#include "platform/FileCopy.h"

#include "platform/AtomicFile.h"
#include "platform/Descriptor.h"
#include "platform/NativeNames.h"

#include <QByteArray>
#include <QList>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

// The kernel copies between file systems itself where it can; a kernel or file system that can't
// gets the plain read and write loop.
bool copyBytes(int in, int out)
{
    bool kernelCopy = true;
    std::vector<char> buffer;
    for (;;) {
        if (kernelCopy) {
            const ssize_t copied = ::copy_file_range(in, nullptr, out, nullptr, std::size_t(1) << 30, 0);
            if (copied > 0)
                continue;
            if (copied == 0)
                return true;
            if (errno == EINTR)
                continue;
            if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP)
                return false;
            kernelCopy = false;
            buffer.resize(std::size_t(1) << 18);
        }
        const ssize_t count = ::read(in, buffer.data(), buffer.size());
        if (count == 0)
            return true;
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        for (ssize_t written = 0; written < count;) {
            const ssize_t step = ::write(out, buffer.data() + written, std::size_t(count - written));
            if (step < 0 && errno != EINTR)
                return false;
            if (step > 0)
                written += step;
        }
    }
}

// Tags and comments live in extended attributes, so they travel with the file. A destination that
// holds no user attributes at all (ENOTSUP) takes the file without them, as a plain copy to such a
// disk would; attributes outside the user namespace belong to the system and stay behind.
bool copyAttributes(int in, int out)
{
    const ssize_t listSize = ::flistxattr(in, nullptr, 0);
    if (listSize <= 0)
        return listSize == 0 || errno == ENOTSUP;
    QByteArray names(listSize, '\0');
    const ssize_t listed = ::flistxattr(in, names.data(), std::size_t(names.size()));
    if (listed < 0)
        return false;
    for (const QByteArray &name : names.left(listed).split('\0')) {
        if (!name.startsWith("user."))
            continue;
        const ssize_t size = ::fgetxattr(in, name.constData(), nullptr, 0);
        if (size < 0)
            return false;
        QByteArray value(size, '\0');
        const ssize_t read = ::fgetxattr(in, name.constData(), value.data(), std::size_t(value.size()));
        if (read < 0)
            return false;
        if (::fsetxattr(out, name.constData(), value.constData(), std::size_t(read), 0) != 0)
            return errno == ENOTSUP;
    }
    return true;
}

} // namespace

namespace {

bool copyMetadataAs(int in, int out, const struct stat &status)
{
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    return copyAttributes(in, out) && ::fchmod(out, status.st_mode & 07777) == 0 && ::futimens(out, times.data()) == 0;
}

} // namespace

bool FileCopy::copyMetadata(int in, int out)
{
    struct stat status {};
    return ::fstat(in, &status) == 0 && copyMetadataAs(in, out, status);
}

bool FileCopy::copyContents(int in, int out)
{
    return copyBytes(in, out) && copyMetadata(in, out);
}

namespace {

bool unnamedUnsupported(int error)
{
    return error == EOPNOTSUPP || error == EISDIR || error == EINVAL || error == ENOENT;
}

// One chunk at a time, so that a cancel is heard within a fraction of a second whatever the size.
constexpr std::size_t chunk = std::size_t(16) << 20;

bool copyBytesWatched(int in, int out, qint64 size, const FileCopy::Watch &watch)
{
    if (watch.mayClone && size > 0) {
        if (::ioctl(out, FICLONE, in) == 0) {
            if (watch.advanced)
                watch.advanced(size);
            return true;
        }
        if ((errno == EOPNOTSUPP || errno == EXDEV || errno == EINVAL || errno == ENOTTY) && watch.cannotClone)
            watch.cannotClone();
    }
    bool kernelCopy = true;
    std::vector<char> buffer;
    for (;;) {
        if (watch.cancelled && watch.cancelled()) {
            errno = ECANCELED;
            return false;
        }
        ssize_t step = 0;
        if (kernelCopy) {
            step = ::copy_file_range(in, nullptr, out, nullptr, chunk, 0);
            if (step < 0 && errno == EINTR)
                continue;
            if (step < 0) {
                if (errno != EXDEV && errno != ENOSYS && errno != EINVAL && errno != EOPNOTSUPP)
                    return false;
                kernelCopy = false;
                buffer.resize(std::size_t(1) << 20);
                continue;
            }
        } else {
            step = ::read(in, buffer.data(), buffer.size());
            if (step < 0 && errno == EINTR)
                continue;
            if (step < 0)
                return false;
            for (ssize_t written = 0; written < step;) {
                const ssize_t wrote = ::write(out, buffer.data() + written, std::size_t(step - written));
                if (wrote < 0 && errno != EINTR)
                    return false;
                if (wrote > 0)
                    written += wrote;
            }
        }
        if (step == 0)
            return true;
        if (watch.advanced)
            watch.advanced(step);
    }
}

QByteArray folderOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 ? QByteArray(".") : (slash == 0 ? QByteArray("/") : path.left(slash));
}

int renameNoReplace(const char *from, const char *to)
{
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // A file system without an exclusive rename: a hard link can't replace either.
    if (::link(from, to) != 0)
        return errno;
    ::unlink(from);
    return 0;
}

} // namespace

bool FileCopy::copyFileAsNew(const QByteArray &from, const QByteArray &to, const Watch &watch)
{
    // No following a link and no blocking on a pipe: only a regular file is copied here.
    const Descriptor in(::open(from.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!in.isOpen())
        return false;
    struct stat status {};
    if (::fstat(in.get(), &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EXDEV;
        return false;
    }
    // Read ahead as far as the kernel will: a large file is read once, front to back. A small one is
    // read in one go anyway, and the hint would cost a call per file.
    if (status.st_size >= (qint64(1) << 20))
        ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
    const QByteArray folder = folderOf(to);
    QByteArray partial;
    int fd = ::open(folder.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (fd < 0) {
        if (!unnamedUnsupported(errno))
            return false;
        partial = folder + '/' + NativeNames::encode(PartialFiles::newName(NativeNames::decode(folder)));
        fd = ::open(partial.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0)
            return false;
        // Locked while this run lives, so that a sweep removes it only after a killed run.
        ::flock(fd, LOCK_EX | LOCK_NB);
    }
    Descriptor out(fd);
    const auto discard = [&] {
        const int error = errno;
        if (!partial.isEmpty())
            ::unlink(partial.constData());
        errno = error;
        return false;
    };
    if (!copyBytesWatched(in.get(), out.get(), status.st_size, watch) || !copyMetadataAs(in.get(), out.get(), status))
        return discard();
    if (partial.isEmpty()) {
        // The unnamed file gets its name through its descriptor; linkat never replaces a name.
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(out.get());
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, to.constData(), AT_SYMLINK_FOLLOW) != 0)
            return false;
        if (!out.close()) {
            const int error = errno;
            ::unlink(to.constData());
            errno = error;
            return false;
        }
        return true;
    }
    // A network share reports a failed write at close: such a file never gets the name.
    if (!out.close())
        return discard();
    if (const int error = renameNoReplace(partial.constData(), to.constData()); error != 0) {
        errno = error;
        return discard();
    }
    return true;
}
