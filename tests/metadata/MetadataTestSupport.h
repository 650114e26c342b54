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
