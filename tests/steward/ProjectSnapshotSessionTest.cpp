#include "steward/ProjectSnapshotSession.h"

#include "FaultSupport.h"
#include "TestEnvironment.h"
#include "foundation/Defaults.h"
#include "platform/NativeNames.h"
#include "steward/RecentProjectsStore.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using Snapshot = ProjectSnapshotSession;

namespace {

constexpr quint64 GB = quint64(1000) * 1000 * 1000;

// Random bytes: no compressor makes them smaller.
QByteArray noise(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator random(11);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes;
}

// The archive's entries as the other side's tools list them, in bytes so that a name that isn't UTF-8
// is compared as it is.
QList<QByteArray> entriesOf(ArchiveFormat format, const QString &archive)
{
    QProcess process;
    if (format == ArchiveFormat::zip)
        process.start(QStringLiteral("unzip"), {QStringLiteral("-Z1"), archive});
    else
        process.start(QStringLiteral("tar"),
                      {QStringLiteral("--quoting-style=literal"), QStringLiteral("-tzf"), archive});
    EXPECT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 0) << archive.toStdString();
    QList<QByteArray> lines = process.readAllStandardOutput().split('\n');
    lines.removeAll(QByteArray());
    // Folders end in "/" in one listing and not always in the other; only files are compared.
    QList<QByteArray> files;
    for (const QByteArray &line : lines) {
        if (!line.endsWith('/'))
            files.append(line);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Everything in `folder`, hidden files included.
QStringList contentsOf(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

std::unique_ptr<Snapshot> open(TestEnvironment &env, const QString &root)
{
    auto session = std::make_unique<Snapshot>(env.host(), root, ProjectStructure::detectAll(root), nullptr);
    TestEnvironment::runUntilIdle();
    return session;
}

// Runs the snapshot to its end.
void run(Snapshot &session)
{
    session.start();
    EXPECT_TRUE(TestEnvironment::runUntilIdle(60000));
}

QString archiveOf(const Snapshot &session)
{
    const auto *finished = std::get_if<Snapshot::done>(&session.phase());
    if (!finished) {
        const auto *failure = std::get_if<Snapshot::failed>(&session.phase());
        ADD_FAILURE() << "not done: " << (failure ? failure->message.toStdString() : std::string("still running"));
        return {};
    }
    return finished->result.items.value(0).url;
}

struct TreeRow {
    const char *name;
    QStringList files;
    ArchiveFormat format;
    bool includeGitHistory;
    QList<QByteArray> expected;
};

} // namespace

// Each kind's rebuilt folders stay out, only at the project's root; .git goes unless asked for; .DS_Store
// goes at every depth; entries start with the project's folder.
TEST(ProjectSnapshotSession, ArchivesWhatTheProjectsToolsCannotRebuild)
{
    const QList<TreeRow> rows{
        {"unity",
         {"Assets/scene.unity", "Assets/Library/keep.txt", "ProjectSettings/p.asset", "Library/cache.bin", "Temp/t.tmp",
          "obj/o.o", "Logs/l.log", "UserSettings/u.json"},
         ArchiveFormat::zip,
         false,
         {"Game/Assets/Library/keep.txt", "Game/Assets/scene.unity", "Game/ProjectSettings/p.asset"}},
        {"node and rust",
         {"package.json", "Cargo.toml", "src/main.rs", "node_modules/left/index.js", "target/debug/app",
          "dist/bundle.js", "docs/target/keep.md"},
         ArchiveFormat::tarGz,
         false,
         {"Game/Cargo.toml", "Game/docs/target/keep.md", "Game/package.json", "Game/src/main.rs"}},
        {"git history off",
         {"Cargo.toml", ".git/HEAD", ".git/objects/ab/cd", "src/lib.rs"},
         ArchiveFormat::zip,
         false,
         {"Game/Cargo.toml", "Game/src/lib.rs"}},
        {"git history on",
         {"Cargo.toml", ".git/HEAD", ".git/objects/ab/cd", "src/lib.rs"},
         ArchiveFormat::tarGz,
         true,
         {"Game/.git/HEAD", "Game/.git/objects/ab/cd", "Game/Cargo.toml", "Game/src/lib.rs"}},
        {"DS_Store deep inside",
         {"package.json", ".DS_Store", "src/a/b/.DS_Store", "src/a/b/c.js", "src/not.DS_Store"},
         ArchiveFormat::zip,
         false,
         {"Game/package.json", "Game/src/a/b/c.js", "Game/src/not.DS_Store"}},
        {"plain folder",
         {"notes.txt", "build/out.o", "node_modules/x.js", ".DS_Store"},
         ArchiveFormat::tarGz,
         false,
         {"Game/build/out.o", "Game/node_modules/x.js", "Game/notes.txt"}},
    };
    for (const TreeRow &row : rows) {
        SCOPED_TRACE(row.name);
        TestEnvironment env;
        for (const QString &file : row.files)
            env.makeFile(QStringLiteral("Work/Game/") + file, "content of " + file.toUtf8());
        const QString dest = env.makeFolder(QStringLiteral("Backups"));
        auto session = open(env, env.path(QStringLiteral("Work/Game")));
        session->setFormat(row.format);
        session->setIncludeGitHistory(row.includeGitHistory);
        session->setDestination(dest);
        TestEnvironment::runUntilIdle();
        EXPECT_EQ(session->estimatedFileCount(), row.expected.size());
        run(*session);
        const QString archive = archiveOf(*session);
        ASSERT_FALSE(archive.isEmpty());
        EXPECT_EQ(entriesOf(row.format, archive), row.expected);
        EXPECT_EQ(contentsOf(dest), QStringList{QFileInfo(archive).fileName()});
        // The report: one item, the archive with its size.
        const ScanReport &report = std::get<Snapshot::done>(session->phase()).result;
        EXPECT_EQ(report.kind, ScanReport::Kind::projectSnapshot);
        ASSERT_EQ(report.items.size(), 1);
        EXPECT_EQ(report.items.first().size, quint64(QFileInfo(archive).size()));
        EXPECT_TRUE(report.summary.startsWith(QStringLiteral("%1 file").arg(row.expected.size())))
            << report.summary.toStdString();
    }
}

TEST(ProjectSnapshotSession, ListsEveryKindAndItsExcludedRootsOnce)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("app/package.json"), "{}");
    env.makeFile(QStringLiteral("app/pyproject.toml"), "");
    env.makeFile(QStringLiteral("app/Cargo.toml"), "");
    const QString root = env.path(QStringLiteral("app"));
    auto session = open(env, root);
    QStringList kinds;
    for (const ProjectStructure &structure : session->detected())
        kinds.append(ProjectKinds::toString(structure.kind));
    EXPECT_EQ(kinds, (QStringList{"node", "rust", "python"}));
    // node and python both rebuild dist and build: each is listed once.
    const QStringList roots = session->excludedRoots();
    EXPECT_EQ(roots.count(root + QStringLiteral("/dist")), 1);
    EXPECT_EQ(roots.count(root + QStringLiteral("/build")), 1);
    EXPECT_TRUE(roots.contains(root + QStringLiteral("/target")));
    EXPECT_EQ(roots.last(), root + QStringLiteral("/.git"));
    session->setIncludeGitHistory(true);
    EXPECT_FALSE(session->excludedRoots().contains(root + QStringLiteral("/.git")));
    // detect() still answers with the first kind.
    EXPECT_EQ(ProjectStructure::detect(root)->kind, ProjectKind::node);
}

