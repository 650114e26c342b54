#pragma once

#include <QString>

#include <optional>

namespace Trash {

// Sends `path` to the user's Trash, where it can be put back from; false when it stays where it was.
bool moveToTrash(const QString &path);
// The same, with the system's reason it stayed ("Invalid cross-device link"); nothing when it went.
std::optional<QString> trashItem(const QString &path);

} // namespace Trash
