#include "platform/FileCopy.h"

#include "TestHome.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

TEST(FileCopyAsNew, ACancelInsideAFileLeavesNothing)
{
    TestHome home;
    const QString source = home.makeFile(QStringLiteral("big.bin"), QByteArray(48 << 20, 'b'));
    const QString folder = home.makeFolder(QStringLiteral("dest"));
    int chunks = 0;
    FileCopy::Watch watch;
    watch.cancelled = [&chunks] { return chunks >= 1; };
    watch.advanced = [&chunks](qint64) { ++chunks; };
    watch.mayClone = false;
    errno = 0;
    EXPECT_FALSE(FileCopy::copyFileAsNew(QFile::encodeName(source), QFile::encodeName(folder + "/big.bin"), watch));
    EXPECT_EQ(errno, ECANCELED);
    EXPECT_EQ(chunks, 1) << "the cancel is heard between chunks, inside the file";
    EXPECT_TRUE(entries(folder).isEmpty()) << entries(folder).join(QLatin1Char(' ')).toStdString();
}

TEST(FileCopyAsNew, NeverReplacesANameTakenMeanwhile)
{
    TestHome home;
    const QString source = home.makeFile(QStringLiteral("a.txt"), "new");
    const QString taken = home.makeFile(QStringLiteral("dest/a.txt"), "theirs");
    errno = 0;
    EXPECT_FALSE(FileCopy::copyFileAsNew(QFile::encodeName(source), QFile::encodeName(taken), {}));
    EXPECT_EQ(errno, EEXIST);
    QFile file(taken);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "theirs");
    EXPECT_EQ(entries(home.path(QStringLiteral("dest"))), QStringList{QStringLiteral("a.txt")});
}

TEST(FileCopyAsNew, RefusesAPipeWithoutWaitingOnIt)
{
    TestHome home;
    const QByteArray fifo = QFile::encodeName(home.path(QStringLiteral("pipe")));
    ASSERT_EQ(::mkfifo(fifo.constData(), 0600), 0);
    const QString folder = home.makeFolder(QStringLiteral("dest"));
    errno = 0;
    EXPECT_FALSE(FileCopy::copyFileAsNew(fifo, QFile::encodeName(folder + "/pipe"), {}));
    EXPECT_NE(errno, 0);
    EXPECT_TRUE(entries(folder).isEmpty());
}
