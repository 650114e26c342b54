#include "app/AppState.h"

#include "AppTestEnvironment.h"
#include "foundation/WorkflowCatalog.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

void installCoreBundles(AppTestEnvironment &env, const QStringList &skip = {})
{
    for (const Workflow &w : WorkflowCatalog::coreWorkflows()) {
        if (!skip.contains(w.id))
            QDir().mkpath(Paths::servicesFolder() + QLatin1Char('/') + w.bundleName + QStringLiteral("/Contents"));
    }
    (void)env;
}

} // namespace

TEST(AppState, FirstStartHasNothingChecked)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    EXPECT_EQ(state->selection(), AppState::Destination::dashboard);
    EXPECT_EQ(state->healthStatus(), AppState::HealthStatus(AppState::unknown{}));
    EXPECT_EQ(state->healthSummary(), QStringLiteral("Not yet checked"));
    EXPECT_EQ(state->healthCount(), QStringLiteral("—"));
    EXPECT_FALSE(state->packBanner().has_value());
    EXPECT_FALSE(state->lastHealthCheck().has_value());
    EXPECT_EQ(state->workflows(), WorkflowCatalog::coreWorkflows());
    EXPECT_EQ(state->statusLine(), QStringLiteral("All workflows installed"));
}

TEST(AppState, ReadsInstalledPacksFromDefaults)
{
    AppTestEnvironment env;
    env.defaults().setValue(DefaultsKeys::installedPackWorkflowIDs, {"tag-audit", "smart-mover"});
    env.defaults().setValue(DefaultsKeys::installedPackIDs, {"com.vantrel.pack.file-transfer"});
    auto state = env.makeAppState();
    EXPECT_EQ(state->installedPackIDs(), QSet<QString>{"com.vantrel.pack.file-transfer"});
    const QList<Workflow> all = state->allWorkflows();
    ASSERT_EQ(all.size(), 9);
    EXPECT_EQ(all[7].id, QStringLiteral("smart-mover"));
    EXPECT_EQ(all[8].id, QStringLiteral("tag-audit"));
}

TEST(AppState, RefreshStatusesFollowsTheServicesFolderAndIsQuietWhenNothingChanged)
{
    AppTestEnvironment env;
    installCoreBundles(env, {QStringLiteral("stitch-files")});
    // Something of the user's beside them is never taken for ours.
    QDir().mkpath(Paths::servicesFolder() + QStringLiteral("/Stitch to PDF or Image.workflow"));
    auto state = env.makeAppState();
    QSignalSpy changes(state.get(), &AppState::workflowsChanged);

    state->refreshStatuses();
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(state->workflows().last().status, Workflow::Status::missing);
    EXPECT_EQ(state->installedCount(), 6);
    EXPECT_EQ(state->statusLine(), QStringLiteral("1 not installed"));

    state->refreshStatuses();
    EXPECT_EQ(changes.count(), 1);

    installCoreBundles(env);
    state->refreshStatuses();
    EXPECT_EQ(changes.count(), 2);
    EXPECT_EQ(state->statusLine(), QStringLiteral("All workflows installed"));
}

TEST(AppState, StatusLineSaysNeedsSetupWhenNothingIsInstalled)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    state->refreshStatuses();
    EXPECT_EQ(state->installedCount(), 0);
    EXPECT_EQ(state->statusLine(), QStringLiteral("Needs setup"));
}

struct HealthCase {
    int missingRows;
    std::optional<int> integrityMissing;
    const char *summary;
    const char *figure;
};

void PrintTo(const HealthCase &c, std::ostream *os)
{
    *os << c.summary << ", " << c.missingRows << " rows to set up, ";
    if (c.integrityMissing)
        *os << *c.integrityMissing << " missing in the report";
    else
        *os << "no report";
}

class HealthTexts : public ::testing::TestWithParam<HealthCase> {};

TEST_P(HealthTexts, ComeFromTheCheckAndTheIntegrityReport)
{
    AppTestEnvironment env;
    QStringList skip;
    const QList<Workflow> &core = WorkflowCatalog::coreWorkflows();
    for (int i = 0; i < GetParam().missingRows; ++i)
        skip.append(core[i].id);
    installCoreBundles(env, skip);
    auto state = env.makeAppState();
    state->refreshStatuses();
    if (GetParam().integrityMissing) {
        IntegrityReport report;
        for (int i = 0; i < *GetParam().integrityMissing; ++i)
            report.missing.append(core[i].id);
        state->setIntegrityReport(report);
    }
    QSignalSpy health(state.get(), &AppState::healthChanged);
    state->runHealthCheck();
    EXPECT_EQ(health.count(), 1);
    EXPECT_TRUE(state->lastHealthCheck().has_value());
    EXPECT_EQ(state->healthSummary(), QString::fromUtf8(GetParam().summary));
    EXPECT_EQ(state->healthCount(), QString::fromUtf8(GetParam().figure));
}

