#include "platform/Volumes.h"

#include "TestHome.h"

#include <QDir>
#include <QProcess>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using Volumes::Mount;

struct MountInfoCase {
    const char *name;
    QByteArray text;
    QList<Mount> expected;
};

void PrintTo(const MountInfoCase &c, std::ostream *os)
{
    *os << c.name;
}

class MountInfo : public testing::TestWithParam<MountInfoCase> {};

} // namespace

TEST_P(MountInfo, ReadsEachMountWithItsPathDecoded)
{
    EXPECT_EQ(Volumes::parseMountInfo(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, MountInfo,
    testing::Values(
        MountInfoCase{"Root", "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n", {{"/", "ext4", "/dev/sda1"}}},
        MountInfoCase{"NoOptionalFields",
                      "30 22 0:25 / /mnt/share rw - nfs4 nas:/export rw,vers=4.2",
                      {{"/mnt/share", "nfs4", "nas:/export"}}},
        MountInfoCase{"ManyOptionalFields",
                      "31 22 0:26 / /media/usb rw shared:5 master:2 unbindable - vfat /dev/sdb1 rw",
                      {{"/media/usb", "vfat", "/dev/sdb1"}}},
        MountInfoCase{"EscapedBlanksAndBackslash",
                      "40 22 0:30 / /media/My\\040Disk\\134x rw - fuse.sshfs me@host:/a\\040b rw",
                      {{"/media/My Disk\\x", "fuse.sshfs", "me@host:/a b"}}},
        MountInfoCase{"GarbageIsPassedOver",
                      "not a mount line\n\n41 22 0:31 / /x rw - tmpfs tmpfs rw\n1 2 3\n",
                      {{"/x", "tmpfs", "tmpfs"}}}),
    [](const testing::TestParamInfo<MountInfoCase> &info) { return std::string(info.param.name); });

namespace {

struct MountForCase {
    const char *name;
    QString path;
    std::optional<QString> mountPoint;
};

void PrintTo(const MountForCase &c, std::ostream *os)
{
    *os << c.name;
}

class MountFor : public testing::TestWithParam<MountForCase> {};

const QList<Mount> table{{"/", "ext4", "/dev/sda1"},
                         {"/a/b", "nfs", "nas:/b"},
                         {"/home", "btrfs", "/dev/sda2"},
                         {"/home", "tmpfs", "tmpfs"}};

} // namespace

TEST_P(MountFor, TakesTheLongestPointThatHoldsThePath)
{
    const auto found = Volumes::mountFor(GetParam().path, table);
    ASSERT_EQ(found.has_value(), GetParam().mountPoint.has_value());
    if (found) {
        EXPECT_EQ(found->mountPoint, *GetParam().mountPoint);
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, MountFor,
                         testing::Values(MountForCase{"TheMountPointItself", "/a/b", "/a/b"},
                                         MountForCase{"Inside", "/a/b/c/d.txt", "/a/b"},
                                         MountForCase{"ASiblingWithTheSamePrefix", "/a/bc", "/"},
                                         MountForCase{"Uncleaned", "/a/b/../bc/./x", "/"},
                                         MountForCase{"RelativeIsNowhere", "a/b", std::nullopt}),
                         [](const testing::TestParamInfo<MountForCase> &info) { return std::string(info.param.name); });

TEST(MountFor, AMountStackedOnAnotherHidesIt)
{
    EXPECT_EQ(Volumes::mountFor(QStringLiteral("/home/me"), table)->type, QStringLiteral("tmpfs"));
}

TEST(Volumes, AVolumeIsNamedByItsMountPointsLastComponent)
{
    const QList<std::pair<const char *, const char *>> rows{
        {"/", "/"}, {"/media/me/USB STICK", "USB STICK"}, {"/mnt/backup/", "backup"}, {"/home", "home"}};
    for (const auto &[point, name] : rows)
        EXPECT_EQ(Volumes::volumeName({QString::fromUtf8(point), "ext4", "/dev/sdb1"}), QString::fromUtf8(name))
            << point;
}

TEST(Volumes, NetworkTypesAreTheOnesThatReachAnotherMachine)
{
    for (const char *type : {"nfs", "nfs4", "cifs", "smb3", "fuse.sshfs", "9p"})
        EXPECT_TRUE(Volumes::isNetworkType(QString::fromLatin1(type))) << type;
    for (const char *type : {"ext4", "btrfs", "xfs", "tmpfs", "vfat", "fuse.gvfsd-fuse", "overlay"})
        EXPECT_FALSE(Volumes::isNetworkType(QString::fromLatin1(type))) << type;
}

TEST(Volumes, TheFactsOfARealFolder)
{
    TestHome env;
    const QString folder = env.makeFolder(QStringLiteral("here"));
    const Volumes::Facts facts = Volumes::facts(folder);
    EXPECT_GT(facts.availableBytes, 0);
    struct stat status {};
    ASSERT_EQ(::stat(QFile::encodeName(folder).constData(), &status), 0);
    EXPECT_EQ(facts.volumeID, quint64(status.st_dev));
    EXPECT_TRUE(facts.writable);
    ASSERT_TRUE(facts.mount.has_value());
    EXPECT_TRUE(folder.startsWith(facts.mount->mountPoint) || facts.mount->mountPoint == QLatin1String("/"));
    EXPECT_TRUE(facts.isLocal);
    EXPECT_EQ(facts.volumeName, Volumes::volumeName(*facts.mount));
    EXPECT_FALSE(facts.volumeName.isEmpty());

    // A path that isn't there has no volume and no space to tell of.
    const Volumes::Facts gone = Volumes::facts(env.path(QStringLiteral("nowhere/at/all")));
    EXPECT_FALSE(gone.volumeID.has_value());
    EXPECT_EQ(gone.availableBytes, 0);
    EXPECT_FALSE(gone.writable);
}

TEST(Volumes, AnImmutableFolderIsNotWritableEvenForRoot)
{
    TestHome env;
    const QString folder = env.makeFolder(QStringLiteral("locked"));
    if (QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), folder}) != 0)
        GTEST_SKIP() << "chattr +i isn't possible on this file system";
    const bool writable = Volumes::facts(folder).writable;
    QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), folder});
    EXPECT_FALSE(writable);
}
