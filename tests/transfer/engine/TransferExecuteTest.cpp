#include "transfer/engine/TransferPlanner.h"
#include "transfer/engine/TransferRunner.h"

#include "RoomyVolume.h"
#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace TransferEngine;

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// What is done between planning and running: a conflict goes, or a name is taken.
struct RaceCase {
    const char *name;
    ConflictPolicy policy;
    bool existsAtPlan;
    bool existsAtRun;
    ItemOutcome expected; // urls relative to the destination
    QByteArray expectedAtName;
};

void PrintTo(const RaceCase &c, std::ostream *os)
{
    *os << c.name;
}

class RunnerConflicts : public testing::TestWithParam<RaceCase> {};

ItemOutcome relativeTo(const ItemOutcome &outcome, const QString &root)
{
    const auto strip = [&root](const QString &url) { return url.mid(root.size() + 1); };
    if (const auto *c = std::get_if<copied>(&outcome))
        return copied{strip(c->url)};
    if (const auto *o = std::get_if<overwrote>(&outcome))
        return overwrote{strip(o->url)};
    if (const auto *r = std::get_if<renamed>(&outcome))
        return renamed{strip(r->url)};
    return outcome;
}

} // namespace

TEST_P(RunnerConflicts, TheDiskAtRunTimeDecides)
{
    TestEnvironment env;
    const RaceCase &c = GetParam();
    const QString source = env.makeFile(QStringLiteral("src/report.pdf"), "new");
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    if (c.existsAtPlan)
        env.makeFile(QStringLiteral("dest/report.pdf"), "old");
    const Plan plan = TransferPlanner::plan({source}, dest, roomyVolume);
    ASSERT_EQ(plan.conflicts.size(), c.existsAtPlan ? 1 : 0);
    if (c.existsAtPlan && !c.existsAtRun)
        QFile::remove(dest + QStringLiteral("/report.pdf"));
    if (!c.existsAtPlan && c.existsAtRun)
        env.makeFile(QStringLiteral("dest/report.pdf"), "old");

    const Result result = TransferRunner::execute(plan, c.policy);
    ASSERT_EQ(result.items.size(), 1);
    EXPECT_EQ(result.items.first().source, source);
    EXPECT_EQ(relativeTo(result.items.first().outcome, dest), c.expected);
    EXPECT_EQ(contents(dest + QStringLiteral("/report.pdf")), c.expectedAtName);
    EXPECT_EQ(contents(source), "new") << "a transfer never changes its source";
}

INSTANTIATE_TEST_SUITE_P(
    Policies, RunnerConflicts,
    testing::Values(RaceCase{"AConflictGoneBeforeTheRunIsCopied", renameWithSuffix{" -copy"}, true, false,
                             copied{"report.pdf"}, "new"},
                    RaceCase{"ANameTakenAfterPlanningIsRenamed", renameWithSuffix{" -copy"}, false, true,
                             renamed{"report -copy.pdf"}, "old"},
                    RaceCase{"ANameTakenAfterPlanningIsSkipped", skip{}, false, true,
                             skipped{"Already exists at destination"}, "old"},
                    RaceCase{"SkipGivesItsReason", skip{}, true, true, skipped{"Already exists at destination"}, "old"},
                    RaceCase{"OverwriteReplaces", overwrite{}, true, true, overwrote{"report.pdf"}, "new"},
                    RaceCase{"OverwriteOfANameTakenAfterPlanning", overwrite{}, false, true, overwrote{"report.pdf"},
                             "new"},
                    RaceCase{"RenameNeverWritesNumberOne", renameWithSuffix{" -copy"}, true, true,
                             renamed{"report -copy.pdf"}, "old"}),
    [](const testing::TestParamInfo<RaceCase> &info) { return std::string(info.param.name); });

TEST(Runner, AFileWhereAFolderGoesFailsThatItemAndGoesOn)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("src/photos/a.jpg"), "a");
    const QString loose = env.makeFile(QStringLiteral("src/loose.txt"), "l");
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    env.makeFile(QStringLiteral("dest/photos"), "a file in the way");
    const Plan plan = TransferPlanner::plan({env.path(QStringLiteral("src/photos")), loose}, dest, roomyVolume);
    const Result result = TransferRunner::execute(plan, renameWithSuffix{" -copy"});
    ASSERT_EQ(result.items.size(), 2);
    const auto *failure = std::get_if<failed>(&result.items[0].outcome);
    ASSERT_NE(failure, nullptr);
    EXPECT_TRUE(failure->error.startsWith(QStringLiteral("Couldn't create destination folder: ")))
        << failure->error.toStdString();
    EXPECT_EQ(result.items[1].outcome, ItemOutcome(copied{dest + QStringLiteral("/loose.txt")}));
    EXPECT_EQ(result.copiedCount(), 1);
    EXPECT_EQ(result.failedCount(), 1);
    EXPECT_EQ(contents(dest + QStringLiteral("/photos")), "a file in the way");
}

