#include "platform/Paths.h"

#include <QCoreApplication>
#include <QDir>
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

} // namespace

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
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir::isAbsolutePath(runtime))
        return QDir::cleanPath(runtime) + QStringLiteral("/vantrel-instance");
    return QDir::tempPath() + QStringLiteral("/vantrel-%1-instance").arg(::getuid());
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
