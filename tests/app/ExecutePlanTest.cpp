#include "app/AppState.h"

#include "AppTestEnvironment.h"

#include <QDateTime>
#include <QFile>

#include <gtest/gtest.h>

namespace {

// Sets a real file's modification date.
void touch(const QString &path, const QDateTime &date)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.setFileTime(date, QFileDevice::FileModificationTime));
}

} // namespace

TEST(ExecutePlan, MovesOnlyOnceConfirmedAndNeverOverwrites)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QDateTime old = QDateTime::currentDateTime().addDays(-45);
    const QString clash = env.makeFile(QStringLiteral("Downloads/report.pdf"), "new report");
    const QString photo = env.makeFile(QStringLiteral("Downloads/photo.png"), "png");
    touch(clash, old);
    touch(photo, old);
    const QString tidied = env.makeFile(QStringLiteral("Documents/Vantrel Tidy/Old PDFs/report.pdf"), "kept");
    env.makeFile(QStringLiteral("Documents/Vantrel Tidy/Old PDFs/report (1).pdf"), "kept too");

    state->runWorkflow(QStringLiteral("downloads-tidy"), {env.path(QStringLiteral("Downloads"))});
    ASSERT_TRUE(AppTestEnvironment::runUntilIdle());
    ASSERT_EQ(state->activeReport()->plannedMoves->size(), 2);

    // No answer is Cancel: nothing moves.
    EXPECT_FALSE(state->confirmAndExecutePlan());
    ASSERT_TRUE(AppTestEnvironment::runUntilIdle());
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
    ASSERT_TRUE(AppTestEnvironment::runUntilIdle());
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

TEST(ExecutePlan, AFailedMoveLeavesItsFileAndIsCounted)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QDateTime old = QDateTime::currentDateTime().addDays(-45);
    const QString pdf = env.makeFile(QStringLiteral("in/a.pdf"), "a");
    const QString zip = env.makeFile(QStringLiteral("in/b.zip"), "b");
    touch(pdf, old);
    touch(zip, old);
    // A file where the PDFs' folder should be: that folder can't be made.
    env.makeFile(QStringLiteral("Documents/Vantrel Tidy/Old PDFs"), "in the way");
    state->runWorkflow(QStringLiteral("downloads-tidy"), {env.path(QStringLiteral("in"))});
    ASSERT_TRUE(AppTestEnvironment::runUntilIdle());
    state->executePlan(*state->activeReport());
    ASSERT_TRUE(AppTestEnvironment::runUntilIdle());
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
