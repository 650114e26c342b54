#include "scan/FileWalker.h"

#include "platform/Packages.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::optional<QDateTime> modificationDate(const struct stat &info)
{
    const qint64 ms = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

FileWalker::WalkedFile fileOf(const QString &path, const struct stat &info)
{
    return {path, quint64(info.st_size), modificationDate(info)};
}

// Walks the folder open at `dirFd` (taking ownership), whose path is `path`.
// Stats are relative to the folder's descriptor, so the kernel never resolves
// the full path again for each entry.
void walkFolder(int dirFd, const QString &path, QList<FileWalker::WalkedFile> &out, const std::stop_token &stop)
{
    DIR *dir = ::fdopendir(dirFd);
    if (!dir) {
        ::close(dirFd);
        return;
    }
    const QString prefix = path + QLatin1Char('/');
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] == '.') // hidden, and also "." and ".."
            continue;
        const unsigned char type = entry->d_type;
        if (type == DT_LNK)
            continue;
        if (type != DT_REG && type != DT_DIR && type != DT_UNKNOWN)
            continue;
        const QString nameText = QFile::decodeName(name);
        struct stat info {};
        // A folder needs no stat unless it is a package; everything else is asked once, relative
        // to the folder's descriptor, so the kernel never resolves the full path again.
        const bool needsStat = type != DT_DIR || Packages::isPackageName(nameText);
        if (needsStat && ::fstatat(dirFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const bool isDirectory = needsStat ? S_ISDIR(info.st_mode) : true;
        if (needsStat && S_ISREG(info.st_mode)) {
            out.append(fileOf(prefix + nameText, info));
        } else if (isDirectory) {
            if (Packages::isPackageName(nameText)) {
                out.append({prefix + nameText, 0, modificationDate(info)});
                continue;
            }
            if (stop.stop_requested())
                break;
            const int childFd = ::openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (childFd >= 0)
                walkFolder(childFd, prefix + nameText, out, stop);
        }
    }
    ::closedir(dir);
}

} // namespace

QList<FileWalker::WalkedFile> FileWalker::walk(const QStringList &urls, std::stop_token stop)
{
    QList<WalkedFile> files;
    for (const QString &url : urls) {
        if (stop.stop_requested())
            break;
        const QByteArray encoded = QFile::encodeName(url);
        struct stat info {};
        // The existence test follows links, so a selected link stands for what it points at.
        if (::stat(encoded.constData(), &info) != 0)
            continue;
        if (!S_ISDIR(info.st_mode)) {
            files.append(fileOf(url, info));
            continue;
        }
        const qsizetype slash = url.lastIndexOf(QLatin1Char('/'));
        if (Packages::isPackageName(QStringView(url).mid(slash + 1))) {
            files.append({url, 0, modificationDate(info)});
            continue;
        }
        const int fd = ::open(encoded.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0)
            walkFolder(fd, url.endsWith(QLatin1Char('/')) && url.size() > 1 ? url.chopped(1) : url, files, stop);
    }
    return files;
}