TEST(Runner, CarriesModeDatesAndUserAttributes)
{
    TestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("src/tagged.txt"), "body");
    const QByteArray sourceBytes = QFile::encodeName(source);
    ASSERT_EQ(::setxattr(sourceBytes.constData(), "user.xdg.comment", "hello", 5, 0), 0);
    ASSERT_EQ(::chmod(sourceBytes.constData(), 0640), 0);
    const timeval times[2] = {{1'600'000'000, 0}, {1'500'000'000, 0}};
    ASSERT_EQ(::utimes(sourceBytes.constData(), times), 0);

    const QString dest = env.makeFolder(QStringLiteral("dest"));
    const Result result = TransferRunner::execute(TransferPlanner::plan({source}, dest, roomyVolume), skip{});
    const QByteArray copy = QFile::encodeName(dest + QStringLiteral("/tagged.txt"));
    struct stat status {};
    ASSERT_EQ(::stat(copy.constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(status.st_mtim.tv_sec, 1'500'000'000);
    char value[16] = {};
    EXPECT_EQ(::getxattr(copy.constData(), "user.xdg.comment", value, sizeof value), 5);
    EXPECT_STREQ(value, "hello");
    EXPECT_EQ(result.copiedCount(), 1);
}

TEST(Runner, ReportsAboutSixtyTimesAndAlwaysTheLast)
{
    TestEnvironment env;
    for (int i = 0; i < 125; ++i)
        env.makeFile(QStringLiteral("src/many/f%1").arg(i), "x");
    const Plan plan =
        TransferPlanner::plan({env.path(QStringLiteral("src/many"))}, env.makeFolder("dest"), roomyVolume);
    QSet<int> reported;
    QString lastTitle;
    const Result result = TransferRunner::execute(plan, skip{}, [&](const ScanProgress &progress) {
        reported.insert(progress.processed);
        EXPECT_EQ(progress.total, 125);
        lastTitle = progress.title;
    });
    EXPECT_EQ(TransferRunner::progressStride(125), 2);
    QSet<int> expected;
    for (int i = 0; i < 125; i += 2)
        expected.insert(i + 1);
    expected.insert(125);
    EXPECT_EQ(reported, expected);
    EXPECT_TRUE(lastTitle.startsWith(QStringLiteral("Copying f")));
    EXPECT_EQ(result.copiedCount(), 125);
}

TEST(Runner, ACancelBeforeTheRunWritesNothing)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("src/a.txt"), "a");
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    std::stop_source stop;
    stop.request_stop();
    const Result result = TransferRunner::execute(
        TransferPlanner::plan({env.path(QStringLiteral("src"))}, dest, roomyVolume), skip{}, {}, stop.get_token());
    EXPECT_TRUE(result.wasCancelled);
    EXPECT_TRUE(result.items.isEmpty());
    EXPECT_TRUE(QDir(dest).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
}

TEST(Runner, CopiesAPackageWholeAndALinkAsALink)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("src/Tool.app/Contents/Info.plist"), "plist");
    env.makeFile(QStringLiteral("src/target.txt"), "t");
    ASSERT_TRUE(QFile::link(QStringLiteral("target.txt"), env.path(QStringLiteral("src/link.txt"))));
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    const Result result = TransferRunner::execute(
        TransferPlanner::plan({env.path(QStringLiteral("src/Tool.app")), env.path(QStringLiteral("src/link.txt"))},
                              dest, roomyVolume),
        skip{});
    EXPECT_EQ(result.copiedCount(), 2);
    EXPECT_EQ(contents(dest + QStringLiteral("/Tool.app/Contents/Info.plist")), "plist");
    EXPECT_EQ(QFileInfo(dest + QStringLiteral("/link.txt")).symLinkTarget(), dest + QStringLiteral("/target.txt"));
}

TEST(Runner, APipeChosenOnItsOwnFailsWithoutWaitingOnIt)
{
    TestEnvironment env;
    const QString pipe = env.path(QStringLiteral("src/pipe"));
    env.makeFolder(QStringLiteral("src"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    const Result result = TransferRunner::execute(TransferPlanner::plan({pipe}, dest, roomyVolume), skip{});
    ASSERT_EQ(result.items.size(), 1);
    EXPECT_EQ(result.items.first().outcome, ItemOutcome(failed{"A pipe, socket or device can't be copied."}));
    EXPECT_TRUE(QDir(dest).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
}
