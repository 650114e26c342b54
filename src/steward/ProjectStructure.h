#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// What sort of software project a folder holds; the raw values are the words below.
enum class ProjectKind { unity, xcode, swiftPackage, node, rust, python, godot, gitRepo };

namespace ProjectKinds {
QList<ProjectKind> all();
QString toString(ProjectKind kind);
std::optional<ProjectKind> fromString(const QString &raw);
} // namespace ProjectKinds

// A project's root and which of its paths belong to its tool, which may take new files and which are
// rebuilt. Everything after detection works from this and never looks at the markers again.
struct ProjectStructure {
    ProjectKind kind = ProjectKind::gitRepo;
    QString projectRoot;
    // Owned by the project's own tool: nothing may be placed there.
    QStringList managedPaths;
    // Where new files may be added.
    QStringList safeAdditivePaths;
    // Rebuilt output, left out of snapshots and sizes of interest.
    QStringList derivedPaths;
    bool operator==(const ProjectStructure &) const = default;

    // The project `folder` is the root of, or nothing. The kinds are tried in a fixed order and the
    // first marker found decides, so a Unity project under git is a Unity project. Links are looked at,
    // never followed.
    static std::optional<ProjectStructure> detect(const QString &folder);
    // Every kind whose marker `folder` carries, in the same order: a Node app with a Rust crate beside it
    // is both, and a backup leaves out what either tool rebuilds.
    static QList<ProjectStructure> detectAll(const QString &folder);
};
