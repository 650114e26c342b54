#pragma once

#include <QList>
#include <QString>

// The places a folder-or-files panel offers on its left: the home folder, the XDG user folders, the
// mounted volumes a person would recognise, and the folders they bookmarked in GTK's file chooser.
namespace PanelPlaces {

struct Place {
    QString label;
    QString path;
    bool operator==(const Place &) const = default;
};

// Home, the user folders that exist, the volumes and the bookmarks, in that order, each folder once.
QList<Place> all();

// The local folders in a GTK bookmarks file (`file:///path optional label` a line). A missing or
// unreadable file has none; lines naming other schemes or folders that are gone are passed over.
QList<Place> gtkBookmarks(const QString &file);
// Where GTK keeps them: $XDG_CONFIG_HOME/gtk-3.0/bookmarks.
QString gtkBookmarksFile();

// Whether a mount is a volume a person put there (a disk, a stick, a share) rather than one of the
// system's own (proc, sysfs, tmpfs, the boot partition, snaps).
bool isPersonalVolume(const QString &mountPoint, const QString &fileSystemType);

} // namespace PanelPlaces
