#pragma once

#include <QDirIterator>
#include <QFile>
#include <QMap>

// Every file under `folder` with its bytes, by relative path: two snapshots are equal only when the
// tree is byte for byte the same.
inline QMap<QString, QByteArray> treeSnapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        files.insert(path.mid(folder.size()),
                     file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)"));
    }
    return files;
}
