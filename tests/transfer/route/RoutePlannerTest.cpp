#include "transfer/route/RoutePlanner.h"

#include "TestEnvironment.h"

#include <QFile>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace Route;
using M = RuleMatch;

namespace {

const QDateTime now = QDateTime::currentDateTimeUtc();

TransferRule rule(RuleMatch match, RuleAction action)
{
    return {QUuid::createUuid(), std::move(match), std::move(action)};
}

QStringList names(const QList<RoutePlanner::Leaf> &leaves, const QString &root)
{
    QStringList found;
    for (const auto &leaf : leaves)
        found.append(leaf.url.mid(root.size() + 1));
    return found;
}

} // namespace

TEST(RoutePlanner, TakesHiddenFilesAndPackagesWholeButNoLinksInNameOrder)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("Downloads"));
    env.makeFile(QStringLiteral("Downloads/b.txt"), "b");
    env.makeFile(QStringLiteral("Downloads/.hidden"), "h");
    env.makeFile(QStringLiteral("Downloads/A.pdf"), "a");
    env.makeFile(QStringLiteral("Downloads/sub/c.txt"), "c");
    env.makeFile(QStringLiteral("Downloads/Tool.app/Contents/Info.plist"), "p");
    env.makeFolder(QStringLiteral("Downloads/empty"));
    ASSERT_EQ(::symlink("b.txt", QFile::encodeName(root + QStringLiteral("/link.txt")).constData()), 0);
    ASSERT_EQ(::mkfifo(QFile::encodeName(root + QStringLiteral("/pipe")).constData(), 0600), 0);

    const QList<RoutePlanner::Leaf> leaves = RoutePlanner::expand({root});
    EXPECT_EQ(names(leaves, root), (QStringList{".hidden", "A.pdf", "Tool.app", "b.txt", "sub/c.txt"}));
    EXPECT_TRUE(leaves[2].package);
}

TEST(RoutePlanner, TakesASelectedFileAsItIsAndPassesOverWhatIsGone)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("one.pdf"), "1234");
    const QList<RoutePlanner::Leaf> leaves =
        RoutePlanner::expand({env.path(QStringLiteral("gone.pdf")), file, env.makeFolder(QStringLiteral("none"))});
    ASSERT_EQ(leaves.size(), 1);
    EXPECT_EQ(leaves[0].url, file);
    EXPECT_EQ(leaves[0].size, 4);
}

TEST(RoutePlanner, ExpandsTheHomeInRuleFolders)
{
    TestEnvironment env;
    EXPECT_EQ(RoutePlanner::expandedFolder(QStringLiteral("~")), env.home());
    EXPECT_EQ(RoutePlanner::expandedFolder(QStringLiteral("~/Documents/Invoices/")),
              env.home() + QStringLiteral("/Documents/Invoices"));
    EXPECT_EQ(RoutePlanner::expandedFolder(QStringLiteral("/srv/in")), QStringLiteral("/srv/in"));
    EXPECT_EQ(RoutePlanner::expandedFolder(QStringLiteral("Archive")), env.home() + QStringLiteral("/Archive"));
}

TEST(RoutePlanner, CountsFilesNoRuleMatchesAndLeavesThemOut)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("in"));
    env.makeFile(QStringLiteral("in/a.txt"), "a");
    env.makeFile(QStringLiteral("in/b.txt"), "b");
    TransferProfile profile;
    profile.rules = {rule({M::extensionEquals{{"pdf"}}}, {RuleAction::moveTo{"~/Documents"}})};
    const RoutePlan plan = RoutePlanner::plan(profile, {root}, now);
    EXPECT_EQ(plan.totalFileCount, 2);
    EXPECT_EQ(plan.unmatchedCount, 2);
    EXPECT_TRUE(plan.matches.isEmpty());
    EXPECT_EQ(RoutePlanner::unmatchedLine(plan),
              QStringLiteral("2 files did not match any rule — they stay where they are."));
}

TEST(RoutePlanner, GroupsRoutesByVerbAndFolderWithSkipsLast)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("in"));
    for (const char *name : {"a.pdf", "b.pdf", "c.pdf", "d.pdf", "e.pdf", "x.tmp", "photo.jpg", "notes.md"})
        env.makeFile(QStringLiteral("in/") + QString::fromLatin1(name), QByteArray(10, 'x'));
    TransferProfile profile;
    profile.rules = {rule({M::extensionEquals{{"tmp"}}}, {RuleAction::skip{}}),
                     rule({M::extensionEquals{{"pdf"}}}, {RuleAction::moveTo{"~/Documents/Invoices"}}),
                     rule({M::extensionEquals{{"jpg"}}}, {RuleAction::copyTo{"~/Pictures"}})};
    const RoutePlan plan = RoutePlanner::plan(profile, {root}, now);
    EXPECT_EQ(plan.totalFileCount, 8);
    EXPECT_EQ(plan.unmatchedCount, 1);
    EXPECT_EQ(plan.matches.size(), 7);
    EXPECT_EQ(plan.totalMatchedBytes, 60) << "skips weigh nothing";

    const QList<RouteRow> rows = RoutePlanner::routes(plan);
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(RoutePlanner::rowTitle(rows[0]), QStringLiteral("Move to ~/Documents/Invoices"));
    EXPECT_EQ(RoutePlanner::rowCount(rows[0]), QStringLiteral("5 files"));
    EXPECT_EQ(RoutePlanner::rowNames(rows[0]), QStringLiteral("a.pdf, b.pdf, c.pdf + 2 more"));
    EXPECT_EQ(RoutePlanner::rowTitle(rows[1]), QStringLiteral("Copy to ~/Pictures"));
    EXPECT_EQ(RoutePlanner::rowCount(rows[1]), QStringLiteral("1 file"));
    EXPECT_EQ(RoutePlanner::rowTitle(rows[2]), QStringLiteral("Skipped (rule action)"));
    EXPECT_EQ(RoutePlanner::rowNames(rows[2]), QStringLiteral("x.tmp"));
}

TEST(RoutePlanner, StopsWhenAskedWithWhatItFound)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("in"));
    env.makeFile(QStringLiteral("in/a.txt"), "a");
    std::stop_source stop;
    stop.request_stop();
    EXPECT_TRUE(RoutePlanner::expand({root}, stop.get_token()).isEmpty());
}
