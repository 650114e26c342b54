// Reads the state of a large work tree with `GitRunner::status` and with `git status --porcelain=v2 --branch`
// alone, and prints each one's best wall time and the runner's as a multiple of git's.
//
//   bench_gitstatus [SCALE] [--dir FOLDER] [--keep]
//
// SCALE (default 1) multiplies the corpus: 200,000 committed files in nested folders, names with spaces,
// of which 50,000 are then changed, deleted, renamed or joined by untracked files. The runner parses the
// same output and asks git for the last commit as well; both must list the same paths with the same kinds,
// or the bench fails. Goal: within 1.2× of git alone.
#include "Launcher.h"
#include "Peers.h"
#include "steward/git/GitRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char *bench = "bench_gitstatus";

bool fail(const QString &why)
{
    std::fprintf(stderr, "%s: %s\n", bench, qPrintable(why));
    return false;
}

QString filePath(const QString &root, int i)
{
    return QStringLiteral("%1/part %2/group %3/file number %4.txt").arg(root).arg(i / 10000).arg((i / 200) % 50).arg(i);
}

bool writeFile(const QString &path, const QByteArray &content)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    return fd >= 0 && ::write(fd, content.constData(), size_t(content.size())) == content.size() && ::close(fd) == 0;
}

// Runs git for the setup, apart from what is measured.
bool git(const QStringList &arguments, const QString &folder)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("git"), arguments);
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        return fail(QStringLiteral("git %1 failed: %2")
                        .arg(arguments.join(QLatin1Char(' ')), QString::fromUtf8(process.readAllStandardError())));
    return true;
}

// A repository of `files` committed files, then a quarter of them changed in one of four ways.
bool makeRepository(const QString &root, int files, int *changed)
{
    for (int i = 0; i < files; ++i) {
        const QString path = filePath(root, i);
        if (i % 200 == 0 && !QDir().mkpath(path.left(path.lastIndexOf(QLatin1Char('/')))))
            return fail(QStringLiteral("can't make the folders of ") + path);
        if (!writeFile(path, QByteArray("line ") + QByteArray::number(i) + '\n'))
            return fail(QStringLiteral("can't write ") + path);
    }
    if (!git({"init", "-q", "-b", "main"}, root) || !git({"add", "-A"}, root) ||
        !git({"commit", "-q", "-m", "Corpus"}, root))
        return false;
    *changed = 0;
    QByteArray staged;
    for (int i = 0; i < files; i += 4) {
        const QString path = filePath(root, i);
        bool ok = true;
        switch ((i / 4) % 4) {
        case 0:
            ok = writeFile(path, "changed\n");
            break;
        case 1:
            ok = ::unlink(QFile::encodeName(path).constData()) == 0;
            break;
        case 2:
            ok = writeFile(path.left(path.size() - 4) + QStringLiteral(" new.md"), "untracked\n");
            break;
        default:
            ok = writeFile(path, "staged\n");
            staged += path.toUtf8() + '\n';
        }
        if (!ok)
            return fail(QStringLiteral("can't change ") + path);
        ++*changed;
    }
    const QString list = root + QStringLiteral("/../staged-list");
    return writeFile(list, staged) && git({"add", "--pathspec-from-file=" + list}, root);
}

// "kind path" lines, sorted, from git's own porcelain output.
QStringList gitAnswer(const QString &file)
{
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        return {};
    QStringList lines;
    for (const QByteArray &line : in.readAll().split('\n')) {
        if (line.startsWith("1 ")) {
            const QByteArray xy = line.mid(2, 2);
            const char *kind = xy[0] == 'D' ? "deleted" : xy[0] == 'A' ? "added" : "modified";
            lines.append(QString::fromLatin1(kind) + QLatin1Char(' ') +
                         QString::fromUtf8(line.split(' ').mid(8).join(' ')));
        } else if (line.startsWith("? ")) {
            lines.append(QStringLiteral("untracked ") + QString::fromUtf8(line.mid(2)));
        }
    }
    lines.sort();
    return lines;
}

QStringList runnerAnswer(const GitRunner::Status &status)
{
    QStringList lines;
    for (const GitRunner::DirtyFile &file : status.dirty)
        lines.append(GitRunner::toString(file.kind) + QLatin1Char(' ') + file.path);
    lines.sort();
    return lines;
}

} // namespace

