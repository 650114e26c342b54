#include "AppTestEnvironment.h"
#include "TreeSnapshot.h"
#include "metadata/FinderMetadata.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct MoverRun {
    int exitCode = -1;
    QJsonObject json;
    QString err;
};

MoverRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), QJsonDocument::fromJson(process.readAllStandardOutput()).object(),
            QString::fromUtf8(process.readAllStandardError())};
}

QStringList askedMessages(const QJsonObject &json)
{
    QStringList asked;
    for (const QJsonValue &entry : json.value(QStringLiteral("asked")).toArray()) {
        const QJsonObject object = entry.toObject();
        asked.append(
            object.value(object.contains(QStringLiteral("title")) ? QStringLiteral("title") : QStringLiteral("message"))
                .toString() +
            QStringLiteral(" → ") +
            (object.value(QStringLiteral("answer")).isArray()
                 ? object.value(QStringLiteral("answer")).toArray().first().toString()
                 : object.value(QStringLiteral("answer")).toString()));
    }
    return asked;
}

// Two folders and a file, one of whose names is taken at the destination.
struct Selection {
    QStringList paths;
    QString dest;
};

Selection makeSelection(AppTestEnvironment &env)
{
    env.makeFile(QStringLiteral("src/photos/a.jpg"), "aaa");
    env.makeFile(QStringLiteral("src/photos/.thumbs/b"), "b");
    env.makeFile(QStringLiteral("src/music/song.ogg"), "song");
    env.makeFile(QStringLiteral("src/notes.txt"), "new notes");
    env.makeFile(QStringLiteral("dest/notes.txt"), "old notes");
    return {{env.path(QStringLiteral("src/photos")), env.path(QStringLiteral("src/music")),
             env.path(QStringLiteral("src/notes.txt"))},
            env.path(QStringLiteral("dest"))};
}

} // namespace

TEST(SmartMoverRun, UnansweredOrDryItPrintsThePlanAndChangesNothing)
{
    AppTestEnvironment env;
    const Selection selection = makeSelection(env);
    const auto before = treeSnapshot(env.path(QStringLiteral("src"))).keys() + treeSnapshot(selection.dest).keys();
    for (const QStringList &extra : {QStringList{}, QStringList{"--dry-run", "--yes"}}) {
        const MoverRun run = vantrel(QStringList{"run", "smart-mover"} + selection.paths +
                                     QStringList{"--dest", selection.dest, "--json"} + extra);
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        const QJsonObject plan = run.json.value(QStringLiteral("plan")).toObject();
        EXPECT_EQ(plan.value(QStringLiteral("topLevelItemCount")).toInt(), 3);
        EXPECT_EQ(plan.value(QStringLiteral("totalFileCount")).toInt(), 4);
        EXPECT_EQ(plan.value(QStringLiteral("totalSizeBytes")).toInt(), 17);
        EXPECT_EQ(plan.value(QStringLiteral("conflicts")).toArray().size(), 1);
        EXPECT_EQ(askedMessages(run.json),
                  (QStringList{"Choose destination folder → " + selection.dest,
                               "Copy 3 items — 4 files total (17 bytes) — to dest? → Cancel"}));
        EXPECT_TRUE(run.json.value(QStringLiteral("report")).isNull());
    }
    EXPECT_EQ(treeSnapshot(env.path(QStringLiteral("src"))).keys() + treeSnapshot(selection.dest).keys(), before);
}

