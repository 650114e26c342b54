#include "app/AppState.h"

#include "AppTestEnvironment.h"
#include "TreeSnapshot.h"
#include "UsersQuickActions.h"
#include "platform/Paths.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

using namespace WorkflowInstaller;

int installedRows(const AppState &state)
{
    int count = 0;
    for (const Workflow &row : state.workflows())
        count += row.status == Workflow::Status::installed ? 1 : 0;
    return count;
}

} // namespace

TEST(QuickActionFlows, TheFirstLaunchInstallsOnceAndSaysSo)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    state->startUp();
    EXPECT_EQ(state->firstLaunchMessage(),
              QStringLiteral("7 Quick Actions enabled in Finder. Right-click any file in Finder → Quick Actions to try "
                             "them."));
    EXPECT_TRUE(env.defaults().value(DefaultsKeys::hasInstalledWorkflowsOnFirstLaunch));
    EXPECT_EQ(state->installerStatus(), Status(ready{7}));
    EXPECT_EQ(installedRows(*state), 7);
    ASSERT_TRUE(state->integrityReport().has_value());
    EXPECT_TRUE(state->integrityReport()->missing.isEmpty());

    // A second start copies nothing: what the user did to a bundle since stays.
    const QString marker = installedBundles().first() + QStringLiteral("/Contents/touched");
    QFile touched(marker);
    ASSERT_TRUE(touched.open(QIODevice::WriteOnly));
    touched.close();
    auto again = env.makeAppState();
    again->startUp();
    EXPECT_TRUE(QFile::exists(marker));
    EXPECT_FALSE(again->firstLaunchMessage().has_value());
}

TEST(QuickActionFlows, RemoveAllAsksKeepsTheUsersOwnAndStaysRemoved)
{
    AppTestEnvironment env;
    addUsersOwnQuickActions();
    const auto users = treeSnapshot(Paths::servicesFolder());
    auto state = env.makeAppState();
    state->startUp();
    env.defaults().setValue(DefaultsKeys::installedPackIDs, {QStringLiteral("com.vantrel.pack.file-hygiene")});

    // Unanswered is Cancel: nothing goes.
    EXPECT_FALSE(state->removeAllQuickActions());
    EXPECT_EQ(installedBundles().size(), 7);
    ASSERT_EQ(env.interaction().askedAlerts().size(), 1);
    EXPECT_EQ(env.interaction().askedAlerts().first().buttons, (QStringList{"Remove", "Cancel"}));

    env.interaction().addAnswer(QStringLiteral("Remove all Vantrel Quick Actions?"), QStringLiteral("Remove"));
    EXPECT_TRUE(state->removeAllQuickActions());
    EXPECT_TRUE(installedBundles().isEmpty());
    EXPECT_EQ(treeSnapshot(Paths::servicesFolder()), users);
    EXPECT_EQ(state->packBanner()->message,
              QStringLiteral("Removed 7 Quick Actions and cleared their Services menu entries."));
    EXPECT_TRUE(env.defaults().value(DefaultsKeys::installedPackIDs).isEmpty());
    EXPECT_EQ(installedRows(*state), 0);
    EXPECT_EQ(state->integrityReport()->missing.size(), 7);

    // The next start doesn't give them back.
    auto next = env.makeAppState();
    next->startUp();
    EXPECT_TRUE(installedBundles().isEmpty());

    env.interaction().addAnswer(QStringLiteral("Remove all Vantrel Quick Actions?"), QStringLiteral("Remove"));
    EXPECT_TRUE(next->removeAllQuickActions());
    EXPECT_EQ(next->packBanner()->message,
              QStringLiteral("Nothing to remove — no Vantrel Quick Actions were installed."));
}

TEST(QuickActionFlows, ARowIsRemovedOnceAndReinstalledAlone)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    state->startUp();
    state->removeQuickAction(QStringLiteral("stitch-files"));
    EXPECT_EQ(state->packBanner()->message, QStringLiteral("Removed Vantrel - Stitch to PDF or Image."));
    EXPECT_EQ(installedBundles().size(), 6);
    EXPECT_EQ(state->integrityReport()->missing, QStringList{"stitch-files"});

    state->removeQuickAction(QStringLiteral("stitch-files"));
    EXPECT_EQ(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
    EXPECT_EQ(state->packBanner()->message, QStringLiteral("Couldn't remove Vantrel - Stitch to PDF or Image"));

    state->reinstallQuickAction(QStringLiteral("stitch-files"));
    EXPECT_EQ(installedBundles().size(), 7);
    EXPECT_TRUE(state->integrityReport()->missing.isEmpty());
    EXPECT_EQ(installedRows(*state), 7);
}

TEST(QuickActionFlows, RepairPutsBackWhatWasDeletedByHand)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    state->startUp();
    ASSERT_TRUE(QDir(installedBundles().first()).removeRecursively());
    state->runIntegrityCheck();
    EXPECT_EQ(state->integrityReport()->missing.size(), 1);
    state->runHealthCheck();
    EXPECT_EQ(state->healthSummary(), QStringLiteral("1 Quick Action missing"));

    state->repairInstallation();
    EXPECT_EQ(state->packBanner()->message,
              QStringLiteral("Repaired 7 Quick Actions. They should be live in Finder now."));
    EXPECT_TRUE(state->integrityReport()->missing.isEmpty());
    EXPECT_EQ(installedRows(*state), 7);
}

TEST(QuickActionFlows, AFirstLaunchThatCantCopyTriesAgainNextTime)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral(".local/share/Vantrel/Services"), "in the way");
    auto state = env.makeAppState();
    state->runFirstLaunchInstall();
    EXPECT_EQ(state->installerStatus(), Status(failed{QStringLiteral("Not a directory")}));
    EXPECT_FALSE(env.defaults().value(DefaultsKeys::hasInstalledWorkflowsOnFirstLaunch));
    EXPECT_FALSE(state->firstLaunchMessage().has_value());

    ASSERT_TRUE(QFile::remove(env.path(QStringLiteral(".local/share/Vantrel/Services"))));
    state->runFirstLaunchInstall();
    EXPECT_EQ(state->installerStatus(), Status(installed{7}));
    EXPECT_TRUE(env.defaults().value(DefaultsKeys::hasInstalledWorkflowsOnFirstLaunch));
}
