#pragma once

#include <QStringView>

// Directories that the Mac treats as one document (applications, bundles,
// libraries of photos, Xcode projects…). Scans count such a folder as one file.
namespace Packages {
bool isPackageName(QStringView fileName);
}
