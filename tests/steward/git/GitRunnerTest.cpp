#include "steward/git/GitRunner.h"
#include "TestHome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <thread>

using namespace GitRunner;

namespace {

// A home of its own with an identity and no way out to the network; every command the runner starts is
// recorded and checked against the commands Vantrel may issue.
class GitRepoTest : public testing::Test {
protected:
    void SetUp() override
    {
        saved = qgetenv("GIT_CONFIG_NOSYSTEM");
        qputenv("GIT_CONFIG_NOSYSTEM", "1");
        home.makeFile(QStringLiteral(".gitconfig"),
                      "[user]\n\tname = Ann Lee\n\temail = ann@example.com\n"
                      "[protocol]\n\tallow = never\n[protocol \"file\"]\n\tallow = always\n"
                      "[protocol \"ssh\"]\n\tallow = always\n[init]\n\tdefaultBranch = main\n");
        setCommandObserver([this](const QStringList &arguments, const QString &) {
            EXPECT_TRUE(isTableCommand(arguments)) << qPrintable(arguments.join(' '));
            started.append(arguments.join(QLatin1Char(' ')));
        });
    }

    void TearDown() override
    {
        setCommandObserver({});
        qputenv("GIT_CONFIG_NOSYSTEM", saved);
    }

    // Real git for setting the scene, apart from the runner and its recorder.
    QString git(const QStringList &arguments, const QString &folder, int expectedExit = 0)
    {
        QProcess process;
        process.setWorkingDirectory(folder);
        process.start(QStringLiteral("git"), arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), expectedExit)
            << qPrintable(arguments.join(' ')) << process.readAllStandardError().constData();
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    // A repository with one commit of "a.txt".
    QString repository(const QString &name = QStringLiteral("repo"))
    {
        const QString folder = home.makeFolder(name);
        git({"init", "-q", "-b", "main"}, folder);
        write(folder + "/a.txt", "one\n");
        git({"add", "a.txt"}, folder);
        git({"commit", "-q", "-m", "First"}, folder);
        return folder;
    }

