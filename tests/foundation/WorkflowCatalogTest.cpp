#include "foundation/WorkflowCatalog.h"

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QSet>

namespace {

QStringList ids(const QList<Workflow> &rows)
{
    QStringList list;
    for (const Workflow &w : rows)
        list.append(w.id);
    return list;
}

} // namespace

TEST(WorkflowCatalog, TablesHoldTheirRowsInOrder)
{
    EXPECT_EQ(ids(WorkflowCatalog::coreWorkflows()),
              (QStringList{"category-tagging", "single-tag-selector", "text-comment-tools", "duplicate-scanner",
                           "spotlight-refresher", "clean-duplicate-comments", "stitch-files"}));
    EXPECT_EQ(ids(WorkflowCatalog::packWorkflows()),
              (QStringList{"duplicate-reports", "old-stale-files", "large-file-finder", "downloads-tidy",
                           "metadata-export", "metadata-import", "tag-audit", "comment-templates", "smart-mover",
                           "cloud-migrate", "archive-handler", "route-by-config", "multi-compress", "project-snapshot",
                           "project-detector", "stage-import", "github-sync", "git-init", "git-full-run"}));
}

TEST(WorkflowCatalog, EveryRowIsWellFormed)
{
    static const QRegularExpression hex(QStringLiteral("^#[0-9A-F]{6}$"));
    static const QRegularExpression version(QStringLiteral("^\\d+\\.\\d+$"));
    QSet<QString> bundles;
    QSet<QString> idSet;
    for (const auto *table : {&WorkflowCatalog::coreWorkflows(), &WorkflowCatalog::packWorkflows()}) {
        for (const Workflow &w : *table) {
            SCOPED_TRACE(w.id.toStdString());
            EXPECT_TRUE(w.bundleName.startsWith(QStringLiteral("Vantrel - ")));
            EXPECT_TRUE(w.bundleName.endsWith(QStringLiteral(".workflow")));
            EXPECT_TRUE(hex.match(w.accentHex).hasMatch());
            EXPECT_TRUE(version.match(w.version).hasMatch());
            EXPECT_EQ(w.status, Workflow::Status::installed);
            EXPECT_FALSE(w.summary.isEmpty());
            bundles.insert(w.bundleName);
            idSet.insert(w.id);
        }
    }
    // Two rows may share a symbol or a kind, never an id or a bundle.
    EXPECT_EQ(bundles.size(), 26);
    EXPECT_EQ(idSet.size(), 26);
}

TEST(WorkflowCatalog, CoreRowsAreVersionOneAndOnlyStitchHasRunControl)
{
    for (const Workflow &w : WorkflowCatalog::coreWorkflows()) {
        EXPECT_EQ(w.version, QStringLiteral("1.0"));
        EXPECT_EQ(w.inputKind.has_value(), w.id == QStringLiteral("stitch-files")) << w.id.toStdString();
    }
}

TEST(WorkflowCatalog, LookupsFindPackRowsByIdAndBundleBaseName)
{
    const auto &byID = WorkflowCatalog::packWorkflowsByID();
    const auto &byName = WorkflowCatalog::packWorkflowsByBundleBaseName();
    EXPECT_EQ(byID.size(), 19);
    EXPECT_EQ(byName.size(), 19);
    EXPECT_EQ(byName.value(QStringLiteral("Vantrel - Smart Mover")).id, QStringLiteral("smart-mover"));
    EXPECT_EQ(byName.value(QStringLiteral("Vantrel - Old & Stale Files")).id, QStringLiteral("old-stale-files"));
    EXPECT_EQ(byID.value(QStringLiteral("git-full-run")).version, QStringLiteral("0.6"));
    EXPECT_FALSE(byID.contains(QStringLiteral("duplicate-scanner")));
    EXPECT_EQ(WorkflowCatalog::packIDForWorkflow(QStringLiteral("tag-audit")),
              QStringLiteral("com.vantrel.pack.metadata-power"));
    EXPECT_TRUE(WorkflowCatalog::packIDForWorkflow(QStringLiteral("stitch-files")).isEmpty());
}

TEST(WorkflowCatalog, CombinedListAppendsInstalledPackRowsSortedByName)
{
    const QList<Workflow> core = WorkflowCatalog::coreWorkflows();
    const QList<Workflow> all =
        WorkflowCatalog::combined(core, {QStringLiteral("tag-audit"), QStringLiteral("archive-handler"),
                                         QStringLiteral("no-such-row"), QStringLiteral("git-init")});
    ASSERT_EQ(all.size(), core.size() + 3);
    EXPECT_EQ(all.mid(0, core.size()), core);
    EXPECT_EQ(ids(all.mid(core.size())), (QStringList{"archive-handler", "git-init", "tag-audit"}));
    EXPECT_EQ(WorkflowCatalog::combined(core, {}), core);
}

TEST(WorkflowCatalog, RawValuesRoundTrip)
{
    QStringList titles;
    for (const Workflow::Kind kind : Workflow::allKinds()) {
        titles.append(Workflow::toString(kind));
        EXPECT_EQ(Workflow::kindFromString(Workflow::toString(kind)), kind);
    }
    EXPECT_EQ(titles, (QStringList{"Tagging", "Duplicates", "Text & Comments", "Spotlight", "File Hygiene", "Metadata",
                                   "File Transfer", "Project Steward", "Image Tools"}));
    EXPECT_EQ(Workflow::statusFromString(QStringLiteral("needsSetup")), Workflow::Status::needsSetup);
    EXPECT_EQ(Workflow::inputKindFromString(QStringLiteral("folderOrFiles")), Workflow::InputKind::folderOrFiles);
    EXPECT_FALSE(Workflow::kindFromString(QStringLiteral("tagging")).has_value());
}

TEST(WorkflowCatalog, ThreeCoreRowsCarryADifferentURLID)
{
    EXPECT_EQ(WorkflowCatalog::urlIDForWorkflow(QStringLiteral("category-tagging")),
              QStringLiteral("tag-category-selector"));
    EXPECT_EQ(WorkflowCatalog::urlIDForWorkflow(QStringLiteral("duplicate-scanner")),
              QStringLiteral("smart-duplicate-scanner"));
    EXPECT_EQ(WorkflowCatalog::urlIDForWorkflow(QStringLiteral("spotlight-refresher")),
              QStringLiteral("spotlight-path-refresher"));
    EXPECT_EQ(WorkflowCatalog::urlIDForWorkflow(QStringLiteral("smart-mover")), QStringLiteral("smart-mover"));
}
