#include "transfer/mover/SourceAnnotator.h"

#include "TestEnvironment.h"
#include "metadata/FinderMetadata.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace TransferEngine;

namespace {

struct MergeCase {
    const char *name;
    QString current;
    QString merged;
};

void PrintTo(const MergeCase &c, std::ostream *os)
{
    *os << c.name;
}

class AnnotationMerge : public testing::TestWithParam<MergeCase> {};

} // namespace

TEST_P(AnnotationMerge, AddsTheTextOnceOnALineOfItsOwn)
{
    EXPECT_EQ(SourceAnnotator::merged(GetParam().current, QStringLiteral("[Copied]")), GetParam().merged);
}

INSTANTIATE_TEST_SUITE_P(Comments, AnnotationMerge,
                         testing::Values(MergeCase{"NoCommentYet", "", "[Copied]"},
                                         MergeCase{"AnExistingCommentKeepsItsText", "mine", "mine\n[Copied]"},
                                         MergeCase{"AlreadyThereChangesNothing", "mine\n[Copied]", "mine\n[Copied]"},
                                         MergeCase{"TheTestIsCaseSensitive", "[copied]", "[copied]\n[Copied]"}),
                         [](const testing::TestParamInfo<MergeCase> &info) { return std::string(info.param.name); });

namespace {

struct PermissionCase {
    const char *name;
    QString error;
    bool denied;
};

void PrintTo(const PermissionCase &c, std::ostream *os)
{
    *os << c.name;
}

class PermissionText : public testing::TestWithParam<PermissionCase> {};

} // namespace

TEST_P(PermissionText, TellsAMissingPermissionFromOtherFailures)
{
    EXPECT_EQ(SourceAnnotator::isPermissionDenied(GetParam().error), GetParam().denied);
}

INSTANTIATE_TEST_SUITE_P(
    Errors, PermissionText,
    testing::Values(PermissionCase{"AppleEventCode", "execution error: (-1743)", true},
                    PermissionCase{"BritishSpelling", "Vantrel is Not Authorised to send", true},
                    PermissionCase{"AmericanSpelling", "not authorized", true},
                    PermissionCase{"SendingRefused", "Vantrel is not allowed to send keystrokes", true},
                    PermissionCase{"ConstantName", "ERRAEEVENTNOTPERMITTED", true},
                    PermissionCase{"AReadOnlyFileIsNoPermissionMatter", "Operation not permitted", false},
                    PermissionCase{"AFullDisk", "No space left on device", false}),
    [](const testing::TestParamInfo<PermissionCase> &info) { return std::string(info.param.name); });

TEST(SourceAnnotator, RendersTheHomeAsTildeAndAnEmptyFormatAsTheDefault)
{
    TestEnvironment env;
    const QDate day(2026, 3, 4);
    EXPECT_EQ(SourceAnnotator::render(QString(), Paths::home() + QStringLiteral("/Backups"), day),
              QStringLiteral("[Copied to ~/Backups on 2026-03-04]"));
    EXPECT_EQ(SourceAnnotator::render(QStringLiteral("{dest}|{dest}|{date}"), QStringLiteral("/mnt/x"), day),
              QStringLiteral("/mnt/x|/mnt/x|2026-03-04"));
    // Only the whole home folder is "~": a neighbour whose name begins like it is left as it is.
    EXPECT_EQ(SourceAnnotator::withHomeAsTilde(Paths::home() + QStringLiteral("2/x")),
              Paths::home() + QStringLiteral("2/x"));
    EXPECT_EQ(SourceAnnotator::withHomeAsTilde(QStringLiteral("/mnt") + Paths::home()),
              QStringLiteral("/mnt") + Paths::home());
}

TEST(SourceAnnotator, CommentsAndTrashesOnlyWhatWasCopied)
{
    TestEnvironment env;
    const QString copiedSource = env.makeFile(QStringLiteral("src/done.txt"), "d");
    const QString skippedSource = env.makeFile(QStringLiteral("src/skipped.txt"), "s");
    const QString failedSource = env.makeFile(QStringLiteral("src/failed.txt"), "f");
    FinderMetadata::writeComment(QStringLiteral("mine"), copiedSource);
    Result result;
    result.plan.destinationRoot = env.makeFolder(QStringLiteral("dest"));
    result.items = {{copiedSource, copied{result.plan.destinationRoot + QStringLiteral("/done.txt")}},
                    {skippedSource, skipped{"Already exists at destination"}},
                    {failedSource, failed{"No space left on device"}}};
    QList<std::pair<int, int>> progress;
    const SourceAnnotator::Options both{true, true, false, QStringLiteral("[to {dest}]")};
    const SourceAnnotator::Summary summary = SourceAnnotator::apply(both, result, [&](int done, int total) {
        progress.append({done, total});
    });

    EXPECT_EQ(summary.annotated, 1);
    EXPECT_EQ(summary.deleted, 1);
    EXPECT_TRUE(summary.errors.isEmpty()) << summary.errors.join('\n').toStdString();
    EXPECT_EQ(progress, (QList<std::pair<int, int>>{{1, 1}}));
    EXPECT_FALSE(QFile::exists(copiedSource));
    EXPECT_TRUE(QFile::exists(skippedSource));
    EXPECT_TRUE(QFile::exists(failedSource));
    EXPECT_EQ(FinderMetadata::readComment(skippedSource), std::nullopt);

    // The original is in the home's Trash, commented, with an info file that leads back.
    const QString trash = QDir::homePath() + QStringLiteral("/.local/share/Trash");
    const QString trashed = trash + QStringLiteral("/files/done.txt");
    ASSERT_TRUE(QFile::exists(trashed));
    EXPECT_EQ(FinderMetadata::readComment(trashed),
              QStringLiteral("mine\n[to %1]").arg(result.plan.destinationRoot.replace(Paths::home(), "~")));
    QFile info(trash + QStringLiteral("/info/done.txt.trashinfo"));
    ASSERT_TRUE(info.open(QIODevice::ReadOnly));
    const QByteArray expectedPath = "Path=" + QFile::encodeName(copiedSource);
    EXPECT_TRUE(info.readAll().contains(expectedPath));
}

TEST(SourceAnnotator, ASecondRunTheSameDayChangesNothing)
{
    TestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("src/a.txt"), "a");
    Result result;
    result.plan.destinationRoot = env.makeFolder(QStringLiteral("dest"));
    result.items = {{source, copied{result.plan.destinationRoot + QStringLiteral("/a.txt")}}};
    const SourceAnnotator::Options comment{true, false, false, SourceAnnotator::defaultFormat()};
    EXPECT_EQ(SourceAnnotator::apply(comment, result).annotated, 1);
    EXPECT_EQ(SourceAnnotator::apply(comment, result).annotated, 0);
    EXPECT_TRUE(QFile::exists(source));
}
