#include "app/WorkflowTable.h"

#include "app/AppState.h"
#include "foundation/WorkflowCatalog.h"
#include "metadata/CleanDuplicateCommentsHandler.h"
#include "metadata/SpotlightRefresher.h"
#include "platform/NativeNames.h"
#include "scan/DuplicateScan.h"
#include "scan/HygieneScans.h"
#include "steward/ProjectDetectorSession.h"
#include "steward/StageImportSession.h"
#include "steward/git/GitInitSession.h"
#include "transfer/archive/ArchiveSession.h"
#include "transfer/mover/SmartMoverHandler.h"
#include "transfer/stitch/StitchSession.h"

#include <QFileInfo>

#include <sys/stat.h>

namespace {

QString displayNameForURLID(const QString &urlID)
{
    const auto matches = [&](const Workflow &w) { return WorkflowCatalog::urlIDForWorkflow(w.id) == urlID; };
    for (const Workflow &w : WorkflowCatalog::coreWorkflows()) {
        if (matches(w))
            return w.displayName;
    }
    for (const Workflow &w : WorkflowCatalog::packWorkflows()) {
        if (matches(w))
            return w.displayName;
    }
    return urlID;
}

// The honest answer of a workflow whose screen or scan hasn't been built yet.
WorkflowRunner::Handler notAvailableYet(const QString &urlID)
{
    return [urlID](AppState &state, const QStringList &) {
        state.showFailure(QStringLiteral("%1 isn't available yet.").arg(displayNameForURLID(urlID)));
    };
}

// A sheet that needs a selection: with files it sets its context, without it says so.
template <typename Context>
WorkflowRunner::Handler contextHandler(void (AppState::*set)(const std::optional<Context> &), const char *name)
{
    return [set, name](AppState &state, const QStringList &paths) {
        if (paths.isEmpty()) {
            state.showFailure(
                QStringLiteral("Select one or more files in Finder before running %1.").arg(QString::fromUtf8(name)));
            return;
        }
        (state.*set)(Context{paths});
    };
}

// A session workflow refuses an empty selection with its own words.
WorkflowRunner::Handler needsSelection(const QString &urlID, const char *refusal)
{
    const WorkflowRunner::Handler run = notAvailableYet(urlID);
    return [run, refusal](AppState &state, const QStringList &paths) {
        if (paths.isEmpty()) {
            state.showFailure(QString::fromUtf8(refusal));
            return;
        }
        run(state, paths);
    };
}

// Folders can't be stitched; any other file is tried, and one that isn't an image is counted as
// skipped when the run reports.
void stitch(AppState &state, const QStringList &paths)
{
    QStringList files;
    for (const QString &path : paths) {
        if (QFileInfo(path).isFile())
            files.append(path);
    }
    if (files.isEmpty()) {
        state.showFailure(QStringLiteral("Select one or more images in Finder before running Stitch to PDF or Image."));
        return;
    }
    state.setStitchSession(new StitchSession(state, files));
}

void routeByConfig(AppState &state, const QStringList &paths)
{
    if (paths.isEmpty()) {
        state.showFailure(QStringLiteral("Route by Config needs at least one selected file or folder."));
        return;
    }
    state.setRouteByConfigSession(new RouteByConfigSession(state, paths, &state.transferProfileStore()));
}

// The sheet opens on the chosen folders; the session itself refuses files and an empty choice.
void projectDetector(AppState &state, const QStringList &paths)
{
    auto *session = new ProjectDetectorSession(state, paths, &state.recentProjects());
    state.setProjectDetectorSession(session);
    if (paths.isEmpty())
        session->start();
}

// The files come from the selection; the project is picked in the sheet.
void stageImport(AppState &state, const QStringList &paths)
{
    if (paths.isEmpty()) {
        state.showFailure(QStringLiteral("Stage & Import needs at least one selected file or folder."));
        return;
    }
    state.setStageImportSession(new StageImportSession(state, paths, &state.recentProjects()));
}

// One project folder: the first path, which must be a folder.
void projectSnapshot(AppState &state, const QStringList &paths)
{
    const QFileInfo root(paths.value(0));
    if (paths.isEmpty() || !root.exists()) {
        state.showFailure(QStringLiteral("Project Snapshot needs a folder. Drop a folder and try again."));
        return;
    }
    if (!root.isDir()) {
        state.showFailure(QStringLiteral("Project Snapshot needs a folder, not a file."));
        return;
    }
    state.openProjectSnapshot(root.absoluteFilePath());
}

// Init Repo works on one folder: the first one chosen. A file, or nothing that exists, is refused before
// any sheet opens.
void gitInit(AppState &state, const QStringList &paths)
{
    // Through the native name: a folder whose name isn't UTF-8 is still a folder.
    const auto kind = [](const QString &path) {
        struct stat status {};
        return ::stat(NativeNames::encode(path).constData(), &status) != 0 ? 0 : S_ISDIR(status.st_mode) ? 2 : 1;
    };
    const auto folder = std::find_if(paths.begin(), paths.end(), [&](const QString &path) { return kind(path) == 2; });
    if (folder != paths.end()) {
        state.setGitInitSession(new GitInitSession(state, *folder));
        return;
    }
    const bool file = std::any_of(paths.begin(), paths.end(), [&](const QString &path) { return kind(path) == 1; });
    state.showFailure(file ? QStringLiteral("Init Repo needs a folder, not a file.")
                           : QStringLiteral("Init Repo needs a folder. Drop a folder and try again."));
}

QList<WorkflowTable::Row> buildRows()
{
    const auto interim = [](const char *id) { return notAvailableYet(QString::fromLatin1(id)); };
    const WorkflowRunner::Handler duplicates = [](AppState &state, const QStringList &paths) {
        DuplicateScan::run(paths, state.scanState());
    };
    const auto row = [](const char *id, WorkflowRunner::Handler handler, const char *message = "") {
        return WorkflowTable::Row{QString::fromLatin1(id), std::move(handler), QString::fromUtf8(message)};
    };
    return {
        // Metadata.
        row("single-tag-selector",
            contextHandler<SingleTagSelectorContext>(&AppState::setSingleTagSelectorContext, "Single Tag Selector")),
        row("tag-category-selector",
            contextHandler<CategoryTaggingContext>(&AppState::setCategoryTaggingContext, "Tag Category Selector")),
        row("text-comment-tools",
            contextHandler<TextCommentToolsContext>(&AppState::setTextCommentToolsContext, "Text & Comment Tools")),
        row("comment-templates",
            contextHandler<CommentTemplateContext>(&AppState::setCommentTemplateContext, "Comment Templates")),
        row("clean-duplicate-comments",
            [](AppState &state, const QStringList &paths) {
                CleanDuplicateCommentsHandler::run(paths, state.scanState());
            }),
        row("spotlight-path-refresher",
            [](AppState &state, const QStringList &paths) { SpotlightRefresher::run(paths, state.scanState()); }),
        row("metadata-export", interim("metadata-export")),
        row("metadata-import", interim("metadata-import")),
        // Scans.
        row("duplicate-reports", duplicates),
        row("smart-duplicate-scanner", duplicates),
        row("old-stale-files",
            [](AppState &state, const QStringList &paths) { HygieneScans::runStale(paths, state.scanState()); }),
        row("large-file-finder",
            [](AppState &state, const QStringList &paths) { HygieneScans::runLarge(paths, state.scanState()); }),
        row("downloads-tidy",
            [](AppState &state, const QStringList &paths) { HygieneScans::runTidy(paths, state.scanState()); }),
        row("tag-audit",
            [](AppState &state, const QStringList &paths) { HygieneScans::runTagAudit(paths, state.scanState()); }),
        // Transfers.
        row(
            "smart-mover",
            [](AppState &state, const QStringList &paths) { SmartMoverHandler::run(paths, state, state.scanState()); },
            "Pick the files or folder you want to move."),
        row("cloud-migrate",
            needsSelection(QStringLiteral("cloud-migrate"),
                           "Cloud Migrate needs at least one selected file or folder."),
            "Pick the files or folder you want to send to the cloud."),
        row("route-by-config", routeByConfig, "Pick a folder. Your routing rules will be applied to its contents."),
        row("multi-compress", needsSelection(QStringLiteral("multi-compress"),
                                             "Multi-Compress needs at least one selected file or folder.")),
        row(
            "archive-handler",
            [](AppState &state, const QStringList &paths) {
                if (paths.isEmpty()) {
                    state.showFailure(QStringLiteral("Archive Handler needs at least one selected file or folder."));
                    return;
                }
                state.setArchiveSession(new ArchiveSession(state, paths));
            },
            "Pick the files you want to compress into an archive."),
        row("stitch-files", stitch),
        // Projects and git.
        row("project-snapshot", projectSnapshot, "Pick the project folder you want to snapshot."),
        row("project-detector", projectDetector, "Pick a parent folder. Project Detector will scan it for projects."),
        row("stage-import", stageImport,
            "Pick file(s) to stage into a project. You'll pick the project on the next screen."),
        row("github-sync", interim("github-sync"), "Pick a git repository folder to Sync or Commit & Push."),
        row("git-init", gitInit,
            "Pick a folder to turn into a git repository. The next screen lets you edit .gitignore + first commit."),
        row("git-full-run", interim("git-full-run"),
            "Pick a folder. The wizard handles init, GitHub remote, verify, commit & push end-to-end."),
    };
}

} // namespace

const QList<WorkflowTable::Row> &WorkflowTable::rows()
{
    static const QList<Row> table = buildRows();
    return table;
}

const WorkflowTable::Row *WorkflowTable::find(const QString &id)
{
    for (const Row &row : rows()) {
        if (row.id == id)
            return &row;
    }
    return nullptr;
}
