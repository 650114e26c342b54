#include "ui/widgets/PanelPlaces.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStorageInfo>
#include <QUrl>

#include <array>

namespace {

// File systems of the kernel's own and of memory: they hold nothing a person would choose.
bool isPseudoType(const QString &type)
{
    static const QStringList pseudo{
        QStringLiteral("proc"),        QStringLiteral("sysfs"),         QStringLiteral("tmpfs"),
        QStringLiteral("devtmpfs"),    QStringLiteral("devpts"),        QStringLiteral("cgroup"),
        QStringLiteral("cgroup2"),     QStringLiteral("mqueue"),        QStringLiteral("debugfs"),
        QStringLiteral("tracefs"),     QStringLiteral("securityfs"),    QStringLiteral("pstore"),
        QStringLiteral("bpf"),         QStringLiteral("configfs"),      QStringLiteral("fusectl"),
        QStringLiteral("hugetlbfs"),   QStringLiteral("autofs"),        QStringLiteral("binfmt_misc"),
        QStringLiteral("nsfs"),        QStringLiteral("efivarfs"),      QStringLiteral("ramfs"),
        QStringLiteral("rpc_pipefs"),  QStringLiteral("squashfs"),      QStringLiteral("fuse.gvfsd-fuse"),
        QStringLiteral("fuse.portal"), QStringLiteral("fuse.snapfuse"), QStringLiteral("overlay")};
    return pseudo.contains(type);
}

// Mount points under these belong to the system, except the removable media udisks mounts under /run.
bool isSystemMountPoint(const QString &mountPoint)
{
    if (mountPoint.startsWith(QLatin1String("/run/media/")))
        return false;
    static const std::array<QLatin1String, 11> system{
        QLatin1String("/proc"), QLatin1String("/sys"), QLatin1String("/dev"),  QLatin1String("/run"),
        QLatin1String("/boot"), QLatin1String("/efi"), QLatin1String("/snap"), QLatin1String("/etc"),
        QLatin1String("/usr"),  QLatin1String("/var"), QLatin1String("/tmp")};
    for (const QLatin1String &prefix : system) {
        if (mountPoint == prefix || mountPoint.startsWith(prefix + QLatin1Char('/')))
            return true;
    }
    return false;
}

void addOnce(QList<PanelPlaces::Place> &places, const QString &label, const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty() || !QFileInfo(canonical).isDir())
        return;
    for (const PanelPlaces::Place &place : places) {
        if (place.path == canonical)
            return;
    }
    places.append({label, canonical});
}

} // namespace

QList<PanelPlaces::Place> PanelPlaces::all()
{
    QList<Place> places;
    addOnce(places, QStringLiteral("Home"), QDir::homePath());
    const std::array<QStandardPaths::StandardLocation, 6> userFolders{
        QStandardPaths::DesktopLocation, QStandardPaths::DocumentsLocation, QStandardPaths::DownloadLocation,
        QStandardPaths::MusicLocation,   QStandardPaths::PicturesLocation,  QStandardPaths::MoviesLocation};
    for (const QStandardPaths::StandardLocation location : userFolders) {
        const QString path = QStandardPaths::writableLocation(location);
        // Without a user-dirs.dirs entry a missing folder falls back to home, which is listed already.
        if (QFileInfo(path).isDir())
            addOnce(places, QStandardPaths::displayName(location), path);
    }
    const QList<QStorageInfo> volumes = QStorageInfo::mountedVolumes();
    for (const QStorageInfo &volume : volumes) {
        if (!volume.isValid() || !volume.isReady())
            continue;
        const QString mountPoint = volume.rootPath();
        if (mountPoint == QLatin1String("/")) {
            addOnce(places, QStringLiteral("Computer"), mountPoint);
            continue;
        }
        if (!isPersonalVolume(mountPoint, QString::fromUtf8(volume.fileSystemType())))
            continue;
        const QString name = volume.name().isEmpty() ? QFileInfo(mountPoint).fileName() : volume.name();
        addOnce(places, name, mountPoint);
    }
    for (const Place &bookmark : gtkBookmarks(gtkBookmarksFile()))
        addOnce(places, bookmark.label, bookmark.path);
    return places;
}

QList<PanelPlaces::Place> PanelPlaces::gtkBookmarks(const QString &file)
{
    QFile bookmarks(file);
    if (!bookmarks.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QList<Place> places;
    while (!bookmarks.atEnd()) {
        const QByteArray line = bookmarks.readLine().trimmed();
        if (line.isEmpty())
            continue;
        const qsizetype blank = line.indexOf(' ');
        const QUrl url = QUrl::fromEncoded(blank < 0 ? line : line.left(blank));
        if (!url.isValid() || !url.isLocalFile())
            continue;
        QString path = url.toLocalFile();
        while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
            path.chop(1);
        if (!QFileInfo(path).isDir())
            continue;
        QString label = blank < 0 ? QString() : QString::fromUtf8(line.mid(blank + 1)).trimmed();
        if (label.isEmpty())
            label = path == QLatin1String("/") ? path : QFileInfo(path).fileName();
        places.append({label, path});
    }
    return places;
}

QString PanelPlaces::gtkBookmarksFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/gtk-3.0/bookmarks");
}

bool PanelPlaces::isPersonalVolume(const QString &mountPoint, const QString &fileSystemType)
{
    return !isPseudoType(fileSystemType) && !isSystemMountPoint(mountPoint);
}
