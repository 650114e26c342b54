#include "platform/NativeNames.h"

#include "RemovedByBytes.h"
#include "TestHome.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A name as the file system holds it, what reading it must give, and how it is shown.
struct NameCase {
    const char *name;
    QByteArray bytes;
    QString decoded;
    QString shown;
};

void PrintTo(const NameCase &c, std::ostream *os)
{
    *os << c.name;
}

QString units(std::initializer_list<char16_t> list)
{
    QString text;
    for (const char16_t unit : list)
        text.append(QChar(unit));
    return text;
}

class NameBytes : public ::testing::TestWithParam<NameCase> {};

} // namespace

TEST_P(NameBytes, DecodeAsExpectedAndEncodeBackToTheSameBytes)
{
    const NameCase &c = GetParam();
    const QString decoded = NativeNames::decode(c.bytes);
    EXPECT_EQ(decoded, c.decoded);
    EXPECT_EQ(NativeNames::encode(decoded), c.bytes);
    EXPECT_EQ(NativeNames::display(decoded), c.shown);
    EXPECT_EQ(NativeNames::hasRawBytes(decoded), c.shown != c.decoded);
}

INSTANTIATE_TEST_SUITE_P(
    Names, NameBytes,
    ::testing::Values(
        NameCase{"Empty", "", "", ""}, NameCase{"Ascii", "report 2026.pdf", "report 2026.pdf", "report 2026.pdf"},
        NameCase{"TwoAndThreeByteCharacters", "caf\xC3\xA9 \xE2\x82\xAC", QString::fromUtf8("café €"),
                 QString::fromUtf8("café €")},
        NameCase{"FourByteCharacterBecomesASurrogatePair", "\xF0\x9F\x98\x80.png",
                 units({0xD83D, 0xDE00, '.', 'p', 'n', 'g'}), units({0xD83D, 0xDE00, '.', 'p', 'n', 'g'})},
        NameCase{"HighestCodePoint", "\xF4\x8F\xBF\xBF", units({0xDBFF, 0xDFFF}), units({0xDBFF, 0xDFFF})},
        NameCase{"Latin1Bytes", "caf\xE9.txt", units({'c', 'a', 'f', 0xDCE9, '.', 't', 'x', 't'}), "caf\\xE9.txt"},
        NameCase{"LoneContinuationByte80", "\x80", units({0xDC80}), "\\x80"},
        NameCase{"ByteFF", "a\xFF", units({'a', 0xDCFF}), "a\\xFF"},
        NameCase{"TruncatedThreeByteSequence", "\xE2\x82", units({0xDCE2, 0xDC82}), "\\xE2\\x82"},
        NameCase{"TruncatedSequenceBeforeAscii", "\xF0\x9F\x98z", units({0xDCF0, 0xDC9F, 0xDC98, 'z'}),
                 "\\xF0\\x9F\\x98z"},
        NameCase{"OverlongSlash", "\xC0\xAF", units({0xDCC0, 0xDCAF}), "\\xC0\\xAF"},
        NameCase{"OverlongThreeByteNul", "\xE0\x80\x80", units({0xDCE0, 0xDC80, 0xDC80}), "\\xE0\\x80\\x80"},
        NameCase{"OverlongFourByte", "\xF0\x80\x80\xAF", units({0xDCF0, 0xDC80, 0xDC80, 0xDCAF}),
                 "\\xF0\\x80\\x80\\xAF"},
        NameCase{"CesuSurrogatePairInBytes", "\xED\xA0\xBD\xED\xB8\x80",
                 units({0xDCED, 0xDCA0, 0xDCBD, 0xDCED, 0xDCB8, 0xDC80}), "\\xED\\xA0\\xBD\\xED\\xB8\\x80"},
        NameCase{"EncodedEscapeIsNotAnEscape", "\xED\xB3\xA9", units({0xDCED, 0xDCB3, 0xDCA9}), "\\xED\\xB3\\xA9"},
        NameCase{"PastTheLastCodePoint", "\xF4\x90\x80\x80", units({0xDCF4, 0xDC90, 0xDC80, 0xDC80}),
                 "\\xF4\\x90\\x80\\x80"},
        NameCase{"ValidAfterInvalid", "\xE9\xC3\xA9", units({0xDCE9, 0xE9}), QString::fromUtf8("\\xE9\xC3\xA9")}),
    [](const auto &info) { return std::string(info.param.name); });

// Every byte value, alone and between others, comes back as itself: nothing a disk can hold is lost.
TEST(NativeNames, EveryByteRoundTrips)
{
    QByteArray all;
    for (int byte = 1; byte < 256; ++byte) {
        const QByteArray alone(1, char(byte));
        EXPECT_EQ(NativeNames::encode(NativeNames::decode(alone)), alone) << byte;
        all.append(char(byte));
    }
    EXPECT_EQ(NativeNames::encode(NativeNames::decode(all)), all);
}

// A lone surrogate that is no escape can't come from a disk; it is written as UTF-8 would write it.
TEST(NativeNames, ALoneSurrogateThatIsNoEscapeBecomesTheReplacementCharacter)
{
    EXPECT_EQ(NativeNames::encode(units({'a', 0xD800, 'b'})), QByteArray("a\xEF\xBF\xBD"
                                                                         "b"));
    EXPECT_EQ(NativeNames::encode(units({0xDC7F})), QByteArray("\xEF\xBF\xBD"));
    EXPECT_FALSE(NativeNames::hasRawBytes(units({0xD800, 0xDC7F})));
}

// What a file manager is handed to show a file: the name's own bytes, percent-encoded.
TEST(NativeNames, FileURLCarriesTheBytes)
{
    EXPECT_EQ(NativeNames::fileURL(NativeNames::decode("/home/u/Caf\xE9 & Co.txt")),
              QStringLiteral("file:///home/u/Caf%E9%20%26%20Co.txt"));
    EXPECT_EQ(NativeNames::fileURL(QString::fromUtf8("/tmp/é")), QStringLiteral("file:///tmp/%C3%A9"));
}

// A relative path is made absolute against the working directory as bytes, even when the working
// directory's own name isn't UTF-8.
TEST(NativeNames, AbsolutePathKeepsAWorkingDirectoryThatIsNotUtf8)
{
    TestHome env;
    const RemovedByBytes cleanup{QFile::encodeName(env.home())};
    const QByteArray folder = QFile::encodeName(env.home()) + "/Archiv \xE4lter";
    ASSERT_EQ(::mkdir(folder.constData(), 0700), 0);
    const QByteArray saved = QFile::encodeName(QDir::currentPath());
    ASSERT_EQ(::chdir(folder.constData()), 0);
    const QString relative = NativeNames::decode("sub/../Br\xFC"
                                                 "cke.txt");
    const QString absolute = NativeNames::absolutePath(relative);
    const QString given = NativeNames::absolutePath(NativeNames::decode(QByteArray(folder + "/./x")));
    ASSERT_EQ(::chdir(saved.constData()), 0);

    EXPECT_EQ(NativeNames::encode(absolute), QByteArray(folder + "/Br\xFC"
                                                                 "cke.txt"));
    EXPECT_EQ(NativeNames::encode(given), QByteArray(folder + "/x"));
}
