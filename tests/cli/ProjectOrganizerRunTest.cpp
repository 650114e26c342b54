#include "AppTestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct OrganizerRun {
    int exitCode = -1;
    QJsonObject json;
    QString err;
};

OrganizerRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), QJsonDocument::fromJson(process.readAllStandardOutput()).object(),
            QString::fromUtf8(process.readAllStandardError())};
}

// A Unity project `Game` in ~/Code and two of its files, with one stranger, lying in ~/Downloads.
struct Tree {
    explicit Tree(AppTestEnvironment &env)
        : code(env.path(QStringLiteral("Code"))), downloads(env.path(QStringLiteral("Downloads"))),
          container(env.path(QStringLiteral("Downloads/unity - Game")))
    {
        env.makeFile(QStringLiteral("Code/Game/Assets/Player.cs"), "class Player {}");
        env.makeFolder(QStringLiteral("Code/Game/ProjectSettings"));
        env.makeFile(QStringLiteral("Code/site/package.json"), "{}");
        env.makeFile(QStringLiteral("Downloads/game-trailer.mp4"), "movie");
        env.makeFile(QStringLiteral("Downloads/game-design.psd"), "layers");
        env.makeFile(QStringLiteral("Downloads/taxes.pdf"), "pdf");
    }
    QString code, downloads, container;
};

QStringList entriesOf(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

} // namespace

TEST(ProjectOrganizerRun, GoesOnFromTheDetectorIntoTheOrganizer)
{
    AppTestEnvironment env;
    const Tree tree(env);
    const OrganizerRun run =
        vantrel({"run", "project-detector", tree.code, tree.downloads, "--json", "--set", "organize=Game"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("workflowID")).toString(), QStringLiteral("project-organizer"));
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("done"));
    const QJsonObject result = session.value(QStringLiteral("result")).toObject();
    EXPECT_EQ(result.value(QStringLiteral("containerURL")).toString(), tree.container);
    EXPECT_EQ(result.value(QStringLiteral("copiedCount")).toInt(), 2);
    for (const char *count : {"movedCount", "skippedCount", "renamedCount"})
        EXPECT_EQ(result.value(QLatin1String(count)).toInt(), 0) << count;
    EXPECT_EQ(result.value(QStringLiteral("failedItems")).toArray(), QJsonArray());
    EXPECT_EQ(entriesOf(tree.container), QStringList({"design", "video"}));
    EXPECT_EQ(entriesOf(tree.container + "/video"), QStringList({"game-trailer.mp4"}));
    EXPECT_EQ(entriesOf(tree.downloads),
              QStringList({"game-design.psd", "game-trailer.mp4", "taxes.pdf", "unity - Game"}));
}

TEST(ProjectOrganizerRun, MovesOnlyTheSelectedSourcesOfAProjectNamedByItsRoot)
{
    AppTestEnvironment env;
    const Tree tree(env);
    const OrganizerRun run = vantrel({"run", "project-detector", tree.code, tree.downloads, "--json", "--set",
                                      "organize=" + tree.code + "/Game", "--set", "moveMode=true", "--set",
                                      "selectedSources=game-design.psd"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject result =
        run.json.value(QStringLiteral("session")).toObject().value(QStringLiteral("result")).toObject();
    EXPECT_EQ(result.value(QStringLiteral("movedCount")).toInt(), 1);
    EXPECT_EQ(result.value(QStringLiteral("copiedCount")).toInt(), 0);
    EXPECT_EQ(entriesOf(tree.container), QStringList({"design"}));
    EXPECT_EQ(entriesOf(tree.downloads), QStringList({"game-trailer.mp4", "taxes.pdf", "unity - Game"}));
}

TEST(ProjectOrganizerRun, ADryRunPrintsWhatGoesWhereAndWritesNothing)
{
    AppTestEnvironment env;
    const Tree tree(env);
    const OrganizerRun run = vantrel(
        {"run", "project-detector", tree.code, tree.downloads, "--json", "--dry-run", "--set", "organize=Game"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("planning"));
    const QJsonObject plan = session.value(QStringLiteral("plan")).toObject();
    EXPECT_EQ(plan.value(QStringLiteral("containerURL")).toString(), tree.container);
    EXPECT_TRUE(plan.value(QStringLiteral("containerWasCreated")).toBool());
    EXPECT_EQ(plan.value(QStringLiteral("projectKind")).toString(), QStringLiteral("unity"));
    const QJsonArray groups = plan.value(QStringLiteral("whatGoesWhere")).toArray();
    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(groups[0].toObject().value(QStringLiteral("folder")).toString(), tree.container + "/video/");
    EXPECT_EQ(groups[1].toObject().value(QStringLiteral("folder")).toString(), tree.container + "/design/");
    EXPECT_EQ(groups[1].toObject().value(QStringLiteral("count")).toInt(), 1);
    EXPECT_FALSE(QFileInfo::exists(tree.container));
    EXPECT_EQ(entriesOf(tree.downloads), QStringList({"game-design.psd", "game-trailer.mp4", "taxes.pdf"}));
}

TEST(ProjectOrganizerRun, RefusesWhatItCantOrganize)
{
    struct Row {
        const char *name;
        QStringList settings;
        QString message;
    };
    const QList<Row> rows{
        {"no such project", {"organize=Comet"}, QStringLiteral("Project Detector found no project “Comet”.")},
        {"a stranger's file",
         {"organize=Game", "selectedSources=taxes.pdf"},
         QStringLiteral("“taxes.pdf” isn't one of the loose files of Game: game-design.psd, game-trailer.mp4.")},
        {"a field of no session", {"moveMode=true"}, QStringLiteral("Project Detector has no field “moveMode”")},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        AppTestEnvironment env;
        const Tree tree(env);
        QStringList arguments{"run", "project-detector", tree.code, tree.downloads, "--json"};
        for (const QString &setting : row.settings)
            arguments << "--set" << setting;
        const OrganizerRun run = vantrel(arguments);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_TRUE(run.err.startsWith(row.message)) << run.err.toStdString();
        EXPECT_FALSE(QFileInfo::exists(tree.container));
    }
}