    static void write(const QString &path, const QByteArray &content)
    {
        QDir().mkpath(path.left(path.lastIndexOf('/')));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    TestHome home;
    QStringList started;
    QByteArray saved;
};

} // namespace

TEST_F(GitRepoTest, StatusListsEveryKindUnderItsWholeName)
{
    const QString repo = repository();
    write(repo + "/keep me.txt", "x\n");
    write(repo + "/old name.txt", "moving\n");
    git({"add", "."}, repo);
    git({"commit", "-q", "-m", "Two"}, repo);
    write(repo + "/keep me.txt", "changed\n");
    git({"mv", "old name.txt", "new name.txt"}, repo);
    write(repo + "/fresh one.txt", "new\n");
    write(repo + "/staged add.txt", "s\n");
    git({"add", "staged add.txt"}, repo);
    QFile::remove(repo + "/a.txt");

    const Status status = GitRunner::status(repo);
    EXPECT_EQ(status.branch, QStringLiteral("main"));
    EXPECT_FALSE(status.upstream.has_value());
    ASSERT_TRUE(status.lastCommit.has_value());
    EXPECT_EQ(status.lastCommit->subject, QStringLiteral("Two"));
    EXPECT_EQ(status.lastCommit->author, QStringLiteral("Ann Lee"));
    EXPECT_EQ(status.lastCommit->sha.size(), 40);
    QStringList seen;
    for (const DirtyFile &file : status.dirty)
        seen.append(toString(file.kind) + QLatin1Char(' ') + file.path);
    seen.sort();
    EXPECT_EQ(seen, (QStringList{"added staged add.txt", "modified a.txt", "modified keep me.txt",
                                 "renamed new name.txt", "untracked fresh one.txt"}));
    EXPECT_EQ(started.first(), QStringLiteral("status --porcelain=v2 --branch"));
}

TEST_F(GitRepoTest, AMergeConflictIsInProgressAndRefusesACommit)
{
    const QString repo = repository();
    git({"checkout", "-q", "-b", "side"}, repo);
    write(repo + "/a.txt", "side\n");
    git({"commit", "-q", "-am", "Side"}, repo);
    git({"checkout", "-q", "main"}, repo);
    write(repo + "/a.txt", "main\n");
    git({"commit", "-q", "-am", "Main"}, repo);
    git({"merge", "-q", "side"}, repo, 1);

    EXPECT_EQ(detectInProgress(repo), InProgressState::merge);
    const Status status = GitRunner::status(repo);
    EXPECT_EQ(status.inProgress, InProgressState::merge);
    ASSERT_EQ(status.dirty.size(), 1);
    EXPECT_EQ(status.dirty.first(), (DirtyFile{"a.txt", DirtyFile::Kind::conflict}));
    EXPECT_EQ(status.branch, QStringLiteral("main"));

    const QString head = git({"rev-parse", "HEAD"}, repo);
    started.clear();
    try {
        commit(QStringLiteral("Nope"), {}, repo);
        ADD_FAILURE() << "a commit during a merge went through";
    } catch (const GitError &error) {
        EXPECT_EQ(error.description(),
                  QStringLiteral("Repo has a merge in progress — resolve it in your editor first."));
    }
    EXPECT_TRUE(started.isEmpty()) << qPrintable(started.join('\n'));
    EXPECT_EQ(git({"rev-parse", "HEAD"}, repo), head);
}

TEST_F(GitRepoTest, DetachedHeadAndAnEmptyRepository)
{
    const QString repo = repository();
    git({"checkout", "-q", "--detach"}, repo);
    EXPECT_FALSE(GitRunner::status(repo).branch.has_value());

    const QString empty = home.makeFolder(QStringLiteral("empty"));
    git({"init", "-q", "-b", "trunk"}, empty);
    const Status fresh = GitRunner::status(empty);
    EXPECT_EQ(fresh.branch, QStringLiteral("trunk"));
    EXPECT_FALSE(fresh.lastCommit.has_value());
}

TEST_F(GitRepoTest, SubfolderAndLinkedWorktreeAreRepositoriesWithNothingInProgress)
{
    const QString repo = repository();
    const QString sub = home.makeFolder(QStringLiteral("repo/deep/er"));
    EXPECT_NO_THROW(ensureRepository(sub));
    EXPECT_EQ(started, QStringList{"rev-parse --is-inside-work-tree"});
    EXPECT_FALSE(detectInProgress(sub).has_value());
    EXPECT_EQ(repositoryRoot(sub), repo);

    git({"worktree", "add", "-q", home.path("linked"), "-b", "other"}, repo);
    started.clear();
    EXPECT_NO_THROW(ensureRepository(home.path("linked")));
    EXPECT_TRUE(started.isEmpty()) << "a .git file settles it without git";
    EXPECT_FALSE(detectInProgress(home.path("linked")).has_value());

    const QString plain = home.makeFolder(QStringLiteral("plain"));
    try {
        ensureRepository(plain);
        ADD_FAILURE() << "a plain folder passed";
    } catch (const GitError &error) {
        EXPECT_EQ(error.description(), QStringLiteral("plain is not a git repository."));
    }
}

TEST_F(GitRepoTest, InitializeRefusesAnExistingRepositoryWithoutStartingGit)
{
    const QString repo = repository();
    started.clear();
    try {
        initialize(repo);
        ADD_FAILURE() << "init over a repository";
    } catch (const GitError &error) {
        const auto *failed = std::get_if<GitError::commandFailed>(&error.value());
        ASSERT_NE(failed, nullptr);
        EXPECT_EQ(failed->exitCode, 128);
        EXPECT_EQ(
            error.description(),
            QStringLiteral("git init exited with code 128.\n\nFolder is already a git repository (.git/ exists)."));
    }
    EXPECT_TRUE(started.isEmpty());

    const QString fresh = home.makeFolder(QStringLiteral("fresh"));
    EXPECT_EQ(initialize(fresh).exitCode, 0);
    EXPECT_EQ(git({"symbolic-ref", "--short", "HEAD"}, fresh).trimmed(), QStringLiteral("main"));
    EXPECT_THROW(initialize(home.path("missing")), GitError);
}

TEST_F(GitRepoTest, CommitAddsTheNamedPathsOnlyAndTakesDashNamesAsPaths)
{
    const QString repo = repository();
    write(repo + "/-f", "dash\n");
    write(repo + "/b.txt", "b\n");
    write(repo + "/left out.txt", "no\n");
    const RunOutput output = commit(QStringLiteral("--amend"), {"-f", "b.txt"}, repo);
    EXPECT_EQ(output.exitCode, 0) << qPrintable(output.stderr);
    EXPECT_EQ(git({"log", "-1", "--format=%s"}, repo).trimmed(), QStringLiteral("--amend"));
    EXPECT_EQ(git({"show", "--name-only", "--format="}, repo).split('\n', Qt::SkipEmptyParts),
              (QStringList{"-f", "b.txt"}));
    EXPECT_EQ(git({"rev-list", "--count", "HEAD"}, repo).trimmed(), QStringLiteral("2"));
}

TEST_F(GitRepoTest, RemotesAreReadWithoutChangingAnything)
{
    const QString repo = repository();
    started.clear();
    EXPECT_TRUE(std::holds_alternative<FetchVerdict::noRemote>(verifyRemote(repo)));
    EXPECT_FALSE(started.contains(QStringLiteral("ls-remote origin")));

    const QString bare = home.makeFolder(QStringLiteral("bare.git"));
    git({"init", "-q", "--bare"}, bare);
    git({"remote", "add", "origin", "file://" + bare}, repo);
    EXPECT_EQ(remoteURL(QStringLiteral("origin"), repo), "file://" + bare);
    EXPECT_TRUE(std::holds_alternative<FetchVerdict::ok>(verifyRemote(repo)));

    git({"remote", "set-url", "origin", "file:///nonexistent/repo.git"}, repo);
    const Verdict missing = verifyRemote(repo);
    EXPECT_TRUE(std::holds_alternative<FetchVerdict::remoteMissing>(missing)) << missing.index();
}

TEST_F(GitRepoTest, ACancelledRemoteCallEndsItsWholeProcessGroup)
{
    const QString repo = repository();
    // ssh stands in as a script that hangs, leaving a child of its own behind.
    const QString marker = home.path("hung");
    const QString script = home.makeFile(QStringLiteral("ssh-hangs"),
                                         ("#!/bin/sh\nsleep 300 &\necho $! > '" + marker + "'\nwait\n").toUtf8());
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    git({"config", "core.sshCommand", script}, repo);
    git({"remote", "add", "origin", "git@github.com:user/repo.git"}, repo);

    std::stop_source stop;
    std::jthread canceller([&stop] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        stop.request_stop();
    });
    QElapsedTimer clock;
    clock.start();
    const Verdict verdict = verifyRemote(repo, stop.get_token());
    EXPECT_LT(clock.elapsed(), 5000);
    EXPECT_TRUE(std::holds_alternative<FetchVerdict::otherFailure>(verdict));
    QFile pidFile(marker);
    ASSERT_TRUE(pidFile.open(QIODevice::ReadOnly));
    const QByteArray pid = pidFile.readAll().trimmed();
    // The hung child was in the group: it is gone, or a zombie waiting for its reaper.
    const QString stat = QStringLiteral("/proc/%1/stat").arg(QString::fromLatin1(pid));
    bool alive = true;
    for (int tries = 0; tries < 40 && alive; ++tries) {
        QFile state(stat);
        alive = state.open(QIODevice::ReadOnly) && !state.readAll().contains(") Z ");
        if (alive)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_FALSE(alive) << "the hung ssh's child outlived the cancel";
}

TEST_F(GitRepoTest, ManyUntrackedFilesNeverStallThePipes)
{
    const QString repo = repository();
    // Every file listed on its own, not its folder once: some 700 KB on standard output.
    git({"config", "status.showUntrackedFiles", "all"}, repo);
    for (int i = 0; i < 10000; ++i) {
        QFile file(QStringLiteral("%1/untracked/folder %2/a rather long file name number %3.txt")
                       .arg(repo)
                       .arg(i / 1000)
                       .arg(i));
        if (i % 1000 == 0)
            QDir().mkpath(file.fileName().left(file.fileName().lastIndexOf('/')));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    const RunOutput output = run({"status", "--porcelain=v2"}, repo);
    EXPECT_EQ(output.exitCode, 0);
    EXPECT_EQ(output.stdout.count(QLatin1Char('\n')), 10000);
}

TEST_F(GitRepoTest, TheChildSeesAFixedEnvironmentAndNoTerminal)
{
    const QString repo = repository();
    const QString dump = home.path("hook-env");
    write(repo + "/.git/hooks/pre-commit",
          ("#!/bin/sh\nenv > '" + dump + "'\nps -o tty= -p $$ >> '" + dump + "'\n").toUtf8());
    QFile::setPermissions(repo + "/.git/hooks/pre-commit", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    write(repo + "/a.txt", "two\n");
    EXPECT_EQ(commit(QStringLiteral("Hooked"), {}, repo).exitCode, 0);
    QFile file(dump);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n');
    for (const char *entry : {"GIT_TERMINAL_PROMPT=0", "LANG=en_US.UTF-8", "LC_ALL=en_US.UTF-8"})
        EXPECT_TRUE(lines.contains(QString::fromLatin1(entry))) << entry;
    // git puts its own folder first on a hook's PATH; ours follows.
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const QString &line) {
        return line.startsWith("PATH=") &&
               line.endsWith(":/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin");
    })) << qPrintable(lines.join('|'));
    EXPECT_TRUE(lines.contains(QStringLiteral("HOME=") + home.home()));
    // ps prints "?" for a process with no controlling terminal.
    EXPECT_TRUE(lines.contains(QStringLiteral("?"))) << qPrintable(lines.join('|'));
}

