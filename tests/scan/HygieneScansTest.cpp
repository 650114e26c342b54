#include "scan/HygieneScans.h"

#include "TestEnvironment.h"
#include "app/WorkflowRunner.h"
#include "foundation/Defaults.h"
#include "metadata/FinderMetadata.h"
#include "platform/Paths.h"
#include "scan/TidyPlan.h"

#include <QDir>
#include <QFile>
#include <QTimeZone>

#include <gtest/gtest.h>

namespace {

using FileWalker::WalkedFile;

const QDateTime now = QDateTime(QDate(2026, 6, 15), QTime(12, 0), QTimeZone::utc());

WalkedFile dated(const QString &name, const QDateTime &date, quint64 size = 1)
{
    return {QStringLiteral("/data/") + name, size, date};
}

QStringList names(const ScanReport &report)
{
    QStringList list;
    for (const ScanItem &item : report.items)
        list.append(QFileInfo(item.url).fileName());
    return list;
}

// Sets a real file's modification date.
void touch(const QString &path, const QDateTime &date)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(date, QFileDevice::FileModificationTime));
}

} // namespace

TEST(StaleScan, TheCutoffIsStrictAndTheOldestComesFirst)
{
    const QDateTime cutoff = HygieneScans::cutoff(now, 180);
    const ScanReport report = HygieneScans::stale({dated(QStringLiteral("at-cutoff"), cutoff),
                                                   dated(QStringLiteral("second-before"), cutoff.addSecs(-1)),
                                                   dated(QStringLiteral("ancient"), now.addDays(-800)),
                                                   {QStringLiteral("/data/undated"), 1, std::nullopt},
                                                   dated(QStringLiteral("fresh"), now)},
                                                  180, now);
    EXPECT_EQ(names(report), (QStringList{"ancient", "second-before"}));
    EXPECT_EQ(report.items[0].badge, QStringLiteral("2 yr+ old"));
    EXPECT_EQ(report.items[1].badge, QStringLiteral("180 days old"));
    EXPECT_EQ(report.summary, QStringLiteral("2 files not touched in over 180 days."));
    EXPECT_EQ(report.kind, ScanReport::Kind::stale);
    EXPECT_EQ(report.workflowID, QStringLiteral("old-stale-files"));

    EXPECT_EQ(HygieneScans::stale({dated(QStringLiteral("old"), now.addDays(-400))}, 365, now).summary,
              QStringLiteral("1 file not touched in over 365 days."));
    EXPECT_EQ(HygieneScans::stale({}, 30, now).summary, QStringLiteral("Nothing older than 30 days in the selection."));
}

// The dates the walk reads from disk carry milliseconds; a file stamped exactly at the cutoff must
// still not count as stale, and one a second older must.
TEST(StaleScan, TheCutoffHoldsForDatesReadFromRealFiles)
{
    TestEnvironment env;
    const QDateTime present = QDateTime::currentDateTime();
    const QDateTime cutoff = HygieneScans::cutoff(present, 90);
    const QString atCutoff = env.makeFile(QStringLiteral("s/at-cutoff"));
    const QString justBefore = env.makeFile(QStringLiteral("s/just-before"));
    touch(atCutoff, cutoff);
    touch(justBefore, cutoff.addSecs(-1));

    const ScanReport report = HygieneScans::stale(FileWalker::walk({env.path(QStringLiteral("s"))}), 90, present);
    EXPECT_EQ(names(report), (QStringList{"just-before"}));
}

TEST(StaleScan, TheCutoffCountsCalendarDaysInLocalTime)
{
    const QDateTime local = QDateTime(QDate(2026, 4, 2), QTime(9, 30));
    const QDateTime cutoff = HygieneScans::cutoff(local, 30);
    EXPECT_EQ(cutoff.toLocalTime().date(), QDate(2026, 3, 3));
    EXPECT_EQ(cutoff.toLocalTime().time(), QTime(9, 30));
}

class AgeBadges : public ::testing::TestWithParam<std::pair<int, const char *>> {};