int main(int argc, char *argv[])
{
    const Launcher launcher;
    QCoreApplication app(argc, argv);
    double scale = 1;
    QString base = QDir::tempPath();
    bool keep = false;
    const QStringList arguments = app.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        bool ok = true;
        if (arguments[i] == QLatin1String("--dir") && i + 1 < arguments.size())
            base = arguments[++i];
        else if (arguments[i] == QLatin1String("--keep"))
            keep = true;
        else
            scale = arguments[i].toDouble(&ok);
        if (!ok || scale <= 0) {
            std::fprintf(stderr, "Usage: %s [SCALE] [--dir FOLDER] [--keep]\n", bench);
            return 2;
        }
    }
    if (!Peers::installed(bench, {"git"}))
        return Peers::peerFailed;

    QTemporaryDir scratch(base + QStringLiteral("/bench-gitstatus-XXXXXX"));
    scratch.setAutoRemove(!keep);
    const QString home = scratch.path() + QStringLiteral("/home");
    const QString repo = scratch.path() + QStringLiteral("/repo");
    QDir().mkpath(home);
    QDir().mkpath(repo);
    if (!writeFile(
            home + QStringLiteral("/.gitconfig"),
            "[user]\n\tname = Bench\n\temail = bench@example.com\n[gc]\n\tauto = 0\n[maintenance]\n\tauto = false\n"))
        return fail(QStringLiteral("can't write the git configuration")) ? 0 : 1;
    // The runner passes its own environment on, so both sides read this home and no system configuration.
    const QStringList environment{QStringLiteral("HOME=") + home, QStringLiteral("GIT_CONFIG_NOSYSTEM=1"),
                                  QStringLiteral("LANG=en_US.UTF-8"), QStringLiteral("LC_ALL=en_US.UTF-8")};
    for (const QString &variable : environment)
        qputenv(qPrintable(variable.section(QLatin1Char('='), 0, 0)), variable.section(QLatin1Char('='), 1).toUtf8());

    const int files = std::max(100, int(std::lround(200'000 * scale)));
    std::printf("Writing and committing %d files…\n", files);
    std::fflush(stdout);
    int changed = 0;
    if (!makeRepository(repo, files, &changed))
        return 1;

    const QStringList reference{GitRunner::executablePath(), "status", "--porcelain=v2", "--branch"};
    const QString out = scratch.path() + QStringLiteral("/out");
    const QString err = scratch.path() + QStringLiteral("/err");

    // Once each untimed: the index is refreshed, and the answers must agree.
    const Measure check = launcher.run(reference, environment, out, err, repo);
    if (check.status != 0)
        return Peers::failed(bench, QStringLiteral("git status failed (%1)").arg(check.status));
    const QStringList theirs = gitAnswer(out);
    const GitRunner::Status status = GitRunner::status(repo);
    const QStringList ours = runnerAnswer(status);
    if (theirs.size() != changed)
        return Peers::failed(bench,
                             QStringLiteral("git lists %1 changes, not the %2 made").arg(theirs.size()).arg(changed));
    if (ours != theirs || !status.lastCommit || status.branch != QStringLiteral("main"))
        return fail(QStringLiteral("the runner lists %1 changes and git %2; they differ")
                        .arg(ours.size())
                        .arg(theirs.size()))
                   ? 0
                   : 1;

    double runnerBest = 1e9;
    double gitBest = 1e9;
    for (int round = 0; round < 3; ++round) {
        QElapsedTimer clock;
        clock.start();
        const GitRunner::Status timed = GitRunner::status(repo);
        const double seconds = double(clock.nsecsElapsed()) / 1e9;
        if (timed.dirty.size() != changed)
            return fail(QStringLiteral("the runner's answer changed in a timed run")) ? 0 : 1;
        runnerBest = std::min(runnerBest, seconds);
        const Measure run = launcher.run(reference, environment, out, err, repo);
        if (run.status != 0)
            return Peers::failed(bench, QStringLiteral("git status failed in a timed run"));
        gitBest = std::min(gitBest, run.seconds);
    }
    QTextStream text(stdout);
    const double ratio = runnerBest / std::max(gitBest, 1e-6);
    text << QStringLiteral("%1 files, %2 changed or untracked\n").arg(files).arg(changed);
    text << QStringLiteral("GitRunner::status  %1 s\n").arg(runnerBest, 0, 'f', 3);
    text << QStringLiteral("git status         %1 s\n").arg(gitBest, 0, 'f', 3);
    text << QStringLiteral("runner / git %1× (goal ≤ 1.2×)%2\n")
                .arg(ratio, 0, 'f', 2)
                .arg(ratio <= 1.2 ? QString() : QStringLiteral("  MISSED"));
    return ratio <= 1.2 ? 0 : 1;
}
