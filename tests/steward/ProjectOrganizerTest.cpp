#include "TestEnvironment.h"
#include "platform/NativeNames.h"
#include "steward/ProjectOrganizerSession.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>

#include <gtest/gtest.h>

#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Organizer = ProjectOrganizerSession;
using ProjectOrganizing::Category;

namespace {

Organizer::DetectedProject unityProject(const QString &root)
{
    Organizer::DetectedProject project;
    project.structure.kind = ProjectKind::unity;
    project.structure.projectRoot = root;
    project.totalSizeBytes = 1024;
    project.lastModified = QDateTime::currentDateTimeUtc();
    return project;
}

Organizer::LooseFile loose(const QString &path, const std::optional<QString> &relatedTo)
{
    return {path, quint64(QFileInfo(path).size()), QDateTime::currentDateTimeUtc(), relatedTo};
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

bool exists(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

QStringList entriesOf(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

const Organizer::Result &resultOf(const Organizer &session)
{
    const auto *finished = std::get_if<Organizer::done>(&session.phase());
    if (!finished)
        throw std::runtime_error("the organizer isn't done");
    return finished->result;
}

// A Unity project `Game` under ~/Code with its loose files lying in ~/Downloads.
struct DownloadsFixture {
    explicit DownloadsFixture(TestEnvironment &env)
        : root(env.makeFolder(QStringLiteral("Code/Game"))),
          trailer(env.makeFile(QStringLiteral("Downloads/game-trailer.mp4"), "movie")),
          notes(env.makeFile(QStringLiteral("Downloads/game-notes.md"), "# notes")),
          shot(env.makeFile(QStringLiteral("Downloads/Game Screenshot 1.png"), "png")),
          unrelated(env.makeFile(QStringLiteral("Downloads/taxes.pdf"), "pdf")),
          container(env.path(QStringLiteral("Downloads/unity - Game")))
    {
    }
    QList<Organizer::LooseFile> looseFiles() const
    {
        return {loose(trailer, root), loose(notes, root), loose(shot, root), loose(unrelated, std::nullopt)};
    }
    QString root, trailer, notes, shot, unrelated, container;
};

} // namespace

TEST(ProjectOrganizer, TheContainerIsMadeInSharedFoldersAndReusedElsewhere)
{
    struct Row {
        const char *name;
        // Where the first loose file lies, below home; none for a project without loose files.
        std::optional<QString> looseFolder;
        QString projectRoot;
        QString container;
        bool created;
        // user-dirs.dirs puts the desktop at ~/Schreibtisch.
        bool germanDesktop = false;
    };
    const QList<Row> rows{
        {"downloads", QStringLiteral("Downloads"), QStringLiteral("Code/Game"),
         QStringLiteral("Downloads/unity - Game"), true},
        {"home", QStringLiteral(""), QStringLiteral("Code/Game"), QStringLiteral("unity - Game"), true},
        {"desktop", QStringLiteral("Desktop"), QStringLiteral("Code/Game"), QStringLiteral("Desktop/unity - Game"),
         true},
        {"documents", QStringLiteral("Documents"), QStringLiteral("Code/Game"),
         QStringLiteral("Documents/unity - Game"), true},
        {"desktop named by xdg-user-dirs", QStringLiteral("Schreibtisch"), QStringLiteral("Code/Game"),
         QStringLiteral("Schreibtisch/unity - Game"), true, true},
        {"~/Desktop when xdg-user-dirs names another", QStringLiteral("Desktop"), QStringLiteral("Code/Game"),
         QStringLiteral("Desktop"), false, true},
        {"a folder of their own", QStringLiteral("Downloads/Game assets"), QStringLiteral("Code/Game"),
         QStringLiteral("Downloads/Game assets"), false},
        {"no loose file", std::nullopt, QStringLiteral("Code/Game"), QStringLiteral("Code"), false},
        {"no loose file, project in home", std::nullopt, QStringLiteral("Game"), QStringLiteral("unity - Game"), true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        TestEnvironment env;
        if (row.germanDesktop)
            env.makeFile(QStringLiteral(".config/user-dirs.dirs"), "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
        const QString root = env.makeFolder(row.projectRoot);
        QList<Organizer::LooseFile> files;
        if (row.looseFolder) {
            const QString relative = row.looseFolder->isEmpty() ? QStringLiteral("game-art.png")
                                                                : *row.looseFolder + QStringLiteral("/game-art.png");
            files.append(loose(env.makeFile(relative, "art"), root));
        }
        const Organizer session(env.host(), unityProject(root), files);
        EXPECT_EQ(session.plan().containerURL, QDir::cleanPath(env.home() + QLatin1Char('/') + row.container));
        EXPECT_EQ(session.plan().containerWasCreated, row.created);
        EXPECT_EQ(session.containerNote(),
                  row.created ? QStringLiteral("The container folder will be created next to your project so the "
                                               "editor's managed folders are never touched.")
                              : QStringLiteral("Reusing the loose files' shared parent folder — no extra nesting "
                                               "needed."));
    }
}

TEST(ProjectOrganizer, CategoryOfAFileComesFromItsNameAndExtension)
{
    const QList<std::pair<const char *, Category>> rows{
        {"Screen-Shot 2026.PNG", Category::screenshots},
        {"my SCREENSHOT.heic", Category::screenshots},
        {"screenshot.txt", Category::docs},
        {"photo.jpg", Category::other},
        {"Player.cs", Category::code},
        {"notes.md", Category::docs},
        {"build.unitypackage", Category::archives},
        {"trailer.mp4", Category::video},
        {"logo.psd", Category::design},
        {"settings.json", Category::data},
        {"theme.flac", Category::audio},
        {"ship.fbx", Category::other},
        {"Makefile", Category::other},
    };
    for (const auto &[name, expected] : rows) {
        EXPECT_EQ(Organizer::category(QStringLiteral("/home/u/Downloads/") + QString::fromUtf8(name)), expected)
            << name;
    }
    QStringList folders;
    for (const Category category : ProjectOrganizing::allCategories()) {
        folders.append(ProjectOrganizing::toString(category));
        EXPECT_EQ(ProjectOrganizing::categoryFromString(folders.last()), category);
    }
    EXPECT_EQ(folders,
              QStringList({"screenshots", "code", "docs", "archives", "video", "design", "data", "audio", "other"}));
    EXPECT_EQ(ProjectOrganizing::displayName(Category::screenshots), QStringLiteral("Screenshots"));
}

TEST(ProjectOrganizer, PlansTheRelatedFilesAllTickedAndGroupsTheTickedOnes)
{
    TestEnvironment env;
    const DownloadsFixture fixture(env);
    Organizer session(env.host(), unityProject(fixture.root), fixture.looseFiles());
    EXPECT_EQ(session.headline(), QStringLiteral("Group loose files into typed folders next to Game."));
    ASSERT_EQ(session.plan().files.size(), 3);
    EXPECT_EQ(session.plan().files[2], (Organizer::PlannedFile{fixture.shot, 3, Category::screenshots}));
    EXPECT_EQ(session.selectedSources(), QSet<QString>({fixture.trailer, fixture.notes, fixture.shot}));
    EXPECT_FALSE(session.moveMode());
    const QString in = fixture.container + QLatin1Char('/');
    EXPECT_EQ(session.whatGoesWhere(), (QList<Organizer::Group>{{Category::screenshots, in + "screenshots/", 1},
                                                                {Category::docs, in + "docs/", 1},
                                                                {Category::video, in + "video/", 1}}));
    session.setTicked(fixture.notes, false);
    session.setTicked(fixture.unrelated, true); // not the project's: stays unticked
    EXPECT_EQ(session.whatGoesWhere(), (QList<Organizer::Group>{{Category::screenshots, in + "screenshots/", 1},
                                                                {Category::video, in + "video/", 1}}));
    session.setSelectedSources({});
    EXPECT_TRUE(session.whatGoesWhere().isEmpty());
    EXPECT_TRUE(session.describe().contains(QStringLiteral("Tick files above to see them grouped here.")));
    EXPECT_TRUE(session.perform().has_value()) << "nothing ticked, nothing to do";
}

TEST(ProjectOrganizer, CopiesTheTickedFilesAndLeavesTheRestAlone)
{
    TestEnvironment env;
    const DownloadsFixture fixture(env);
    Organizer session(env.host(), unityProject(fixture.root), fixture.looseFiles());
    session.setTicked(fixture.notes, false);
    session.execute();
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::running);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    const Organizer::Result &result = resultOf(session);
    EXPECT_EQ(result.containerURL, fixture.container);
    EXPECT_EQ(result.copiedCount, 2);
    EXPECT_EQ(result.movedCount + result.skippedCount + result.renamedCount, 0);
    EXPECT_TRUE(result.failedItems.isEmpty());
    EXPECT_EQ(entriesOf(fixture.container), QStringList({"screenshots", "video"}));
    EXPECT_EQ(contentOf(fixture.container + "/video/game-trailer.mp4"), "movie");
    EXPECT_EQ(contentOf(fixture.container + "/screenshots/Game Screenshot 1.png"), "png");
    // A copy leaves every original, and the unticked file is neither copied nor moved.
    EXPECT_EQ(contentOf(fixture.trailer), "movie");
    EXPECT_EQ(contentOf(fixture.notes), "# notes");
    EXPECT_TRUE(entriesOf(fixture.root).isEmpty()) << "the project's own tree is never touched";
    EXPECT_EQ(session.toJson().value("result").toObject().value("copiedCount").toInt(), 2);
}

TEST(ProjectOrganizer, MovesUnderTheNextFreeNameWhenTheNameIsTaken)
{
    TestEnvironment env;
    const DownloadsFixture fixture(env);
    env.makeFile(QStringLiteral("Downloads/unity - Game/docs/game-notes.md"), "older notes");
    for (int round = 1; round <= 2; ++round) {
        SCOPED_TRACE(round);
        const QString notes = env.makeFile(QStringLiteral("Downloads/game-notes.md"), "# notes");
        Organizer session(env.host(), unityProject(fixture.root), {loose(notes, fixture.root)});
        session.setMoveMode(true);
        ASSERT_FALSE(session.perform());
        ASSERT_TRUE(TestEnvironment::runUntilIdle());
        const Organizer::Result &result = resultOf(session);
        EXPECT_EQ(result.movedCount, 1);
        EXPECT_EQ(result.renamedCount, 1);
        EXPECT_FALSE(exists(notes)) << "moved, not copied";
    }
    EXPECT_EQ(entriesOf(fixture.container + "/docs"),
              QStringList({"game-notes -copy 2.md", "game-notes -copy.md", "game-notes.md"}));
    EXPECT_EQ(contentOf(fixture.container + "/docs/game-notes.md"), "older notes");
    EXPECT_EQ(contentOf(fixture.container + "/docs/game-notes -copy 2.md"), "# notes");
}

TEST(ProjectOrganizer, AVanishedFileIsSkippedAndAFailedOneKeptWhereItWas)
{
    TestEnvironment env;
    const DownloadsFixture fixture(env);
    Organizer session(env.host(), unityProject(fixture.root), fixture.looseFiles());
    session.setMoveMode(true);
    ASSERT_TRUE(QFile::remove(fixture.notes));
    // An immutable folder refuses new names, even to root.
    const QString video = env.makeFolder(QStringLiteral("Downloads/unity - Game/video"));
    if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), video}) != 0)
        GTEST_SKIP() << "chattr +i isn't available here";
    session.execute();
    const bool idle = TestEnvironment::runUntilIdle();
    QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), video});
    ASSERT_TRUE(idle);
    const Organizer::Result &result = resultOf(session);
    EXPECT_EQ(result.movedCount, 1);
    EXPECT_EQ(result.skippedCount, 1);
    ASSERT_EQ(result.failedItems.size(), 1);
    EXPECT_EQ(result.failedItems.first().source, fixture.trailer);
    EXPECT_EQ(result.failedItems.first().reason, QStringLiteral("Operation not permitted"));
    EXPECT_EQ(contentOf(fixture.trailer), "movie") << "the original is intact";
    EXPECT_TRUE(entriesOf(video).isEmpty()) << "nothing half-written";
    EXPECT_TRUE(session.anyItemFailed());
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::done);
    EXPECT_EQ(Organizer::countsLine(result), QStringLiteral("0 copied · 1 moved · 1 skipped · 0 renamed · 1 failed"));
}

