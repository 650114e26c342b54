#pragma once

#include <QString>

// Where Vantrel keeps its files on this machine. Every value is read from the
// environment when asked, so a test that points HOME and XDG_* elsewhere sees
// its own folders.
namespace Paths {

QString home();
// Application Support: $XDG_DATA_HOME/Vantrel on Linux.
QString applicationSupport();
// Where installed Quick Action bundles live.
QString servicesFolder();
// The user defaults file.
QString defaultsFile();
// The local socket the running instance listens on, inside a folder of its own
// ($XDG_RUNTIME_DIR/vantrel, else /tmp/vantrel-{uid}) that must be private to this user.
QString instanceSocket();
// The application's shipped resources (the Workflows and Packs folders).
QString resources();
QString workflowsResourceFolder();

// The user's downloads, documents and desktop folders: on Linux as xdg-user-dirs names them
// ($XDG_CONFIG_HOME/user-dirs.dirs), else ~/Downloads, ~/Documents and ~/Desktop.
QString downloads();
QString documents();
QString desktop();

// Shows a path with the home folder as "~", and each byte of a name that isn't UTF-8 as "\xE9": for
// people to read, never to reach the file by.
QString displayPath(const QString &path);

} // namespace Paths
