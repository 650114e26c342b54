#pragma once

#include <QString>

namespace Steward {

// The free name staging and organizing give a file whose name is taken in its new folder: the path
// itself when nothing is there, else "{stem} -copy", "{stem} -copy 2"… with the extension kept.
QString uniqueDestination(const QString &path);

} // namespace Steward
