#include "platform/Paths.h"

#include "platform/NativeNames.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace {

QString xdgFolder(const char *variable, const QString &fallbackBelowHome)
{
    // The base directory specification says a relative value is invalid and must be ignored.
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return QDir::cleanPath(Paths::home() + QLatin1Char('/') + fallbackBelowHome);
}

// A folder of xdg-user-dirs: the line `XDG_{KEY}_DIR="$HOME/…"` of user-dirs.dirs, else the environment
// variable of that name (as the xdg-user-dir tool reads it), else `fallbackBelowHome`. A value that names
// the home folder itself means the folder is switched off; a scan must never take the whole home for it.
QString userFolder(const QByteArray &key, const QString &fallbackBelowHome)
{
    const QByteArray variable = QByteArray("XDG_") + key + QByteArray("_DIR");
    const QByteArray opening = variable + QByteArray("=\"");
    QString value;
    QFile file(xdgFolder("XDG_CONFIG_HOME", QStringLiteral(".config")) + QStringLiteral("/user-dirs.dirs"));
    if (file.open(QIODevice::ReadOnly)) {
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (!line.startsWith(opening) || !line.endsWith('"'))
                continue;
            // The file holds the folder's name as bytes, and a Latin-1 "Téléchargements" must still be found.
            value = NativeNames::decode(line.mid(variable.size() + 2, line.size() - variable.size() - 3));
        }
    }
    if (value.isEmpty())
        value = qEnvironmentVariable(variable.constData());
    const QString home = Paths::home();
    if (value.startsWith(QLatin1String("$HOME")))
        value = home + value.mid(5);
    value = QDir::cleanPath(value);
    if (value.isEmpty() || !QDir::isAbsolutePath(value) || value == home)
        return QDir::cleanPath(home + QLatin1Char('/') + fallbackBelowHome);
    return value;
}

} // namespace

QString Paths::downloads()
{
    return userFolder("DOWNLOAD", QStringLiteral("Downloads"));
}

QString Paths::documents()
{
    return userFolder("DOCUMENTS", QStringLiteral("Documents"));
}

QString Paths::desktop()
{
    return userFolder("DESKTOP", QStringLiteral("Desktop"));
}

QString Paths::applicationSupport()
{
    return xdgFolder("XDG_DATA_HOME", QStringLiteral(".local/share")) + QStringLiteral("/Vantrel");
}

QString Paths::servicesFolder()
{
    return applicationSupport() + QStringLiteral("/Services");
}

QString Paths::defaultsFile()
{
    return xdgFolder("XDG_CONFIG_HOME", QStringLiteral(".config")) + QStringLiteral("/Vantrel/Vantrel.conf");
}

QString Paths::instanceSocket()
{
    // In a folder of its own that only this user can enter (see PrivateFolder): a name in /tmp that
    // anyone can guess could be bound first by another user, who would then be sent our URLs.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir::isAbsolutePath(runtime))
        return QDir::cleanPath(runtime) + QStringLiteral("/vantrel/instance");
    return QDir::tempPath() + QStringLiteral("/vantrel-%1/instance").arg(::getuid());
}

QString Paths::resources()
{
    const QString overridden = qEnvironmentVariable("VANTREL_RESOURCES");
    if (!overridden.isEmpty())
        return QDir::cleanPath(overridden);
    // The build tree and an installed tree share the layout bin/../share/vantrel.
    QString besideExecutable =
        QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/vantrel"));
    if (QFileInfo(besideExecutable).isDir())
        return besideExecutable;
    return QStringLiteral("/usr/share/vantrel");
}
