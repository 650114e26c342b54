#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// What a transfer or a backup needs to know of the volume a path lives on: its free space, its
// identity, whether it can be written to, and whether it is a local disk or a network share.
namespace Volumes {

// One line of /proc/self/mountinfo: where a file system is mounted and of what type.
struct Mount {
    QString mountPoint;
    QString type; // "ext4", "nfs4", "fuse.sshfs", …
    QString source;
    bool operator==(const Mount &) const = default;
};

struct Facts {
    // Bytes an unprivileged program may still write; 0 when it can't be told.
    qint64 availableBytes = 0;
    // The device number: two paths with the same id are on one volume. Nothing when the path is gone.
    std::optional<quint64> volumeID;
    bool writable = false;
    // The mount the path is under; nothing when the table couldn't be read.
    std::optional<Mount> mount;
    // False only for a file system known to reach over a network: an unknown one counts as local.
    bool isLocal = true;
    // What the volume is called: the last component of its mount point, "/" for the root file system;
    // empty when the table couldn't be read.
    QString volumeName;
    bool operator==(const Facts &) const = default;
};

// The mounts in /proc/self/mountinfo's text, with the octal escapes of their paths ("\040" for a
// blank) decoded. Lines that don't read as mountinfo are passed over.
QList<Mount> parseMountInfo(const QByteArray &text);
// The mount whose point is the longest that holds `path`.
std::optional<Mount> mountFor(const QString &path, const QList<Mount> &mounts);
// The name of the volume mounted at `mountPoint`: its last component, or "/" for the root.
QString volumeName(const Mount &mount);
// NFS, SMB/CIFS, SSHFS, 9p and the other file systems that live on another machine.
bool isNetworkType(const QString &type);

// The facts of the volume `path` is on, from the system now.
Facts facts(const QString &path);
// The same, with the mount and its type looked up in `mounts` rather than the system's table: space,
// identity and writability still come from the path itself.
Facts factsWithTable(const QString &path, const QList<Mount> &mounts);

} // namespace Volumes
