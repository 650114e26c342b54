#include "platform/Paths.h"

#include <QCoreApplication>
#include <QDir>

#include <unistd.h>

QString Paths::downloads()
{
    return home() + QStringLiteral("/Downloads");
}

QString Paths::documents()
{
    return home() + QStringLiteral("/Documents");
}

QString Paths::desktop()
{
    return home() + QStringLiteral("/Desktop");
}

QString Paths::applicationSupport()
{
    return home() + QStringLiteral("/Library/Application Support/Vantrel");
}

QString Paths::servicesFolder()
{
    return home() + QStringLiteral("/Library/Services");
}

QString Paths::defaultsFile()
{
    return home() + QStringLiteral("/Library/Preferences/com.vantrel.Vantrel.ini");
}

QString Paths::instanceSocket()
{
    // A folder of its own that only this user can enter, checked before use (see PrivateFolder).
    return QDir::tempPath() + QStringLiteral("/vantrel-%1/instance").arg(::getuid());
}

QString Paths::resources()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../Resources"));
}
