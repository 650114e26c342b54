#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <stop_token>

// Expands a selection of files and folders into the flat list of files a scan
// looks at. Hidden entries and symbolic links inside folders are left out, a
// package counts as one file of size 0, and what can't be read is passed over.
namespace FileWalker {

struct WalkedFile {
    QString url; // absolute path
    quint64 size = 0;
    std::optional<QDateTime> modificationDate;
    bool operator==(const WalkedFile &) const = default;
};

// In selection order, and within a folder in the order the folder lists its entries.
// A file reached through two selected paths stands twice.
QList<WalkedFile> walk(const QStringList &urls, std::stop_token stop = {});

} // namespace FileWalker
