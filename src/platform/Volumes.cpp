#include "platform/Volumes.h"

#include "platform/NativeNames.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

// mountinfo writes a blank, a tab, a line feed and a backslash in a path as \040, \011, \012, \134.
QString decodePath(const QByteArray &field)
{
    QByteArray bytes;
    bytes.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int value = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok && value < 256) {
                bytes.append(char(value));
                i += 3;
                continue;
            }
        }
        bytes.append(field[i]);
    }
    return NativeNames::decode(bytes);
}

bool holds(const QString &mountPoint, const QString &path)
{
    if (mountPoint == QLatin1String("/"))
        return path.startsWith(QLatin1Char('/'));
    return path == mountPoint || path.startsWith(mountPoint + QLatin1Char('/'));
}

} // namespace

QList<Volumes::Mount> Volumes::parseMountInfo(const QByteArray &text)
{
    // ID PARENT MAJOR:MINOR ROOT MOUNT-POINT OPTIONS [OPTIONAL…] - TYPE SOURCE SUPER-OPTIONS
    QList<Mount> mounts;
    for (const QByteArray &line : text.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf(QByteArray("-"));
        if (fields.size() < 6 || separator < 6 || separator + 2 >= fields.size())
            continue;
        mounts.append(
            {decodePath(fields[4]), QString::fromUtf8(fields[separator + 1]), decodePath(fields[separator + 2])});
    }
    return mounts;
}

std::optional<Volumes::Mount> Volumes::mountFor(const QString &path, const QList<Mount> &mounts)
{
    const QString clean = QDir::cleanPath(path);
    std::optional<Mount> best;
    // The last of equally long points wins: a mount stacked on another hides it.
    for (const Mount &mount : mounts) {
        if (holds(mount.mountPoint, clean) && (!best || mount.mountPoint.size() >= best->mountPoint.size()))
            best = mount;
    }
    return best;
}

bool Volumes::isNetworkType(const QString &type)
{
    static const QSet<QString> network{QStringLiteral("nfs"),
                                       QStringLiteral("nfs4"),
                                       QStringLiteral("cifs"),
                                       QStringLiteral("smb3"),
                                       QStringLiteral("smbfs"),
                                       QStringLiteral("fuse.sshfs"),
                                       QStringLiteral("sshfs"),
                                       QStringLiteral("9p"),
                                       QStringLiteral("ceph"),
                                       QStringLiteral("glusterfs"),
                                       QStringLiteral("fuse.glusterfs"),
                                       QStringLiteral("afs"),
                                       QStringLiteral("davfs"),
                                       QStringLiteral("fuse.davfs2"),
                                       QStringLiteral("fuse.rclone"),
                                       QStringLiteral("lustre"),
                                       QStringLiteral("ncpfs"),
                                       QStringLiteral("coda")};
    return network.contains(type);
}

QString Volumes::volumeName(const Mount &mount)
{
    QString point = QDir::cleanPath(mount.mountPoint);
    if (point == QLatin1String("/"))
        return point;
    return point.mid(point.lastIndexOf(QLatin1Char('/')) + 1);
}

namespace {

Volumes::Facts factsWith(const QString &path, const std::optional<QList<Volumes::Mount>> &mounts)
{
    Volumes::Facts facts;
    const QByteArray native = NativeNames::encode(path);
    struct statvfs space {};
    if (::statvfs(native.constData(), &space) == 0)
        facts.availableBytes = qint64(space.f_bavail) * qint64(space.f_frsize);
    struct stat status {};
    if (::stat(native.constData(), &status) == 0)
        facts.volumeID = quint64(status.st_dev);
    facts.writable = ::access(native.constData(), W_OK) == 0;
    if (mounts) {
        // Links resolved, so a path through a link is judged by where it leads.
        const QString real = QFileInfo(path).canonicalFilePath();
        facts.mount = Volumes::mountFor(real.isEmpty() ? QDir::cleanPath(path) : real, *mounts);
    }
    facts.isLocal = !facts.mount || !Volumes::isNetworkType(facts.mount->type);
    if (facts.mount)
        facts.volumeName = Volumes::volumeName(*facts.mount);
    return facts;
}

} // namespace

Volumes::Facts Volumes::facts(const QString &path)
{
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return factsWith(path, std::nullopt);
    return factsWith(path, parseMountInfo(table.readAll()));
}

Volumes::Facts Volumes::factsWithTable(const QString &path, const QList<Mount> &mounts)
{
    return factsWith(path, mounts);
}
