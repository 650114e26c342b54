#include "transfer/rules/RuleEvaluator.h"

#include "TestEnvironment.h"
#include "metadata/FinderMetadata.h"

#include <QFile>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

using M = RuleMatch;

const QDateTime now = QDateTime(QDate(2026, 11, 24), QTime(12, 0, 0), Qt::UTC);

// Sets a file's modification time to the second, with no fraction.
void setModified(const QString &path, const QDateTime &when)
{
    const timespec times[2] = {{when.toSecsSinceEpoch(), 0}, {when.toSecsSinceEpoch(), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

struct MatchCase {
    const char *name;
    const char *file; // made below the test folder, 1000 bytes, modified 10 days before `now`
    RuleMatch match;
    bool matches;
};

void PrintTo(const MatchCase &c, std::ostream *os)
{
    *os << c.name;
}

class RuleMatching : public testing::TestWithParam<MatchCase> {};

} // namespace

TEST_P(RuleMatching, TestsOneFile)
{
    TestEnvironment env;
    const MatchCase &c = GetParam();
    const QString path = env.makeFile(QString::fromUtf8(c.file), QByteArray(1000, 'x'));
    setModified(path, now.addDays(-10));
    FinderMetadata::writeTags({QStringLiteral("Paid")}, path);
    FinderMetadata::writeComment(QStringLiteral("Needs REVIEW by Friday"), path);
    EXPECT_EQ(RuleEvaluator::matches(c.match, path, now), c.matches);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RuleMatching,
    testing::Values(MatchCase{"UpperCaseExtensionMatchesLower", "Report.PDF", {M::extensionEquals{{"pdf"}}}, true},
                    MatchCase{"LowerCaseExtensionMatchesUpper", "report.pdf", {M::extensionEquals{{"PDF"}}}, true},
                    MatchCase{"OnlyTheLastSuffixCounts", "archive.tar.gz", {M::extensionEquals{{"gz"}}}, true},
                    MatchCase{
                        "TheDoubleSuffixIsNoExtension", "archive.tar.gz", {M::extensionEquals{{"tar.gz"}}}, false},
                    MatchCase{"NoExtensionIsTheEmptyOne", "Makefile", {M::extensionEquals{{""}}}, true},
                    MatchCase{"AnEmptyListMatchesNothing", "a.pdf", {M::extensionEquals{{}}}, false},
                    MatchCase{"NameContainsIgnoringCase", "Invoice-2026.pdf", {M::nameContains{"invoice", true}}, true},
                    MatchCase{"NameContainsExactly", "Invoice-2026.pdf", {M::nameContains{"invoice", false}}, false},
                    MatchCase{"RegexAnywhereInTheName", "IMG_1234.jpg", {M::nameMatchesRegex{"\\d{4}\\."}}, true},
                    MatchCase{"WordCharactersTakeAccents", "é.txt", {M::nameMatchesRegex{"^\\w\\.txt$"}}, true},
                    MatchCase{"AnInvalidRegexNeverMatches", "a(b.txt", {M::nameMatchesRegex{"a(b"}}, false},
                    MatchCase{"ASizeEqualToTheLimitIsNotLarger", "a.bin", {M::sizeGreaterThan{1000}}, false},
                    MatchCase{"ASizeAboveTheLimit", "a.bin", {M::sizeGreaterThan{999}}, true},
                    MatchCase{"ModifiedExactlyThatLongAgoIsNotOlder", "a.txt", {M::modifiedOlderThanDays{10}}, false},
                    MatchCase{"ModifiedBeforeThat", "a.txt", {M::modifiedOlderThanDays{9}}, true},
                    MatchCase{"ATagIgnoringCase", "a.txt", {M::hasFinderTag{"paid"}}, true},
                    MatchCase{"ATagItDoesNotHave", "a.txt", {M::hasFinderTag{"Draft"}}, false},
                    MatchCase{"CommentIgnoringCase", "a.txt", {M::commentContains{"review"}}, true},
                    MatchCase{"AnEmptyAllMatchesEverything", "a.txt", {M::all{}}, true},
                    MatchCase{"AnEmptyAnyMatchesNothing", "a.txt", {M::any{}}, false},
                    MatchCase{"NestedAnyOfAll",
                              "a.txt",
                              {M::any{{{M::all{{{M::hasFinderTag{"Paid"}}, {M::sizeGreaterThan{5000}}}}},
                                       {M::all{{{M::nameContains{"A.TXT", true}}, {M::modifiedOlderThanDays{1}}}}}}}},
                              true}),
    [](const testing::TestParamInfo<MatchCase> &info) { return std::string(info.param.name); });

TEST(RuleEvaluator, TheFirstMatchingRuleWinsSoASkipAboveKeepsFilesInPlace)
{
    TestEnvironment env;
    const QString temp = env.makeFile(QStringLiteral("build.tmp"), "t");
    const QString doc = env.makeFile(QStringLiteral("notes.txt"), "n");
    TransferProfile profile;
    profile.rules = {{QUuid::createUuid(), {M::extensionEquals{{"tmp"}}}, {RuleAction::skip{}}},
                     {QUuid::createUuid(), {M::all{}}, {RuleAction::moveTo{"~/Documents"}}}};
    EXPECT_EQ(RuleEvaluator::firstMatch(profile, temp, now)->action, RuleAction{RuleAction::skip{}});
    EXPECT_EQ(RuleEvaluator::firstMatch(profile, doc, now)->action, RuleAction{RuleAction::moveTo{"~/Documents"}});
    profile.rules.removeLast();
    EXPECT_FALSE(RuleEvaluator::firstMatch(profile, doc, now).has_value());
}

TEST(RuleEvaluator, AFolderHasNoSize)
{
    TestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("big"));
    env.makeFile(QStringLiteral("big/inside.bin"), QByteArray(5000, 'x'));
    EXPECT_FALSE(RuleEvaluator::matches({M::sizeGreaterThan{0}}, folder, now));
    EXPECT_TRUE(RuleEvaluator::matches({M::sizeGreaterThan{-1}}, folder, now));
}

TEST(RuleEvaluator, APackageWeighsItsFilesAndDatesFromItsNewestChange)
{
    TestEnvironment env;
    const QString package = env.makeFolder(QStringLiteral("Tool.app"));
    setModified(env.makeFile(QStringLiteral("Tool.app/Contents/Info.plist"), QByteArray(3000, 'x')), now.addDays(-40));
    const QString binary = env.makeFile(QStringLiteral("Tool.app/Contents/MacOS/tool"), QByteArray(2000, 'x'));
    setModified(binary, now.addDays(-40));
    setModified(env.path(QStringLiteral("Tool.app/Contents/MacOS")), now.addDays(-40));
    setModified(env.path(QStringLiteral("Tool.app/Contents")), now.addDays(-40));
    setModified(package, now.addDays(-40));
    EXPECT_TRUE(RuleEvaluator::matches({M::sizeGreaterThan{4999}}, package, now));
    EXPECT_FALSE(RuleEvaluator::matches({M::sizeGreaterThan{5000}}, package, now));
    EXPECT_TRUE(RuleEvaluator::matches({M::modifiedOlderThanDays{30}}, package, now));
    // A file changed deep inside makes the whole package recent, though no folder's date moved.
    setModified(binary, now.addDays(-2));
    EXPECT_FALSE(RuleEvaluator::matches({M::modifiedOlderThanDays{30}}, package, now));
}

TEST(RuleEvaluator, KeepsOnlyPatternsThatCompile)
{
    auto &cache = RuleEvaluator::RegexCache::shared();
    const qsizetype before = cache.size();
    EXPECT_FALSE(cache.matches(QStringLiteral("[unclosed"), QStringLiteral("[unclosed")));
    EXPECT_EQ(cache.size(), before);
    const QString pattern = QStringLiteral("^kept-%1$").arg(QUuid::createUuid().toString(QUuid::Id128));
    EXPECT_FALSE(cache.matches(pattern, QStringLiteral("other")));
    EXPECT_EQ(cache.size(), before + 1);
    EXPECT_FALSE(cache.matches(pattern, QStringLiteral("again")));
    EXPECT_EQ(cache.size(), before + 1) << "a pattern is compiled once";
}

TEST(RuleEvaluator, SharesOneCacheAcrossThreadsAndCompilesEachPatternOnce)
{
    auto &cache = RuleEvaluator::RegexCache::shared();
    const QString run = QUuid::createUuid().toString(QUuid::Id128);
    // Twenty patterns that compile and one that never does, each asked for by every thread at once.
    QStringList patterns;
    for (int i = 0; i < 20; ++i)
        patterns.append(QStringLiteral("^%1-%2\\.txt$").arg(run).arg(i));
    patterns.append(QStringLiteral("(%1").arg(run));
    const qsizetype before = cache.size();
    std::atomic<int> wrong{0};
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 200; ++round) {
                const int i = (round + t) % int(patterns.size());
                const QString subject = QStringLiteral("%1-%2.txt").arg(run).arg(i);
                const bool expected = i < 20;
                if (cache.matches(patterns[i], subject) != expected)
                    ++wrong;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(cache.size(), before + 20);
}
