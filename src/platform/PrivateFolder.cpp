#include "platform/PrivateFolder.h"

#include "platform/NativeNames.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemMessage(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

PrivateFolder::Check PrivateFolder::check(const QString &path)
{
    struct stat info {};
    // lstat, so that a link to someone else's folder is seen as the link it is.
    if (::lstat(NativeNames::encode(path).constData(), &info) != 0) {
        if (errno == ENOENT)
            return {Status::missing, {}};
        return {Status::unsafe, QStringLiteral("Couldn't look at %1: %2.").arg(path, systemMessage(errno))};
    }
    if (S_ISLNK(info.st_mode))
        return {Status::unsafe, QStringLiteral("%1 is a symbolic link, not a folder of yours; Vantrel won't use it. "
                                               "Remove it and try again.")
                                    .arg(path)};
    if (!S_ISDIR(info.st_mode))
        return {Status::unsafe,
                QStringLiteral("%1 isn't a folder; Vantrel won't use it. Remove it and try again.").arg(path)};
    if (info.st_uid != ::geteuid())
        return {Status::unsafe, QStringLiteral("%1 belongs to another user (uid %2); Vantrel won't use it. "
                                               "Ask an administrator to remove it.")
                                    .arg(path)
                                    .arg(info.st_uid)};
    const auto mode = info.st_mode & 07777;
    if (mode != S_IRWXU)
        return {Status::unsafe, QStringLiteral("%1 has mode %2, not 0700, so other users could reach into it; "
                                               "Vantrel won't use it. Run chmod 700 on it and try again.")
                                    .arg(path, QStringLiteral("%1").arg(mode, 4, 8, QLatin1Char('0')))};
    return {Status::safe, {}};
}

std::optional<QString> PrivateFolder::prepare(const QString &path)
{
    const QByteArray encoded = NativeNames::encode(path);
    if (::mkdir(encoded.constData(), S_IRWXU) == 0) {
        // The umask may have taken bits away; a folder made just now is ours to set right.
        if (::chmod(encoded.constData(), S_IRWXU) != 0)
            return QStringLiteral("Couldn't make %1 private: %2.").arg(path, systemMessage(errno));
    } else if (errno != EEXIST) {
        return QStringLiteral("Couldn't make the folder %1: %2.").arg(path, systemMessage(errno));
    }
    const Check result = check(path);
    if (result.status == Status::safe)
        return std::nullopt;
    if (result.status == Status::missing)
        return QStringLiteral("The folder %1 went away while Vantrel was making it.").arg(path);
    return result.problem;
}
