#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <stop_token>

// Expands a selection of files and folders into the flat list of files a scan works on. The walk reports
// and never fails: whatever can't be read is left out, so an unreadable selection is an empty list.
namespace FileWalker {

struct WalkedFile {
    QString url; // absolute path
    quint64 size = 0;
    std::optional<QDateTime> modificationDate; // UTC, to the millisecond
    bool operator==(const WalkedFile &) const = default;
};

// For each selected path, in the selection's order:
// - nothing there (a link to nothing included): skipped;
// - not a folder, or a package folder: one file. A selected link stands for what it points at and keeps its
//   own path; a hidden file chosen by name counts; a package has size 0;
// - a folder (a link to one included): its whole tree, depth first. Inside it, hidden names (beginning
//   with ".") and symbolic links are left out, a package is one file of size 0 whose contents are never
//   looked at, regular files count, and other kinds (pipes, sockets, devices) and the folders themselves
//   add nothing. Unreadable subfolders are passed over silently.
// Within a folder the entries come in the byte order of their names (so "B" before "a", and a name that
// isn't UTF-8 where its bytes put it), the same on every run and every machine; a subfolder's files follow
// at once where the subfolder is met. Paths keep names that aren't UTF-8 as NativeNames decodes them.
// A file reached through two selected paths stands twice. A stop request ends the walk at the next entry, with what was
// found so far.
QList<WalkedFile> walk(const QStringList &urls, std::stop_token stop = {});

// The first file walk({url}) would give, found without walking the rest of a large tree.
std::optional<WalkedFile> firstFile(const QString &url);

} // namespace FileWalker
