#include "FaultSupport.h"
#include "TestEnvironment.h"
#include "metadata/FinderMetadata.h"
#include "platform/NativeNames.h"
#include "steward/RecentProjectsStore.h"
#include "steward/StageImportSession.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

using Stage = StageImportSession;
using StageImport::FailedItem;

namespace {

const QDate day(2026, 11, 24);

// The comment as the desktop reads it, through the real extended attribute.
QString commentOf(const QString &path)
{
    const Faults::ProcessResult read = Faults::run(
        QStringLiteral("getfattr"), {QStringLiteral("--only-values"), QStringLiteral("-n"),
                                     QStringLiteral("user.xdg.comment"), QFile::decodeName(NativeNames::encode(path))});
    return read.exitCode == 0 ? QString::fromUtf8(read.out) : QString();
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

StageImport::Options options(bool moveMode, bool comment = true)
{
    return {moveMode, comment, day};
}

StageImport::Plan planFor(const QStringList &sources, const QString &project)
{
    const std::optional<ProjectStructure> structure = ProjectStructure::detect(project);
    EXPECT_TRUE(structure);
    return StageImport::plan(sources, structure.value_or(ProjectStructure{}));
}

// A Node project with an image, a script and a document to bring in from Downloads.
struct NodeImport {
    explicit NodeImport(TestEnvironment &env)
        : project(env.makeFolder(QStringLiteral("Code/site"))),
          shot(env.makeFile(QStringLiteral("Downloads/shot.png"), "png")),
          script(env.makeFile(QStringLiteral("Downloads/tool.ts"), "ts")),
          notes(env.makeFile(QStringLiteral("Downloads/notes.md"), "md"))
    {
        env.makeFile(QStringLiteral("Code/site/package.json"), "{}");
    }
    QString project;
    QString shot;
    QString script;
    QString notes;
};

} // namespace

TEST(StageImportSession, AFolderWithoutMarkersFailsNamingEveryMarkerLookedFor)
{
    TestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("Photos"));
    Stage session(env.host(), {env.makeFile(QStringLiteral("a.png"), "a")}, nullptr);
    EXPECT_EQ(session.phase(), Stage::Phase(Stage::picking{}));
    session.choose(folder);
    EXPECT_EQ(session.phase(), Stage::Phase(Stage::failed{QStringLiteral(
                                   "Vantrel looked at ~/Photos\n"
                                   "but couldn't find any project markers.\n\n"
                                   "Checked for:\n"
                                   "• Unity     → needs Assets/ + ProjectSettings/\n"
                                   "• Xcode     → needs *.xcodeproj or *.xcworkspace\n"
                                   "• Swift Pkg → needs Package.swift\n"
                                   "• Node      → needs package.json\n"
                                   "• Rust      → needs Cargo.toml\n"
                                   "• Python    → needs pyproject.toml / setup.py / requirements.txt\n"
                                   "• Godot     → needs project.godot\n"
                                   "• Generic   → needs .git/\n\n"
                                   "Tip: run **Project Detector** first to find your projects — they'll appear in "
                                   "the Recent Projects list automatically.")}));
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::failed);
    session.back();
    EXPECT_EQ(session.phase(), Stage::Phase(Stage::picking{}));
}

TEST(StageImportSession, PlansEachFileIntoItsConventionAndRemembersTheProject)
{
    TestEnvironment env;
    const NodeImport files(env);
    RecentProjectsStore recent(env.defaults());
    Stage session(env.host(), {files.shot, files.script}, &recent);
    session.choose(files.project + QStringLiteral("/"));
    const auto *shown = std::get_if<Stage::planning>(&session.phase());
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->plan.project.projectRoot, files.project);
    ASSERT_EQ(shown->plan.entries.size(), 2);
    const StageImport::Entry &image = shown->plan.entries[0];
    EXPECT_EQ(image.source, files.shot);
    EXPECT_EQ(image.sizeBytes, 3U);
    EXPECT_EQ(image.category, StageRouting::FileCategory::image);
    EXPECT_EQ(image.suggested, (StageRouting::Suggestion{QStringLiteral("public/images/imports"),
                                                         QStringLiteral("Node public-assets convention")}));
    EXPECT_EQ(shown->plan.entries[1].effectiveSubpath(), QStringLiteral("src/imports"));
    ASSERT_EQ(recent.entries().size(), 1);
    EXPECT_EQ(recent.entries().first().rootURL, files.project);
    EXPECT_EQ(recent.entries().first().kindRaw, QStringLiteral("node"));

    session.updateOverride(1, QStringLiteral("tools"));
    EXPECT_EQ(std::get<Stage::planning>(session.phase()).plan.entries[1].effectiveSubpath(), QStringLiteral("tools"));
    // Typing the suggestion back, or nothing, is the suggestion again.
    session.updateOverride(1, QStringLiteral("src/imports"));
    EXPECT_EQ(std::get<Stage::planning>(session.phase()).plan.entries[1].overrideSubpath, std::nullopt);
}

