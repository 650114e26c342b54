#include "platform/Trash.h"

#include "platform/NativeNames.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#if defined(Q_OS_LINUX)
#include <sys/syscall.h>
#endif

namespace {

QString homeTrash()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash");
}

// QFile::moveToTrash (Qt 6.4) goes on with an empty folder when it can't make the home Trash, and
// then files the item under "files" and "info" in the working directory. Making the home Trash
// first, and giving up when that fails, keeps every item in a real Trash.
bool homeTrashReady()
{
#if defined(Q_OS_LINUX)
    const QString trash = homeTrash();
    for (const QString &below : {QStringLiteral("/files"), QStringLiteral("/info")}) {
        QDir().mkpath(trash + below);
        if (!QFileInfo(trash + below).isDir())
            return false;
    }
#endif
    return true;
}

#if defined(Q_OS_LINUX)

bool writeAll(int fd, const QByteArray &bytes)
{
    for (qsizetype written = 0; written < bytes.size();) {
        const ssize_t step = ::write(fd, bytes.constData() + written, std::size_t(bytes.size() - written));
        if (step < 0 && errno != EINTR)
            return false;
        if (step > 0)
            written += step;
    }
    return true;
}

// The freedesktop Trash specification, by hand, for a name QFile::moveToTrash would write down wrong:
// the item keeps its bytes under "files", and its ".trashinfo" gives the path percent-encoded byte by
// byte, as the specification asks, so a file manager puts it back under its own name. The info file is
// made first and exclusively, which claims the name; the item follows by a rename that replaces
// nothing. A rename reaches only the home's own disk, so an item elsewhere stays where it is.
bool moveIntoHomeTrash(const QString &path)
{
    const QByteArray item = NativeNames::encode(NativeNames::absolutePath(path));
    const QByteArray trash = NativeNames::encode(homeTrash());
    const QByteArray name = item.mid(item.lastIndexOf('/') + 1);
    if (name.isEmpty())
        return false;
    const QByteArray info = "[Trash Info]\nPath=" + item.toPercentEncoding("/") + "\nDeletionDate=" +
                            QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss")).toLatin1() +
                            '\n';
    constexpr int lastCounter = 999;
    for (int k = 1; k <= lastCounter; ++k) {
        const QByteArray stored = k == 1 ? name : QByteArray(name + '.' + QByteArray::number(k));
        const QByteArray infoPath = trash + "/info/" + stored + ".trashinfo";
        const int fd = ::open(infoPath.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            return false;
        }
        const bool written = writeAll(fd, info);
        if (::close(fd) != 0 || !written) {
            ::unlink(infoPath.constData());
            return false;
        }
        const QByteArray target = trash + "/files/" + stored;
        constexpr unsigned int noReplace = 1; // RENAME_NOREPLACE
        if (::syscall(SYS_renameat2, AT_FDCWD, item.constData(), AT_FDCWD, target.constData(), noReplace) == 0)
            return true;
        const int error = errno;
        ::unlink(infoPath.constData());
        if (error != EEXIST)
            return false;
    }
    return false;
}

#endif

} // namespace

bool Trash::moveToTrash(const QString &path)
{
    if (!homeTrashReady())
        return false;
#if defined(Q_OS_LINUX)
    // Qt's Trash, which also finds a disk's own Trash folder, reads and writes names as UTF-8.
    if (NativeNames::hasRawBytes(path))
        return moveIntoHomeTrash(path);
#endif
    return QFile::moveToTrash(path);
}
