#include "platform/Paths.h"

#include "platform/NativeNames.h"

#include <QDir>

QString Paths::home()
{
    const QString value = qEnvironmentVariable("HOME");
    return value.isEmpty() ? QDir::homePath() : QDir::cleanPath(value);
}

QString Paths::workflowsResourceFolder()
{
    return resources() + QStringLiteral("/Workflows");
}

QString Paths::displayPath(const QString &path)
{
    const QString homeFolder = home();
    if (path == homeFolder)
        return QStringLiteral("~");
    if (path.startsWith(homeFolder + QLatin1Char('/')))
        return QStringLiteral("~") + NativeNames::display(path.mid(homeFolder.size()));
    return NativeNames::display(path);
}
