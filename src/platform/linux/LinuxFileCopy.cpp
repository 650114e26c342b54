#include "platform/FileCopy.h"

#include <QByteArray>
#include <QList>

#include <array>
#include <cerrno>
#include <fcntl.h>
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

bool FileCopy::copyMetadata(int in, int out)
{
    struct stat status {};
    if (::fstat(in, &status) != 0)
        return false;
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    return copyAttributes(in, out) && ::fchmod(out, status.st_mode & 07777) == 0 && ::futimens(out, times.data()) == 0;
}

bool FileCopy::copyContents(int in, int out)
{
    return copyBytes(in, out) && copyMetadata(in, out);
}
