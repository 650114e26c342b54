#pragma once

#include <QString>

// Where a file brought into a project belongs, from its extension and the project's kind.
namespace StageRouting {

enum class FileCategory { image, code, doc, archive, video, design, data, audio, model3d, prefab, other };

QString toString(FileCategory category);

// By the lower-case extension of the path's last component; anything unlisted, or without an
// extension, is `other`.
FileCategory category(const QString &path);

} // namespace StageRouting