INSTANTIATE_TEST_SUITE_P(Texts, HealthTexts,
                         ::testing::Values(HealthCase{0, std::nullopt, "Everything is in order", "0"},
                                           HealthCase{1, std::nullopt, "1 item need attention", "1"},
                                           HealthCase{2, std::nullopt, "2 items need attention", "2"},
                                           HealthCase{0, 0, "Everything is in order", "0"},
                                           HealthCase{0, 1, "1 Quick Action missing", "1"},
                                           HealthCase{2, 3, "3 Quick Actions missing", "3"}));

TEST(AppState, HealthCheckCountsNeedsSetupRowsAndReadsNoDisk)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    QList<Workflow> rows = state->workflows();
    rows[0].status = Workflow::Status::needsSetup;
    rows[1].status = Workflow::Status::planned;
    state->setWorkflows(rows);
    // Nothing is installed on disk, yet only the statuses as last refreshed count.
    state->runHealthCheck();
    EXPECT_EQ(state->healthStatus(), AppState::HealthStatus(AppState::issues{1}));
}

TEST(AppState, RunWorkflowWithNoFilesDoesNothing)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    QSignalSpy activations(state.get(), &AppState::activationRequested);
    state->runWorkflow(QStringLiteral("single-tag-selector"), {});
    EXPECT_EQ(activations.count(), 0);
    EXPECT_FALSE(state->packBanner().has_value());
}

TEST(AppState, DestinationsHaveSidebarOrderAndRawNames)
{
    QStringList names;
    for (const auto destination : AppState::allDestinations()) {
        names.append(AppState::toString(destination));
        EXPECT_EQ(AppState::destinationFromString(names.last()), destination);
    }
    EXPECT_EQ(names, (QStringList{"dashboard", "quickActions", "categories", "automationPacks", "transferProfiles",
                                  "settings"}));
}

TEST(AppState, LaunchIsTheFirstReceiptWhenRecording)
{
    AppTestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    auto state = env.makeAppState();
    ASSERT_FALSE(state->diagnosticLog().rows().isEmpty());
    const ActionReceipt &launch = state->diagnosticLog().rows().first();
    EXPECT_EQ(launch.kind, ActionReceipt::Kind::state);
    EXPECT_EQ(launch.source, QStringLiteral("AppState.launch"));
    EXPECT_FALSE(launch.before.has_value());
    EXPECT_EQ(launch.after, QStringLiteral("categories=4 templates=3"));
    EXPECT_TRUE(QFile::exists(state->diagnosticLog().sessionFile()));
}

TEST(AppState, MirrorsTheCategoryLibraryAndDropsAGoneEditorSelection)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    ASSERT_EQ(state->categories(), state->categoryStore().categories());
    const Category first = state->categories().first();
    state->setCategoryEditorSelection(first.id);
    QSignalSpy mirrored(state.get(), &AppState::categoriesChanged);

    ASSERT_FALSE(state->categoryStore().remove(state->categories().last().id));
    EXPECT_EQ(mirrored.count(), 1);
    EXPECT_EQ(state->categories().size(), 3);
    EXPECT_EQ(state->categoryEditorSelection(), first.id);

    ASSERT_FALSE(state->categoryStore().remove(first.id));
    EXPECT_EQ(state->categories().size(), 2);
    EXPECT_FALSE(state->categoryEditorSelection().has_value());
}

TEST(AppStateProfiles, OwnsTheTransferProfilesAndReadsThemAtStart)
{
    AppTestEnvironment env;
    {
        auto state = env.makeAppState();
        EXPECT_TRUE(state->transferProfileStore().profiles().isEmpty());
        ASSERT_EQ(state->transferProfileStore().save(TransferProfileStore::newProfile()), std::nullopt);
    }
    auto again = env.makeAppState();
    ASSERT_EQ(again->transferProfileStore().profiles().size(), 1);
    EXPECT_EQ(again->transferProfileStore().profiles().first().name, QStringLiteral("New profile"));
}
