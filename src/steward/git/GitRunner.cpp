#include "steward/git/GitRunner.h"

#include "platform/NativeNames.h"
#include "steward/git/GitParsing.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringDecoder>

#include <array>

#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

using namespace GitRunner;

namespace {

constexpr int killAfterMs = 2000;

QMutex observerLock;
CommandObserver &observer()
{
    static CommandObserver current;
    return current;
}

bool exists(const QString &path)
{
    struct stat status {};
    return ::stat(NativeNames::encode(path).constData(), &status) == 0;
}

// Both streams are decoded whole; bytes that aren't UTF-8 give an empty text rather than a wrong one.
QString decoded(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? QString() : text;
}

QString lastComponent(const QString &folder)
{
    QString path = folder;
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// Ends the child and everything it started (ssh, a credential helper): they share its process group.
void terminate(QProcess &process)
{
    const qint64 pid = process.processId();
    if (pid > 0)
        ::kill(-pid_t(pid), SIGTERM);
    if (!process.waitForFinished(killAfterMs) && pid > 0) {
        ::kill(-pid_t(pid), SIGKILL);
        process.waitForFinished(-1);
    }
}

bool words(const QStringList &arguments, std::initializer_list<const char *> expected)
{
    if (arguments.size() != qsizetype(expected.size()))
        return false;
    qsizetype i = 0;
    for (const char *word : expected) {
        if (arguments[i++] != QLatin1String(word))
            return false;
    }
    return true;
}

bool startsWith(const QStringList &arguments, std::initializer_list<const char *> expected)
{
    return arguments.size() >= qsizetype(expected.size()) &&
           words(arguments.mid(0, qsizetype(expected.size())), expected);
}

// A value git could take for an option is no value Vantrel passes.
bool plainValue(const QString &value)
{
    return !value.isEmpty() && !value.startsWith(QLatin1Char('-'));
}

} // namespace

QString GitRunner::toString(InProgressState state)
{
    static const std::array<const char *, 5> names{"merge", "rebase", "cherryPick", "revert", "bisect"};
    return QString::fromLatin1(names.at(std::size_t(state)));
}

QString GitRunner::label(InProgressState state)
{
    return state == InProgressState::cherryPick ? QStringLiteral("cherry-pick") : toString(state);
}

QString GitRunner::toString(DirtyFile::Kind kind)
{
    static const std::array<const char *, 6> names{"modified", "added", "deleted", "renamed", "untracked", "conflict"};
    return QString::fromLatin1(names.at(std::size_t(kind)));
}

GitError::GitError(Case value) : kind(std::move(value))
{
    if (const auto *missing = std::get_if<notARepo>(&kind)) {
        text = QStringLiteral("%1 is not a git repository.").arg(lastComponent(missing->folder));
    } else if (const auto *failure = std::get_if<commandFailed>(&kind)) {
        text = QStringLiteral("git %1 exited with code %2.\n\n%3")
                   .arg(failure->command)
                   .arg(failure->exitCode)
                   .arg(failure->stderr);
    } else if (const auto *busy = std::get_if<inProgress>(&kind)) {
        text = QStringLiteral("Repo has a %1 in progress — resolve it in your editor first.").arg(label(busy->state));
    } else {
        text = QStringLiteral("Couldn't parse git output: %1").arg(std::get<parseFailed>(kind).text);
    }
    utf8 = text.toUtf8();
}

QString GitRunner::executablePath()
{
    for (const char *candidate : {"/opt/homebrew/bin/git", "/usr/local/bin/git", "/usr/bin/git"}) {
        if (exists(QString::fromLatin1(candidate)))
            return QString::fromLatin1(candidate);
    }
    return QStringLiteral("/usr/bin/git");
}

QStringList GitRunner::environment()
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(QStringLiteral("PATH"),
                     QStringLiteral("/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"));
    variables.insert(QStringLiteral("GIT_TERMINAL_PROMPT"), QStringLiteral("0"));
    // git's messages in English: the verdicts are read from them.
    variables.insert(QStringLiteral("LANG"), QStringLiteral("en_US.UTF-8"));
    variables.insert(QStringLiteral("LC_ALL"), QStringLiteral("en_US.UTF-8"));
    return variables.toStringList();
}

