#include "transfer/mover/SmartMoverHandler.h"

#include "TestEnvironment.h"
#include "platform/Paths.h"

#include <gtest/gtest.h>

using namespace TransferEngine;

namespace {

Plan planOf(int topLevel, int files, qint64 bytes, int conflicts, qint64 freeBytes, bool nearlyFull)
{
    Plan plan;
    plan.topLevelItemCount = topLevel;
    plan.totalFileCount = files;
    plan.totalSizeBytes = bytes;
    plan.destinationRoot = Paths::home() + QStringLiteral("/Backups");
    plan.destinationFreeSpaceBytes = freeBytes;
    for (int i = 0; i < files; ++i) {
        const PlannedItem item{QStringLiteral("/src/f%1").arg(i), plan.destinationRoot + QStringLiteral("/f%1").arg(i),
                               1, i < conflicts};
        plan.items.append(item);
        if (item.conflictsAtPlanTime)
            plan.conflicts.append(item);
    }
    if (nearlyFull)
        plan.safetyIssues.append(SafetyIssue::destinationVolumeAlmostFull);
    return plan;
}

struct PlanAlertCase {
    const char *name;
    std::function<Plan()> plan; // made once the test's home is in place
    QString message;
    QString informative;
    QStringList buttons;
    AlertRequest::Style style;
};

void PrintTo(const PlanAlertCase &c, std::ostream *os)
{
    *os << c.name;
}

class PlanAlert : public testing::TestWithParam<PlanAlertCase> {};

const QStringList conflictButtons{"Rename with -copy", "Skip conflicts", "Overwrite", "Cancel"};

} // namespace

TEST_P(PlanAlert, SaysWhatWillBeCopiedAndWhatStandsInTheWay)
{
    TestEnvironment env;
    const PlanAlertCase &c = GetParam();
    const AlertRequest alert = SmartMoverHandler::planAlert(c.plan());
    EXPECT_EQ(alert.message, c.message);
    EXPECT_EQ(alert.informativeText, c.informative);
    EXPECT_EQ(alert.buttons, c.buttons);
    EXPECT_EQ(alert.style, c.style);
}

INSTANTIATE_TEST_SUITE_P(
    Wordings, PlanAlert,
    testing::Values(
        PlanAlertCase{"OneItemNoConflicts",
                      [] { return planOf(1, 1, 1, 0, 0, false); },
                      "Copy 1 item (1 byte) to Backups?",
                      "Destination: ~/Backups\n\nNo name conflicts at the destination.",
                      {"Copy", "Cancel"},
                      AlertRequest::Style::informational},
        PlanAlertCase{"FoldersCountTheirFiles",
                      [] { return planOf(2, 3, 3, 0, 2'000'000, false); },
                      "Copy 2 items — 3 files total (3 bytes) — to Backups?",
                      "Destination: ~/Backups\n2 MB free at destination\n\nNo name conflicts at the destination.",
                      {"Copy", "Cancel"},
                      AlertRequest::Style::informational},
        PlanAlertCase{"ConflictsAskForAPolicy", [] { return planOf(2, 2, 2, 1, 0, false); },
                      "Copy 2 items (2 bytes) to Backups?",
                      "Destination: ~/Backups\n\n⚠ 1 name conflict at the destination.\nPick how to handle the "
                      "conflicting items — your choice applies to all of them.",
                      conflictButtons, AlertRequest::Style::warning},
        PlanAlertCase{"NearlyFullIsNoted", [] { return planOf(3, 3, 3, 3, 3, true); },
                      "Copy 3 items (3 bytes) to Backups?",
                      "Destination: ~/Backups\n3 bytes free at destination\n\n⚠ 3 name conflicts at the "
                      "destination.\nPick how to handle the conflicting items — your choice applies to all of "
                      "them.\nℹ︎ Destination volume is nearly full.",
                      conflictButtons, AlertRequest::Style::warning}),
    [](const testing::TestParamInfo<PlanAlertCase> &info) { return std::string(info.param.name); });

TEST(SmartMoverPolicy, EachButtonGivesItsPolicy)
{
    const Plan withConflicts = planOf(1, 1, 1, 1, 0, false);
    EXPECT_EQ(SmartMoverHandler::policyFor(withConflicts, 0), ConflictPolicy(renameWithSuffix{" -copy"}));
    EXPECT_EQ(SmartMoverHandler::policyFor(withConflicts, 1), ConflictPolicy(skip{}));
    EXPECT_EQ(SmartMoverHandler::policyFor(withConflicts, 2), ConflictPolicy(overwrite{}));
    EXPECT_EQ(SmartMoverHandler::policyFor(withConflicts, 3), std::nullopt);
    const Plan clean = planOf(1, 1, 1, 0, 0, false);
    EXPECT_EQ(SmartMoverHandler::policyFor(clean, 0), ConflictPolicy(renameWithSuffix{" -copy"}));
    EXPECT_EQ(SmartMoverHandler::policyFor(clean, 1), std::nullopt);
}

TEST(SmartMoverPolicy, BlockingIssuesAreJoinedInPlanOrder)
{
    Plan plan = planOf(1, 0, 0, 0, 0, false);
    plan.safetyIssues = {SafetyIssue::sourceContainsDestination, SafetyIssue::destinationUnwritable,
                         SafetyIssue::destinationVolumeAlmostFull, SafetyIssue::empty};
    EXPECT_EQ(SmartMoverHandler::blockedMessage(plan),
              QStringLiteral("Transfer blocked: Destination is inside the source tree — would create a loop. · "
                             "Destination is not writable. · No files in the selection."));
    plan.safetyIssues = {SafetyIssue::destinationVolumeAlmostFull};
    EXPECT_EQ(SmartMoverHandler::blockedMessage(plan), std::nullopt);
}

