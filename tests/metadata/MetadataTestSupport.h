#pragma once

#include <QFile>
#include <QProcess>
#include <QString>

#include <sys/xattr.h>
#include <unistd.h>

namespace MetadataTestSupport {

inline bool setAttribute(const QString &path, const char *name, const QByteArray &value)
{
    return ::setxattr(QFile::encodeName(path).constData(), name, value.constData(), size_t(value.size()), 0) == 0;
}

// The comment attribute byte for byte, or "(none)" when the file has none.
inline QByteArray rawComment(const QString &path)
{
    QByteArray value(65536, '\0');
    const ssize_t size =
        ::getxattr(QFile::encodeName(path).constData(), "user.xdg.comment", value.data(), size_t(value.size()));
    return size < 0 ? QByteArray("(none)") : value.left(size);
}

// A file the system refuses to change: read-only for a user; for root, who may
// write anything read-only, the immutable flag. Unlocked again when it goes.
class LockedFile {
public:
    explicit LockedFile(QString path) : file(std::move(path))
    {
        if (::geteuid() == 0) {
            locked = QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), file}) == 0;
        } else {
            locked = QFile::setPermissions(file, QFile::ReadOwner | QFile::ReadGroup);
        }
    }
    ~LockedFile()
    {
        if (::geteuid() == 0)
            QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), file});
        else
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    }
    LockedFile(const LockedFile &) = delete;
    LockedFile &operator=(const LockedFile &) = delete;
    bool isLocked() const { return locked; }

private:
    QString file;
    bool locked = false;
};

} // namespace MetadataTestSupport
