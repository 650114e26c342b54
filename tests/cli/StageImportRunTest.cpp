#include "AppTestEnvironment.h"
#include "TreeSnapshot.h"
#include "foundation/Defaults.h"
#include "metadata/FinderMetadata.h"
#include "steward/RecentProjectsStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct StageRun {
    int exitCode = -1;
    QByteArray out;
    QString err;
    QJsonObject session() const
    {
        return QJsonDocument::fromJson(out).object().value(QStringLiteral("session")).toObject();
    }
};

StageRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), process.readAllStandardOutput(), QString::fromUtf8(process.readAllStandardError())};
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// A Unity game and three downloads: a package, a script whose name is taken in the game already, a model.
struct Game {
    explicit Game(AppTestEnvironment &env)
        : root(env.makeFolder(QStringLiteral("Code/game"))),
          kit(env.makeFile(QStringLiteral("Downloads/kit.unitypackage"), "kit")),
          script(env.makeFile(QStringLiteral("Downloads/Player.cs"), "new player")),
          ship(env.makeFile(QStringLiteral("Downloads/ship.fbx"), "fbx"))
    {
        env.makeFolder(QStringLiteral("Code/game/ProjectSettings"));
        env.makeFile(QStringLiteral("Code/game/Assets/Scripts/Imports/Player.cs"), "old player");
    }
    QString root;
    QString kit;
    QString script;
    QString ship;
};

} // namespace

TEST(StageImportRun, ADryRunPrintsThePlanAndCopiesNothing)
{
    AppTestEnvironment env;
    const Game game(env);
    const auto snapshot = [&env] {
        return std::make_pair(treeSnapshot(env.path(QStringLiteral("Code"))),
                              treeSnapshot(env.path(QStringLiteral("Downloads"))));
    };
    const auto before = snapshot();
    const StageRun run = vantrel({"run", "stage-import", game.kit, game.ship, "--set", "project=" + game.root, "--set",
                                  "override=2:Assets/Models/Ships", "--dry-run", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject session = run.session();
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("planning"));
    const QJsonObject plan = session.value(QStringLiteral("plan")).toObject();
    EXPECT_EQ(plan.value(QStringLiteral("project")).toObject().value(QStringLiteral("kind")).toString(),
              QStringLiteral("unity"));
    const QJsonArray entries = plan.value(QStringLiteral("entries")).toArray();
    ASSERT_EQ(entries.size(), 2);
    const QJsonObject kit = entries[0].toObject();
    EXPECT_EQ(kit.value(QStringLiteral("category")).toString(), QStringLiteral("archive"));
    EXPECT_EQ(kit.value(QStringLiteral("suggested")).toObject(),
              (QJsonObject{{QStringLiteral("relativeSubpath"), QStringLiteral("Assets/ThirdParty")},
                           {QStringLiteral("label"), QStringLiteral("Unity third-party convention")}}));
    EXPECT_EQ(kit.value(QStringLiteral("effectiveSubpath")).toString(), QStringLiteral("Assets/ThirdParty"));
    EXPECT_EQ(entries[1].toObject().value(QStringLiteral("effectiveSubpath")).toString(),
              QStringLiteral("Assets/Models/Ships"));
    EXPECT_EQ(snapshot(), before);

    const StageRun text = vantrel({"run", "stage-import", game.kit, "--set", "project=" + game.root, "--dry-run"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_TRUE(text.out.contains("kit.unitypackage · archive · 3 bytes · Unity third-party convention → "
                                  "Assets/ThirdParty/"))
        << text.out.toStdString();
}

TEST(StageImportRun, StagesMovesAndSaysWhatItDid)
{
    AppTestEnvironment env;
    const Game game(env);
    const StageRun run = vantrel({"run", "stage-import", game.kit, game.script, "--set", "project=" + game.root,
                                  "--set", "moveMode=true", "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString() << run.out.toStdString();
    const QJsonObject result = run.session().value(QStringLiteral("result")).toObject();
    EXPECT_EQ(result.value(QStringLiteral("stagedCount")).toInt(), 2);
    EXPECT_EQ(result.value(QStringLiteral("trashedCount")).toInt(), 2);
    EXPECT_EQ(result.value(QStringLiteral("renamedCount")).toInt(), 1);
    EXPECT_EQ(result.value(QStringLiteral("failedItems")).toArray(), QJsonArray{});
    const QString kit = game.root + QStringLiteral("/Assets/ThirdParty/kit.unitypackage");
    EXPECT_EQ(result.value(QStringLiteral("firstDestination")).toString(), kit);
    EXPECT_EQ(contents(kit), "kit");
    EXPECT_EQ(contents(game.root + QStringLiteral("/Assets/Scripts/Imports/Player.cs")), "old player");
    EXPECT_EQ(contents(game.root + QStringLiteral("/Assets/Scripts/Imports/Player -copy.cs")), "new player");
    EXPECT_FALSE(QFile::exists(game.script));
    // Comments are on unless a script turns them off.
    EXPECT_TRUE(FinderMetadata::readComment(kit).value_or(QString()).startsWith(
        QStringLiteral("[Imported from ~/Downloads on ")));

    Defaults defaults(env.path(QStringLiteral(".config/Vantrel/Vantrel.conf")));
    RecentProjectsStore recent(defaults);
    ASSERT_EQ(recent.entries().size(), 1);
    EXPECT_EQ(recent.entries().first().rootURL, game.root);
}

TEST(StageImportRun, ARefusedPlanOrAFolderThatIsNoProjectEndsInAFailure)
{
    AppTestEnvironment env;
    const Game game(env);
    const auto before = treeSnapshot(env.path(QStringLiteral("Code")));
    const StageRun refused = vantrel({"run", "stage-import", game.kit, game.ship, "--set", "project=" + game.root,
                                      "--set", "override=2:/Library/x/", "--set", "moveMode=true"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.out.contains("Refusing to stage into 'Library/x/' — that's a folder your editor manages or "
                                     "regenerates. Pick a different subfolder."))
        << refused.out.toStdString();
    EXPECT_EQ(treeSnapshot(env.path(QStringLiteral("Code"))), before);
    EXPECT_EQ(contents(game.kit), "kit");

    const StageRun notProject = vantrel(
        {"run", "stage-import", game.kit, "--set", "project=" + env.path(QStringLiteral("Downloads")), "--json"});
    EXPECT_EQ(notProject.exitCode, 1);
    EXPECT_TRUE(
        notProject.session()
            .value(QStringLiteral("message"))
            .toString()
            .startsWith(QStringLiteral("Vantrel looked at ~/Downloads\nbut couldn't find any project markers.")));

    const StageRun noProject = vantrel({"run", "stage-import", game.kit});
    EXPECT_EQ(noProject.exitCode, 2);
    EXPECT_TRUE(noProject.err.contains(QStringLiteral("Stage & Import needs --set project=DIR")))
        << noProject.err.toStdString();
    const StageRun nothing = vantrel({"run", "stage-import", "--json"});
    EXPECT_EQ(QJsonDocument::fromJson(nothing.out)
                  .object()
                  .value(QStringLiteral("banner"))
                  .toObject()
                  .value(QStringLiteral("message"))
                  .toString(),
              QStringLiteral("Stage & Import needs at least one selected file or folder."))
        << nothing.out.toStdString();
}
