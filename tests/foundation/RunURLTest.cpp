#include "foundation/RunURL.h"
#include "platform/NativeNames.h"

#include <gtest/gtest.h>

struct DecodeCase {
    const char *url;
    QStringList paths;
};

void PrintTo(const DecodeCase &c, std::ostream *os)
{
    *os << c.url;
}

class RunURLDecoding : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(RunURLDecoding, SplitsAndDecodesEachPiece)
{
    const RunURL::Parts parts = RunURL::split(QString::fromUtf8(GetParam().url));
    EXPECT_EQ(RunURL::decodePaths(parts.files), GetParam().paths);
}

INSTANTIATE_TEST_SUITE_P(
    Pieces, RunURLDecoding,
    ::testing::Values(DecodeCase{"vantrel://run/tag-audit", {}}, DecodeCase{"vantrel://run/tag-audit?files=", {}},
                      DecodeCase{"vantrel://run/x?files=a||b", {"a", "b"}}, DecodeCase{"vantrel://run/x?files=|", {}},
                      DecodeCase{"vantrel://run/x?files=%2Ftmp%2Fa%257Cb", {"/tmp/a|b"}},
                      DecodeCase{"vantrel://run/x?files=/tmp/a%25ZZb", {"/tmp/a%ZZb"}},
                      DecodeCase{"vantrel://run/x?files=/tmp/100%", {"/tmp/100%"}},
                      // A byte that isn't UTF-8 belongs to the name.
                      DecodeCase{"vantrel://run/x?files=/tmp/%25FF", {NativeNames::decode("/tmp/\xFF")}},
                      DecodeCase{"vantrel://run/x?other=1&files=/a|/b&files=/c", {"/a", "/b"}},
                      DecodeCase{"vantrel://run/x?files=/a+b", {"/a+b"}},
                      DecodeCase{"vantrel://run/x?files=%2FCaf%25C3%25A9", {"/Café"}}));

struct PartsCase {
    const char *url;
    const char *scheme;
    std::optional<QString> host;
    const char *id;
};

void PrintTo(const PartsCase &c, std::ostream *os)
{
    *os << c.url;
}

class RunURLParts : public ::testing::TestWithParam<PartsCase> {};

TEST_P(RunURLParts, KeepsTheHostAsWritten)
{
    const RunURL::Parts parts = RunURL::split(QString::fromUtf8(GetParam().url));
    EXPECT_EQ(parts.scheme, QString::fromUtf8(GetParam().scheme));
    EXPECT_EQ(parts.host, GetParam().host);
    EXPECT_EQ(parts.id, QString::fromUtf8(GetParam().id));
}

INSTANTIATE_TEST_SUITE_P(Grammar, RunURLParts,
                         ::testing::Values(PartsCase{"VANTREL://run/tag-audit", "vantrel", "run", "tag-audit"},
                                           PartsCase{"vantrel://RUN/tag-audit", "vantrel", "RUN", "tag-audit"},
                                           PartsCase{"vantrel:///git-init", "vantrel", std::nullopt, "git-init"},
                                           PartsCase{"vantrel://run//git-init/", "vantrel", "run", "git-init"},
                                           PartsCase{"vantrel://run/a/b/", "vantrel", "run", "a/b"},
                                           PartsCase{"vantrel://run:80/x", "vantrel", "run", "x"},
                                           PartsCase{"tag-audit", "", std::nullopt, "tag-audit"}));

TEST(RunURL, PathsSurviveTheWayOutAndBack)
{
    const QStringList paths{"/tmp/a|b", "/tmp/100% sure", "/tmp/x&y=z+w#v?u", "/tmp/Café ☕", "/tmp/semi;colon"};
    const QString url = RunURL::make(QStringLiteral("smart-mover"), paths);
    const RunURL::Parts parts = RunURL::split(url);
    EXPECT_EQ(parts.host, QStringLiteral("run"));
    EXPECT_EQ(parts.id, QStringLiteral("smart-mover"));
    EXPECT_EQ(RunURL::decodePaths(parts.files), paths);
    // A "|" inside a path is encoded twice, never left as a separator.
    EXPECT_FALSE(url.contains(QLatin1Char('|')));
    EXPECT_TRUE(url.contains(QStringLiteral("%257C")));
}

TEST(RunURL, RemovingEncodingFailsOnlyOnBrokenSequences)
{
    EXPECT_EQ(RunURL::removePercentEncoding(QStringLiteral("a%20b")), QStringLiteral("a b"));
    EXPECT_FALSE(RunURL::removePercentEncoding(QStringLiteral("a%2")).has_value());
    EXPECT_FALSE(RunURL::removePercentEncoding(QStringLiteral("a%G0")).has_value());
    // A byte that isn't UTF-8 is part of a file's name, and kept as NativeNames keeps it.
    EXPECT_EQ(RunURL::removePercentEncoding(QStringLiteral("%FF")), QString(QChar(0xDCFF)));
    EXPECT_EQ(RunURL::encodePath(QStringLiteral("/a b/c|d")), QStringLiteral("/a%20b/c%7Cd"));
}

// A path whose name isn't UTF-8 travels in the URL as its own bytes and comes out naming the same file.
TEST(RunURL, CarriesNamesThatAreNotUtf8)
{
    const QStringList paths{NativeNames::decode("/Fotos/Caf\xE9 1.jpg"), NativeNames::decode("/\xFF|x")};
    EXPECT_EQ(RunURL::encodePath(paths.first()), QStringLiteral("/Fotos/Caf%E9%201.jpg"));
    const QString url = RunURL::make(QStringLiteral("duplicate-reports"), paths);
    const QStringList decoded = RunURL::decodePaths(RunURL::split(url).files);
    ASSERT_EQ(decoded.size(), 2);
    EXPECT_EQ(NativeNames::encode(decoded[0]), QByteArray("/Fotos/Caf\xE9 1.jpg"));
    EXPECT_EQ(NativeNames::encode(decoded[1]), QByteArray("/\xFF|x"));
}
