#include "platform/RegularFile.h"

#include "platform/Descriptor.h"
#include "platform/NativeNames.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace RegularFile {

namespace {

Read failed(Failure failure, QString reason, qint64 size = 0)
{
    Read result;
    result.failure = failure;
    result.reason = std::move(reason);
    result.size = size;
    return result;
}

QString systemReason(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

} // namespace

Read read(const QString &path, qint64 limit)
{
    // O_NONBLOCK: opening a FIFO with no writer would otherwise wait for one.
    const Descriptor fd(::open(NativeNames::encode(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd.isOpen())
        return failed(errno == ENOENT ? Failure::missing : Failure::unreadable, systemReason(errno));
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0)
        return failed(Failure::unreadable, systemReason(errno));
    if (S_ISDIR(info.st_mode))
        return failed(Failure::notRegular, QStringLiteral("it is a folder"));
    if (!S_ISREG(info.st_mode))
        return failed(Failure::notRegular, QStringLiteral("not a regular file"));
    if (info.st_size > limit)
        return failed(Failure::tooLarge, QStringLiteral("too large"), info.st_size);
    // The declared size is only a hint (it grows while another program writes): the limit holds on
    // what is read.
    Read result;
    result.bytes.resize(qsizetype(std::min<qint64>(info.st_size, limit)) + 1);
    qint64 filled = 0;
    for (;;) {
        if (filled == result.bytes.size()) {
            if (filled > limit)
                return failed(Failure::tooLarge, QStringLiteral("too large"), filled);
            result.bytes.resize(qsizetype(std::min<qint64>(filled * 2, limit + 1)));
        }
        const ssize_t got = ::read(fd.get(), result.bytes.data() + filled, size_t(result.bytes.size() - filled));
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return failed(Failure::unreadable, systemReason(errno));
        }
        if (got == 0)
            break;
        filled += got;
    }
    if (filled > limit)
        return failed(Failure::tooLarge, QStringLiteral("too large"), filled);
    result.bytes.truncate(qsizetype(filled));
    result.size = filled;
    return result;
}

} // namespace RegularFile
