#include "foundation/ByteCountFormatter.h"

#include <gtest/gtest.h>

#include <limits>

struct ByteCase {
    quint64 bytes;
    const char *text;
};

void PrintTo(const ByteCase &c, std::ostream *os)
{
    *os << c.bytes << " bytes";
}

class ByteCounts : public ::testing::TestWithParam<ByteCase> {};

TEST_P(ByteCounts, ReadAsTheMacFileStyleFormatterWritesThem)
{
    EXPECT_EQ(ByteCountFormatter::format(GetParam().bytes), QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Table, ByteCounts,
                         ::testing::Values(
                             // Below 1,000 the count itself.
                             ByteCase{0, "Zero KB"}, ByteCase{1, "1 byte"}, ByteCase{2, "2 bytes"},
                             ByteCase{999, "999 bytes"},
                             // KB, no decimals, half and more rounding up.
                             ByteCase{1000, "1 KB"}, ByteCase{1499, "1 KB"}, ByteCase{1500, "2 KB"},
                             ByteCase{12'345, "12 KB"}, ByteCase{999'499, "999 KB"},
                             // Rounding that would reach 1,000 of a unit moves to the next one.
                             ByteCase{999'500, "1 MB"}, ByteCase{999'999, "1 MB"},
                             // MB, one decimal, a trailing zero dropped.
                             ByteCase{1'000'000, "1 MB"}, ByteCase{1'049'999, "1 MB"}, ByteCase{1'050'000, "1.1 MB"},
                             ByteCase{1'234'567, "1.2 MB"}, ByteCase{1'500'000, "1.5 MB"},
                             ByteCase{999'949'999, "999.9 MB"}, ByteCase{999'950'000, "1 GB"},
                             // GB and above, two decimals.
                             ByteCase{1'200'000'000, "1.2 GB"}, ByteCase{1'234'567'890, "1.23 GB"},
                             ByteCase{1'005'000'000, "1.01 GB"}, ByteCase{1'004'999'999, "1 GB"},
                             ByteCase{2'000'000'000, "2 GB"}, ByteCase{999'995'000'000, "1 TB"},
                             ByteCase{5'432'100'000'000ULL, "5.43 TB"}, ByteCase{1'230'000'000'000'000ULL, "1.23 PB"},
                             ByteCase{std::numeric_limits<quint64>::max(), "18.45 EB"}));