struct TableRow {
    const char *name;
    QStringList arguments;
    bool allowed;
};

class CommandTable : public testing::TestWithParam<TableRow> {};

TEST_P(CommandTable, IsClosed)
{
    EXPECT_EQ(isTableCommand(GetParam().arguments), GetParam().allowed);
    if (!GetParam().allowed) {
        EXPECT_THROW(run(GetParam().arguments, QDir::tempPath()), LaunchError);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandTable,
    testing::Values(TableRow{"Status", {"status", "--porcelain=v2", "--branch"}, true},
                    TableRow{"AddPaths", {"add", "a b.txt", "c"}, true},
                    TableRow{"CommitMessageMayLookLikeAnOption", {"commit", "-m", "--amend"}, true},
                    TableRow{"SetUrl", {"remote", "set-url", "origin", "git@github.com:a/b.git"}, true},
                    TableRow{"PushUpstream", {"push", "-u", "origin", "HEAD"}, true},
                    TableRow{"Reset", {"reset", "--hard"}, false}, TableRow{"Rebase", {"rebase", "origin/main"}, false},
                    TableRow{"Merge", {"merge", "origin/main"}, false}, TableRow{"Checkout", {"checkout", "."}, false},
                    TableRow{"Clean", {"clean", "-fd"}, false}, TableRow{"ForcePush", {"push", "--force"}, false},
                    TableRow{"AddForce", {"add", "-f", "x"}, false},
                    TableRow{"PullRebase", {"pull", "--rebase"}, false},
                    TableRow{"RemoteUrlAsOption", {"remote", "add", "origin", "--mirror=fetch"}, false},
                    TableRow{"CommitWithAll", {"commit", "-a", "-m", "x"}, false}, TableRow{"Nothing", {}, false}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(GitExecutable, FallsBackToTheLastCandidate)
{
    const QString path = executablePath();
    EXPECT_TRUE(path == "/opt/homebrew/bin/git" || path == "/usr/local/bin/git" || path == "/usr/bin/git");
    if (!QFile::exists("/opt/homebrew/bin/git") && !QFile::exists("/usr/local/bin/git")) {
        EXPECT_EQ(path, QStringLiteral("/usr/bin/git"));
    }
}
