// Measures FileWalker::walk against find(1) doing the same work on the same tree in the same run: every
// regular file with its size and modification time. Prints both times, both file counts and the ratio.
//
//   bench_walk [TREE]
//
// Without TREE the tree is built in a temporary folder and removed afterwards. With TREE an empty or missing
// folder is filled and kept, so later runs skip the build; a folder that isn't empty is measured as it is.
#include "Peers.h"
#include "scan/FileWalker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int folderCount = 400;
constexpr int filesPerFolder = 500;
constexpr double goal = 1.50;

bool makeFolder(const QByteArray &path)
{
    return ::mkdir(path.constData(), 0755) == 0 || errno == EEXIST;
}

bool writeFile(const QByteArray &path, int seed)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    // A few bytes of differing length, so sizes vary.
    char content[16];
    const int length = std::snprintf(content, sizeof content, "%d\n", seed);
    const bool written = ::write(fd, content, size_t(length)) == length;
    return ::close(fd) == 0 && written;
}

// 400 folders of 500 files: 200,000 files. Every fourth folder keeps half of its files two levels further
// down, so the walk also goes deep, not only wide. Plain POSIX calls: Qt's file classes would make the
// build itself take minutes.
qint64 buildTree(const QByteArray &root)
{
    qint64 written = 0;
    for (int folder = 0; folder < folderCount; ++folder) {
        const QByteArray top = root + "/folder" + QByteArray::number(folder);
        const QByteArray nested = top + "/inner/deeper";
        const bool deep = folder % 4 == 0;
        if (!makeFolder(top) || (deep && (!makeFolder(top + "/inner") || !makeFolder(nested))))
            return -1;
        for (int file = 0; file < filesPerFolder; ++file) {
            const QByteArray &where = deep && file % 2 ? nested : top;
            if (!writeFile(where + "/file" + QByteArray::number(file) + ".txt", folder * filesPerFolder + file))
                return -1;
            ++written;
        }
    }
    return written;
}

bool isEmptyFolder(const QByteArray &path)
{
    DIR *dir = ::opendir(path.constData());
    if (!dir)
        return false;
    bool empty = true;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            empty = false;
            break;
        }
    }
    ::closedir(dir);
    return empty;
}

// The best of three runs, in milliseconds: the first run also warms the caches for the others.
double bestOfThree(const std::function<void()> &run)
{
    double best = std::numeric_limits<double>::max();
    for (int round = 0; round < 3; ++round) {
        QElapsedTimer timer;
        timer.start();
        run();
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    return best;
}

QStringList findArguments(const QString &root)
{
    return {root, QStringLiteral("-type"), QStringLiteral("f"), QStringLiteral("-printf"), QStringLiteral("%s %T@\\n")};
}

// find's exit status, or -1 when it didn't start or didn't end on its own.
int exitStatus(QProcess &find)
{
    // Waiting on a process that has already ended counts as failing to wait; only a running one is waited for.
    if (find.state() != QProcess::NotRunning)
        find.waitForFinished(-1);
    if (find.error() == QProcess::FailedToStart || find.exitStatus() != QProcess::NormalExit)
        return -1;
    return find.exitCode();
}

// Runs find with its output going to `output` (a file name), and gives its exit status.
int runFind(const QString &root, const QString &output)
{
    QProcess find;
    find.setStandardOutputFile(output);
    find.setStandardErrorFile(QProcess::nullDevice());
    find.start(QStringLiteral("find"), findArguments(root));
    return exitStatus(find);
}

// The number of lines find prints, one per file, and its exit status.
std::pair<qint64, int> findCount(const QString &root)
{
    QProcess find;
    find.setStandardErrorFile(QProcess::nullDevice());
    find.start(QStringLiteral("find"), findArguments(root));
    qint64 lines = 0;
    while (find.waitForReadyRead(-1)) {
        const QByteArray chunk = find.readAllStandardOutput();
        lines += chunk.count('\n');
    }
    const int status = exitStatus(find);
    lines += find.readAllStandardOutput().count('\n');
    return {lines, status};
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (!Peers::installed("bench_walk", {QStringLiteral("find")}))
        return Peers::peerFailed;
    QTemporaryDir temporary;
    const QString root = argc > 1 ? QFile::decodeName(argv[1]) : temporary.path() + QStringLiteral("/tree");
    const QByteArray encodedRoot = QFile::encodeName(root);
    if (!makeFolder(encodedRoot)) {
        std::fprintf(stderr, "cannot make %s\n", encodedRoot.constData());
        return 2;
    }

    qint64 built = 0;
    if (isEmptyFolder(encodedRoot)) {
        std::printf("building %d files in %s ...\n", folderCount * filesPerFolder, encodedRoot.constData());
        std::fflush(stdout);
        QElapsedTimer timer;
        timer.start();
        built = buildTree(encodedRoot);
        if (built < 0) {
            std::fprintf(stderr, "building the tree failed: %s\n", std::strerror(errno));
            return 2;
        }
        std::printf("built in %.1f s\n", double(timer.elapsed()) / 1000.0);
    } else {
        std::printf("measuring the existing tree %s\n", encodedRoot.constData());
    }

    qint64 walked = 0;
    const double walkMs = bestOfThree([&] { walked = FileWalker::walk({root}).size(); });
    int findStatus = 0;
    const double findMs = bestOfThree([&] {
        if (const int status = runFind(root, QProcess::nullDevice()); status != 0)
            findStatus = status;
    });
    const auto [found, countStatus] = findCount(root);
    if (findStatus != 0 || countStatus != 0)
        return Peers::failed(
            "bench_walk",
            QStringLiteral("find failed on %1 (exit %2)").arg(root).arg(findStatus ? findStatus : countStatus));
    // Only the same work done by both is a fair comparison.
    if (walked != found)
        return Peers::failed("bench_walk", QStringLiteral("find listed %1 files where the walk found %2, so the two "
                                                          "didn't do the same work")
                                               .arg(found)
                                               .arg(walked));

    const double ratio = walkMs / findMs;
    if (built > 0)
        std::printf("files built:  %lld\n", static_cast<long long>(built));
    std::printf("files walked: %lld\n", static_cast<long long>(walked));
    std::printf("files found:  %lld\n", static_cast<long long>(found));
    std::printf("FileWalker::walk    %8.1f ms (best of 3)\n", walkMs);
    std::printf("find -type f -printf %7.1f ms (best of 3)\n", findMs);
    std::printf("walk/find = %.2f (goal ≤ %.2f)\n", ratio, goal);
    return ratio <= goal ? 0 : 1;
}
