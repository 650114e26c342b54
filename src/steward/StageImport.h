#pragma once

#include "steward/ProjectStructure.h"
#include "steward/StageRouting.h"

#include <QDate>
#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <stop_token>

// Bringing files into a project: the plan of where each goes, the checks that keep them out of the
// folders the project's tool owns, and the copying itself.
namespace StageImport {

struct Entry {
    QString source;
    quint64 sizeBytes = 0;
    StageRouting::FileCategory category = StageRouting::FileCategory::other;
    StageRouting::Suggestion suggested;
    // The user's own subfolder for this file, when they changed it.
    std::optional<QString> overrideSubpath;
    bool operator==(const Entry &) const = default;

    // The override when there is one, else the suggestion.
    QString effectiveSubpath() const { return overrideSubpath.value_or(suggested.relativeSubpath); }
};

struct Plan {
    ProjectStructure project;
    QList<Entry> entries;
    bool operator==(const Plan &) const = default;
};

struct Progress {
    int processed = 0;
    int total = 0;
    std::optional<QString> currentFile;
    bool operator==(const Progress &) const = default;
};

struct FailedItem {
    QString source;
    QString reason;
    bool operator==(const FailedItem &) const = default;
};

struct Result {
    QString projectRoot;
    int stagedCount = 0;
    int trashedCount = 0;
    int renamedCount = 0;
    QList<FailedItem> failedItems;
    double elapsed = 0;
    std::optional<QString> firstDestination;
    bool operator==(const Result &) const = default;
};

struct Options {
    bool moveMode = false;
    bool addFinderComment = true;
    // The day the comments name.
    QDate today;
};

// One entry per source, in order, with its size on disk and where its category goes in the project.
Plan plan(const QStringList &sources, const ProjectStructure &project);

// The refusal "Refusing to stage into '{subpath}/' …" when `subpath` falls in a folder the project's
// tool manages or rebuilds, or climbs out of the project; nothing when files may go there.
std::optional<QString> refusal(const QString &subpath, const ProjectStructure &project);
// The first entry's refusal, before anything is copied.
std::optional<QString> refusal(const Plan &plan);

// "Vantrel looked at ~/x …": what a folder without any project marker is told, with the markers looked for.
QString noProjectMessage(const QString &folder);

// "[Imported from ~/Downloads on 2026-11-24]"
QString importComment(const QString &sourceFolder, const QDate &day);

using Publish = std::function<void(const Progress &)>;

// Carries the plan out entry by entry; blocking, off the main thread. A stop request ends it before
// the next entry with what was done. Nothing copied is ever undone, and an original goes to the Trash
// only once its copy stands.
Result run(const Plan &plan, const Options &options, const Publish &publish = {}, std::stop_token stop = {});

} // namespace StageImport