TEST(ProjectSnapshotSession, NamesTheSnapshotAfterTheFolderAndTheLocalTime)
{
    const QDateTime local(QDate(2026, 3, 7), QTime(9, 5, 59), Qt::LocalTime);
    EXPECT_EQ(Snapshot::defaultName(QStringLiteral("/home/u/Projects/Game/"), local),
              QStringLiteral("Game-snapshot-2026-03-07-0905"));
    EXPECT_EQ(Snapshot::defaultName(QStringLiteral("/p/Game"), local.toUTC()),
              QStringLiteral("Game-snapshot-2026-03-07-0905"));
}

// The checks in their order, each row with the facts the volumes give.
TEST(ProjectSnapshotSession, ChecksTheDestinationInOrder)
{
    Volumes::Facts local;
    local.isLocal = true;
    local.writable = true;
    local.volumeID = 1;
    local.availableBytes = qint64(100 * GB);
    Volumes::Facts source = local;
    source.volumeID = 2;
    const auto with = [&local](auto change) {
        Volumes::Facts facts = local;
        change(facts);
        return facts;
    };
    struct Row {
        const char *name;
        Volumes::Facts destination;
        quint64 estimate;
        std::optional<Snapshot::DestinationIssue> expected;
    };
    const QList<Row> rows{
        {"network volume with its name", with([](Volumes::Facts &f) {
             f.isLocal = false;
             f.volumeName = QStringLiteral("Shared");
             f.writable = false;
             f.availableBytes = 1;
         }),
         10 * GB, Snapshot::networkVolume{QStringLiteral("Shared")}},
        {"network volume without a name", with([](Volumes::Facts &f) { f.isLocal = false; }), 0,
         Snapshot::networkVolume{QStringLiteral("Backups")}},
        {"unwritable before space", with([](Volumes::Facts &f) {
             f.writable = false;
             f.availableBytes = 1;
         }),
         10 * GB, Snapshot::unwritable{}},
        {"10 GB needs 6 GB", with([](Volumes::Facts &f) { f.availableBytes = qint64(6 * GB) - 1; }), 10 * GB,
         Snapshot::insufficientFreeSpace{6 * GB, 6 * GB - 1}},
        {"6 GB is enough", with([](Volumes::Facts &f) { f.availableBytes = qint64(6 * GB); }), 10 * GB, std::nullopt},
        {"5.4 bytes truncated to 5 fit in 5", with([](Volumes::Facts &f) { f.availableBytes = 5; }), 9, std::nullopt},
        {"6 bytes don't fit in 5", with([](Volumes::Facts &f) { f.availableBytes = 5; }), 10,
         Snapshot::insufficientFreeSpace{6, 5}},
        {"unknown capacity passes", with([](Volumes::Facts &f) { f.availableBytes = 0; }), 10 * GB, std::nullopt},
        {"same volume warns", with([](Volumes::Facts &f) { f.volumeID = 2; }), 10, Snapshot::sameVolumeAsSource{}},
        {"another volume", local, 10, std::nullopt},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto found = Snapshot::check(QStringLiteral("/media/x/Backups"), row.destination, source, row.estimate);
        EXPECT_EQ(found, row.expected);
    }
    EXPECT_FALSE(Snapshot::blocks(Snapshot::sameVolumeAsSource{}));
    EXPECT_TRUE(Snapshot::blocks(Snapshot::unwritable{}));
    EXPECT_EQ(Snapshot::text(Snapshot::insufficientFreeSpace{6 * GB, 1500000}),
              QStringLiteral("Not enough free space at the destination. The snapshot needs ~6 GB but only 1.5 MB is "
                             "available."));
    EXPECT_EQ(
        Snapshot::text(Snapshot::networkVolume{QStringLiteral("nas")}),
        QStringLiteral("Vantrel Steward doesn't support backups to network drives yet (nas). Network drives — NAS, "
                       "SMB, AFP — have edge cases we'll handle in v1.1. For now, pick a local or USB drive."));
}