TEST(StageImportSession, RefusesTheWholePlanBeforeCopyingAnything)
{
    TestEnvironment env;
    const NodeImport files(env);
    const auto before = Faults::snapshot(env.home());
    Stage session(env.host(), {files.shot, files.script}, nullptr);
    session.choose(files.project);
    // The live check of the row editor says the same as the run will.
    const QString refusal = QStringLiteral("Refusing to stage into 'node_modules/x/' — that's a folder your editor "
                                           "manages or regenerates. Pick a different subfolder.");
    EXPECT_EQ(session.refusal(QStringLiteral("/node_modules/x/")), refusal);
    EXPECT_EQ(session.refusal(QStringLiteral("src/vendor")), std::nullopt);
    session.updateOverride(1, QStringLiteral("/node_modules/x/"));
    session.execute();
    EXPECT_EQ(session.phase(), Stage::Phase(Stage::failed{refusal}));
    TestEnvironment::runUntilIdle();
    EXPECT_EQ(Faults::snapshot(env.home()), before) << "the first entry, which was fine, wasn't copied either";

    session.back();
    ASSERT_TRUE(std::holds_alternative<Stage::planning>(session.phase()));
    EXPECT_EQ(std::get<Stage::planning>(session.phase()).plan.entries[1].overrideSubpath,
              QStringLiteral("/node_modules/x/"));
    // A subfolder that climbs out of the project is no subfolder of it.
    EXPECT_TRUE(session.refusal(QStringLiteral("src/../../elsewhere")).has_value());
}

TEST(StageImportSession, StagesCommentsAndTrashesTheOriginalsAndSaysWhatItDid)
{
    TestEnvironment env;
    const NodeImport files(env);
    Stage session(env.host(), {files.shot, files.notes}, nullptr);
    session.setClock([] { return day; });
    session.setMoveMode(true);
    session.choose(files.project);
    session.execute();
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::running);
    TestEnvironment::runUntilIdle();
    const auto *finished = std::get_if<Stage::done>(&session.phase());
    ASSERT_TRUE(finished);
    const QString image = files.project + QStringLiteral("/public/images/imports/shot.png");
    EXPECT_EQ(finished->result.stagedCount, 2);
    EXPECT_EQ(finished->result.trashedCount, 2);
    EXPECT_EQ(finished->result.firstDestination, image);
    EXPECT_EQ(contentOf(image), "png");
    EXPECT_EQ(commentOf(image), QStringLiteral("[Imported from ~/Downloads on 2026-11-24]"));
    EXPECT_FALSE(QFile::exists(files.shot));
    EXPECT_EQ(contentOf(env.path(QStringLiteral(".local/share/Trash/files/notes.md"))), "md");
    const QJsonObject json = session.toJson().value(QStringLiteral("result")).toObject();
    EXPECT_EQ(json.value(QStringLiteral("stagedCount")).toInt(), 2);
    EXPECT_EQ(json.value(QStringLiteral("failedItems")).toArray(), QJsonArray{});
    EXPECT_FALSE(session.anyItemFailed());
}

TEST(StageImportRun, TakenNamesGetTheCopyWordsAndTheOldFilesStay)
{
    TestEnvironment env;
    const NodeImport files(env);
    const QString folder = files.project + QStringLiteral("/public/images/imports");
    env.makeFile(QStringLiteral("Code/site/public/images/imports/shot.png"), "first");
    const QString second = env.makeFile(QStringLiteral("Elsewhere/shot.png"), "second");

    const StageImport::Result result =
        StageImport::run(planFor({files.shot, second}, files.project), options(false, false));
    EXPECT_EQ(result.stagedCount, 2);
    EXPECT_EQ(result.renamedCount, 2);
    EXPECT_EQ(result.firstDestination, folder + QStringLiteral("/shot -copy.png"));
    EXPECT_EQ(contentOf(folder + QStringLiteral("/shot.png")), "first");
    EXPECT_EQ(contentOf(folder + QStringLiteral("/shot -copy.png")), "png");
    EXPECT_EQ(contentOf(folder + QStringLiteral("/shot -copy 2.png")), "second");
    EXPECT_EQ(commentOf(folder + QStringLiteral("/shot -copy.png")), QString()) << "comments were turned off";
    EXPECT_TRUE(QFile::exists(files.shot)) << "copy mode keeps the originals";
}