TEST_P(AgeBadges, ReadInDaysThenWholeYears)
{
    EXPECT_EQ(HygieneScans::ageBadge(GetParam().first), QString::fromUtf8(GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(Ages, AgeBadges,
                         ::testing::Values(std::pair{30, "30 days old"}, std::pair{364, "364 days old"},
                                           std::pair{365, "1 yr+ old"}, std::pair{729, "1 yr+ old"},
                                           std::pair{800, "2 yr+ old"}));

TEST(LargeScan, KeepsTheLimitItselfLargestFirst)
{
    const quint64 gib = 1'073'741'824;
    const ScanReport report =
        HygieneScans::large({dated(QStringLiteral("just-under"), now, gib - 1),
                             dated(QStringLiteral("exact"), now, gib), dated(QStringLiteral("huge"), now, 5 * gib)},
                            1024);
    EXPECT_EQ(names(report), (QStringList{"huge", "exact"}));
    EXPECT_EQ(report.items[0].badge, std::nullopt);
    // The limit is binary; the formatter shows it in decimal units.
    EXPECT_EQ(report.summary, QStringLiteral("2 files larger than 1.07 GB."));
    EXPECT_EQ(HygieneScans::large({dated(QStringLiteral("small"), now, 10)}, 100).summary,
              QStringLiteral("Nothing larger than 104.9 MB in the selection."));
}

class TidyCategories : public ::testing::TestWithParam<std::pair<const char *, const char *>> {};

TEST_P(TidyCategories, GoByTheLastExtensionInAnyCase)
{
    const std::optional<QString> category = HygieneScans::tidyCategory(QString::fromUtf8(GetParam().first));
    EXPECT_EQ(category.value_or(QStringLiteral("none")), QString::fromUtf8(GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(Names, TidyCategories,
                         ::testing::Values(std::pair{"Invoice.PDF", "Old PDFs"}, std::pair{"photo.heic", "Old Images"},
                                           std::pair{"backup.tar.gz", "Old Archives"},
                                           std::pair{"Setup.dmg", "Old Installers"},
                                           std::pair{"song.flac", "Old Audio"}, std::pair{"clip.webm", "Old Video"},
                                           std::pair{"deck.keynote", "Old Docs"}, std::pair{"notes.txt", "none"},
                                           std::pair{"Makefile", "none"}, std::pair{"pdf", "none"}));

TEST(TidyScan, PlansOldFilesOfKnownKindsIntoTheirFolders)
{
    const QString root = QStringLiteral("/home/u/Documents/Vantrel Tidy");
    const QDateTime old = now.addDays(-31);
    const ScanReport report = HygieneScans::tidy({dated(QStringLiteral("a.pdf"), old, 1000),
                                                  dated(QStringLiteral("new.pdf"), now),
                                                  dated(QStringLiteral("b.JPG"), old, 500),
                                                  dated(QStringLiteral("c.txt"), old),
                                                  {QStringLiteral("/data/undated.zip"), 1, std::nullopt},
                                                  {root + QStringLiteral("/Old PDFs/tidied.pdf"), 1, old}},
                                                 30, now, root);
    ASSERT_TRUE(report.plannedMoves.has_value());
    ASSERT_EQ(report.plannedMoves->size(), 2);
    EXPECT_EQ(report.plannedMoves->at(0).source, QStringLiteral("/data/a.pdf"));
    EXPECT_EQ(report.plannedMoves->at(0).destination, root + QStringLiteral("/Old PDFs/a.pdf"));
    EXPECT_EQ(report.plannedMoves->at(1).destination, root + QStringLiteral("/Old Images/b.JPG"));
    EXPECT_EQ(report.plannedMoves->at(1).reason, QStringLiteral("older than 30 days"));
    EXPECT_EQ(names(report), (QStringList{"a.pdf", "b.JPG"}));
    EXPECT_FALSE(report.groups.has_value());
    EXPECT_EQ(report.summary, QStringLiteral("Would move 2 items (2 KB) into /home/u/Documents/Vantrel Tidy/. Nothing "
                                             "happens until you confirm."));

    const ScanReport none = HygieneScans::tidy({dated(QStringLiteral("c.txt"), old)}, 7, now, root);
    EXPECT_EQ(none.plannedMoves, QList<PlannedMove>());
    EXPECT_EQ(none.summary, QStringLiteral("1 file scanned. Nothing older than 7 days in the supported categories "
                                           "(PDFs, images, archives, installers, audio, video, docs)."));
}

TEST(TagAuditScan, GroupsFilesUnderEachOfTheirTags)
{
    TestEnvironment env;
    const QString both = env.makeFile(QStringLiteral("t/both"));
    const QString beta = env.makeFile(QStringLiteral("t/beta"));
    env.makeFile(QStringLiteral("t/none"));
    FinderMetadata::writeTags({QStringLiteral("gamma"), QStringLiteral("alpha")}, both);
    FinderMetadata::writeTags({QStringLiteral("Beta"), QStringLiteral("alpha")}, beta);

    const auto walked = FileWalker::walk({both, beta, env.path(QStringLiteral("t/none"))});
    const ScanReport report = HygieneScans::tagAudit(walked, &FinderMetadata::readTags);
    ASSERT_TRUE(report.groups.has_value());
    QStringList labels;
    for (const ScanGroup &group : *report.groups)
        labels.append(group.label);
    EXPECT_EQ(labels, (QStringList{"alpha — 2 files", "Beta — 1 file", "gamma — 1 file"}));
    EXPECT_EQ(report.items.size(), 4);
    EXPECT_EQ(report.items[0].url, both);
    EXPECT_EQ(report.items[1].url, beta);
    EXPECT_EQ(report.summary, QStringLiteral("3 unique tags across 2 of 3 files."));
}

TEST(TagAuditScan, OneTaggedFileOfTwoAndNoTagsAtAll)
{
    TestEnvironment env;
    auto state = env.makeAppState();
    const QString tagged = env.makeFile(QStringLiteral("a"));
    const QString plain = env.makeFile(QStringLiteral("b"));
    FinderMetadata::writeTags({QStringLiteral("Work")}, tagged);
    state->runWorkflow(QStringLiteral("tag-audit"), {tagged, plain});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(state->activeReport().has_value());
    EXPECT_EQ(state->activeReport()->summary, QStringLiteral("1 unique tag across 1 of 2 files."));

    state->runWorkflow(QStringLiteral("tag-audit"), {plain});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(state->activeReport()->summary, QStringLiteral("No Finder tags found across 1 file."));
}

TEST(ThresholdScans, ANewThresholdReworksTheReportWithoutWalkingAgain)
{
    TestEnvironment env;
    auto state = env.makeAppState();
    const QString old = env.makeFile(QStringLiteral("s/old.txt"));
    const QString older = env.makeFile(QStringLiteral("s/older.txt"));
    touch(old, QDateTime::currentDateTime().addDays(-100));
    touch(older, QDateTime::currentDateTime().addDays(-400));
    state->runWorkflow(QStringLiteral("old-stale-files"), {env.path(QStringLiteral("s"))});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(names(*state->activeReport()), QStringList{"older.txt"});

    // Gone from disk, still in the cached walk: the new report comes from the cache.
    QFile::remove(old);
    state->scanState().setStaleThreshold(90);
    EXPECT_EQ(names(*state->activeReport()), (QStringList{"older.txt", "old.txt"}));
    EXPECT_EQ(env.defaults().value(DefaultsKeys::staleThresholdDays), 90);

    // Another scan's threshold is stored and leaves this report alone.
    const QUuid shown = state->activeReport()->id;
    state->scanState().setLargeFileThreshold(10);
    EXPECT_EQ(state->activeReport()->id, shown);
    EXPECT_EQ(env.defaults().value(DefaultsKeys::largeFileThresholdMB), 10);
}

TEST(TidyScan, AnEmptySelectionLooksInTheDownloadsFolderTheUserNamed)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral(".config/user-dirs.dirs"),
                 "# written by xdg-user-dirs-update\nXDG_DOWNLOAD_DIR=\"$HOME/Fetched\"\n"
                 "XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
    EXPECT_EQ(Paths::downloads(), env.path(QStringLiteral("Fetched")));
    EXPECT_EQ(HygieneScans::tidyRoot(), env.path(QStringLiteral("Papers/Vantrel Tidy")));
    const QString fetched = env.makeFile(QStringLiteral("Fetched/manual.pdf"), "pdf");
    touch(fetched, QDateTime::currentDateTime().addDays(-60));
    const QString elsewhere = env.makeFile(QStringLiteral("Other/old.pdf"), "pdf");
    touch(elsewhere, QDateTime::currentDateTime().addDays(-60));

    auto state = env.makeAppState();
    state->workflowRunner().handle(QStringLiteral("vantrel://run/downloads-tidy"));
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(state->activeReport().has_value());
    ASSERT_EQ(state->activeReport()->plannedMoves->size(), 1);
    EXPECT_EQ(state->activeReport()->plannedMoves->first().destination,
              env.path(QStringLiteral("Papers/Vantrel Tidy/Old PDFs/manual.pdf")));
    EXPECT_TRUE(state->activeReport()->summary.contains(QStringLiteral("into ~/Papers/Vantrel Tidy/.")));

    // A selected folder is walked alone.
    state->runWorkflow(QStringLiteral("downloads-tidy"), {env.path(QStringLiteral("Other"))});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(state->activeReport()->plannedMoves->first().source, elsewhere);
}

TEST(TidyPlan, MovesOnlyOnceConfirmedAndNeverOverwrites)
{
    TestEnvironment env;
    auto state = env.makeAppState();
    const QDateTime old = QDateTime::currentDateTime().addDays(-45);
    const QString clash = env.makeFile(QStringLiteral("Downloads/report.pdf"), "new report");
    const QString photo = env.makeFile(QStringLiteral("Downloads/photo.png"), "png");
    touch(clash, old);
    touch(photo, old);
    const QString tidied = env.makeFile(QStringLiteral("Documents/Vantrel Tidy/Old PDFs/report.pdf"), "kept");
    env.makeFile(QStringLiteral("Documents/Vantrel Tidy/Old PDFs/report (1).pdf"), "kept too");

    state->runWorkflow(QStringLiteral("downloads-tidy"), {env.path(QStringLiteral("Downloads"))});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_EQ(state->activeReport()->plannedMoves->size(), 2);

    // No answer is Cancel: nothing moves.
    EXPECT_FALSE(state->confirmAndExecutePlan());
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_EQ(env.interaction().askedAlerts().size(), 1);
    const AlertRequest asked = env.interaction().askedAlerts().first();
    EXPECT_EQ(asked.message, QStringLiteral("Move 2 files?"));
    EXPECT_EQ(asked.informativeText,
              QStringLiteral("Vantrel will move 2 items (13 bytes) into ~/Documents/Vantrel Tidy/, organized by file "
                             "type. Nothing is deleted. You can move them back to their original locations any time."));
    EXPECT_EQ(asked.buttons, (QStringList{"Move Files", "Cancel"}));
    EXPECT_TRUE(QFile::exists(clash));

    env.interaction().addAnswer(QStringLiteral("Move 2 files?"), QStringLiteral("Move Files"));
    EXPECT_TRUE(state->confirmAndExecutePlan());
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_FALSE(QFile::exists(clash));
    QFile arrived(env.path(QStringLiteral("Documents/Vantrel Tidy/Old PDFs/report (2).pdf")));
    ASSERT_TRUE(arrived.open(QIODevice::ReadOnly));
    EXPECT_EQ(arrived.readAll(), QByteArray("new report"));
    QFile untouched(tidied);
    ASSERT_TRUE(untouched.open(QIODevice::ReadOnly));
    EXPECT_EQ(untouched.readAll(), QByteArray("kept"));
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral("Documents/Vantrel Tidy/Old Images/photo.png"))));

    ASSERT_TRUE(state->packBanner().has_value());
    EXPECT_EQ(state->packBanner()->message, QStringLiteral("Moved 2 files into ~/Documents/Vantrel Tidy/."));
    EXPECT_TRUE(state->activeReport()->items.isEmpty());
    EXPECT_TRUE(state->activeReport()->plannedMoves->isEmpty());
    // The walk stays cached: a new threshold still reworks the report without walking.
    ASSERT_TRUE(state->scanState().scanCache().has_value());
    EXPECT_EQ(state->scanState().scanCache()->walked.size(), 2);
}

TEST(TidyPlan, AFailedMoveLeavesItsFileAndIsCounted)
{
    TestEnvironment env;
    auto state = env.makeAppState();
    const QDateTime old = QDateTime::currentDateTime().addDays(-45);
    const QString pdf = env.makeFile(QStringLiteral("in/a.pdf"), "a");
    const QString zip = env.makeFile(QStringLiteral("in/b.zip"), "b");
    touch(pdf, old);
    touch(zip, old);
    // A file where the PDFs' folder should be: that folder can't be made.
    env.makeFile(QStringLiteral("Documents/Vantrel Tidy/Old PDFs"), "in the way");
    state->runWorkflow(QStringLiteral("downloads-tidy"), {env.path(QStringLiteral("in"))});
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    state->executePlan(*state->activeReport());
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_TRUE(QFile::exists(pdf));
    EXPECT_FALSE(QFile::exists(zip));
    // One failed move is enough to make the run a failure, and the row says why its file stayed.
    EXPECT_EQ(*state->packBanner(), (AppState::PackBanner{AppState::PackBanner::Tone::failure,
                                                          QStringLiteral("Moved 1 file · 1 failed: Not a directory."),
                                                          {{pdf, QStringLiteral("Not a directory")}}}));
    EXPECT_EQ(state->activeReport()->plannedMoves->size(), 1);
    EXPECT_EQ(state->activeReport()->items.size(), 1);
    EXPECT_EQ(state->activeReport()->items.first().url, pdf);
    EXPECT_EQ(state->activeReport()->items.first().badge, QStringLiteral("failed: Not a directory"));
}

struct ResultCase {
    int moved;
    int failed;
    const char *text;
    const char *firstReason = "Operation not permitted";
};

class TidyResults : public ::testing::TestWithParam<ResultCase> {};

TEST_P(TidyResults, SayWhatHappened)
{
    TidyPlan::Outcome outcome;
    for (int i = 0; i < GetParam().moved; ++i)
        outcome.moved.insert(QUuid::createUuid());
    for (int i = 0; i < GetParam().failed; ++i)
        outcome.failures.append({QStringLiteral("/in/%1.pdf").arg(i),
                                 i == 0 ? QString::fromUtf8(GetParam().firstReason) : QStringLiteral("later reason")});
    EXPECT_EQ(TidyPlan::resultText(outcome, QStringLiteral("~/Documents/Vantrel Tidy")),
              QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Counts, TidyResults,
                         ::testing::Values(ResultCase{0, 0, "No moves to perform."},
                                           ResultCase{1, 0, "Moved 1 file into ~/Documents/Vantrel Tidy/."},
                                           ResultCase{3, 0, "Moved 3 files into ~/Documents/Vantrel Tidy/."},
                                           ResultCase{2, 1, "Moved 2 files · 1 failed: Operation not permitted."},
                                           ResultCase{0, 4, "All 4 moves failed: Operation not permitted."},
                                           ResultCase{1, 1, "Moved 1 file · 1 failed: Every name is taken.",
                                                      "Every name is taken."},
                                           ResultCase{1, 1, "Moved 1 file · 1 failed.", ""}));

TEST(TidyPlan, CountersGoBeforeTheExtension)
{
    EXPECT_EQ(TidyPlan::candidateName(QStringLiteral("/t/a.pdf"), 0), QStringLiteral("/t/a.pdf"));
    EXPECT_EQ(TidyPlan::candidateName(QStringLiteral("/t/a.pdf"), 1), QStringLiteral("/t/a (1).pdf"));
    EXPECT_EQ(TidyPlan::candidateName(QStringLiteral("/t/b.tar.gz"), 999), QStringLiteral("/t/b.tar (999).gz"));
}
