#pragma once

#include <QSet>
#include <QString>

// The application's own bundles are those whose file name starts with "Vantrel - ";
// everything else in the installed folder is the user's and is never touched.
namespace InstalledBundles {

inline constexpr QLatin1StringView ownPrefix{"Vantrel - "};

bool isOwnBundleName(const QString &fileName);
// File names of the own bundles standing in `folder` (the Services folder when empty).
QSet<QString> ownBundleNames(const QString &folder = {});

} // namespace InstalledBundles