TEST(StageImportRun, AppendsToTheCommentTheFileAlreadyHad)
{
    TestEnvironment env;
    const NodeImport files(env);
    FinderMetadata::writeComment(QStringLiteral("from the client"), files.notes);
    const StageImport::Result result = StageImport::run(planFor({files.notes}, files.project), options(false));
    ASSERT_EQ(result.stagedCount, 1);
    EXPECT_EQ(commentOf(files.project + QStringLiteral("/docs/imports/notes.md")),
              QStringLiteral("from the client\n[Imported from ~/Downloads on 2026-11-24]"));
    EXPECT_EQ(commentOf(files.notes), QStringLiteral("from the client")) << "the original is left as it was";
}

TEST(StageImportRun, FailuresAreCountedAndNeverCostTheOriginal)
{
    TestEnvironment env;
    const NodeImport files(env);
    // A file where the script's folder should be, and a source that vanishes after the plan.
    env.makeFile(QStringLiteral("Code/site/src"), "not a folder");
    StageImport::Plan plan = planFor({files.script, files.notes, files.shot}, files.project);
    QFile::remove(files.notes);

    const StageImport::Result result = StageImport::run(plan, options(true));
    ASSERT_EQ(result.failedItems.size(), 2);
    EXPECT_EQ(result.failedItems[0].source, files.script);
    EXPECT_TRUE(result.failedItems[0].reason.startsWith(QStringLiteral("Couldn't create src/imports/: ")))
        << result.failedItems[0].reason.toStdString();
    EXPECT_EQ(result.failedItems[1].source, files.notes);
    EXPECT_FALSE(result.failedItems[1].reason.isEmpty());
    EXPECT_EQ(contentOf(files.script), "ts") << "a failed copy never trashes its original";
    EXPECT_EQ(result.stagedCount, 1);
    EXPECT_EQ(result.trashedCount, 1);
    EXPECT_FALSE(QFile::exists(files.project + QStringLiteral("/docs/imports/notes.md")));
}

TEST(StageImportRun, AnImmutableFolderRefusesTheCopyAndTheOriginalStays)
{
    TestEnvironment env;
    const NodeImport files(env);
    const QString folder = env.makeFolder(QStringLiteral("Code/site/docs/imports"));
    const Faults::Immutable locked(folder);
    if (!locked.applied())
        GTEST_SKIP() << "chattr +i is refused on this file system";
    const StageImport::Result result = StageImport::run(planFor({files.notes}, files.project), options(true));
    ASSERT_EQ(result.failedItems.size(), 1);
    EXPECT_EQ(result.stagedCount, 0);
    EXPECT_EQ(result.trashedCount, 0);
    EXPECT_EQ(contentOf(files.notes), "md");
}

TEST(StageImportRun, AFullDiskFailsThatFileAndLeavesNothingHalfWritten)
{
    if (const auto reason = Faults::tmpfsUnavailable())
        GTEST_SKIP() << reason->toStdString();
    TestEnvironment env;
    const Faults::TinyDisk disk(env.path(QStringLiteral("Stick")), 1 << 20);
    ASSERT_TRUE(disk.mounted());
    QDir().mkpath(disk.path() + QStringLiteral("/game/Assets"));
    QDir().mkpath(disk.path() + QStringLiteral("/game/ProjectSettings"));
    const QString big = env.makeFile(QStringLiteral("Downloads/intro.mov"), QByteArray(3 << 20, 'v'));
    const QString small = env.makeFile(QStringLiteral("Downloads/theme.ogg"), "ogg");

    const StageImport::Result result =
        StageImport::run(planFor({big, small}, disk.path() + QStringLiteral("/game")), options(true));
    ASSERT_EQ(result.failedItems.size(), 1);
    EXPECT_EQ(result.failedItems[0], (FailedItem{big, QStringLiteral("No space left on device")}));
    EXPECT_EQ(contentOf(big), QByteArray(3 << 20, 'v'));
    EXPECT_EQ(QDir(disk.path() + QStringLiteral("/game/Assets/Video/Imports"))
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{})
        << "no partial copy is left behind";
    EXPECT_EQ(contentOf(disk.path() + QStringLiteral("/game/Assets/Audio/Imports/theme.ogg")), "ogg");
    EXPECT_EQ(result.trashedCount, 1);
}

