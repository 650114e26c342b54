#include "foundation/ItemFailure.h"

#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

struct ReasonCase {
    const char *label;
    const char *counts;
    QList<ItemFailure> failures;
    const char *text;
};

void PrintTo(const ReasonCase &c, std::ostream *os)
{
    *os << c.label;
}

class FirstReason : public ::testing::TestWithParam<ReasonCase> {};

} // namespace

TEST_P(FirstReason, FollowsTheCounts)
{
    EXPECT_EQ(ItemFailures::withFirstReason(QString::fromUtf8(GetParam().counts), GetParam().failures),
              QString::fromUtf8(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FirstReason,
    ::testing::Values(ReasonCase{"SystemMessage",
                                 "All 3 updates failed.",
                                 {{"/a", "Operation not permitted"}, {"/b", "No such file or directory"}},
                                 "All 3 updates failed: Operation not permitted."},
                      ReasonCase{"SentenceKeepsOneStop",
                                 "Moved 6 files · 5 failed.",
                                 {{"/a", "The original couldn’t be moved to the Trash."}},
                                 "Moved 6 files · 5 failed: The original couldn’t be moved to the Trash."},
                      ReasonCase{"NoFailures", "Updated 2 files.", {}, "Updated 2 files."},
                      ReasonCase{"BlankReason", "All 1 writes failed.", {{"/a", "  "}}, "All 1 writes failed."}),
    [](const auto &info) { return std::string(info.param.label); });

TEST(ItemFailures, JsonNamesEveryPathAndReasonInOrder)
{
    const QJsonArray json = ItemFailures::toJson({{"/x/a.txt", "Operation not permitted"}, {"/x/b.txt", "Busy"}});
    ASSERT_EQ(json.size(), 2);
    EXPECT_EQ(json[0].toObject(), (QJsonObject{{"path", "/x/a.txt"}, {"reason", "Operation not permitted"}}));
    EXPECT_EQ(json[1].toObject().value(QStringLiteral("path")).toString(), QStringLiteral("/x/b.txt"));
}
