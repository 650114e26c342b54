#include "foundation/StoreFile.h"

#include "platform/AtomicFile.h"
#include "platform/Descriptor.h"
#include "platform/NativeNames.h"
#include "platform/RegularFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileSystemWatcher>
#include <QThread>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

// Far beyond any real library; a file larger than this is no store of ours.
constexpr qint64 storeLimit = qint64(64) * 1024 * 1024;
// How long a change waits for another process's change to the same store.
constexpr int lockWaitMs = 10000;

QString systemReason(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

// An exclusive lock on `{store}.lock`, held while the store is read, changed and written. A lock of
// the kernel's: it goes with the process that held it, so a killed run never leaves the store locked.
class StoreLock {
public:
    explicit StoreLock(const QString &path)
        : fd(::open(NativeNames::encode(QString(path + QStringLiteral(".lock"))).constData(),
                    O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        if (!fd.isOpen()) {
            reason = systemReason(errno);
            return;
        }
        for (int waited = 0;; waited += 10) {
            if (::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
                held = true;
                return;
            }
            if (errno != EWOULDBLOCK || waited >= lockWaitMs) {
                reason =
                    errno == EWOULDBLOCK ? QStringLiteral("another Vantrel is still changing it") : systemReason(errno);
                return;
            }
            QThread::msleep(10);
        }
    }
    bool isHeld() const { return held; }
    const QString &error() const { return reason; }

private:
    Descriptor fd;
    bool held = false;
    QString reason;
};

} // namespace

StoreFile::StoreFile(QString where, QString fileName, Decode decoder, QObject *parent)
    : QObject(parent), folder(std::move(where)), name(std::move(fileName)), decode(std::move(decoder))
{
}

QString StoreFile::path() const
{
    return folder + QLatin1Char('/') + name;
}

StoreFile::Signature StoreFile::currentSignature() const
{
    struct stat info {};
    if (::stat(NativeNames::encode(path()).constData(), &info) != 0)
        return {};
    return {quint64(info.st_dev), quint64(info.st_ino),
            qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec, qint64(info.st_size)};
}

StoreFile::Loaded StoreFile::load()
{
    blocked.reset();
    const Signature signature = currentSignature();
    const RegularFile::Read read = RegularFile::read(path(), storeLimit);
    if (read.failure == RegularFile::Failure::missing) {
        known = {};
        return Loaded::missing;
    }
    if (read.ok() && decode(read.bytes)) {
        known = signature;
        return Loaded::decoded;
    }
    // Kept for repair rather than overwritten by what replaces it.
    if (const auto error = moveAside(path())) {
        blocked = *error;
        qWarning().noquote() << "StoreFile:" << name << "can't be read and couldn't be moved aside:" << *error;
    }
    known = {};
    return Loaded::movedAside;
}

std::optional<QString> StoreFile::loadOrStart(const std::function<void()> &start,
                                              const std::function<QByteArray()> &encode)
{
    if (load() == Loaded::decoded)
        return std::nullopt;
    // Set before the save, so the store has it even when the file can't be written.
    start();
    return update([](Loaded current) { return current != Loaded::decoded; }, encode);
}

std::optional<QString> StoreFile::update(const std::function<bool(Loaded)> &edit,
                                         const std::function<QByteArray()> &encode)
{
    if (!QDir().mkpath(folder))
        return QStringLiteral("couldn't create the folder %1").arg(QDir::toNativeSeparators(folder));
    const StoreLock lock(path());
    if (!lock.isHeld())
        return lock.error();
    // What another process wrote since this one last looked is the base of the change. Always read:
    // a file's date is too coarse, and inode numbers are reused, to tell for sure that it didn't change.
    const Loaded current = load();
    if (blocked)
        return QStringLiteral("%1 can't be read and couldn't be moved aside (%2)").arg(name, *blocked);
    if (!edit(current))
        return std::nullopt;
    if (auto error = AtomicFile::writeWhole(path(), encode()))
        return error;
    known = currentSignature();
    return std::nullopt;
}

void StoreFile::watch()
{
    if (watcher)
        return;
    watcher = new QFileSystemWatcher(this);
    // The folder, since each save puts a new file in place of the old one.
    watcher->addPath(folder);
    connect(watcher, &QFileSystemWatcher::directoryChanged, this, &StoreFile::fileMayHaveChanged);
}

void StoreFile::fileMayHaveChanged()
{
    const Signature now = currentSignature();
    if (now == known || now.size < 0)
        return;
    const RegularFile::Read read = RegularFile::read(path(), storeLimit);
    // A file that doesn't decode is left for the next change to move aside.
    if (!read.ok() || !decode(read.bytes))
        return;
    known = now;
    emit changedElsewhere();
}

std::optional<QString> StoreFile::moveAside(const QString &path)
{
    const QString base = path + QStringLiteral(".unreadable-") +
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QByteArray from = NativeNames::encode(path);
    for (int counter = 1; counter < 10000; ++counter) {
        const QString aside = counter == 1 ? base : base + QStringLiteral(" %1").arg(counter);
        if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, NativeNames::encode(aside).constData(),
                        RENAME_NOREPLACE) == 0)
            return std::nullopt;
        if (errno != EEXIST)
            return systemReason(errno);
    }
    return systemReason(EEXIST);
}