// The same checks on real folders: the mount table says which file system is where, the kernel the rest.
TEST(ProjectSnapshotSession, ChecksRealFoldersAgainstAFedMountTable)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Game/package.json"), "{}");
    const QString nas = env.makeFolder(QStringLiteral("mnt/nas/Backups"));
    const QString locked = env.makeFolder(QStringLiteral("Locked"));
    const QString plain = env.makeFolder(QStringLiteral("Backups"));
    const QList<Volumes::Mount> table{
        {QStringLiteral("/"), QStringLiteral("ext4"), QStringLiteral("/dev/sda1")},
        {env.path(QStringLiteral("mnt/nas")), QStringLiteral("cifs"), QStringLiteral("//server/share")}};
    auto session = open(env, env.path(QStringLiteral("Game")));
    session->setVolumeFacts([table](const QString &path) { return Volumes::factsWithTable(path, table); });

    session->setDestination(nas);
    EXPECT_EQ(session->destinationWarning(),
              Snapshot::DestinationIssue(Snapshot::networkVolume{QStringLiteral("nas")}));
    EXPECT_FALSE(session->canStart());
    session->start();
    EXPECT_EQ(session->phaseKind(), Session::PhaseKind::failed);
    EXPECT_TRUE(contentsOf(nas).isEmpty());

    const Faults::Immutable immutable(locked);
    if (immutable.applied()) {
        session->setDestination(locked);
        EXPECT_EQ(session->destinationWarning(), Snapshot::DestinationIssue(Snapshot::unwritable{}));
    }

    // On the project's own disk: a warning, and the run goes on.
    auto ownDisk = open(env, env.path(QStringLiteral("Game")));
    ownDisk->setVolumeFacts([table](const QString &path) { return Volumes::factsWithTable(path, table); });
    ownDisk->setDestination(plain);
    EXPECT_EQ(ownDisk->destinationWarning(), Snapshot::DestinationIssue(Snapshot::sameVolumeAsSource{}));
    EXPECT_TRUE(ownDisk->canStart());
    run(*ownDisk);
    EXPECT_TRUE(QFileInfo::exists(archiveOf(*ownDisk)));
}

