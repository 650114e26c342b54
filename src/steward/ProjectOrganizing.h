#pragma once

#include "steward/ProjectDetection.h"

#include <QList>
#include <QSet>
#include <QString>

#include <functional>
#include <optional>
#include <stop_token>
#include <variant>

// Grouping a project's loose files into typed folders in a container beside it, apart from the session
// and the sheet that show it.
namespace ProjectOrganizing {

// The typed folder a file goes to; the raw value is the folder's name.
enum class Category { screenshots, code, docs, archives, video, design, data, audio, other };

QList<Category> allCategories();
QString toString(Category category);
std::optional<Category> categoryFromString(const QString &raw);
// The folder's name as the sheet shows it: "Screenshots".
QString displayName(Category category);
// By the file's name: a screenshot is an image named so; the rest by the extension lists staging uses.
Category category(const QString &url);

struct PlannedFile {
    QString source;
    quint64 sizeBytes = 0;
    Category category = Category::other;
    bool operator==(const PlannedFile &) const = default;
};

struct Plan {
    QString projectRoot;
    ProjectKind projectKind = ProjectKind::gitRepo;
    QString containerURL;
    // Whether the container is a new folder made for the project, rather than the loose files' own.
    bool containerWasCreated = false;
    QList<PlannedFile> files;
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
    QString containerURL;
    int copiedCount = 0;
    int movedCount = 0;
    int skippedCount = 0;
    int renamedCount = 0;
    QList<FailedItem> failedItems;
    double elapsed = 0;
    bool operator==(const Result &) const = default;
};

// One line of "What goes where": a typed folder and how many of the ticked files go there.
struct Group {
    Category category = Category::other;
    QString folder;
    int count = 0;
    bool operator==(const Group &) const = default;
};

// Where the container goes for loose files whose first is `firstLooseFile`, or, with none, beside the
// project. The folders everything is dropped into (home, downloads, desktop, documents) get a folder
// named for the project; a folder the loose files have to themselves is used as it is.
QString containerFor(const ProjectStructure &project, const std::optional<QString> &firstLooseFile,
                     bool *wasCreated = nullptr);

// The plan for the loose files related to `project`, in the order given.
Plan plan(const ProjectStructure &project, const QList<ProjectDetection::LooseFile> &looseFiles);

// The ticked files by typed folder, in category order; folders with none are left out.
QList<Group> whatGoesWhere(const Plan &plan, const QSet<QString> &selected);

// The failure when the container can't be made, before any file is touched.
QString containerFailure(const QString &error);

// Creates the container when the plan made it up, then copies or moves each selected file in plan order
// into its typed folder under a free name. Stops before the next file once `stop` is asked; `publish`
// hears the progress after each file. The result, or the failure text when the container couldn't be made.
std::variant<Result, QString> run(const Plan &plan, const QSet<QString> &selected, bool moveMode,
                                  const std::function<void(const Progress &)> &publish, std::stop_token stop);

} // namespace ProjectOrganizing