bool GitRunner::isTableCommand(const QStringList &a)
{
    if (words(a, {"rev-parse", "--is-inside-work-tree"}) || words(a, {"rev-parse", "--show-toplevel"}) ||
        words(a, {"status", "--porcelain=v2"}) || words(a, {"status", "--porcelain=v2", "--branch"}) ||
        words(a, {"log", "-1", "--pretty=format:%H%x09%h%x09%s%x09%an%x09%ar"}) || words(a, {"ls-remote", "origin"}) ||
        words(a, {"init", "--initial-branch=main"}) || words(a, {"add", "--update"}) || words(a, {"add", "."}) ||
        words(a, {"fetch", "--prune"}) || words(a, {"pull", "--ff-only"}) || words(a, {"stash", "pop"}) ||
        words(a, {"push"}) || words(a, {"push", "-u", "origin", "HEAD"}))
        return true;
    if (startsWith(a, {"remote", "get-url"}))
        return a.size() == 3 && plainValue(a[2]);
    if (startsWith(a, {"remote", "add", "origin"}) || startsWith(a, {"remote", "set-url", "origin"}))
        return a.size() == 4 && plainValue(a[3]);
    if (startsWith(a, {"commit", "-m"}))
        return a.size() == 3;
    if (startsWith(a, {"stash", "push", "--include-untracked", "-m"}))
        return a.size() == 5;
    if (startsWith(a, {"add"}))
        return a.size() >= 2 && std::all_of(a.begin() + 1, a.end(), plainValue);
    return false;
}

void GitRunner::setCommandObserver(CommandObserver next)
{
    const QMutexLocker locked(&observerLock);
    observer() = std::move(next);
}

RunOutput GitRunner::run(const QStringList &arguments, const QString &folder, std::stop_token stop)
{
    if (!isTableCommand(arguments))
        throw LaunchError(QStringLiteral("git %1 isn't a command Vantrel runs.").arg(arguments.join(QLatin1Char(' '))));
    {
        const QMutexLocker locked(&observerLock);
        if (observer())
            observer()(arguments, folder);
    }
    // Qt would name the working folder in UTF-8, which can't name a folder whose name isn't: the child
    // enters it by its own bytes instead.
    const QByteArray where = NativeNames::encode(folder);
    struct stat status {};
    const int error = ::stat(where.constData(), &status) != 0 ? errno : S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
    if (error != 0)
        throw LaunchError(QStringLiteral("Couldn't start git: chdir: %1").arg(qt_error_string(error)));
    QProcess process;
    process.setProgram(executablePath());
    process.setArguments(arguments);
    process.setEnvironment(environment());
    process.setStandardInputFile(QProcess::nullDevice());
    // A session of its own has no controlling terminal, so ssh can't ask for a passphrase or a host key
    // there; and the process group it leads is what a cancel ends.
    process.setChildProcessModifier([&where] {
        ::setsid();
        if (::chdir(where.constData()) != 0)
            ::_exit(127);
    });
    process.start();
    if (!process.waitForStarted(-1))
        throw LaunchError(QStringLiteral("Couldn't start git: %1").arg(process.errorString()));
    // QProcess reads both pipes into its own buffers while it waits, so a child with much to say on either
    // never blocks on a full pipe.
    bool cancelled = false;
    while (!process.waitForFinished(100)) {
        if (process.state() == QProcess::NotRunning)
            break;
        if (stop.stop_requested()) {
            terminate(process);
            cancelled = true;
            break;
        }
    }
    RunOutput output{decoded(process.readAllStandardOutput()), decoded(process.readAllStandardError()),
                     process.exitStatus() == QProcess::NormalExit && !cancelled ? process.exitCode() : -1};
    return output;
}

std::optional<QString> GitRunner::repositoryRoot(const QString &folder)
{
    try {
        const RunOutput output = run({QStringLiteral("rev-parse"), QStringLiteral("--show-toplevel")}, folder);
        const QString root = output.stdout.trimmed();
        if (output.exitCode != 0 || root.isEmpty())
            return std::nullopt;
        return root;
    } catch (const LaunchError &) {
        return std::nullopt;
    }
}

void GitRunner::ensureRepository(const QString &folder)
{
    // A .git of its own (a folder, or the file of a linked work tree) settles it without starting git.
    if (exists(folder + QStringLiteral("/.git")))
        return;
    try {
        const RunOutput output = run({QStringLiteral("rev-parse"), QStringLiteral("--is-inside-work-tree")}, folder);
        if (output.exitCode == 0 && output.stdout.trimmed() == QLatin1String("true"))
            return;
    } catch (const LaunchError &) {
        // A missing git reads as a folder that isn't a repository.
    }
    throw GitError(GitError::notARepo{folder});
}

