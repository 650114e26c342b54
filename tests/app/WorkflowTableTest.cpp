#include "app/WorkflowTable.h"

#include "app/RunPanel.h"
#include "foundation/WorkflowCatalog.h"

#include <QSet>

#include <gtest/gtest.h>

TEST(WorkflowTable, NamesTheCataloguesTwentySixURLIDsOnceEach)
{
    QSet<QString> catalogue;
    for (const auto *table : {&WorkflowCatalog::coreWorkflows(), &WorkflowCatalog::packWorkflows()}) {
        for (const Workflow &w : *table)
            catalogue.insert(WorkflowCatalog::urlIDForWorkflow(w.id));
    }
    QSet<QString> rows;
    for (const WorkflowTable::Row &row : WorkflowTable::rows()) {
        EXPECT_FALSE(rows.contains(row.id)) << "twice: " << row.id.toStdString();
        EXPECT_TRUE(bool(row.handler)) << "no handler: " << row.id.toStdString();
        rows.insert(row.id);
    }
    EXPECT_EQ(rows.size(), 26);
    EXPECT_EQ(rows, catalogue);
    // The catalogue ids of the renamed rows fall through to the dispatcher's last resort.
    EXPECT_EQ(WorkflowTable::find(QStringLiteral("category-tagging")), nullptr);
    EXPECT_EQ(WorkflowRunner::urlTable().size(), 26);
}

TEST(WorkflowTable, ARunPanelTextBelongsToAWorkflowThePanelRuns)
{
    for (const auto *table : {&WorkflowCatalog::coreWorkflows(), &WorkflowCatalog::packWorkflows()}) {
        for (const Workflow &w : *table) {
            const WorkflowTable::Row *row = WorkflowTable::find(WorkflowCatalog::urlIDForWorkflow(w.id));
            ASSERT_NE(row, nullptr) << w.id.toStdString();
            if (!row->runPanelMessage.isEmpty()) {
                EXPECT_TRUE(w.inputKind.has_value()) << w.id.toStdString();
                EXPECT_EQ(RunPanel::request(w).message, row->runPanelMessage);
            }
        }
    }
}