TEST(ProjectSnapshotSession, AnotherVolumeGivesNoWarning)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Game/Cargo.toml"), "");
    QTemporaryDir shm(QStringLiteral("/dev/shm/vantrel-snapshot-XXXXXX"));
    struct stat home {};
    struct stat other {};
    if (!shm.isValid() || ::stat(QFile::encodeName(env.home()).constData(), &home) != 0 ||
        ::stat(QFile::encodeName(shm.path()).constData(), &other) != 0 || home.st_dev == other.st_dev)
        GTEST_SKIP() << "/dev/shm isn't a volume of its own here";
    auto session = open(env, env.path(QStringLiteral("Game")));
    session->setDestination(shm.path());
    EXPECT_EQ(session->destinationWarning(), std::nullopt);
    run(*session);
    EXPECT_TRUE(QFileInfo::exists(archiveOf(*session)));
}

// A snapshot bigger than the disk fails and leaves nothing there.
TEST(ProjectSnapshotSession, ASnapshotThatDoesNotFitFailsAndLeavesNoFile)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    TestEnvironment env;
    // 8 MB of random bytes can't fit in 4 MB.
    env.makeFile(QStringLiteral("Game/package.json"), "{}");
    env.makeFile(QStringLiteral("Game/assets/blob.bin"), noise(8 * 1000 * 1000));
    const Faults::TinyDisk disk(env.path(QStringLiteral("disk")), 4 * 1000 * 1000);
    ASSERT_TRUE(disk.mounted());
    for (const ArchiveFormat format : {ArchiveFormat::zip, ArchiveFormat::tarGz}) {
        auto session = open(env, env.path(QStringLiteral("Game")));
        session->setFormat(format);
        session->setDestination(disk.path());
        // The estimate (8 MB × 0.6) is over the room left: refused before anything is written.
        EXPECT_TRUE(std::holds_alternative<Snapshot::insufficientFreeSpace>(session->destinationWarning().value()));
        // Told it would fit, the run itself finds the disk full.
        session->setVolumeFacts([](const QString &path) {
            Volumes::Facts facts = Volumes::facts(path);
            facts.availableBytes = 0;
            return facts;
        });
        run(*session);
        EXPECT_EQ(session->phaseKind(), Session::PhaseKind::failed);
        EXPECT_TRUE(contentsOf(disk.path()).isEmpty()) << contentsOf(disk.path()).join(", ").toStdString();
    }
}

