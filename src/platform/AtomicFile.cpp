#include "platform/AtomicFile.h"

#include "platform/NativeNames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QRandomGenerator>
#include <QSet>

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Writes straight to the descriptor, each call to its end, remembering the system's reason for the first
// failure: streaming encoders only see "false", and the caller needs to say why.
class DescriptorDevice : public QIODevice {
public:
    explicit DescriptorDevice(int fd) : fd(fd) {}
    int failure() const { return firstError; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 length) override
    {
        if (firstError != 0)
            return -1;
        qint64 done = 0;
        while (done < length) {
            const ssize_t wrote = ::write(fd, data + done, size_t(length - done));
            if (wrote < 0) {
                if (errno == EINTR)
                    continue;
                firstError = errno;
                setErrorString(QString::fromLocal8Bit(std::strerror(errno)));
                return -1;
            }
            done += wrote;
        }
        return done;
    }

private:
    int fd;
    int firstError = 0;
};

QString systemReason(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

// Where a file system can't make unnamed files (some network and FUSE file systems), open says so
// with one of these; anything else is a real failure.
bool unnamedUnsupported(int code)
{
    return code == EOPNOTSUPP || code == EISDIR || code == EINVAL || code == ENOTSUP;
}

// Gives the unnamed file behind `fd` the name `name` in `folderFd`; refuses a name that is taken.
int linkUnnamed(int fd, int folderFd, const char *name)
{
    const QByteArray proc = "/proc/self/fd/" + QByteArray::number(fd);
    if (::linkat(AT_FDCWD, proc.constData(), folderFd, name, AT_SYMLINK_FOLLOW) == 0)
        return 0;
    if (errno != ENOENT)
        return errno;
    // No /proc: the descriptor itself, which needs the privilege root has.
    return ::linkat(fd, "", folderFd, name, AT_EMPTY_PATH) == 0 ? 0 : errno;
}

int renameNoReplace(int folderFd, const char *from, const char *to)
{
    if (::renameat2(folderFd, from, folderFd, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // A file system without the flag: a hard link also refuses a taken name.
    if (::linkat(folderFd, from, folderFd, to, 0) != 0)
        return errno;
    ::unlinkat(folderFd, from, 0);
    return 0;
}

// Removes a folder and everything in it, relative to descriptors so no name is decoded on the way.
void removeTree(int parentFd, const char *name)
{
    const int fd = ::openat(parentFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        ::unlinkat(parentFd, name, 0);
        return;
    }
    if (DIR *dir = ::fdopendir(fd)) {
        while (const dirent *entry = ::readdir(dir)) {
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
                continue;
            if (::unlinkat(fd, entry->d_name, 0) != 0 && (errno == EISDIR || errno == EPERM))
                removeTree(fd, entry->d_name);
        }
        ::closedir(dir);
    } else {
        ::close(fd);
    }
    ::unlinkat(parentFd, name, AT_REMOVEDIR);
}

} // namespace

AtomicFile::AtomicFile(QString path) : finalPath(std::move(path)) {}

AtomicFile::~AtomicFile()
{
    discard();
}

void AtomicFile::discard()
{
    file.reset();
    for (int *owned : {&fd, &lockFd}) {
        if (*owned >= 0)
            ::close(*owned);
        *owned = -1;
    }
    if (!partialName.isEmpty() && folderFd >= 0)
        ::unlinkat(folderFd, NativeNames::encode(partialName).constData(), 0);
    partialName.clear();
    if (folderFd >= 0)
        ::close(folderFd);
    folderFd = -1;
}

bool AtomicFile::fail(int errorNumber)
{
    if (error.isEmpty())
        code = errorNumber;
    return failWith(systemReason(errorNumber));
}

bool AtomicFile::failWith(const QString &text)
{
    if (error.isEmpty())
        error = text;
    discard();
    return false;
}

bool AtomicFile::open()
{
    const QFileInfo target(finalPath);
    const QString folder = target.absolutePath();
    PartialFiles::sweep(folder);
    folderFd = ::open(NativeNames::encode(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd < 0)
        return fail(errno);
    fd = ::openat(folderFd, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    if (fd < 0) {
        if (!unnamedUnsupported(errno))
            return fail(errno);
        partialName = PartialFiles::newName(folder);
        fd = ::openat(folderFd, NativeNames::encode(partialName).constData(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC,
                      0666);
        if (fd < 0) {
            partialName.clear();
            return fail(errno);
        }
    }
    // A second descriptor of the same open file holds the lock, and keeps an unnamed file alive, until
    // the file has its name: so no sweep of this folder takes it for a dead run's, and the descriptor
    // that is written through can be closed, and its close checked, before the name is given.
    lockFd = ::dup(fd);
    if (lockFd < 0)
        return fail(errno);
    ::flock(lockFd, LOCK_EX | LOCK_NB);
    // A file that replaces another keeps that one's permissions.
    struct stat existing {};
    if (::fstatat(folderFd, NativeNames::encode(target.fileName()).constData(), &existing, 0) == 0 &&
        S_ISREG(existing.st_mode))
        ::fchmod(fd, existing.st_mode & 07777);
    file = std::make_unique<DescriptorDevice>(fd);
    file->open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    return true;
}

QIODevice *AtomicFile::device()
{
    return file.get();
}

QString AtomicFile::errorString() const
{
    if (error.isEmpty() && deviceFailure() != 0)
        return systemReason(deviceFailure());
    return error;
}

int AtomicFile::deviceFailure() const
{
    const auto *device = static_cast<const DescriptorDevice *>(file.get());
    return device ? device->failure() : 0;
}

bool AtomicFile::write(const QByteArray &bytes)
{
    if (!file)
        return false;
    if (file->write(bytes) != bytes.size())
        return fail(deviceFailure());
    return true;
}

bool AtomicFile::setPermissions(unsigned int permissions)
{
    if (fd < 0)
        return failWith(error.isEmpty() ? QStringLiteral("the file isn't open") : error);
    if (::fchmod(fd, mode_t(permissions & 07777)) != 0)
        return fail(errno);
    return true;
}

bool AtomicFile::commit(Mode mode)
{
    if (!file || fd < 0)
        return failWith(error.isEmpty() ? QStringLiteral("the file isn't open") : error);
    // A streaming writer may have failed without the caller noticing; its device remembers.
    if (const int failed = deviceFailure())
        return fail(failed);
    file->close();
    file.reset();
    if (::fsync(fd) != 0)
        return fail(errno);
    // Network shares report their write errors at close: a file whose close fails never gets the name.
    const int closed = ::close(fd);
    fd = -1;
    if (closed != 0)
        return fail(errno);
    const QByteArray name = NativeNames::encode(QFileInfo(finalPath).fileName());
    int result = 0;
    if (partialName.isEmpty()) {
        if (mode == Mode::noReplace) {
            result = linkUnnamed(lockFd, folderFd, name.constData());
        } else {
            // Named under the hidden pattern first, then renamed over the old file in one step.
            const QString partial = PartialFiles::newName(QFileInfo(finalPath).absolutePath());
            result = linkUnnamed(lockFd, folderFd, NativeNames::encode(partial).constData());
            if (result == 0) {
                partialName = partial;
                result = ::renameat(folderFd, NativeNames::encode(partial).constData(), folderFd, name.constData()) == 0
                             ? 0
                             : errno;
            }
        }
    } else {
        const QByteArray partial = NativeNames::encode(partialName);
        result = mode == Mode::noReplace
                     ? renameNoReplace(folderFd, partial.constData(), name.constData())
                     : (::renameat(folderFd, partial.constData(), folderFd, name.constData()) == 0 ? 0 : errno);
    }
    if (result != 0) {
        taken = result == EEXIST;
        return fail(result);
    }
    partialName.clear();
    // The folder's entry reaches the disk too, so the new name survives a power cut.
    ::fsync(folderFd);
    discard();
    return true;
}

std::optional<QString> AtomicFile::writeWhole(const QString &path, const QByteArray &bytes, Mode mode)
{
    AtomicFile file(path);
    if (file.open() && file.write(bytes) && file.commit(mode))
        return std::nullopt;
    return file.errorString();
}

namespace PartialFiles {

QString prefix()
{
    return QStringLiteral(".vantrel-partial-");
}

QString newName(const QString &folder)
{
    Q_UNUSED(folder)
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    QString name = prefix();
    for (int i = 0; i < 10; ++i)
        name += QLatin1Char(alphabet[QRandomGenerator::global()->bounded(int(sizeof(alphabet) - 1))]);
    return name;
}

void sweep(const QString &folder)
{
    static QMutex mutex;
    static QSet<QString> swept;
    const QString key = QDir::cleanPath(folder);
    {
        const QMutexLocker lock(&mutex);
        if (swept.contains(key))
            return;
        swept.insert(key);
    }
    sweepNow(key);
}

int sweepNow(const QString &folder)
{
    const int folderFd = ::open(NativeNames::encode(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd < 0)
        return 0;
    DIR *dir = ::fdopendir(folderFd);
    if (!dir) {
        ::close(folderFd);
        return 0;
    }
    const QByteArray pattern = NativeNames::encode(prefix());
    int removed = 0;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strncmp(entry->d_name, pattern.constData(), size_t(pattern.size())) != 0)
            continue;
        const int fd = ::openat(folderFd, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        // A live writer holds the lock; a killed one's lock went with it.
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            struct stat info {};
            if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode))
                removeTree(folderFd, entry->d_name);
            else
                ::unlinkat(folderFd, entry->d_name, 0);
            ++removed;
        }
        ::close(fd);
    }
    ::closedir(dir);
    return removed;
}

Folder::Folder(const QString &folder)
{
    sweep(folder);
    for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
        const QString candidate = folder + QLatin1Char('/') + newName(folder);
        const QByteArray name = NativeNames::encode(candidate);
        if (::mkdir(name.constData(), 0700) != 0) {
            if (errno == EEXIST)
                continue;
            error = systemReason(errno);
            return;
        }
        fd = ::open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) {
            error = systemReason(errno);
            ::rmdir(name.constData());
            return;
        }
        ::flock(fd, LOCK_EX | LOCK_NB);
        where = candidate;
    }
    if (fd < 0 && error.isEmpty())
        error = systemReason(EEXIST);
}

Folder::~Folder()
{
    if (fd < 0)
        return;
    const QFileInfo info(where);
    const int parent = ::open(NativeNames::encode(info.absolutePath()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parent >= 0) {
        removeTree(parent, NativeNames::encode(info.fileName()).constData());
        ::close(parent);
    }
    ::close(fd);
}

} // namespace PartialFiles
