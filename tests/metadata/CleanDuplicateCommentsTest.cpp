#include "metadata/CleanDuplicateCommentsHandler.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"
#include "metadata/FinderMetadata.h"
#include "scan/ScanState.h"

#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

using MetadataTestSupport::rawComment;

const ScanItem *itemFor(const ScanReport &report, const QString &path)
{
    for (const ScanItem &item : report.items) {
        if (item.url == path)
            return &item;
    }
    return nullptr;
}

} // namespace

TEST(CleanDuplicateComments, CleansMessyCommentsAndLeavesCleanOnesByteForByte)
{
    TestEnvironment env;
    const QString messy = env.makeFile(QStringLiteral("Inbox/messy.pdf"), "12345");
    const QString caseOnly = env.makeFile(QStringLiteral("Inbox/case.txt"));
    const QString clean = env.makeFile(QStringLiteral("Inbox/clean.txt"));
    const QString blank = env.makeFile(QStringLiteral("Inbox/blank.txt"));
    const QString none = env.makeFile(QStringLiteral("Inbox/none.txt"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(messy, "user.xdg.comment", "a, b; a|b\n\nc"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(caseOnly, "user.xdg.comment", "Tag, tag, TAG"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(clean, "user.xdg.comment", "one;  two |three"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(blank, "user.xdg.comment", "  \n "));

    ScanState scans(env.defaults());
    const QStringList paths{messy, caseOnly, clean, blank, none, env.path(QStringLiteral("gone.txt"))};
    CleanDuplicateCommentsHandler::run(paths, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_FALSE(scans.isScanning());

    EXPECT_EQ(rawComment(messy), QByteArray("a, b, c"));
    EXPECT_EQ(rawComment(caseOnly), QByteArray("Tag"));
    EXPECT_EQ(rawComment(clean), QByteArray("one;  two |three"));
    EXPECT_EQ(rawComment(blank), QByteArray("  \n "));
    EXPECT_EQ(rawComment(none), QByteArray("(none)"));

    ASSERT_TRUE(scans.activeReport().has_value());
    const ScanReport &report = *scans.activeReport();
    EXPECT_EQ(report.workflowID, QStringLiteral("clean-duplicate-comments"));
    EXPECT_EQ(report.title, QStringLiteral("Clean Duplicate Comments"));
    EXPECT_EQ(report.kind, ScanReport::Kind::tidy);
    EXPECT_EQ(report.summary, QStringLiteral("Cleaned 2 files."));
    EXPECT_FALSE(report.groups.has_value());
    EXPECT_FALSE(report.plannedMoves.has_value());
    ASSERT_EQ(report.items.size(), paths.size());
    for (qsizetype i = 0; i < paths.size(); ++i)
        EXPECT_EQ(report.items[i].url, paths[i]);
    EXPECT_EQ(report.items[0].badge, QStringLiteral("removed 2 duplicates"));
    EXPECT_EQ(report.items[0].size, 5u);
    EXPECT_TRUE(report.items[0].modificationDate.has_value());
    EXPECT_EQ(report.items[1].badge, QStringLiteral("removed 2 duplicates"));
    EXPECT_EQ(report.items[2].badge, QStringLiteral("no change"));
    EXPECT_EQ(report.items[5].badge, QStringLiteral("no change"));
    EXPECT_EQ(report.items[5].size, 0u);
    EXPECT_FALSE(report.items[5].modificationDate.has_value());
}

TEST(CleanDuplicateComments, AReadOnlyFilesFailureReachesItsBadge)
{
    TestEnvironment env;
    const QString fine = env.makeFile(QStringLiteral("fine.txt"));
    const QString locked = env.makeFile(QStringLiteral("locked.txt"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(fine, "user.xdg.comment", "x; X"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(locked, "user.xdg.comment", "y, y"));
    MetadataTestSupport::LockedFile lock(locked);
    ASSERT_TRUE(lock.isLocked());

    ScanState scans(env.defaults());
    CleanDuplicateCommentsHandler::run({locked, fine}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(scans.activeReport().has_value());
    const ScanReport &report = *scans.activeReport();
    const QString error = QStringLiteral("Finder rejected the change (exit 1): Operation not permitted");
    EXPECT_EQ(report.summary, QStringLiteral("Cleaned 1 · 1 failed: ") + error + QLatin1Char('.'));
    EXPECT_EQ(report.failures, (QList<ItemFailure>{{locked, error}}));
    const ScanItem *failed = itemFor(report, locked);
    ASSERT_NE(failed, nullptr);
    EXPECT_TRUE(failed->badge->startsWith(QStringLiteral("failed: Finder rejected the change (exit ")))
        << failed->badge->toStdString();
    EXPECT_EQ(itemFor(report, fine)->badge, QStringLiteral("removed 1 duplicate"));
    EXPECT_EQ(rawComment(locked), QByteArray("y, y"));
}

struct SummaryCase {
    const char *name;
    int cleaned;
    int unchanged;
    int failed;
    const char *summary;
};

void PrintTo(const SummaryCase &c, std::ostream *os)
{
    *os << c.name;
}

class CleanSummary : public ::testing::TestWithParam<SummaryCase> {};

TEST_P(CleanSummary, CountsCleanedAndFailedFiles)
{
    QList<CleanDuplicateCommentsHandler::Outcome> outcomes;
    for (int i = 0; i < GetParam().cleaned; ++i)
        outcomes.append({QStringLiteral("/c"), {{"a", "a"}, {"a"}}, std::nullopt});
    for (int i = 0; i < GetParam().unchanged; ++i)
        outcomes.append({QStringLiteral("/u"), {{"a"}, {"a"}}, std::nullopt});
    for (int i = 0; i < GetParam().failed; ++i)
        outcomes.append({QStringLiteral("/f"), {{"a", "a"}, {"a"}}, QStringLiteral("nope")});
    EXPECT_EQ(CleanDuplicateCommentsHandler::summary(outcomes), QString::fromUtf8(GetParam().summary));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CleanSummary,
    ::testing::Values(SummaryCase{"OneCleaned", 1, 0, 0, "Cleaned 1 file."},
                      SummaryCase{"UnchangedNotCounted", 3, 2, 0, "Cleaned 3 files."},
                      SummaryCase{"NoFiles", 0, 0, 0, "Comments were already clean across 0 files."},
                      SummaryCase{"OneAlreadyClean", 0, 1, 0, "Comments were already clean across 1 file."},
                      SummaryCase{"AllAlreadyClean", 0, 4, 0, "Comments were already clean across 4 files."},
                      SummaryCase{"OnlyFailures", 0, 1, 2, "Cleaned 0 · 2 failed: nope."},
                      SummaryCase{"CleanedAndFailed", 2, 0, 1, "Cleaned 2 · 1 failed: nope."}),
    [](const testing::TestParamInfo<SummaryCase> &info) { return std::string(info.param.name); });

TEST(CleanDuplicateComments, AnEmptySelectionStillReports)
{
    TestEnvironment env;
    ScanState scans(env.defaults());
    CleanDuplicateCommentsHandler::run({}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(scans.activeReport().has_value());
    EXPECT_EQ(scans.activeReport()->workflowID, QStringLiteral("clean-duplicate-comments"));
    EXPECT_TRUE(scans.activeReport()->items.isEmpty());
    EXPECT_EQ(scans.activeReport()->summary, QStringLiteral("Comments were already clean across 0 files."));
}

TEST(CleanDuplicateComments, ACancelledCleanupPublishesNoReportButKeepsWhatItWrote)
{
    TestEnvironment env;
    QStringList paths;
    for (int i = 0; i < 3000; ++i) {
        paths.append(env.makeFile(QStringLiteral("many/%1.txt").arg(i)));
        ASSERT_TRUE(MetadataTestSupport::setAttribute(paths.last(), "user.xdg.comment", "dup, dup"));
    }
    ScanState scans(env.defaults());
    QSignalSpy reports(&scans, &ScanState::activeReportChanged);
    CleanDuplicateCommentsHandler::run(paths, scans);
    EXPECT_TRUE(scans.isScanning());
    scans.cancelScan();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_FALSE(scans.isScanning());
    // Files are cleaned in order: those before the cancel are cleaned and stay so, none after it is touched.
    qsizetype cleaned = 0;
    while (cleaned < paths.size() && rawComment(paths[cleaned]) == QByteArray("dup"))
        ++cleaned;
    for (qsizetype i = cleaned; i < paths.size(); ++i)
        ASSERT_EQ(rawComment(paths[i]), QByteArray("dup, dup")) << "file " << i << " after the first untouched one";
    if (cleaned == paths.size()) {
        // A machine so loaded that the whole run ended before the cancel reached it: then it reports.
        EXPECT_EQ(reports.count(), 1);
        return;
    }
    EXPECT_EQ(reports.count(), 0);
    EXPECT_FALSE(scans.activeReport().has_value());
}