TEST(ProjectSnapshotSession, CancelledMidArchiveLeavesNothing)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Game/package.json"), "{}");
    const QByteArray random = noise(4 * 1000 * 1000);
    for (int i = 0; i < 20; ++i)
        env.makeFile(QStringLiteral("Game/assets/%1.bin").arg(i), random);
    const QString dest = env.makeFolder(QStringLiteral("Backups"));
    auto session = open(env, env.path(QStringLiteral("Game")));
    session->setDestination(dest);
    session->start();
    ASSERT_EQ(session->phaseKind(), Session::PhaseKind::running);
    // Cancelled once the tool has written something.
    QObject::connect(session.get(), &Snapshot::phaseChanged, session.get(), [&session] {
        if (const auto *now = std::get_if<Snapshot::running>(&session->phase()); now && now->progress.bytesWritten > 0)
            session->cancel();
    });
    EXPECT_TRUE(TestEnvironment::runUntilIdle(60000));
    EXPECT_EQ(session->phaseKind(), Session::PhaseKind::failed);
    EXPECT_TRUE(contentsOf(dest).isEmpty()) << contentsOf(dest).join(", ").toStdString();
}

TEST(ProjectSnapshotSession, ANameThatIsNotUtf8SurvivesIntoTheArchive)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Game/package.json"), "{}");
    const QByteArray latin = NativeNames::encode(env.path(QStringLiteral("Game"))) + "/caf\xe9.txt";
    const int fd = ::open(latin.constData(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "latte", 5), 5);
    ::close(fd);
    const QString dest = env.makeFolder(QStringLiteral("Backups"));
    for (const ArchiveFormat format : {ArchiveFormat::zip, ArchiveFormat::tarGz}) {
        auto session = open(env, env.path(QStringLiteral("Game")));
        EXPECT_EQ(session->estimatedFileCount(), 2);
        session->setFormat(format);
        session->setDestination(dest);
        run(*session);
        EXPECT_EQ(entriesOf(format, archiveOf(*session)), (QList<QByteArray>{"Game/caf\xe9.txt", "Game/package.json"}));
    }
}

TEST(ProjectSnapshotSession, RefusesWithoutAFolderOrAName)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Notes/a.txt"), "a");
    auto session = open(env, env.path(QStringLiteral("Notes")));
    EXPECT_TRUE(session->detected().isEmpty());
    EXPECT_TRUE(session->describe().contains(Snapshot::plainFolderNote()));
    session->start();
    EXPECT_EQ(session->refusal(), QStringLiteral("Pick a destination folder before starting."));
    EXPECT_EQ(session->phaseKind(), Session::PhaseKind::configuring);
    session->setDestination(env.makeFolder(QStringLiteral("Backups")));
    session->setArchiveBaseName(QStringLiteral("  "));
    session->start();
    EXPECT_EQ(session->refusal(), QStringLiteral("Give the snapshot a name before starting."));
    EXPECT_TRUE(contentsOf(env.path(QStringLiteral("Backups"))).isEmpty());
}

TEST(ProjectSnapshotSession, ShowsItsStepAndRecordsTheProject)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Game/Cargo.toml"), "");
    env.makeFile(QStringLiteral("Game/src/main.rs"), "fn main() {}");
    RecentProjectsStore recent(env.defaults());
    const QString root = env.path(QStringLiteral("Game"));
    Snapshot session(env.host(), root, ProjectStructure::detectAll(root), &recent);
    TestEnvironment::runUntilIdle();
    session.setDestination(env.makeFolder(QStringLiteral("Backups")));
    session.setArchiveBaseName(QStringLiteral("game"));
    session.start();
    const auto *running = std::get_if<Snapshot::running>(&session.phase());
    ASSERT_TRUE(running);
    EXPECT_EQ(running->progress.currentStep, QStringLiteral("Compressing 2 files"));
    EXPECT_EQ(running->progress.sourceTotalBytes, 12U);
    ASSERT_EQ(recent.entries().size(), 1);
    EXPECT_EQ(recent.entries().first().rootURL, root);
    TestEnvironment::runUntilIdle(60000);
    EXPECT_EQ(archiveOf(session), env.path(QStringLiteral("Backups/game.zip")));
    const QJsonObject json = session.toJson();
    EXPECT_EQ(json.value("detected").toArray(), QJsonArray{QStringLiteral("rust")});
    EXPECT_EQ(json.value("report").toObject().value("kind").toString(), QStringLiteral("projectSnapshot"));
}
