#include "metadata/StoreFile.h"

#include "platform/Paths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSaveFile>

std::optional<QString> StoreFile::write(const QString &folder, const QString &name, const QByteArray &bytes)
{
    if (!QDir().mkpath(folder))
        return QStringLiteral("couldn't create %1").arg(Paths::displayPath(folder));
    QSaveFile file(folder + QLatin1Char('/') + name);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return file.errorString();
    return std::nullopt;
}

void StoreFile::moveAside(const QString &path)
{
    QFile::rename(path, path + QStringLiteral(".unreadable-") +
                            QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")));
}
