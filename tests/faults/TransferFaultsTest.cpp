// A transfer on a disk that fills, into a folder nobody may write, and with an original the Trash
// can't take: each file ends as an outcome with the system's words, nothing cut short carries a
// final name, and no original is lost.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "RecordingSessionHost.h"
#include "TreeSnapshot.h"
#include "platform/NativeNames.h"
#include "transfer/engine/TransferPlanner.h"
#include "transfer/engine/TransferRunner.h"
#include "transfer/mover/SourceAnnotator.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <array>

#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace TransferEngine;

TEST(TransferFaults, AFullDiskFailsTheFileThatDoesNotFitAndKeepsTheOthersWhole)
{
    if (const auto reason = Faults::tmpfsUnavailable())
        GTEST_SKIP() << reason->toStdString();
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("src/bag/small.txt"), QByteArray(4096, 's'));
    env.makeFile(QStringLiteral("src/bag/big.bin"), QByteArray(3 << 20, 'b'));
    env.makeFile(QStringLiteral("src/bag/tail.txt"), "tail");
    const auto source = treeSnapshot(env.path(QStringLiteral("src")));
    const Faults::TinyDisk disk(env.path(QStringLiteral("Stick")), 1 << 20);
    ASSERT_TRUE(disk.mounted());

    const Plan plan = TransferPlanner::plan({env.path(QStringLiteral("src/bag"))}, disk.path());
    EXPECT_TRUE(plan.safetyIssues.contains(SafetyIssue::destinationVolumeAlmostFull));
    EXPECT_TRUE(plan.blockingIssues().isEmpty());
    const Result result = TransferRunner::execute(plan, skip{});

    ASSERT_EQ(result.items.size(), 3);
    int failures = 0;
    for (const ResolvedItem &item : result.items) {
        if (const auto *f = std::get_if<failed>(&item.outcome)) {
            ++failures;
            EXPECT_TRUE(item.source.endsWith(QStringLiteral("big.bin")));
            EXPECT_EQ(f->error, QStringLiteral("No space left on device"));
        }
    }
    EXPECT_EQ(failures, 1);
    EXPECT_FALSE(QFile::exists(disk.path() + QStringLiteral("/bag/big.bin"))) << "a cut-short copy has no name";
    const auto copies = treeSnapshot(disk.path() + QStringLiteral("/bag"));
    EXPECT_EQ(copies.keys(), (QStringList{"/small.txt", "/tail.txt"}));
    for (auto it = copies.cbegin(); it != copies.cend(); ++it)
        EXPECT_EQ(it.value(), source.value(QStringLiteral("/bag") + it.key()));
    EXPECT_EQ(treeSnapshot(env.path(QStringLiteral("src"))), source);
}

TEST(TransferFaults, AnImmutableDestinationIsRefusedBeforeAnythingIsWritten)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("src/a.txt"), "a");
    const QString dest = env.makeFolder(QStringLiteral("locked"));
    const Faults::Immutable locked(dest);
    if (!locked.applied())
        GTEST_SKIP() << "chattr +i isn't available here";
    const Plan plan = TransferPlanner::plan({env.path(QStringLiteral("src/a.txt"))}, dest);
    EXPECT_EQ(plan.blockingIssues(), QList<SafetyIssue>{SafetyIssue::destinationUnwritable});
}

TEST(TransferFaults, AnOriginalTheTrashRefusesStaysAndSaysWhy)
{
    AppTestEnvironment env;
    const QString kept = env.makeFile(QStringLiteral("src/kept.txt"), "k");
    const QString gone = env.makeFile(QStringLiteral("src/gone.txt"), "g");
    Result result;
    result.plan.destinationRoot = env.makeFolder(QStringLiteral("dest"));
    result.items = {{kept, copied{result.plan.destinationRoot + QStringLiteral("/kept.txt")}},
                    {gone, copied{result.plan.destinationRoot + QStringLiteral("/gone.txt")}}};
    const Faults::Immutable locked(kept);
    if (!locked.applied())
        GTEST_SKIP() << "chattr +i isn't available here";
    const SourceAnnotator::Summary summary =
        SourceAnnotator::apply({false, true, false, SourceAnnotator::defaultFormat()}, result);
    EXPECT_EQ(summary.deleted, 1);
    ASSERT_EQ(summary.errors.size(), 1);
    EXPECT_TRUE(summary.errors.first().startsWith(QStringLiteral("kept.txt: move-to-Trash failed (")))
        << summary.errors.first().toStdString();
    EXPECT_TRUE(summary.errors.first().contains(QStringLiteral("not permitted"), Qt::CaseInsensitive))
        << summary.errors.first().toStdString();
    EXPECT_TRUE(QFile::exists(kept));
    EXPECT_FALSE(QFile::exists(gone));
}

TEST(TransferFaults, ACommentARefusingFileCantTakeIsCountedAndTheRunGoesOn)
{
    AppTestEnvironment env;
    const QString locked = env.makeFile(QStringLiteral("src/locked.txt"), "l");
    const QString open = env.makeFile(QStringLiteral("src/open.txt"), "o");
    Result result;
    result.plan.destinationRoot = env.makeFolder(QStringLiteral("dest"));
    result.items = {{locked, copied{result.plan.destinationRoot + QStringLiteral("/locked.txt")}},
                    {open, copied{result.plan.destinationRoot + QStringLiteral("/open.txt")}}};
    const Faults::Immutable immutable(locked);
    if (!immutable.applied())
        GTEST_SKIP() << "chattr +i isn't available here";
    const SourceAnnotator::Summary summary =
        SourceAnnotator::apply({true, false, false, SourceAnnotator::defaultFormat()}, result);
    EXPECT_EQ(summary.annotated, 1);
    EXPECT_FALSE(summary.permissionDenied);
    ASSERT_EQ(summary.errors.size(), 1);
    EXPECT_TRUE(summary.errors.first().startsWith(QStringLiteral("locked.txt: comment write failed (")))
        << summary.errors.first().toStdString();
}