namespace {

struct OptionsCase {
    const char *name;
    AlertAnswer answer;
    bool trashConfirmed;
    std::optional<SourceAnnotator::Options> expected;
};

void PrintTo(const OptionsCase &c, std::ostream *os)
{
    *os << c.name;
}

class CompletionAnswer : public testing::TestWithParam<OptionsCase> {};

SourceAnnotator::Options options(bool comments, bool trash, const QString &format = "[Copied to {dest} on {date}]")
{
    return {comments, trash, false, format};
}

} // namespace

TEST_P(CompletionAnswer, DecidesWhatHappensToTheOriginals)
{
    const OptionsCase &c = GetParam();
    int confirmations = 0;
    const auto result = SmartMoverHandler::optionsFor(c.answer, [&] {
        ++confirmations;
        return c.trashConfirmed;
    });
    EXPECT_EQ(result, c.expected);
    EXPECT_EQ(confirmations, c.answer.button == 1 ? 1 : 0) << "only the Trash button asks again";
}

INSTANTIATE_TEST_SUITE_P(
    Buttons, CompletionAnswer,
    testing::Values(
        OptionsCase{"KeepWithComments", {0, true, "[Copied to {dest} on {date}]"}, false, options(true, false)},
        OptionsCase{"KeepWithoutComments", {0, false, "x"}, false, options(false, false, "x")},
        OptionsCase{"TrashConfirmed", {1, true, "t"}, true, options(true, true, "t")},
        OptionsCase{"TrashCancelledKeepsTheComments", {1, true, "t"}, false, options(true, false, "t")},
        OptionsCase{"DoneWithTheCheckboxStillComments", {2, true, "d"}, false, options(true, false, "d")},
        OptionsCase{"DoneWithoutTheCheckboxDoesNothing", {2, false, "d"}, false, std::nullopt},
        OptionsCase{"AnEmptiedFieldMeansTheDefault", {0, true, ""}, false, options(true, false)}),
    [](const testing::TestParamInfo<OptionsCase> &info) { return std::string(info.param.name); });

TEST(SmartMoverTexts, CompletionAlertCountsAndPreviewsTheComment)
{
    TestEnvironment env;
    Result result;
    result.plan.destinationRoot = Paths::home() + QStringLiteral("/Backups");
    result.items = {{"/s/a", copied{"/d/a"}},
                    {"/s/b", renamed{"/d/b -copy"}},
                    {"/s/c", failed{"No space left"}},
                    {"/s/d", skipped{"Already exists at destination"}}};
    const AlertRequest alert = SmartMoverHandler::completionAlert(result);
    EXPECT_EQ(alert.message, QStringLiteral("Transfer complete"));
    EXPECT_EQ(alert.informativeText,
              QStringLiteral("2 items now at ~/Backups. 1 failed and remain only at the source. 1 skipped (already "
                             "existed). Originals are still in place. What should happen to them?"));
    EXPECT_EQ(alert.buttons,
              (QStringList{"Keep originals (copy)", "Move originals to Trash", "Done — no further action"}));
    ASSERT_TRUE(alert.accessory);
    const QString today = QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
    EXPECT_EQ(alert.accessory->preview(QStringLiteral("to {dest}, {date}")), QStringLiteral("to ~/Backups, ") + today);
    EXPECT_EQ(alert.accessory->preview(QString()), QStringLiteral("[Copied to ~/Backups on %1]").arg(today));
    EXPECT_EQ(SmartMoverHandler::trashConfirmation(result).message, QStringLiteral("Move 2 originals to Trash?"));
    EXPECT_TRUE(SmartMoverHandler::trashConfirmation(result).needsExplicitAnswer);
}

TEST(SmartMoverTexts, ReportSummaryNamesOnlyWhatHappened)
{
    TestEnvironment env;
    Result result;
    result.plan.destinationRoot = Paths::home() + QStringLiteral("/Backups");
    result.items = {{"/s/a", copied{"/d/a"}}, {"/s/c", failed{"No space left on device"}}};
    SourceAnnotator::Summary summary;
    summary.annotated = 1;
    summary.deleted = 1;
    const ScanReport moved = SmartMoverHandler::report(result, options(true, true), summary);
    EXPECT_EQ(moved.title, QStringLiteral("Smart Mover — Moved"));
    EXPECT_EQ(moved.kind, ScanReport::Kind::transferMove);
    EXPECT_EQ(moved.summary, QStringLiteral("1 copied · 1 failed · 1 annotated · 1 original trashed — ~/Backups."));
    ASSERT_EQ(moved.items.size(), 2);
    EXPECT_EQ(moved.items[0].badge, QStringLiteral("copied"));
    EXPECT_EQ(moved.items[1].url, QStringLiteral("/s/c"));
    EXPECT_EQ(moved.items[1].badge, QStringLiteral("failed · No space left on device"));
    EXPECT_EQ(moved.failures, (QList<ItemFailure>{{"/s/c", "No space left on device"}}));

    const ScanReport kept = SmartMoverHandler::report(result, std::nullopt, {});
    EXPECT_EQ(kept.title, QStringLiteral("Smart Mover — Copied"));
    EXPECT_EQ(kept.kind, ScanReport::Kind::transferCopy);
    EXPECT_EQ(kept.summary, QStringLiteral("1 copied · 1 failed — ~/Backups."));
    EXPECT_EQ(SmartMoverHandler::errorsMessage({"a: x", "b: y", "c: z"}), QStringLiteral("a: x (and 2 more)"));
}
