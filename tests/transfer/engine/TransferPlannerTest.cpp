#include "transfer/engine/TransferPlanner.h"

#include "RoomyVolume.h"
#include "TestEnvironment.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace TransferEngine;

namespace {

QStringList destinations(const Plan &plan, const QString &root)
{
    QStringList names;
    for (const PlannedItem &item : plan.items)
        names.append(item.intendedDestination.mid(root.size() + 1));
    names.sort();
    return names;
}

struct LoopCase {
    const char *name;
    const char *source;      // below the test folder
    const char *destination; // below the test folder
    const char *linkFrom;    // a link made before planning, to `linkTo`
    const char *linkTo;
    bool loops;
};

void PrintTo(const LoopCase &c, std::ostream *os)
{
    *os << c.name;
}

class PlannerLoop : public testing::TestWithParam<LoopCase> {};

} // namespace

TEST_P(PlannerLoop, RefusesOnlyADestinationInsideASource)
{
    TestEnvironment env;
    const LoopCase &c = GetParam();
    env.makeFile(QStringLiteral("a/b/file.txt"), "x");
    env.makeFolder(QStringLiteral("a/bc"));
    if (*c.linkFrom) {
        ASSERT_TRUE(QFile::link(env.path(QString::fromUtf8(c.linkTo)), env.path(QString::fromUtf8(c.linkFrom))));
    }
    const Plan plan = TransferPlanner::plan({env.path(QString::fromUtf8(c.source))},
                                            env.path(QString::fromUtf8(c.destination)), roomyVolume);
    EXPECT_EQ(plan.safetyIssues.contains(SafetyIssue::sourceContainsDestination), c.loops);
}

INSTANTIATE_TEST_SUITE_P(Paths, PlannerLoop,
                         testing::Values(LoopCase{"TheSourceItself", "a/b", "a/b", "", "", true},
                                         LoopCase{"InsideTheSource", "a/b", "a/b/inner", "", "", true},
                                         LoopCase{"ABesideNameThatBeginsTheSame", "a/b", "a/bc", "", "", false},
                                         LoopCase{"ThroughALinkIntoTheSource", "a/b", "via", "via", "a/b", true},
                                         LoopCase{"ASourceThatIsALinkToAParent", "up", "a/b", "up", "a", true},
                                         LoopCase{"Elsewhere", "a/b", "other", "", "", false}),
                         [](const testing::TestParamInfo<LoopCase> &info) { return std::string(info.param.name); });

namespace {

struct FullCase {
    const char *name;
    qint64 total;
    qint64 free;
    bool warns;
};

void PrintTo(const FullCase &c, std::ostream *os)
{
    *os << c.name;
}

class PlannerNearlyFull : public testing::TestWithParam<FullCase> {};

} // namespace

