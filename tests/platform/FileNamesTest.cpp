#include "platform/FileNames.h"

#include <gtest/gtest.h>

namespace {

struct NameCase {
    const char *name;
    QString fileName;
    std::optional<QString> problem;
};

void PrintTo(const NameCase &c, std::ostream *os)
{
    *os << c.name;
}

class FileNameRule : public testing::TestWithParam<NameCase> {};

} // namespace

TEST_P(FileNameRule, SaysWhyANameIsntOne)
{
    EXPECT_EQ(FileNames::problem(GetParam().fileName), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    FileNames, FileNameRule,
    testing::Values(NameCase{"Plain", "report.pdf", std::nullopt}, NameCase{"Hidden", ".profile", std::nullopt},
                    NameCase{"ThreeDots", "...", std::nullopt}, NameCase{"DotDotWithMore", "..txt", std::nullopt},
                    NameCase{"Empty", "", QStringLiteral("A file name can't be empty.")},
                    NameCase{"Dot", ".", QStringLiteral("A file name can't be “.” or “..”.")},
                    NameCase{"DotDot", "..", QStringLiteral("A file name can't be “.” or “..”.")},
                    NameCase{"Slash", "/", QStringLiteral("A file name can't contain “/”.")},
                    NameCase{"PathUpwards", "../../X", QStringLiteral("A file name can't contain “/”.")},
                    NameCase{"Nul", QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b"),
                             QStringLiteral("A file name can't contain a NUL character.")},
                    NameCase{"LongestThatFits", QString(255, u'x'), std::nullopt},
                    NameCase{"OneByteTooLong", QString(256, u'x'),
                             QStringLiteral("A file name can't be longer than 255 bytes.")},
                    // Bytes, not characters: 128 "é" are 256 bytes of UTF-8.
                    NameCase{"TooLongInBytesOnly", QString(128, u'é'),
                             QStringLiteral("A file name can't be longer than 255 bytes.")}),
    [](const testing::TestParamInfo<NameCase> &info) { return std::string(info.param.name); });

TEST(FileNames, APartMayBeADotButNeverHoldASlash)
{
    EXPECT_EQ(FileNames::partProblem(QStringLiteral(".")), std::nullopt);
    EXPECT_EQ(FileNames::partProblem(QString()), std::nullopt);
    EXPECT_EQ(FileNames::partProblem(QStringLiteral("2026-")), std::nullopt);
    EXPECT_EQ(FileNames::partProblem(QStringLiteral("a/")), QStringLiteral("A file name can't contain “/”."));
}
