#include "FaultSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QProcess>

#include <cstring>

#include <sys/mount.h>
#include <unistd.h>

namespace Faults {

std::optional<QString> tmpfsUnavailable()
{
    if (::geteuid() != 0)
        return QStringLiteral("mounting a tmpfs needs root, and this run isn't root");
    QDir probe(QDir::tempPath() + QStringLiteral("/vantrel-tmpfs-probe-%1").arg(::getpid()));
    probe.mkpath(QStringLiteral("."));
    const QByteArray where = QFile::encodeName(probe.path());
    const int mountedNow = ::mount("tmpfs", where.constData(), "tmpfs", 0, "size=64k");
    const QString reason = QString::fromLocal8Bit(std::strerror(errno));
    if (mountedNow == 0)
        ::umount2(where.constData(), MNT_DETACH);
    probe.removeRecursively();
    if (mountedNow != 0)
        return QStringLiteral("the kernel refused a tmpfs mount: %1").arg(reason);
    return std::nullopt;
}

TinyDisk::TinyDisk(const QString &folder, qint64 bytes) : where(folder)
{
    QDir().mkpath(where);
    const QByteArray options = "size=" + QByteArray::number(bytes);
    ok = ::mount("tmpfs", QFile::encodeName(where).constData(), "tmpfs", 0, options.constData()) == 0;
}

TinyDisk::~TinyDisk()
{
    if (ok)
        ::umount2(QFile::encodeName(where).constData(), MNT_DETACH);
}

void TinyDisk::fill() const
{
    QFile filler(where + QStringLiteral("/.filler"));
    if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return;
    const QByteArray block(4096, 'x');
    while (filler.write(block) == block.size()) {
    }
    // The last partial block too, so not even one more byte fits.
    for (char c = 'x'; filler.write(&c, 1) == 1;) {
    }
}

Immutable::Immutable(QString path) : target(std::move(path))
{
    ok = QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), target}) == 0;
}

Immutable::~Immutable()
{
    if (ok)
        QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), target});
}

ProcessResult run(const QString &program, const QStringList &arguments, const QByteArray &stdinBytes, int timeoutMs,
                  const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    ProcessResult result;
    if (!process.waitForStarted(timeoutMs))
        return result;
    process.write(stdinBytes);
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        result.err = "timed out";
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    const QDir root(folder);
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        files.insert(root.relativeFilePath(path), file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("?"));
    }
    return files;
}

} // namespace Faults