TEST_P(PlannerNearlyFull, WarnsWhenLessThanATenthWouldBeLeft)
{
    TestEnvironment env;
    const FullCase &c = GetParam();
    env.makeFile(QStringLiteral("src/data.bin"), QByteArray(c.total, 'x'));
    const auto probe = [&c](const QString &) {
        Volumes::Facts facts;
        facts.availableBytes = c.free;
        facts.writable = true;
        return facts;
    };
    const Plan plan = TransferPlanner::plan({env.path(QStringLiteral("src/data.bin"))}, env.makeFolder("dest"), probe);
    EXPECT_EQ(plan.safetyIssues.contains(SafetyIssue::destinationVolumeAlmostFull), c.warns);
    EXPECT_EQ(plan.destinationFreeSpaceBytes, c.free);
    EXPECT_TRUE(plan.blockingIssues().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Space, PlannerNearlyFull,
                         testing::Values(FullCase{"JustUnderATenthSpare", 1000, 1099, true},
                                         FullCase{"ExactlyATenthSpareIsEnough", 1000, 1100, false},
                                         FullCase{"UnknownSpaceNeverWarns", 1000, 0, false},
                                         FullCase{"LessSpaceThanFiles", 1000, 10, true},
                                         FullCase{"NoBytesNeverWarn", 0, 10, false}),
                         [](const testing::TestParamInfo<FullCase> &info) { return std::string(info.param.name); });

namespace {

struct ShapeCase {
    const char *name;
    std::function<QStringList(TestEnvironment &)> make; // returns the selection
    QStringList expected;                               // relative to the destination, sorted
    qint64 totalBytes;
    bool empty;
};

void PrintTo(const ShapeCase &c, std::ostream *os)
{
    *os << c.name;
}

class PlannerShapes : public testing::TestWithParam<ShapeCase> {};

} // namespace

TEST_P(PlannerShapes, PlansWhatArrivesWhere)
{
    TestEnvironment env;
    const QStringList selection = GetParam().make(env);
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    const Plan plan = TransferPlanner::plan(selection, dest, roomyVolume);
    EXPECT_EQ(destinations(plan, dest), GetParam().expected);
    EXPECT_EQ(plan.totalSizeBytes, GetParam().totalBytes);
    EXPECT_EQ(plan.topLevelItemCount, selection.size());
    EXPECT_EQ(plan.totalFileCount, plan.items.size());
    EXPECT_EQ(plan.safetyIssues.contains(SafetyIssue::empty), GetParam().empty);
}

INSTANTIATE_TEST_SUITE_P(
    Selections, PlannerShapes,
    testing::Values(
        ShapeCase{"NothingSelected", [](TestEnvironment &) { return QStringList{}; }, {}, 0, true},
        ShapeCase{"AnEmptyFolder",
                  [](TestEnvironment &env) { return QStringList{env.makeFolder(QStringLiteral("empty/inner"))}; },
                  {},
                  0,
                  true},
        ShapeCase{"AFolderArrivesAsAFolderHiddenFilesToo",
                  [](TestEnvironment &env) {
                      env.makeFile(QStringLiteral("pics/a.jpg"), "12345");
                      env.makeFile(QStringLiteral("pics/deep/.hidden"), "12");
                      return QStringList{env.path(QStringLiteral("pics"))};
                  },
                  {"pics/a.jpg", "pics/deep/.hidden"},
                  7,
                  false},
        ShapeCase{"APackageIsOneItemWithItsFilesSize",
                  [](TestEnvironment &env) {
                      env.makeFile(QStringLiteral("apps/Tool.app/Contents/Info.plist"), "1234");
                      env.makeFile(QStringLiteral("apps/Tool.app/Contents/MacOS/tool"), "123456");
                      return QStringList{env.path(QStringLiteral("apps"))};
                  },
                  {"apps/Tool.app"},
                  10,
                  false},
        ShapeCase{"ALinkInsideAFolderIsNotTransferred",
                  [](TestEnvironment &env) {
                      env.makeFile(QStringLiteral("docs/real.txt"), "abc");
                      QFile::link(env.path(QStringLiteral("docs/real.txt")), env.path(QStringLiteral("docs/link.txt")));
                      return QStringList{env.path(QStringLiteral("docs"))};
                  },
                  {"docs/real.txt"},
                  3,
                  false},
        ShapeCase{"ALinkSelectedOnItsOwnIsOneItem",
                  [](TestEnvironment &env) {
                      env.makeFile(QStringLiteral("real.txt"), "abc");
                      QFile::link(env.path(QStringLiteral("real.txt")), env.path(QStringLiteral("link.txt")));
                      return QStringList{env.path(QStringLiteral("link.txt"))};
                  },
                  {"link.txt"},
                  0,
                  false}),
    [](const testing::TestParamInfo<ShapeCase> &info) { return std::string(info.param.name); });

TEST(Planner, ListsTheNamesAlreadyTakenAndIssuesInTheirOrder)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("src/a.txt"), "a");
    env.makeFile(QStringLiteral("src/b.txt"), "b");
    env.makeFile(QStringLiteral("src/dest/b.txt"), "old");
    const auto unwritable = [](const QString &) { return Volumes::Facts{}; };
    const Plan plan =
        TransferPlanner::plan({env.path(QStringLiteral("src"))}, env.path(QStringLiteral("src/dest")), unwritable);
    EXPECT_EQ(plan.safetyIssues,
              (QList<SafetyIssue>{SafetyIssue::sourceContainsDestination, SafetyIssue::destinationUnwritable}));
    ASSERT_EQ(plan.conflicts.size(), 0); // the source's own dest/b.txt arrives at dest/src/dest/b.txt

    const Plan beside = TransferPlanner::plan({env.path(QStringLiteral("src/b.txt"))},
                                              env.path(QStringLiteral("src/dest")), roomyVolume);
    ASSERT_EQ(beside.conflicts.size(), 1);
    EXPECT_TRUE(beside.items.first().conflictsAtPlanTime);
    EXPECT_EQ(beside.conflicts.first(), beside.items.first());
}
