#include "platform/FileMoves.h"

#include "TestHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

dev_t deviceOf(const QString &path)
{
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_dev : dev_t(0);
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

QByteArray attribute(const QString &path, const char *name)
{
    QByteArray value(256, '\0');
    const ssize_t size = ::getxattr(QFile::encodeName(path).constData(), name, value.data(), std::size_t(value.size()));
    return size < 0 ? QByteArray("<none>") : value.left(size);
}

bool setAttribute(const QString &path, const char *name, const QByteArray &value)
{
    return ::setxattr(QFile::encodeName(path).constData(), name, value.constData(), std::size_t(value.size()), 0) == 0;
}

// Everything in `folder`, hidden names included: a leftover partial copy would show here.
QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// A home on one file system and a destination on another: the test home under the temporary
// folder, the destination in shared memory.
class CrossDevice : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!QFileInfo(QStringLiteral("/dev/shm")).isWritable())
            GTEST_SKIP() << "no /dev/shm to move onto";
        other = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/vantrel-test-XXXXXX"));
        ASSERT_TRUE(other->isValid());
        if (deviceOf(other->path()) == deviceOf(env.home()))
            GTEST_SKIP() << "/dev/shm is on the same file system as the temporary folder";
    }

    QString trashed(const QString &name) const { return env.path(".local/share/Trash/files/" + name); }

    TestHome env;
    std::unique_ptr<QTemporaryDir> other;
};

} // namespace

TEST_F(CrossDevice, CopiesEverythingThenTrashesTheOriginal)
{
    QByteArray content(3 * 1024 * 1024 + 17, '\0');
    QRandomGenerator generator(7);
    for (char &byte : content)
        byte = char(generator.bounded(256));
    const QString source = env.makeFile("Downloads/report.pdf", content);
    const QDateTime old = QDateTime::fromSecsSinceEpoch(1'500'000'000);
    {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(old, QFileDevice::FileModificationTime));
    }
    ASSERT_TRUE(
        QFile::setPermissions(source, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup));
    ASSERT_TRUE(setAttribute(source, "user.xdg.tags", "Red,Work"));
    // Not every kernel keeps user attributes in shared memory; where it can't, the copy goes without.
    const QString probe = other->filePath("probe");
    QFile(probe).open(QIODevice::WriteOnly);
    const bool keepsAttributes = setAttribute(probe, "user.probe", "1");
    QFile::remove(probe);

    const QString target = other->filePath("Tidy/report.pdf");
    ASSERT_TRUE(QDir().mkpath(QFileInfo(target).absolutePath()));
    const FileMoves::Result result = FileMoves::moveNoReplace(source, target);

    ASSERT_EQ(result.outcome, FileMoves::Outcome::moved) << result.error.toStdString();
    EXPECT_EQ(readAll(target), content);
    EXPECT_EQ(QFileInfo(target).lastModified(), old);
    EXPECT_TRUE(QFileInfo(target).permissions().testFlag(QFileDevice::ReadGroup));
    EXPECT_FALSE(QFileInfo(target).permissions().testFlag(QFileDevice::ReadOther));
    if (keepsAttributes) {
        EXPECT_EQ(attribute(target, "user.xdg.tags"), "Red,Work");
    }
    EXPECT_EQ(entries(other->filePath("Tidy")), QStringList{"report.pdf"});
    EXPECT_FALSE(QFileInfo::exists(source));
    EXPECT_EQ(readAll(trashed("report.pdf")), content);
}

TEST_F(CrossDevice, NeverReplacesAndLeavesNoPartialBehind)
{
    const QString source = env.makeFile("Downloads/a.zip", "new");
    const QString target = other->filePath("a.zip");
    {
        QFile existing(target);
        ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
        existing.write("kept");
    }
    EXPECT_EQ(FileMoves::moveNoReplace(source, target).outcome, FileMoves::Outcome::destinationExists);
    EXPECT_EQ(readAll(target), "kept");
    EXPECT_EQ(readAll(source), "new");
    EXPECT_EQ(entries(other->path()), QStringList{"a.zip"});
}

