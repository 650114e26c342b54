#include "scan/HygieneScans.h"

#include "TestEnvironment.h"
#include "foundation/Defaults.h"
#include "platform/MetadataBackend.h"
#include "platform/Paths.h"
#include "scan/ScanState.h"
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
    MetadataBackend::system().writeTags({QStringLiteral("gamma"), QStringLiteral("alpha")}, both);
    MetadataBackend::system().writeTags({QStringLiteral("Beta"), QStringLiteral("alpha")}, beta);

    const auto walked = FileWalker::walk({both, beta, env.path(QStringLiteral("t/none"))});
    const ScanReport report =
        HygieneScans::tagAudit(walked, [](const QString &path) { return MetadataBackend::system().readTags(path); });
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
    ScanState scans(env.defaults());
    const QString tagged = env.makeFile(QStringLiteral("a"));
    const QString plain = env.makeFile(QStringLiteral("b"));
    MetadataBackend::system().writeTags({QStringLiteral("Work")}, tagged);
    HygieneScans::runTagAudit({tagged, plain}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(scans.activeReport().has_value());
    EXPECT_EQ(scans.activeReport()->summary, QStringLiteral("1 unique tag across 1 of 2 files."));

    HygieneScans::runTagAudit({plain}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(scans.activeReport()->summary, QStringLiteral("No Finder tags found across 1 file."));
}

TEST(ThresholdScans, ANewThresholdReworksTheReportWithoutWalkingAgain)
{
    TestEnvironment env;
    ScanState scans(env.defaults());
    const QString old = env.makeFile(QStringLiteral("s/old.txt"));
    const QString older = env.makeFile(QStringLiteral("s/older.txt"));
    touch(old, QDateTime::currentDateTime().addDays(-100));
    touch(older, QDateTime::currentDateTime().addDays(-400));
    HygieneScans::runStale({env.path(QStringLiteral("s"))}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(names(*scans.activeReport()), QStringList{"older.txt"});

    // Gone from disk, still in the cached walk: the new report comes from the cache.
    QFile::remove(old);
    scans.setStaleThreshold(90);
    EXPECT_EQ(names(*scans.activeReport()), (QStringList{"older.txt", "old.txt"}));
    EXPECT_EQ(env.defaults().value(DefaultsKeys::staleThresholdDays), 90);

    // Another scan's threshold is stored and leaves this report alone.
    const QUuid shown = scans.activeReport()->id;
    scans.setLargeFileThreshold(10);
    EXPECT_EQ(scans.activeReport()->id, shown);
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

    ScanState scans(env.defaults());
    HygieneScans::runTidy({}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(scans.activeReport().has_value());
    ASSERT_EQ(scans.activeReport()->plannedMoves->size(), 1);
    EXPECT_EQ(scans.activeReport()->plannedMoves->first().destination,
              env.path(QStringLiteral("Papers/Vantrel Tidy/Old PDFs/manual.pdf")));
    EXPECT_TRUE(scans.activeReport()->summary.contains(QStringLiteral("into ~/Papers/Vantrel Tidy/.")));

    // A selected folder is walked alone.
    HygieneScans::runTidy({env.path(QStringLiteral("Other"))}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(scans.activeReport()->plannedMoves->first().source, elsewhere);
}

struct ResultCase {
    int moved;
    int failed;
    const char *text;
    const char *firstReason = "Operation not permitted";
};

void PrintTo(const ResultCase &c, std::ostream *os)
{
    *os << c.text;
}

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
