#include "metadata/FinderMetadata.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"

#include <QProcess>

#include <gtest/gtest.h>

namespace {

QString getfattr(const QString &path, const QString &name)
{
    QProcess process;
    process.start(QStringLiteral("getfattr"), {"--only-values", "--absolute-names", "-n", name, path});
    process.waitForFinished(10000);
    return process.exitCode() == 0 ? QString::fromUtf8(process.readAllStandardOutput()) : QStringLiteral("(none)");
}

} // namespace

TEST(FinderMetadata, CommentsAreTheDesktopsXdgComment)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Notes/café \"1\".txt"), "x");
    EXPECT_FALSE(FinderMetadata::readComment(file).has_value());

    FinderMetadata::writeComment(QStringLiteral("Draft, für Anna\nsecond line"), file);
    EXPECT_EQ(getfattr(file, QStringLiteral("user.xdg.comment")), QStringLiteral("Draft, für Anna\nsecond line"));
    EXPECT_EQ(FinderMetadata::readComment(file), QStringLiteral("Draft, für Anna\nsecond line"));

    // The empty comment, like a missing one, clears it.
    FinderMetadata::writeComment(std::nullopt, file);
    EXPECT_EQ(getfattr(file, QStringLiteral("user.xdg.comment")), QStringLiteral("(none)"));
    EXPECT_FALSE(FinderMetadata::readComment(file).has_value());
    EXPECT_FALSE(FinderMetadata::readComment(env.path(QStringLiteral("missing.txt"))).has_value());
}

TEST(FinderMetadata, TagsAndLabelsRoundTripAndClear)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    FinderMetadata::writeTags({"Red", "Work Stuff"}, file);
    EXPECT_EQ(getfattr(file, QStringLiteral("user.xdg.tags")), QStringLiteral("Red,Work Stuff"));
    ASSERT_TRUE(MetadataTestSupport::setAttribute(file, "user.xdg.tags", " a , ,b,"));
    EXPECT_EQ(FinderMetadata::readTags(file), (QStringList{"a", "b"}));
    FinderMetadata::writeTags({}, file);
    EXPECT_EQ(getfattr(file, QStringLiteral("user.xdg.tags")), QStringLiteral("(none)"));

    FinderMetadata::writeLabel(6, file);
    EXPECT_EQ(FinderMetadata::readLabel(file), 6);
    FinderMetadata::writeLabel(std::nullopt, file);
    EXPECT_FALSE(FinderMetadata::readLabel(file).has_value());
}

TEST(FinderMetadata, ARefusedWriteSaysWhatTheSystemSaid)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("locked.txt"));
    MetadataTestSupport::LockedFile lock(file);
    ASSERT_TRUE(lock.isLocked());
    try {
        FinderMetadata::writeComment(QStringLiteral("x"), file);
        FAIL() << "the write should have been refused";
    } catch (const FinderMetadata::WriteError &error) {
        EXPECT_NE(error.failure().status, 0);
        EXPECT_FALSE(error.failure().standardError.isEmpty());
        EXPECT_EQ(error.message(), QStringLiteral("Finder rejected the change (exit %1): %2")
                                       .arg(error.failure().status)
                                       .arg(error.failure().standardError));
    }
    EXPECT_THROW(FinderMetadata::writeTags({"a"}, file), std::exception);
}

struct ApplyCase {
    const char *name;
    FinderMetadata::ApplyMode mode;
    QStringList oldTags;
    int oldLabel;
    std::optional<QString> oldComment;
    FinderMetadata::Values values;
    QStringList tags;
    std::optional<int> label;
    std::optional<QString> comment;
};

void PrintTo(const ApplyCase &c, std::ostream *os)
{
    *os << c.name;
}

class FinderMetadataApply : public ::testing::TestWithParam<ApplyCase> {};

TEST_P(FinderMetadataApply, WritesWhatTheModeSays)
{
    TestEnvironment env;
    const ApplyCase &c = GetParam();
    const QString file = env.makeFile(QStringLiteral("f.txt"));
    FinderMetadata::writeTags(c.oldTags, file);
    FinderMetadata::writeLabel(c.oldLabel, file);
    FinderMetadata::writeComment(c.oldComment, file);

    FinderMetadata::apply(c.values, file, c.mode);
    EXPECT_EQ(FinderMetadata::readTags(file), c.tags);
    EXPECT_EQ(FinderMetadata::readLabel(file), c.label);
    EXPECT_EQ(FinderMetadata::readComment(file), c.comment);
}

using M = FinderMetadata::ApplyMode;
INSTANTIATE_TEST_SUITE_P(
    Modes, FinderMetadataApply,
    ::testing::Values(
        ApplyCase{"ReplaceClearsWhatIsMissing",
                  M::replace,
                  {"old"},
                  3,
                  "old note",
                  {{"new"}, std::nullopt, std::nullopt},
                  {"new"},
                  std::nullopt,
                  std::nullopt},
        ApplyCase{"ReplaceSetsAll", M::replace, {}, 0, std::nullopt, {{"b", "a"}, "hello", 2}, {"b", "a"}, 2, "hello"},
        ApplyCase{"AppendUnitesAndSortsTags",
                  M::append,
                  {"zeta", "Alpha"},
                  0,
                  std::nullopt,
                  {{"beta", "zeta"}, std::nullopt, std::nullopt},
                  {"Alpha", "beta", "zeta"},
                  std::nullopt,
                  std::nullopt},
        ApplyCase{
            "AppendKeepsAnExistingLabel", M::append, {}, 4, std::nullopt, {{}, std::nullopt, 2}, {}, 4, std::nullopt},
        ApplyCase{
            "AppendSetsALabelWhereNoneIs", M::append, {}, 0, std::nullopt, {{}, std::nullopt, 2}, {}, 2, std::nullopt},
        ApplyCase{"AppendNeverWritesLabelZero",
                  M::append,
                  {},
                  0,
                  std::nullopt,
                  {{}, std::nullopt, 0},
                  {},
                  std::nullopt,
                  std::nullopt},
        ApplyCase{"AppendJoinsCommentsWithOneLineFeed",
                  M::append,
                  {},
                  0,
                  "first",
                  {{}, "first", std::nullopt},
                  {},
                  std::nullopt,
                  "first\nfirst"},
        ApplyCase{
            "AppendWithoutCommentLeavesIt", M::append, {}, 0, "keep", {{}, "", std::nullopt}, {}, std::nullopt, "keep"},
        ApplyCase{
            "AppendOntoNoComment", M::append, {}, 0, std::nullopt, {{}, "new", std::nullopt}, {}, std::nullopt, "new"}),
    [](const testing::TestParamInfo<ApplyCase> &info) { return std::string(info.param.name); });