TEST(TransferFaults, ANameThatIsNotUtf8ArrivesAndLeavesAsItsBytes)
{
    AppTestEnvironment env;
    const QByteArray folder = QFile::encodeName(env.makeFolder(QStringLiteral("src/Fotos")));
    const QByteArray raw = folder + "/caf\xe9.jpg";
    const int fd = ::open(raw.constData(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "pixels", 6), 6);
    ::close(fd);
    const QString dest = env.makeFolder(QStringLiteral("dest"));

    const Plan plan = TransferPlanner::plan({NativeNames::decode(folder)}, dest);
    const Result result = TransferRunner::execute(plan, skip{});
    ASSERT_EQ(result.copiedCount(), 1);
    const QByteArray copy = QFile::encodeName(dest) + "/Fotos/caf\xe9.jpg";
    EXPECT_EQ(result.items.first().writtenURL(), NativeNames::decode(copy));
    struct stat status {};
    EXPECT_EQ(::lstat(copy.constData(), &status), 0) << "the copy carries the very bytes of the name";

    const SourceAnnotator::Summary summary =
        SourceAnnotator::apply({true, true, false, SourceAnnotator::defaultFormat()}, result);
    EXPECT_EQ(summary.annotated, 1);
    EXPECT_EQ(summary.deleted, 1);
    EXPECT_NE(::lstat(raw.constData(), &status), 0);
    const QByteArray trashed = QFile::encodeName(QDir::homePath()) + "/.local/share/Trash/files/caf\xe9.jpg";
    EXPECT_EQ(::lstat(trashed.constData(), &status), 0);
}

namespace {

// A btrfs volume in an image file, mounted through a loop device while it lives: where a copy can be a
// clone that shares the source's blocks.
class BtrfsDisk {
public:
    explicit BtrfsDisk(const QString &folder) : where(folder), image(folder + QStringLiteral(".img"))
    {
        if (::geteuid() != 0) {
            reason = QStringLiteral("a loop mount needs root");
            return;
        }
        QDir().mkpath(where);
        QFile file(image);
        if (!file.open(QIODevice::WriteOnly) || !file.resize(qint64(160) << 20)) {
            reason = file.errorString();
            return;
        }
        file.close();
        const Faults::ProcessResult made = Faults::run(QStringLiteral("mkfs.btrfs"), {"-q", image});
        if (made.exitCode != 0) {
            reason = QStringLiteral("mkfs.btrfs failed: ") + QString::fromLocal8Bit(made.err).trimmed();
            return;
        }
        const Faults::ProcessResult mounted = Faults::run(QStringLiteral("mount"), {"-o", "loop", image, where});
        if (mounted.exitCode != 0) {
            reason = QStringLiteral("the loop mount was refused: ") + QString::fromLocal8Bit(mounted.err).trimmed();
            return;
        }
        ok = true;
    }
    ~BtrfsDisk()
    {
        if (ok)
            Faults::run(QStringLiteral("umount"), {"-l", where});
        QFile::remove(image);
    }
    BtrfsDisk(const BtrfsDisk &) = delete;
    BtrfsDisk &operator=(const BtrfsDisk &) = delete;

    bool mounted() const { return ok; }
    const QString &path() const { return where; }
    const QString &whyNot() const { return reason; }

private:
    QString where;
    QString image;
    QString reason;
    bool ok = false;
};

// Whether the file's first extent is shared with another file: a clone's is.
bool firstExtentShared(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (fd < 0)
        return false;
    // The request and room for one extent, in one aligned buffer.
    alignas(fiemap) std::array<char, sizeof(fiemap) + sizeof(fiemap_extent)> buffer{};
    auto *map = reinterpret_cast<fiemap *>(buffer.data());
    map->fm_length = FIEMAP_MAX_OFFSET;
    map->fm_flags = FIEMAP_FLAG_SYNC;
    map->fm_extent_count = 1;
    const bool read = ::ioctl(fd, FS_IOC_FIEMAP, map) == 0 && map->fm_mapped_extents == 1;
    const bool shared = read && (map->fm_extents[0].fe_flags & FIEMAP_EXTENT_SHARED) != 0;
    ::close(fd);
    return shared;
}

} // namespace

TEST(TransferFaults, OnBtrfsACopySharesTheSourcesBlocks)
{
    AppTestEnvironment env;
    const BtrfsDisk disk(env.path(QStringLiteral("Shared")));
    if (!disk.mounted())
        GTEST_SKIP() << disk.whyNot().toStdString();
    QByteArray bytes(4 << 20, '\0');
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = char((i * 7919) >> 5);
    QDir().mkpath(disk.path() + QStringLiteral("/src"));
    QFile source(disk.path() + QStringLiteral("/src/video.bin"));
    ASSERT_TRUE(source.open(QIODevice::WriteOnly));
    ASSERT_EQ(source.write(bytes), bytes.size());
    ASSERT_TRUE(source.flush());
    ASSERT_EQ(::fsync(source.handle()), 0);
    source.close();

    const QString dest = disk.path() + QStringLiteral("/dest");
    QDir().mkpath(dest);
    const Result result =
        TransferRunner::execute(TransferPlanner::plan({source.fileName()}, dest), renameWithSuffix{" -copy"});
    ASSERT_EQ(result.copiedCount(), 1);
    QFile copy(dest + QStringLiteral("/video.bin"));
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.readAll(), bytes);
    EXPECT_TRUE(firstExtentShared(copy.fileName())) << "the copy is a clone";
}
