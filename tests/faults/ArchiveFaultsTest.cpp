// An archive on a disk that fills half-way fails with the tool's own words and leaves nothing: no
// archive, no partial, no temporary of zip's.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "platform/AtomicFile.h"
#include "transfer/archive/ArchiveRunner.h"

#include <QDir>
#include <QRandomGenerator>

#include <gtest/gtest.h>

namespace {

QByteArray noise(qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator random(11);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes;
}

class FullDiskArchive : public testing::TestWithParam<ArchiveFormat> {};

} // namespace

TEST_P(FullDiskArchive, FailsCleanlyWithNothingAtThePath)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    // Noise doesn't compress: half a megabyte can't fit in 256 KB.
    const QString source = env.makeFile(QStringLiteral("in/noise.bin"), noise(512 * 1024));
    const Faults::TinyDisk disk(env.path(QStringLiteral("stick")), 256 * 1024);
    ASSERT_TRUE(disk.mounted());
    const QString archive = disk.path() + QStringLiteral("/noise.") + fileExtension(GetParam());
    const auto result = ArchiveRunner::run(GetParam(), {source}, archive, 512 * 1024, 1, {});
    ASSERT_TRUE(result.failed);
    const QString message = result.errorMessage.value_or(QString());
    EXPECT_TRUE(message.startsWith(displayName(GetParam()) + QStringLiteral(" failed (exit ")))
        << message.toStdString();
    EXPECT_FALSE(QFileInfo::exists(archive));
    EXPECT_EQ(QDir(disk.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
              QStringList{});
    EXPECT_TRUE(QFileInfo::exists(source));
}

INSTANTIATE_TEST_SUITE_P(Formats, FullDiskArchive, testing::Values(ArchiveFormat::zip, ArchiveFormat::tarGz),
                         [](const testing::TestParamInfo<ArchiveFormat> &info) {
                             return toString(info.param).toStdString();
                         });
