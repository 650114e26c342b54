#pragma once

#include "steward/ProjectStructure.h"

#include <QString>

#include <optional>

// Where a file brought into a project belongs, from its extension and the project's kind.
namespace StageRouting {

enum class FileCategory { image, code, doc, archive, video, design, data, audio, model3d, prefab, other };

QString toString(FileCategory category);

// By the lower-case extension of the path's last component; anything unlisted, or without an
// extension, is `other`.
FileCategory category(const QString &path);

// Where a file of some category goes in a project of some kind, relative to the project's root, and
// the convention that puts it there, in words.
struct Suggestion {
    QString relativeSubpath;
    QString label;
    bool operator==(const Suggestion &) const = default;
};

Suggestion suggestion(const QString &path, ProjectKind kind);
Suggestion suggestion(FileCategory category, ProjectKind kind);

// The folder of the project that `relativeSubpath` would write into although the project's tool owns
// or rebuilds it, relative to the root; nothing when the subpath is safe. A rebuilt folder blocks
// everything below it, a managed one only itself, so `Assets/Art` is fine in a Unity project while
// `Assets` and `Library/x` aren't. Slashes at either end are ignored.
std::optional<QString> unsafePrefix(const QString &relativeSubpath, const ProjectStructure &structure);

} // namespace StageRouting