// Packages such as a Pages document are folders, and Downloads Tidy moves them like files.
TEST_F(CrossDevice, MovesAFolderWithEverythingInside)
{
    const QString package = env.makeFolder("Downloads/Report.pages");
    env.makeFile("Downloads/Report.pages/Index.zip", "index");
    env.makeFile("Downloads/Report.pages/.hidden", "dot");
    env.makeFile("Downloads/Report.pages/Data/image.png", "png");
    ASSERT_TRUE(QFile::link("Data/image.png", package + "/preview.png"));
    ASSERT_TRUE(setAttribute(package + "/Index.zip", "user.xdg.comment", "draft"));
    const QDateTime old = QDateTime::fromSecsSinceEpoch(1'400'000'000);
    ASSERT_EQ(::chmod(QFile::encodeName(package).constData(), 0750), 0);
    const std::array<timespec, 2> times{timespec{old.toSecsSinceEpoch(), 0}, timespec{old.toSecsSinceEpoch(), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(package).constData(), times.data(), 0), 0);
    const QString target = other->filePath("Report.pages");

    const FileMoves::Result result = FileMoves::moveNoReplace(package, target);

    ASSERT_EQ(result.outcome, FileMoves::Outcome::moved) << result.error.toStdString();
    EXPECT_EQ(entries(target), (QStringList{".hidden", "Data", "Index.zip", "preview.png"}));
    EXPECT_EQ(readAll(target + "/Data/image.png"), "png");
    EXPECT_EQ(QFileInfo(target + "/preview.png").symLinkTarget(), target + "/Data/image.png");
    EXPECT_EQ(QFileInfo(target).lastModified(), old);
    EXPECT_FALSE(QFileInfo(target).permissions().testFlag(QFileDevice::ReadOther));
    EXPECT_TRUE(QFileInfo(target).permissions().testFlag(QFileDevice::ExeGroup));
    EXPECT_EQ(entries(other->path()), QStringList{"Report.pages"});
    EXPECT_FALSE(QFileInfo::exists(package));
    EXPECT_EQ(readAll(trashed("Report.pages") + "/Index.zip"), "index");
}

TEST_F(CrossDevice, WhatHasNoCopyStaysAndLeavesNothingBehind)
{
    const QString folder = env.makeFolder("Downloads/Project");
    env.makeFile("Downloads/Project/inner.txt", "x");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder + "/pipe").constData(), 0600), 0);
    const FileMoves::Result withPipe = FileMoves::moveNoReplace(folder, other->filePath("Project"));
    EXPECT_EQ(withPipe.outcome, FileMoves::Outcome::failed);
    EXPECT_FALSE(withPipe.error.isEmpty());
    EXPECT_EQ(readAll(folder + "/inner.txt"), "x");

    EXPECT_EQ(FileMoves::moveNoReplace(env.path("Downloads/gone.txt"), other->filePath("gone.txt")).outcome,
              FileMoves::Outcome::failed);
    EXPECT_TRUE(entries(other->path()).isEmpty());
}

// When the Trash can't take the original, the file must not end up in two places: the copy goes.
TEST_F(CrossDevice, TakesTheCopyBackWhenTheTrashRefuses)
{
    const QString source = env.makeFile("Downloads/photo.jpg", "pixels");
    const QString dataHome = env.makeFile("not-a-folder", "the data folder is a file");
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));
    const QString target = other->filePath("photo.jpg");

    const FileMoves::Result result = FileMoves::moveNoReplace(source, target);

    EXPECT_EQ(result.outcome, FileMoves::Outcome::failed);
    EXPECT_EQ(result.error, QStringLiteral("The original couldn’t be moved to the Trash."));
    EXPECT_EQ(readAll(source), "pixels");
    EXPECT_TRUE(entries(other->path()).isEmpty());
}