TEST(StageImportRun, AStopKeepsWhatWasDone)
{
    TestEnvironment env;
    const NodeImport files(env);
    std::stop_source stop;
    // The stop comes while the second file is under way: it is finished, the third is never started.
    const auto publish = [&stop](const StageImport::Progress &progress) {
        if (progress.processed == 1)
            stop.request_stop();
    };
    const StageImport::Result result = StageImport::run(planFor({files.shot, files.script, files.notes}, files.project),
                                                        options(true), publish, stop.get_token());
    EXPECT_EQ(result.stagedCount, 2);
    EXPECT_TRUE(QFile::exists(files.project + QStringLiteral("/public/images/imports/shot.png")));
    EXPECT_TRUE(QFile::exists(files.project + QStringLiteral("/src/imports/tool.ts")));
    EXPECT_FALSE(QFile::exists(files.project + QStringLiteral("/docs/imports")));
    EXPECT_EQ(contentOf(files.notes), "md");
}

TEST(StageImportRun, ANameThatIsNotUtf8KeepsItsBytes)
{
    TestEnvironment env;
    const NodeImport files(env);
    const QByteArray rawName = QFile::encodeName(env.path(QStringLiteral("Downloads"))) + "/caf\xe9.txt";
    const int fd = ::open(rawName.constData(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "latin", 5), 5);
    ::close(fd);
    const QString source = NativeNames::decode(rawName);

    const StageImport::Result result = StageImport::run(planFor({source}, files.project), options(true));
    ASSERT_EQ(result.stagedCount, 1) << (result.failedItems.isEmpty() ? ""
                                                                      : result.failedItems[0].reason.toStdString());
    const QByteArray copied = QFile::encodeName(files.project) + "/docs/imports/caf\xe9.txt";
    EXPECT_EQ(result.firstDestination, NativeNames::decode(copied));
    EXPECT_EQ(::access(copied.constData(), F_OK), 0);
    EXPECT_NE(::access(rawName.constData(), F_OK), 0) << "the original went to the Trash";
    // The name reaches getfattr through the shell's glob, as no argument list can carry the raw byte.
    const Faults::ProcessResult comment = Faults::run(
        QStringLiteral("sh"),
        {QStringLiteral("-c"), QStringLiteral("getfattr --only-values -n user.xdg.comment -- \"$0\"/caf?.txt"),
         files.project + QStringLiteral("/docs/imports")});
    EXPECT_EQ(comment.out, "[Imported from ~/Downloads on 2026-11-24]") << comment.err.toStdString();
    // QTemporaryDir can't remove names it can't spell.
    Faults::run(QStringLiteral("rm"), {QStringLiteral("-rf"), files.project, env.path(QStringLiteral("Downloads")),
                                       env.path(QStringLiteral(".local/share/Trash"))});
}

TEST(StageImportSession, ScriptFieldsPlanOverrideAndRefuseNonsense)
{
    TestEnvironment env;
    const NodeImport files(env);
    Stage session(env.host(), {files.shot, files.script}, nullptr);
    const QList<Session::Field> fields = session.fields();
    const auto field = [&fields](const char *name) {
        return *std::find_if(fields.cbegin(), fields.cend(),
                             [name](const Session::Field &f) { return f.name == QLatin1String(name); });
    };
    EXPECT_TRUE(session.addFinderComment()) << "on unless turned off";
    EXPECT_EQ(session.missingFields({}),
              QStringLiteral("Stage & Import needs --set project=DIR; nothing was changed."));
    // An override set before the project waits for the plan.
    EXPECT_EQ(field("override").set(QStringLiteral("2:tools/ts")), std::nullopt);
    EXPECT_EQ(field("override").set(QStringLiteral("3:x")),
              QStringLiteral("override is N:SUBPATH, N the number of a selected file from 1 to 2, not “3:x”."));
    EXPECT_TRUE(field("override").set(QStringLiteral("tools")).has_value());
    EXPECT_EQ(field("moveMode").set(QStringLiteral("yes")), QStringLiteral("moveMode is true or false, not “yes”."));
    EXPECT_EQ(field("addFinderComment").set(QStringLiteral("false")), std::nullopt);
    EXPECT_FALSE(session.addFinderComment());
    EXPECT_EQ(field("project").set(files.project), std::nullopt);
    const QJsonArray entries =
        session.toJson().value(QStringLiteral("plan")).toObject().value(QStringLiteral("entries")).toArray();
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[1].toObject().value(QStringLiteral("effectiveSubpath")), QStringLiteral("tools/ts"));
    EXPECT_EQ(entries[0].toObject().value(QStringLiteral("overrideSubpath")), QJsonValue(QJsonValue::Null));
}
