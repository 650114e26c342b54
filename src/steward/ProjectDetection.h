#pragma once

#include "steward/ProjectStructure.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <stop_token>

// The detector's walk and its matching of loose files to projects, apart from the session that shows them.
namespace ProjectDetection {

struct DetectedProject {
    ProjectStructure structure;
    quint64 totalSizeBytes = 0;
    QDateTime lastModified;
    bool operator==(const DetectedProject &) const = default;
};

struct LooseFile {
    QString url;
    quint64 sizeBytes = 0;
    QDateTime modified;
    // The root of the project the file looks like it belongs to.
    std::optional<QString> relatedTo;
    bool operator==(const LooseFile &) const = default;
};

// A project as the matching sees it: the words of its folder's name and its parent folder's name.
struct Candidate {
    QString project;
    ProjectKind kind = ProjectKind::gitRepo;
    QSet<QString> tokens;
    // Its place in the project list, largest first: the tie-break between equal scores.
    int order = 0;
    bool operator==(const Candidate &) const = default;
};

struct ScanProgress {
    int foldersWalked = 0;
    int projectsFound = 0;
    std::optional<QString> currentPath;
    bool operator==(const ScanProgress &) const = default;
};

struct ScanResults {
    QList<DetectedProject> projects;
    QList<LooseFile> looseFiles;
    int foldersWalked = 0;
    double elapsed = 0;
    bool operator==(const ScanResults &) const = default;
};

// Folders a walk never enters: tool caches, dependencies and rebuilt output, where projects aren't kept.
bool isSkippedName(const QString &name);
// The roots and this many levels below them are looked at.
constexpr int maxDepth = 3;

// A name's words: split where lower case turns upper and at anything neither letter nor digit,
// lower-cased, those under four characters dropped.
QSet<QString> tokens(const QString &name);
// How strongly a file of this extension (lower case, no dot) belongs to a project of `kind`.
int score(ProjectKind kind, const QString &extension);
// The candidates of projects listed largest first.
QList<Candidate> candidates(const QList<DetectedProject> &projects);
// The project a file of this name most likely belongs to, or nothing.
std::optional<QString> relatedProject(const QString &fileName, const QList<Candidate> &candidates);

// Sum of the allocated sizes (st_blocks × 512) of the regular, non-hidden files under `folder`.
quint64 allocatedSize(const QString &folder, std::stop_token stop);

// Walks `roots` (absolute folder paths) for projects and each root's loose files; `publish` hears
// each folder as it is entered. A stopped walk returns what it had.
ScanResults scan(const QStringList &roots, const std::function<void(const ScanProgress &)> &publish,
                 std::stop_token stop);

} // namespace ProjectDetection
