#include "platform/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

// QFile::moveToTrash (Qt 6.4) goes on with an empty folder when it can't make the home Trash, and
// then files the item under "files" and "info" in the working directory. Making the home Trash
// first, and giving up when that fails, keeps every item in a real Trash.
bool homeTrashReady()
{
#if defined(Q_OS_LINUX)
    const QString trash =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Trash");
    for (const QString &below : {QStringLiteral("/files"), QStringLiteral("/info")}) {
        QDir().mkpath(trash + below);
        if (!QFileInfo(trash + below).isDir())
            return false;
    }
#endif
    return true;
}

} // namespace

bool Trash::moveToTrash(const QString &path)
{
    return homeTrashReady() && QFile::moveToTrash(path);
}
