// Outputs that are complete or absent: a full disk, a run killed half-way and a name taken meanwhile
// never leave a cut-short file under the final name, and what a killed run left hidden is cleared by
// the next run into that folder.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "platform/AtomicFile.h"
#include "transfer/stitch/StitchRunner.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/file.h>
#include <sys/stat.h>

namespace {

QStringList partialsIn(const QString &folder)
{
    return QDir(folder).entryList({PartialFiles::prefix() + QLatin1Char('*')},
                                  QDir::AllEntries | QDir::Hidden | QDir::System);
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Noise compresses badly, so a handful of these make a run long enough to be killed in the middle.
QStringList noisyImages(AppTestEnvironment &env, int count, int side)
{
    QStringList paths;
    QRandomGenerator random(7);
    for (int i = 0; i < count; ++i) {
        QImage image(side, side, QImage::Format_RGB32);
        for (int y = 0; y < side; ++y) {
            auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
            for (int x = 0; x < side; ++x)
                line[x] = random.generate();
        }
        const QString path = env.path(QStringLiteral("images/%1.png").arg(i, 2, 10, QLatin1Char('0')));
        QDir().mkpath(QFileInfo(path).path());
        EXPECT_TRUE(image.save(path));
        paths.append(path);
    }
    return paths;
}

struct StitchMode {
    const char *name;
    StitchRunner::Mode mode;
};

void PrintTo(const StitchMode &mode, std::ostream *out)
{
    *out << mode.name;
}

class FullDiskStitch : public ::testing::TestWithParam<StitchMode> {};

} // namespace

TEST_P(FullDiskStitch, FailsWithTheReasonAndLeavesNothing)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    const QStringList images = noisyImages(env, 3, 300);
    const Faults::TinyDisk disk(env.path(QStringLiteral("stick")), 128 * 1024);
    ASSERT_TRUE(disk.mounted());
    const QString output = disk.path() + QStringLiteral("/combined.out");
    const auto result =
        GetParam().mode == StitchRunner::Mode::pdf
            ? StitchRunner::runPDF(images, output, {}, {})
            : StitchRunner::runImage(images, output, StitchRunner::Layout::vertical, 0, true, std::nullopt, {}, {});
    ASSERT_TRUE(result.failed);
    EXPECT_TRUE(result.errorMessage.value_or(QString()).contains(QStringLiteral("No space left on device")))
        << result.errorMessage.value_or(QString()).toStdString();
    EXPECT_FALSE(QFile::exists(output));
    EXPECT_TRUE(partialsIn(disk.path()).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Modes, FullDiskStitch,
                         ::testing::Values(StitchMode{"pdf", StitchRunner::Mode::pdf},
                                           StitchMode{"image", StitchRunner::Mode::image}),
                         [](const ::testing::TestParamInfo<StitchMode> &info) { return std::string(info.param.name); });

TEST(PartialOutputs, AStitchOnAFullDiskEndsFailedOnTheCommandLine)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    const QStringList images = noisyImages(env, 2, 300);
    const Faults::TinyDisk disk(env.path(QStringLiteral("stick")), 64 * 1024);
    ASSERT_TRUE(disk.mounted());
    const auto run = Faults::run(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                                 QStringList{QStringLiteral("run"), QStringLiteral("stitch-files")} + images +
                                     QStringList{QStringLiteral("--dest"), disk.path(), QStringLiteral("--set"),
                                                 QStringLiteral("mode=image"), QStringLiteral("--json")});
    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE(run.out.contains("No space left on device")) << run.out.toStdString();
    EXPECT_EQ(QDir(disk.path()).entryList(QDir::Files | QDir::Hidden).size(), 0);
}

TEST(PartialOutputs, ANameTakenWhileWritingIsNeverReplaced)
{
    AppTestEnvironment env;
    const QString target = env.path(QStringLiteral("report.pdf"));
    AtomicFile file(target);
    ASSERT_TRUE(file.open());
    ASSERT_TRUE(file.write("new"));
    env.makeFile(QStringLiteral("report.pdf"), "someone else's");
    EXPECT_FALSE(file.commit(AtomicFile::Mode::noReplace));
    EXPECT_TRUE(file.destinationExists());
    EXPECT_EQ(bytesOf(target), QByteArray("someone else's"));
    EXPECT_TRUE(partialsIn(env.home()).isEmpty());

    // Replace keeps the file's permissions.
    QFile::setPermissions(target, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    EXPECT_FALSE(AtomicFile::writeWhole(target, "replaced"));
    EXPECT_EQ(bytesOf(target), QByteArray("replaced"));
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(target).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
}

// What killed runs left is cleared on the next write into that folder; what a live run holds, and
// whatever isn't ours, stays.
TEST(PartialOutputs, TheNextRunClearsWhatKilledRunsLeft)
{
    AppTestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("out"));
    const QString deadFile =
        env.makeFile(QStringLiteral("out/") + PartialFiles::prefix() + QStringLiteral("dead1"), "x");
    const QString deadFolder =
        env.makeFolder(QStringLiteral("out/") + PartialFiles::prefix() + QStringLiteral("dead2"));
    env.makeFile(QStringLiteral("out/") + PartialFiles::prefix() + QStringLiteral("dead2/inner/file"), "y");
    const QString live = env.makeFile(QStringLiteral("out/") + PartialFiles::prefix() + QStringLiteral("live"), "z");
    const QString mine = env.makeFile(QStringLiteral("out/.vantrel-notes"), "user's");
    QProcess holder;
    holder.start(QStringLiteral("flock"), {live, QStringLiteral("sleep"), QStringLiteral("30")});
    ASSERT_TRUE(holder.waitForStarted());
    // Until flock has the lock.
    for (int i = 0; i < 200; ++i) {
        QFile probe(live);
        probe.open(QIODevice::ReadOnly);
        if (::flock(probe.handle(), LOCK_EX | LOCK_NB) != 0)
            break;
        ::flock(probe.handle(), LOCK_UN);
        QThread::msleep(10);
    }

    EXPECT_EQ(PartialFiles::sweepNow(folder), 2);
    EXPECT_FALSE(QFile::exists(deadFile));
    EXPECT_FALSE(QFile::exists(deadFolder));
    EXPECT_TRUE(QFile::exists(live));
    EXPECT_TRUE(QFile::exists(mine));
    holder.kill();
    holder.waitForFinished();
}

