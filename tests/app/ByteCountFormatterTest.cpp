#include "app/ByteCountFormatter.h"

#include <gtest/gtest.h>

struct ByteCase {
    quint64 bytes;
    const char *text;
};

void PrintTo(const ByteCase &c, std::ostream *os)
{
    *os << c.bytes;
}

class ByteCounts : public ::testing::TestWithParam<ByteCase> {};

TEST_P(ByteCounts, ReadLikeTheFileStyleFormatter)
{
    EXPECT_EQ(ByteCountFormatter::format(GetParam().bytes), QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Table, ByteCounts,
                         ::testing::Values(ByteCase{0, "Zero KB"}, ByteCase{1, "1 byte"}, ByteCase{2, "2 bytes"},
                                           ByteCase{999, "999 bytes"}, ByteCase{1000, "1 KB"}, ByteCase{1499, "1 KB"},
                                           ByteCase{1500, "2 KB"}, ByteCase{12345, "12 KB"}, ByteCase{999499, "999 KB"},
                                           ByteCase{999999, "1 MB"}, ByteCase{1000000, "1 MB"},
                                           ByteCase{1234567, "1.2 MB"}, ByteCase{1500000, "1.5 MB"},
                                           ByteCase{999960000, "1 GB"}, ByteCase{1234567890, "1.23 GB"},
                                           ByteCase{2000000000, "2 GB"}, ByteCase{1200000000, "1.2 GB"},
                                           ByteCase{5432100000000ULL, "5.43 TB"}));
