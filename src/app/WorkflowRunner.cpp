#include "app/WorkflowRunner.h"

#include "app/AppState.h"
#include "foundation/RunURL.h"
#include "foundation/WorkflowCatalog.h"
#include "metadata/CleanDuplicateCommentsHandler.h"
#include "metadata/SpotlightRefresher.h"
#include "platform/NativeNames.h"
#include "scan/DuplicateScan.h"
#include "scan/HygieneScans.h"
#include "transfer/stitch/StitchSession.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Turns a decoded piece into an absolute path; no check that it exists.
QString fileURLPath(const QString &piece)
{
    return QDir::isAbsolutePath(piece) ? piece : NativeNames::absolutePath(piece);
}

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

QHash<QString, WorkflowRunner::Handler> buildTable()
{
    QHash<QString, WorkflowRunner::Handler> table;
    const auto add = [&table](const char *id, const WorkflowRunner::Handler &handler) {
        table.insert(QString::fromLatin1(id), handler);
    };
    const auto interim = [&add](const char *id) { add(id, notAvailableYet(QString::fromLatin1(id))); };

    for (const char *id : {"metadata-export", "metadata-import", "smart-mover", "archive-handler", "project-snapshot",
                           "project-detector", "stage-import", "github-sync", "git-init", "git-full-run"})
        interim(id);

    const WorkflowRunner::Handler duplicates = [](AppState &state, const QStringList &paths) {
        DuplicateScan::run(paths, state.scanState());
    };
    add("duplicate-reports", duplicates);
    add("smart-duplicate-scanner", duplicates);
    add("old-stale-files",
        [](AppState &state, const QStringList &paths) { HygieneScans::runStale(paths, state.scanState()); });
    add("large-file-finder",
        [](AppState &state, const QStringList &paths) { HygieneScans::runLarge(paths, state.scanState()); });
    add("downloads-tidy",
        [](AppState &state, const QStringList &paths) { HygieneScans::runTidy(paths, state.scanState()); });
    add("tag-audit",
        [](AppState &state, const QStringList &paths) { HygieneScans::runTagAudit(paths, state.scanState()); });

    add("clean-duplicate-comments", [](AppState &state, const QStringList &paths) {
        CleanDuplicateCommentsHandler::run(paths, state.scanState());
    });
    add("spotlight-path-refresher",
        [](AppState &state, const QStringList &paths) { SpotlightRefresher::run(paths, state.scanState()); });

    add("single-tag-selector",
        contextHandler<SingleTagSelectorContext>(&AppState::setSingleTagSelectorContext, "Single Tag Selector"));
    add("tag-category-selector",
        contextHandler<CategoryTaggingContext>(&AppState::setCategoryTaggingContext, "Tag Category Selector"));
    add("text-comment-tools",
        contextHandler<TextCommentToolsContext>(&AppState::setTextCommentToolsContext, "Text & Comment Tools"));
    add("comment-templates",
        contextHandler<CommentTemplateContext>(&AppState::setCommentTemplateContext, "Comment Templates"));

    add("stitch-files", [](AppState &state, const QStringList &paths) {
        // Folders can't be stitched; any other file is tried, and one that
        // isn't an image is counted as skipped when the run reports.
        QStringList files;
        for (const QString &path : paths) {
            if (QFileInfo(path).isFile())
                files.append(path);
        }
        if (files.isEmpty()) {
            state.showFailure(
                QStringLiteral("Select one or more images in Finder before running Stitch to PDF or Image."));
            return;
        }
        state.setStitchSession(new StitchSession(files, state));
    });

    add("cloud-migrate",
        needsSelection(QStringLiteral("cloud-migrate"), "Cloud Migrate needs at least one selected file or folder."));
    add("route-by-config", needsSelection(QStringLiteral("route-by-config"),
                                          "Route by Config needs at least one selected file or folder."));
    add("multi-compress",
        needsSelection(QStringLiteral("multi-compress"), "Multi-Compress needs at least one selected file or folder."));
    return table;
}

} // namespace

WorkflowRunner::WorkflowRunner(AppState *state) : state(state) {}

const QHash<QString, WorkflowRunner::Handler> &WorkflowRunner::urlTable()
{
    static const QHash<QString, Handler> table = buildTable();
    return table;
}

WorkflowRunner::Outcome WorkflowRunner::handle(const QString &urlText)
{
    const QString scheme = RunURL::split(urlText).scheme;
    if (scheme == QLatin1String("vantrel"))
        return handleRun(urlText);
    if (scheme == QLatin1String("file"))
        return handleFile(QUrl(urlText, QUrl::TolerantMode));
    return malformed{QStringLiteral("unsupported scheme %1").arg(scheme.isEmpty() ? QStringLiteral("(none)") : scheme)};
}

WorkflowRunner::Outcome WorkflowRunner::handleRun(const QString &urlText)
{
    const RunURL::Parts parts = RunURL::split(urlText);
    if (parts.host != QStringLiteral("run"))
        return malformed{
            QStringLiteral("expected host 'run', got %1").arg(parts.host.value_or(QStringLiteral("(none)")))};
    if (parts.id.isEmpty())
        return malformed{QStringLiteral("missing workflow id in path")};

    QStringList paths;
    for (const QString &piece : RunURL::decodePaths(parts.files))
        paths.append(fileURLPath(piece));
    const int fileCount = int(paths.size());

    if (!state)
        return unknownWorkflow{parts.id};
    emit state->activationRequested();

    const auto &table = urlTable();
    if (const auto found = table.constFind(parts.id); found != table.constEnd()) {
        found.value()(*state, paths);
        return ran{parts.id, fileCount};
    }

    // The last resort: a workflow the user has but that no Quick Action URL names
    // leads to the Quick Actions screen.
    for (const Workflow &workflow : state->allWorkflows()) {
        if (workflow.id == parts.id) {
            state->setSelection(AppState::Destination::quickActions);
            return ran{parts.id, fileCount};
        }
    }
    return unknownWorkflow{parts.id};
}

WorkflowRunner::Outcome WorkflowRunner::handleFile(const QUrl &url)
{
    const QString extension = QFileInfo(url.path()).suffix();
    if (extension.toLower() == QLatin1String("vantrelpack")) {
        if (state) {
            state->setSelection(AppState::Destination::automationPacks);
            state->showFailure(QStringLiteral("Opening automation packs isn't available yet."));
        }
        return ran{QStringLiteral("import-pack"), 1};
    }
    return malformed{QStringLiteral("unsupported file extension %1").arg(extension)};
}

QString WorkflowRunner::describe(const Outcome &outcome)
{
    if (const auto *r = std::get_if<ran>(&outcome))
        return QStringLiteral("ran %1 (%2 file%3)")
            .arg(r->workflowID)
            .arg(r->fileCount)
            .arg(r->fileCount == 1 ? "" : "s");
    if (const auto *u = std::get_if<unknownWorkflow>(&outcome))
        return QStringLiteral("unknown workflow %1").arg(u->id);
    return QStringLiteral("malformed URL: %1").arg(std::get<malformed>(outcome).reason);
}