TEST(PartialOutputs, KilledStitchRunsLeaveNothingHalfWritten)
{
    AppTestEnvironment env;
    const QStringList images = noisyImages(env, 8, 900);
    const QString folder = env.makeFolder(QStringLiteral("out"));
    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator random(seed);
    for (int i = 0; i < 6; ++i) {
        QProcess process;
        process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                      QStringList{QStringLiteral("run"), QStringLiteral("stitch-files")} + images +
                          QStringList{QStringLiteral("--dest"), folder, QStringLiteral("--set"),
                                      QStringLiteral("mode=%1").arg(i % 2 ? "image" : "pdf"), QStringLiteral("--set"),
                                      QStringLiteral("outputBaseName=run%1").arg(i)});
        ASSERT_TRUE(process.waitForStarted());
        QThread::msleep(random.bounded(1500));
        process.kill();
        process.waitForFinished();
        // Either the whole output or none at all.
        for (const QString &name : QDir(folder).entryList(QDir::Files)) {
            const QByteArray bytes = bytesOf(folder + QLatin1Char('/') + name);
            if (name.endsWith(QLatin1String(".pdf")))
                EXPECT_TRUE(bytes.trimmed().endsWith("%%EOF")) << name.toStdString() << " seed " << seed;
            else
                EXPECT_FALSE(QImage::fromData(bytes).isNull()) << name.toStdString() << " seed " << seed;
        }
    }
    // A last run into the folder leaves no partial of any earlier one.
    const auto last = Faults::run(
        AppTestEnvironment::executable(QStringLiteral("vantrel")),
        QStringList{QStringLiteral("run"), QStringLiteral("stitch-files")} + images.mid(0, 1) +
            QStringList{QStringLiteral("--dest"), folder, QStringLiteral("--set"), QStringLiteral("mode=pdf"),
                        QStringLiteral("--set"), QStringLiteral("outputBaseName=last")});
    EXPECT_EQ(last.exitCode, 0) << last.out.toStdString();
    EXPECT_TRUE(partialsIn(folder).isEmpty()) << "seed " << seed;
}

// Downloads Tidy onto another disk copies each package whole before its original goes to the Trash.
// Killed at any moment, it loses nothing: the package stands either at its old place or whole at its
// new one, and the next run clears the holding folder the killed one left.
TEST(PartialOutputs, KilledTidyCopiesAcrossDisksLoseNothing)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    const Faults::TinyDisk downloads(env.path(QStringLiteral("stick")), 256LL * 1024 * 1024);
    ASSERT_TRUE(downloads.mounted());
    const QString package = downloads.path() + QStringLiteral("/Quarterly.pages");
    QRandomGenerator random(11);
    for (int i = 0; i < 40; ++i) {
        QByteArray block(2 * 1024 * 1024, Qt::Uninitialized);
        for (char &c : block)
            c = char(random.bounded(256));
        const QString path = package + QStringLiteral("/Data/part%1.bin").arg(i);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(block), block.size());
    }
    ASSERT_EQ(
        QProcess::execute(QStringLiteral("touch"), {QStringLiteral("-d"), QStringLiteral("40 days ago"), package}), 0);
    const auto original = Faults::snapshot(package);
    const QString destination = env.path(QStringLiteral("Documents/Vantrel Tidy/Old Docs"));
    const QString moved = destination + QStringLiteral("/Quarterly.pages");
    const QStringList tidy{QStringLiteral("run"), QStringLiteral("downloads-tidy"),
                           downloads.path(),      QStringLiteral("--threshold"),
                           QStringLiteral("30"),  QStringLiteral("--yes")};

    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator when(seed);
    for (int i = 0; i < 5 && QFile::exists(package); ++i) {
        QProcess process;
        process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), tidy);
        ASSERT_TRUE(process.waitForStarted());
        QThread::msleep(100 + when.bounded(600));
        process.kill();
        process.waitForFinished();
        // Never half here and half there: the original is whole until the copy has its name.
        if (QFile::exists(package)) {
            EXPECT_EQ(Faults::snapshot(package), original) << "seed " << seed << ", run " << i;
        }
        if (QFile::exists(moved)) {
            EXPECT_EQ(Faults::snapshot(moved), original) << "seed " << seed << ", run " << i;
        }
        EXPECT_TRUE(QFile::exists(package) || QFile::exists(moved));
    }
    const auto last = Faults::run(AppTestEnvironment::executable(QStringLiteral("vantrel")), tidy);
    EXPECT_EQ(last.exitCode, 0) << last.out.toStdString() << last.err.toStdString();
    EXPECT_FALSE(QFile::exists(package));
    EXPECT_EQ(Faults::snapshot(moved), original);
    EXPECT_TRUE(partialsIn(destination).isEmpty()) << "seed " << seed;
}