void GitRunner::ensureFolder(const QString &folder)
{
    struct stat status {};
    if (::stat(NativeNames::encode(folder).constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        throw GitError(GitError::notARepo{folder});
}

std::optional<InProgressState> GitRunner::detectInProgress(const QString &folder)
{
    const std::array<std::pair<const char *, InProgressState>, 6> markers{{
        {"MERGE_HEAD", InProgressState::merge},
        {"rebase-merge", InProgressState::rebase},
        {"rebase-apply", InProgressState::rebase},
        {"CHERRY_PICK_HEAD", InProgressState::cherryPick},
        {"REVERT_HEAD", InProgressState::revert},
        {"BISECT_LOG", InProgressState::bisect},
    }};
    for (const auto &[name, state] : markers) {
        if (exists(folder + QStringLiteral("/.git/") + QLatin1String(name)))
            return state;
    }
    return std::nullopt;
}

std::optional<Commit> GitRunner::lastCommit(const QString &folder)
{
    const RunOutput output = run(
        {QStringLiteral("log"), QStringLiteral("-1"), QStringLiteral("--pretty=format:%H%x09%h%x09%s%x09%an%x09%ar")},
        folder);
    if (output.exitCode != 0)
        return std::nullopt;
    return GitParsing::commit(output.stdout);
}

namespace {

std::optional<Commit> lastCommitOrNone(const QString &folder)
{
    try {
        return GitRunner::lastCommit(folder);
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

} // namespace

Status GitRunner::status(const QString &folder)
{
    ensureRepository(folder);
    Status parsed;
    parsed.inProgress = detectInProgress(folder);
    const QStringList withBranch{QStringLiteral("status"), QStringLiteral("--porcelain=v2"),
                                 QStringLiteral("--branch")};
    if (!parsed.inProgress) {
        const RunOutput output = run(withBranch, folder);
        const GitParsing::Header header = GitParsing::header(output.stdout);
        parsed.branch = header.branch;
        parsed.upstream = header.upstream;
        parsed.ahead = header.ahead;
        parsed.behind = header.behind;
        parsed.dirty = GitParsing::entries(output.stdout);
        parsed.lastCommit = lastCommitOrNone(folder);
        return parsed;
    }
    // With an operation under way nothing may fail the call: the sheet must still show where things stand.
    try {
        parsed.dirty =
            GitParsing::entries(run({QStringLiteral("status"), QStringLiteral("--porcelain=v2")}, folder).stdout);
    } catch (const std::exception &) {
    }
    parsed.lastCommit = lastCommitOrNone(folder);
    try {
        const GitParsing::Header header = GitParsing::header(run(withBranch, folder).stdout);
        parsed.branch = header.branch;
        parsed.upstream = header.upstream;
        parsed.ahead = header.ahead;
        parsed.behind = header.behind;
    } catch (const std::exception &) {
    }
    return parsed;
}

std::optional<QString> GitRunner::remoteURL(const QString &name, const QString &folder)
{
    ensureRepository(folder);
    const RunOutput output = run({QStringLiteral("remote"), QStringLiteral("get-url"), name}, folder);
    const QString url = output.stdout.trimmed();
    if (output.exitCode != 0 || url.isEmpty())
        return std::nullopt;
    return url;
}

RunOutput GitRunner::initialize(const QString &folder)
{
    ensureFolder(folder);
    if (exists(folder + QStringLiteral("/.git")))
        throw GitError(GitError::commandFailed{QStringLiteral("init"), 128,
                                               QStringLiteral("Folder is already a git repository (.git/ exists).")});
    return run({QStringLiteral("init"), QStringLiteral("--initial-branch=main")}, folder);
}

RunOutput GitRunner::commit(const QString &message, const QStringList &paths, const QString &folder)
{
    ensureRepository(folder);
    if (const auto state = detectInProgress(folder))
        throw GitError(GitError::inProgress{*state});
    if (paths.isEmpty()) {
        run({QStringLiteral("add"), QStringLiteral("--update")}, folder);
    } else {
        // A name that begins with "-" would read as an option; "./" keeps it a path.
        QStringList add{QStringLiteral("add")};
        for (const QString &path : paths)
            add.append(path.startsWith(QLatin1Char('-')) ? QStringLiteral("./") + path : path);
        run(add, folder);
    }
    return run({QStringLiteral("commit"), QStringLiteral("-m"), message}, folder);
}

RunOutput GitRunner::stashPush(const QString &message, const QString &folder)
{
    ensureRepository(folder);
    return run({QStringLiteral("stash"), QStringLiteral("push"), QStringLiteral("--include-untracked"),
                QStringLiteral("-m"), message},
               folder);
}

QString GitRunner::normalizeRemoteURL(const QString &text)
{
    QString trimmed = text.trimmed();
    if (!trimmed.contains(QLatin1String("://")) && !trimmed.contains(QLatin1Char('@')))
        return QStringLiteral("git@github.com:") + trimmed + QStringLiteral(".git");
    if (trimmed.startsWith(QLatin1String("http")) && !trimmed.endsWith(QLatin1String(".git")))
        return trimmed + QStringLiteral(".git");
    return trimmed;
}

Verdict GitRunner::verifyRemote(const QString &folder, std::stop_token stop)
{
    ensureRepository(folder);
    std::optional<QString> origin;
    try {
        origin = remoteURL(QStringLiteral("origin"), folder);
    } catch (const std::exception &) {
    }
    if (!origin)
        return FetchVerdict::noRemote{};
    const RunOutput output = run({QStringLiteral("ls-remote"), QStringLiteral("origin")}, folder, std::move(stop));
    if (output.exitCode == 0)
        return FetchVerdict::ok{};
    return GitParsing::verdict(output.stderr, output.exitCode);
}