TEST(SmartMoverRun, YesCopiesKeepsTheOriginalsAndCommentsThem)
{
    AppTestEnvironment env;
    const Selection selection = makeSelection(env);
    const MoverRun run = vantrel(QStringList{"run", "smart-mover"} + selection.paths +
                                 QStringList{"--dest", selection.dest, "--yes", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject report = run.json.value(QStringLiteral("report")).toObject();
    EXPECT_EQ(report.value(QStringLiteral("kind")).toString(), QStringLiteral("transferCopy"));
    EXPECT_TRUE(
        report.value(QStringLiteral("summary")).toString().startsWith(QStringLiteral("4 copied · 4 annotated")));
    QFile renamed(selection.dest + QStringLiteral("/notes -copy.txt"));
    ASSERT_TRUE(renamed.open(QIODevice::ReadOnly));
    EXPECT_EQ(renamed.readAll(), "new notes");
    EXPECT_TRUE(QFile::exists(selection.dest + QStringLiteral("/photos/.thumbs/b")));
    const QString comment = FinderMetadata::readComment(env.path(QStringLiteral("src/notes.txt"))).value_or(QString());
    EXPECT_TRUE(comment.startsWith(QStringLiteral("[Copied to "))) << comment.toStdString();
    const QJsonArray asked = run.json.value(QStringLiteral("asked")).toArray();
    ASSERT_EQ(asked.size(), 3);
    EXPECT_EQ(
        asked[2].toObject().value(QStringLiteral("values")).toObject().value(QStringLiteral("annotateSourceComments")),
        QJsonValue(true));
}

TEST(SmartMoverRun, TheTrashNeedsItsConfirmationNamed)
{
    AppTestEnvironment env;
    const Selection selection = makeSelection(env);
    const QString answers = env.makeFile(QStringLiteral("answers.json"),
                                         R"([{"match": "Transfer complete", "answer": "Move originals to Trash"}])");
    // --yes alone never says yes to the Trash: the originals stay.
    MoverRun run = vantrel(QStringList{"run", "smart-mover"} + selection.paths +
                           QStringList{"--dest", selection.dest, "--yes", "--answers", answers, "--json", "--set",
                                       "annotateSourceComments=false"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral("src/notes.txt"))));
    EXPECT_EQ(FinderMetadata::readComment(env.path(QStringLiteral("src/notes.txt"))), std::nullopt);
    EXPECT_EQ(askedMessages(run.json).last(), QStringLiteral("Move 4 originals to Trash? → Cancel"));

    const QString confirmed = env.makeFile(QStringLiteral("confirmed.json"),
                                           R"([{"match": "Transfer complete", "answer": "Move originals to Trash"},
            {"match": "Move 3 originals", "answer": "Move to Trash"},
            {"match": "Copy", "answer": "Skip conflicts"}])");
    env.makeFile(QStringLiteral("dest2/notes.txt"), "old notes");
    run = vantrel(QStringList{"run", "smart-mover"} + selection.paths +
                  QStringList{"--dest", env.path(QStringLiteral("dest2")), "--answers", confirmed, "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject report = run.json.value(QStringLiteral("report")).toObject();
    EXPECT_EQ(report.value(QStringLiteral("kind")).toString(), QStringLiteral("transferMove"));
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("src/music/song.ogg"))));
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral("src/notes.txt")))) << "a skipped original stays";
    const QString trashed = QDir::homePath() + QStringLiteral("/.local/share/Trash/files/song.ogg");
    EXPECT_TRUE(FinderMetadata::readComment(trashed).value_or(QString()).startsWith(QStringLiteral("[Copied to ")));
}

TEST(SmartMoverRun, RefusesABlockedPlanAndABadValue)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("src/inner/a.txt"), "a");
    MoverRun run = vantrel({"run", "smart-mover", env.path(QStringLiteral("src")), "--dest",
                            env.path(QStringLiteral("src/inner")), "--yes", "--json"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Transfer blocked: Destination is inside the source tree — would create a loop."));
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("src/inner/src"))));

    run = vantrel({"run", "smart-mover", env.path(QStringLiteral("src")), "--set", "annotateSourceComments=maybe"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(QStringLiteral("annotateSourceComments takes true or false")))
        << run.err.toStdString();

    run = vantrel({"run", "smart-mover", "--json"});
    EXPECT_EQ(run.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Smart Mover needs at least one selected file or folder."));
}

TEST(DryRun, FillsASheetButNeverPressesIt)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("notes.txt"), "n");
    const MoverRun run = vantrel({"run", "text-comment-tools", file, "--set", "action=prependFilename", "--set",
                                  "primary=2026", "--dry-run", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_FALSE(run.json.value(QStringLiteral("session")).isNull());
    EXPECT_TRUE(QFile::exists(file)) << "the rename was only planned";
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("2026notes.txt"))));
}
