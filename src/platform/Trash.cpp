#include "platform/Trash.h"

#include "platform/NativeNames.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
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

bool isFolder(const QByteArray &path, bool sticky = false)
{
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0 && S_ISDIR(status.st_mode) &&
           (!sticky || (status.st_mode & S_ISVTX) != 0);
}

// A folder that is the user's own, made with only the user's access when it is missing.
bool ownFolder(const QByteArray &path)
{
    ::mkdir(path.constData(), 0700);
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::getuid();
}

// Where an item on a disk other than the home's goes: the disk's shared "/.Trash/{uid}" when the
// administrator made "/.Trash" sticky, else "/.Trash-{uid}", both at the disk's top folder, which is
// the highest folder above the item on the same device. The item's path is then written relative to
// that top folder, as the freedesktop Trash rules ask, so the disk can be mounted elsewhere.
struct TrashPlace {
    QByteArray folder;
    QByteArray recorded; // the item's path as its .trashinfo gives it
};

std::optional<TrashPlace> trashFor(const QByteArray &item)
{
    const QByteArray home = NativeNames::encode(homeTrash());
    struct stat itemStatus {};
    struct stat homeStatus {};
    if (::lstat(item.constData(), &itemStatus) != 0 || ::stat(home.constData(), &homeStatus) != 0)
        return std::nullopt;
    if (itemStatus.st_dev == homeStatus.st_dev)
        return TrashPlace{home, item};

    const std::unique_ptr<char, decltype(&std::free)> real(
        ::realpath(item.left(std::max<qsizetype>(item.lastIndexOf('/'), 1)).constData(), nullptr), &std::free);
    if (!real)
        return std::nullopt;
    QByteArray top(real.get());
    while (top != "/") {
        const QByteArray parent = top.left(std::max<qsizetype>(top.lastIndexOf('/'), 1));
        struct stat parentStatus {};
        if (::stat(parent.constData(), &parentStatus) != 0 || parentStatus.st_dev != itemStatus.st_dev)
            break;
        top = parent;
    }
    const QByteArray base = top == "/" ? QByteArray() : top;
    // Relative to the top folder, from the real path: a link on the way must not put it elsewhere.
    const QByteArray realParent = std::strcmp(real.get(), "/") == 0 ? QByteArray() : QByteArray(real.get());
    const QByteArray realItem = realParent + '/' + item.mid(item.lastIndexOf('/') + 1);
    const QByteArray recorded = realItem.mid(base.size() + 1);
    const QByteArray uid = QByteArray::number(::getuid());
    if (isFolder(base + "/.Trash", true) && ownFolder(base + "/.Trash/" + uid))
        return TrashPlace{base + "/.Trash/" + uid, recorded};
    if (ownFolder(base + "/.Trash-" + uid))
        return TrashPlace{base + "/.Trash-" + uid, recorded};
    return std::nullopt;
}

// The freedesktop Trash specification, by hand, for a name QFile::moveToTrash would write down wrong:
// the item keeps its bytes under "files", and its ".trashinfo" gives the path percent-encoded byte by
// byte, as the freedesktop rules ask, so a file manager puts it back under its own name. The info file is
// made first and exclusively, which claims the name; the item follows by a rename that replaces
// nothing, within its own disk.
bool moveIntoTrash(const QString &path)
{
    const QByteArray item = NativeNames::encode(NativeNames::absolutePath(path));
    const QByteArray name = item.mid(item.lastIndexOf('/') + 1);
    const std::optional<TrashPlace> place = trashFor(item);
    if (name.isEmpty() || !place || !ownFolder(place->folder + "/files") || !ownFolder(place->folder + "/info"))
        return false;
    const QByteArray info = "[Trash Info]\nPath=" + place->recorded.toPercentEncoding("/") + "\nDeletionDate=" +
                            QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss")).toLatin1() +
                            '\n';
    constexpr int lastCounter = 999;
    for (int k = 1; k <= lastCounter; ++k) {
        const QByteArray stored = k == 1 ? name : QByteArray(name + '.' + QByteArray::number(k));
        const QByteArray infoPath = place->folder + "/info/" + stored + ".trashinfo";
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
        const QByteArray target = place->folder + "/files/" + stored;
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
    return !trashItem(path).has_value();
}

std::optional<QString> Trash::trashItem(const QString &path)
{
    const auto reason = [](int error) {
        return error != 0 ? QString::fromLocal8Bit(std::strerror(error)) : QStringLiteral("the Trash refused it");
    };
    if (!homeTrashReady())
        return QStringLiteral("the Trash folder couldn’t be made");
#if defined(Q_OS_LINUX)
    // Qt's Trash, which also finds a disk's own Trash folder, reads and writes names as UTF-8.
    if (NativeNames::hasRawBytes(path)) {
        errno = 0;
        if (moveIntoTrash(path))
            return std::nullopt;
        return reason(errno);
    }
#endif
    QFile file(path);
    errno = 0;
    if (file.moveToTrash())
        return std::nullopt;
    const int error = errno;
    const QString text = file.errorString();
    return text.isEmpty() || text == QLatin1String("Unknown error") ? reason(error) : text;
}