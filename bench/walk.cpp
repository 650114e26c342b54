// Times FileWalker::walk against `find TREE -type f -printf '%s %T@\n'` on the
// same tree in the same run, and prints the ratio. Goal: walk/find ≤ 1.50.
#include "scan/FileWalker.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// 400 folders of 500 files, half of them one level deeper: 200,000 files.
qsizetype buildTree(const QString &root)
{
    qsizetype count = 0;
    for (int folder = 0; folder < 400; ++folder) {
        const QString dir = root + QStringLiteral("/d%1").arg(folder);
        const QString nested = dir + QStringLiteral("/inner");
        QDir().mkpath(nested);
        for (int file = 0; file < 500; ++file) {
            const QString path = (file % 2 ? nested : dir) + QStringLiteral("/f%1.dat").arg(file);
            const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0)
                continue;
            const char byte = char(file);
            (void)!::write(fd, &byte, 1);
            ::close(fd);
            ++count;
        }
    }
    return count;
}

template <typename F> double bestOf3(F run)
{
    double best = 1e300;
    for (int i = 0; i < 3; ++i) {
        QElapsedTimer timer;
        timer.start();
        run();
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    return best;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir temporary;
    const QString root = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path() + QStringLiteral("/tree");
    QDir().mkpath(root);
    std::printf("building the tree in %s …\n", qPrintable(root));
    std::fflush(stdout);
    qsizetype built = 0;
    if (QDir(root).isEmpty())
        built = buildTree(root);

    qsizetype walked = 0;
    const double walkMs = bestOf3([&] { walked = FileWalker::walk({root}).size(); });

    qsizetype found = 0;
    const double findMs = bestOf3([&] {
        QProcess find;
        find.setStandardOutputFile(QProcess::nullDevice());
        find.start(QStringLiteral("find"), {root, QStringLiteral("-type"), QStringLiteral("f"),
                                            QStringLiteral("-printf"), QStringLiteral("%s %T@\\n")});
        find.waitForFinished(-1);
    });
    QProcess count;
    count.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("find '%1' -type f | wc -l").arg(root)});
    count.waitForFinished(-1);
    found = count.readAllStandardOutput().trimmed().toLongLong();

    std::printf("files: built %lld, walked %lld, find %lld\n", qint64(built), qint64(walked), qint64(found));
    std::printf("FileWalker::walk  %8.1f ms (best of 3)\n", walkMs);
    std::printf("find -printf      %8.1f ms (best of 3)\n", findMs);
    std::printf("walk/find = %.2f (goal ≤ 1.50)\n", walkMs / findMs);
    return walked == found ? 0 : 1;
}
