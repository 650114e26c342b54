#pragma once

#include <QString>

namespace Trash {

// Sends `path` to the user's Trash, where it can be put back from; false when it stays where it was.
bool moveToTrash(const QString &path);

} // namespace Trash