TEST(ProjectOrganizer, AContainerThatCantBeMadeFailsBeforeAnyFileIsTouched)
{
    TestEnvironment env;
    const DownloadsFixture fixture(env);
    env.makeFile(QStringLiteral("Downloads/unity - Game"), "a file in the container's place");
    Organizer session(env.host(), unityProject(fixture.root), fixture.looseFiles());
    session.setMoveMode(true);
    session.execute();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(session.phase(),
              Organizer::Phase(Organizer::failed{"Couldn't create destination folder: Not a directory"}));
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::failed);
    for (const QString &file : {fixture.trailer, fixture.notes, fixture.shot})
        EXPECT_TRUE(exists(file)) << file.toStdString();
}

TEST(ProjectOrganizer, CancelStopsAfterTheFileUnderWay)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("Code/Game"));
    QList<Organizer::LooseFile> files;
    constexpr int total = 400;
    for (int i = 0; i < total; ++i) {
        files.append(loose(env.makeFile(QStringLiteral("Downloads/game-%1.txt").arg(i, 3, 10, QLatin1Char('0')),
                                        QByteArray(4096, char('a' + i % 26))),
                           root));
    }
    Organizer session(env.host(), unityProject(root), files);
    session.execute();
    session.cancel();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    const Organizer::Result &result = resultOf(session);
    EXPECT_LT(result.copiedCount, total);
    // Every file that was started was finished: each copy is whole, and nothing else is there.
    const QStringList copied = entriesOf(env.path(QStringLiteral("Downloads/unity - Game/docs")));
    EXPECT_EQ(copied.size(), result.copiedCount);
    for (const QString &name : copied) {
        const int i = name.mid(5, 3).toInt();
        EXPECT_EQ(contentOf(env.path(QStringLiteral("Downloads/unity - Game/docs/") + name)),
                  QByteArray(4096, char('a' + i % 26)))
            << name.toStdString();
    }
}

TEST(ProjectOrganizer, ANameThatIsntUtf8IsCarriedByteForByte)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("Code/Game"));
    env.makeFolder(QStringLiteral("Downloads"));
    const QByteArray raw = QFile::encodeName(env.path(QStringLiteral("Downloads/"))) + "game-caf\xe9.txt";
    const int fd = ::open(raw.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "latin", 5), 5);
    ::close(fd);
    const QString source = NativeNames::decode(raw);
    Organizer session(env.host(), unityProject(root), {loose(source, root)});
    session.setMoveMode(true);
    session.execute();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(resultOf(session).movedCount, 1);
    struct stat status {};
    const QByteArray placed =
        QFile::encodeName(env.path(QStringLiteral("Downloads/unity - Game/docs/"))) + "game-caf\xe9.txt";
    EXPECT_EQ(::lstat(placed.constData(), &status), 0);
    EXPECT_EQ(status.st_size, 5);
    EXPECT_NE(::lstat(raw.constData(), &status), 0);
    ::unlink(placed.constData()); // the temporary folder's clean-up reads names as UTF-8
}
