#include "foundation/WorkflowCatalog.h"

#include <algorithm>

namespace {

using K = Workflow::Kind;
using I = Workflow::InputKind;

struct PackRow {
    Workflow workflow;
    const char *packID;
};

Workflow row(const char *id, const char *displayName, const char *summary, const char *bundleName, K kind,
             const char *systemImage, const char *accentHex, const char *version, std::optional<I> inputKind)
{
    Workflow w;
    w.id = QString::fromUtf8(id);
    w.displayName = QString::fromUtf8(displayName);
    w.summary = QString::fromUtf8(summary);
    w.bundleName = QString::fromUtf8(bundleName);
    w.kind = kind;
    w.systemImage = QString::fromUtf8(systemImage);
    w.accentHex = QString::fromUtf8(accentHex);
    w.version = QString::fromUtf8(version);
    w.status = Workflow::Status::installed;
    w.inputKind = inputKind;
    return w;
}

constexpr auto none = std::nullopt;

const char *const hygienePack = "com.vantrel.pack.file-hygiene";
const char *const metadataPack = "com.vantrel.pack.metadata-power";
const char *const transferPack = "com.vantrel.pack.file-transfer";
const char *const stewardPack = "com.vantrel.pack.project-steward";

const QList<PackRow> &packRows()
{
    static const QList<PackRow> rows{
        {row("duplicate-reports", "Duplicate Reports", "Group files by content hash and surface clusters.",
             "Vantrel - Duplicate Reports.workflow", K::duplicates, "doc.on.doc.fill", "#60A5FA", "0.2", none),
         hygienePack},
        {row("old-stale-files", "Old & Stale Files", "Surface files you haven't touched in months or years.",
             "Vantrel - Old & Stale Files.workflow", K::hygiene, "calendar.badge.clock", "#A78BFA", "0.2", none),
         hygienePack},
        {row("large-file-finder", "Large File Finder", "Find the heaviest files in a folder, sorted by size.",
             "Vantrel - Large File Finder.workflow", K::hygiene, "scalemass", "#F59E0B", "0.2", none),
         hygienePack},
        {row("downloads-tidy", "Downloads Tidy", "Propose moves into archive folders. Never auto-delete.",
             "Vantrel - Downloads Tidy.workflow", K::hygiene, "tray.2.fill", "#34D399", "0.2", none),
         hygienePack},
        {row("metadata-export", "Metadata Export",
             "Save Finder tags, comments, and colour labels to JSON for safekeeping.",
             "Vantrel - Metadata Export.workflow", K::metadata, "square.and.arrow.up.on.square.fill", "#38BDF8", "0.2",
             none),
         metadataPack},
        {row("metadata-import", "Metadata Import", "Restore tags, comments, and colour labels from an earlier export.",
             "Vantrel - Metadata Import.workflow", K::metadata, "square.and.arrow.down.on.square.fill", "#60A5FA",
             "0.2", none),
         metadataPack},
        {row("tag-audit", "Tag Audit", "Group your Finder tag usage across a folder. Find duplicates and stragglers.",
             "Vantrel - Tag Audit.workflow", K::metadata, "tag.circle.fill", "#A78BFA", "0.2", none),
         metadataPack},
        {row("comment-templates", "Comment Templates", "Pick a saved comment template and apply it to the selection.",
             "Vantrel - Comment Templates.workflow", K::metadata, "text.bubble.fill", "#34D399", "0.2", none),
         metadataPack},
        {row("smart-mover", "Smart Mover",
             "Plan a copy with conflict detection, then optionally annotate sources or move originals to Trash.",
             "Vantrel - Smart Mover.workflow", K::transfer, "arrow.up.forward.app.fill", "#34D399", "0.1",
             I::folderOrFiles),
         transferPack},
        {row("cloud-migrate", "Cloud Migrate",
             "Move files to iCloud, Dropbox, Drive, or OneDrive with live per-file sync status.",
             "Vantrel - Cloud Migrate.workflow", K::transfer, "icloud.and.arrow.up.fill", "#38BDF8", "0.1",
             I::folderOrFiles),
         transferPack},
        {row("archive-handler", "Archive Handler", "Compress selected files into a ZIP or TAR.GZ archive in one step.",
             "Vantrel - Archive Handler.workflow", K::transfer, "shippingbox.fill", "#8B5CF6", "0.1", I::files),
         transferPack},
        {row("route-by-config", "Route by Config",
             "Route files into folders by your rules, from saved profiles or ad-hoc rules.",
             "Vantrel - Route by Config.workflow", K::transfer, "arrow.triangle.branch", "#A78BFA", "0.1", I::folder),
         transferPack},
        {row("multi-compress", "Multi-Compress",
             "Split a big selection into several ZIPs at once — auto-grouped by folder or type, each named and "
             "commented.",
             "Vantrel - Multi-Compress.workflow", K::transfer, "doc.zipper", "#8B5CF6", "0.1", I::folderOrFiles),
         transferPack},
        {row("project-snapshot", "Project Snapshot",
             "Zip a project for safe rollback. Detects Unity / Xcode / Node / Rust / Python; blocks NAS destinations.",
             "Vantrel - Project Snapshot.workflow", K::steward, "shippingbox.and.arrow.backward.fill", "#A78BFA", "0.1",
             I::folder),
         stewardPack},
        {row("project-detector", "Project Detector",
             "Find Unity / Xcode / Node / Rust / Python / Godot / git projects under one or more folders, sorted by "
             "size.",
             "Vantrel - Project Detector.workflow", K::steward, "scope", "#A78BFA", "0.2", I::folder),
         stewardPack},
        {row("stage-import", "Stage & Import",
             "Copy a file into a project's safe folder. Per-kind subfolder suggestions; refuses derived paths.",
             "Vantrel - Stage & Import.workflow", K::steward, "tray.and.arrow.down.fill", "#34D399", "0.3", I::folder),
         stewardPack},
        {row("github-sync", "GitHub Sync",
             "Safe-by-default git Sync (fetch + ff-pull, auto-stash) and Commit & Push. No force, no rebase, no "
             "--hard.",
             "Vantrel - GitHub Sync.workflow", K::steward, "arrow.triangle.branch", "#60A5FA", "0.4", I::folder),
         stewardPack},
        {row("git-init", "Init Repo",
             "Turn a folder into a git repository. Kind-aware .gitignore, first commit, optional GitHub remote URL.",
             "Vantrel - Init Repo.workflow", K::steward, "plus.app.fill", "#34D399", "0.5", I::folder),
         stewardPack},
        {row("git-full-run", "Git Full Run",
             "Init if needed, set the GitHub remote, verify, then commit & push — with clear steps for creating the "
             "repository when the remote doesn't exist yet.",
             "Vantrel - Git Full Run.workflow", K::steward, "wand.and.stars", "#A78BFA", "0.6", I::folder),
         stewardPack},
    };
    return rows;
}

} // namespace

