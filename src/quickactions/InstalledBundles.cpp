#include "quickactions/InstalledBundles.h"

#include "platform/Paths.h"

#include <QDir>

bool InstalledBundles::isOwnBundleName(const QString &fileName)
{
    return fileName.startsWith(ownPrefix) && fileName.endsWith(QLatin1String(".workflow"));
}

QSet<QString> InstalledBundles::ownBundleNames(const QString &folder)
{
    const QDir dir(folder.isEmpty() ? Paths::servicesFolder() : folder);
    QSet<QString> names;
    for (const QString &name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden)) {
        if (isOwnBundleName(name))
            names.insert(name);
    }
    return names;
}
