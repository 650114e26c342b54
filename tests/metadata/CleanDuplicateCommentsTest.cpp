#include "metadata/CleanDuplicateCommentsHandler.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"
#include "app/WorkflowRunner.h"
#include "metadata/FinderMetadata.h"

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

    auto state = env.makeAppState();
    const QStringList paths{messy, caseOnly, clean, blank, none, env.path(QStringLiteral("gone.txt"))};
    state->runWorkflow(QStringLiteral("clean-duplicate-comments"), paths);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());

    EXPECT_EQ(rawComment(messy), QByteArray("a, b, c"));
    EXPECT_EQ(rawComment(caseOnly), QByteArray("Tag"));
    EXPECT_EQ(rawComment(clean), QByteArray("one;  two |three"));
    EXPECT_EQ(rawComment(blank), QByteArray("  \n "));
    EXPECT_EQ(rawComment(none), QByteArray("(none)"));

    ASSERT_TRUE(state->activeReport().has_value());
    const ScanReport &report = *state->activeReport();
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

    auto state = env.makeAppState();
    state->runWorkflow(QStringLiteral("clean-duplicate-comments"), {locked, fine});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(state->activeReport().has_value());
    const ScanReport &report = *state->activeReport();
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
    int cleaned;
    int unchanged;
    int failed;
    const char *summary;
};

void PrintTo(const SummaryCase &c, std::ostream *os)
{
    *os << c.summary;
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

INSTANTIATE_TEST_SUITE_P(Texts, CleanSummary,
                         ::testing::Values(SummaryCase{1, 0, 0, "Cleaned 1 file."},
                                           SummaryCase{3, 2, 0, "Cleaned 3 files."},
                                           SummaryCase{0, 0, 0, "Comments were already clean across 0 files."},
                                           SummaryCase{0, 1, 0, "Comments were already clean across 1 file."},
                                           SummaryCase{0, 4, 0, "Comments were already clean across 4 files."},
                                           SummaryCase{0, 1, 2, "Cleaned 0 · 2 failed: nope."},
                                           SummaryCase{2, 0, 1, "Cleaned 2 · 1 failed: nope."}));

TEST(CleanDuplicateComments, AnEmptySelectionStillReports)
{
    TestEnvironment env;
    auto state = env.makeAppState();
    EXPECT_EQ(state->workflowRunner().handle(QStringLiteral("vantrel://run/clean-duplicate-comments")),
              WorkflowRunner::Outcome(WorkflowRunner::ran{"clean-duplicate-comments", 0}));
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(state->activeReport().has_value());
    EXPECT_TRUE(state->activeReport()->items.isEmpty());
    EXPECT_EQ(state->activeReport()->summary, QStringLiteral("Comments were already clean across 0 files."));
}

TEST(CleanDuplicateComments, ACancelledCleanupPublishesNoReportButKeepsWhatItWrote)
{
    TestEnvironment env;
    QStringList paths;
    for (int i = 0; i < 400; ++i) {
        paths.append(env.makeFile(QStringLiteral("many/%1.txt").arg(i)));
        ASSERT_TRUE(MetadataTestSupport::setAttribute(paths.last(), "user.xdg.comment", "dup, dup"));
    }
    auto state = env.makeAppState();
    QSignalSpy reports(&state->scanState(), &ScanState::activeReportChanged);
    state->runWorkflow(QStringLiteral("clean-duplicate-comments"), paths);
    EXPECT_TRUE(state->scanState().isScanning());
    state->scanState().cancelScan();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_FALSE(state->scanState().isScanning());
    EXPECT_EQ(reports.count(), 0);
    EXPECT_FALSE(state->activeReport().has_value());
    // Whatever was cleaned before the cancel stays cleaned; nothing after it was touched.
    EXPECT_EQ(rawComment(paths.last()), QByteArray("dup, dup"));
}
