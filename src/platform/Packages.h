#pragma once

#include <QStringView>

// Folders that the Mac shows and handles as one document: applications, bundles, plug-ins, libraries of
// photos, Xcode projects and the like. Linux has no such flag, so a folder is a package when its name ends
// in one of the Mac's package extensions; the list lives in one place, here.
namespace Packages {

// Whether a folder of this name is a package. The extension is compared without regard to case
// ("Tool.APP" is one); a name that is all extension (".app") is not a package.
bool isPackageName(QStringView fileName);

} // namespace Packages