const QList<Workflow> &WorkflowCatalog::coreWorkflows()
{
    static const QList<Workflow> rows{
        row("category-tagging", "Category Tagging", "Apply saved category keywords to Finder comments.",
            "Vantrel - Tag Category Selector.workflow", K::tagging, "tag.circle.fill", "#8B5CF6", "1.0", none),
        row("single-tag-selector", "Single Tag Selector", "Choose individual tags from your saved categories.",
            "Vantrel - Single Tag Selector.workflow", K::tagging, "tag.fill", "#A78BFA", "1.0", none),
        row("text-comment-tools", "Text & Comment Tools", "Rename files and manage Finder comments safely.",
            "Vantrel - Text & Comment Tools.workflow", K::text, "character.cursor.ibeam", "#38BDF8", "1.0", none),
        row("duplicate-scanner", "Duplicate Scanner", "Flag likely duplicates without deleting anything.",
            "Vantrel - Smart Duplicate Scanner.workflow", K::duplicates, "doc.on.doc.fill", "#60A5FA", "1.0", none),
        row("spotlight-refresher", "Spotlight Refresher", "Refresh Finder and Spotlight metadata paths.",
            "Vantrel - Spotlight Path Refresher.workflow", K::spotlight, "magnifyingglass", "#8B5CF6", "1.0", none),
        row("clean-duplicate-comments", "Clean Duplicate Comments",
            "Remove repeated comment lines while keeping unique notes.", "Vantrel - Clean Duplicate Comments.workflow",
            K::text, "text.badge.minus", "#38BDF8", "1.0", none),
        row("stitch-files", "Stitch to PDF or Image", "Combine selected images into one PDF or one stitched image.",
            "Vantrel - Stitch to PDF or Image.workflow", K::stitch, "square.stack.3d.down.right.fill", "#8B5CF6", "1.0",
            I::files),
    };
    return rows;
}

const QList<Workflow> &WorkflowCatalog::packWorkflows()
{
    static const QList<Workflow> rows = [] {
        QList<Workflow> list;
        for (const PackRow &packRow : packRows())
            list.append(packRow.workflow);
        return list;
    }();
    return rows;
}

const QHash<QString, Workflow> &WorkflowCatalog::packWorkflowsByID()
{
    // One pass over the pack list; a later row wins a shared key.
    static const QHash<QString, Workflow> byID = [] {
        QHash<QString, Workflow> map;
        for (const Workflow &w : packWorkflows())
            map.insert(w.id, w);
        return map;
    }();
    return byID;
}

const QHash<QString, Workflow> &WorkflowCatalog::packWorkflowsByBundleBaseName()
{
    static const QHash<QString, Workflow> byName = [] {
        QHash<QString, Workflow> map;
        for (const Workflow &w : packWorkflows())
            map.insert(w.bundleBaseName(), w);
        return map;
    }();
    return byName;
}

QString WorkflowCatalog::packIDForWorkflow(const QString &workflowID)
{
    for (const PackRow &packRow : packRows()) {
        if (packRow.workflow.id == workflowID)
            return QString::fromLatin1(packRow.packID);
    }
    return {};
}

QString WorkflowCatalog::urlIDForWorkflow(const QString &workflowID)
{
    static const QHash<QString, QString> differing{
        {QStringLiteral("category-tagging"), QStringLiteral("tag-category-selector")},
        {QStringLiteral("duplicate-scanner"), QStringLiteral("smart-duplicate-scanner")},
        {QStringLiteral("spotlight-refresher"), QStringLiteral("spotlight-path-refresher")},
    };
    return differing.value(workflowID, workflowID);
}

QList<Workflow> WorkflowCatalog::combined(const QList<Workflow> &workflows,
                                          const QSet<QString> &installedPackWorkflowIDs)
{
    QList<Workflow> packs;
    const auto &byID = packWorkflowsByID();
    for (const QString &id : installedPackWorkflowIDs) {
        const auto found = byID.constFind(id);
        if (found != byID.constEnd())
            packs.append(found.value());
    }
    std::sort(packs.begin(), packs.end(),
              [](const Workflow &a, const Workflow &b) { return a.displayName < b.displayName; });
    QList<Workflow> all = workflows;
    all.append(packs);
    return all;
}
