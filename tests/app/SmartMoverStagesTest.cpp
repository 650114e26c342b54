#include "app/AppState.h"

#include "AppTestEnvironment.h"
#include "metadata/FinderMetadata.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

// The stage a cancel from the progress card reaches: each stage is the scan task in turn.
struct CancelCase {
    const char *name;
    int cancelAtStart;             // cancel as the n-th task starts: 1 plan, 2 copy, 3 annotate
    QStringList asked;             // the alerts' first words, in order
    std::optional<bool> copied;    // whether the copy stands; either, when the cancel races the first file
    std::optional<bool> commented; // either, when the cancel races the first original
};

void PrintTo(const CancelCase &c, std::ostream *os)
{
    *os << c.name;
}

class SmartMoverStages : public testing::TestWithParam<CancelCase> {};

} // namespace

TEST_P(SmartMoverStages, ACancelEndsTheRunAtItsStageWithoutAReport)
{
    const CancelCase &c = GetParam();
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QString source = env.makeFile(QStringLiteral("src/a.txt"), "a");
    const QString dest = env.makeFolder(QStringLiteral("dest"));
    env.interaction().setDestination(dest);
    env.interaction().setAssumeYes(true);
    int starts = 0;
    QObject::connect(&state->scanState(), &ScanState::scanningChanged, state.get(), [&] {
        if (state->scanState().isScanning() && ++starts == c.cancelAtStart)
            state->scanState().cancelScan();
    });

    state->runWorkflow(QStringLiteral("smart-mover"), {source});
    ASSERT_TRUE(AppTestEnvironment::runUntilIdle());

    QStringList asked;
    for (const AlertRequest &alert : env.interaction().askedAlerts())
        asked.append(alert.message.section(QLatin1Char(' '), 0, 0));
    EXPECT_EQ(asked, c.asked);
    if (c.copied) {
        EXPECT_EQ(QFile::exists(dest + QStringLiteral("/a.txt")), *c.copied);
    }
    EXPECT_FALSE(QFile::exists(dest + QStringLiteral("/a -copy.txt")));
    if (c.commented) {
        EXPECT_EQ(FinderMetadata::readComment(source).has_value(), *c.commented);
    }
    EXPECT_TRUE(QFile::exists(source)) << "no original leaves without the Trash being confirmed";
    EXPECT_EQ(state->activeReport().has_value(), c.cancelAtStart == 0);
    EXPECT_FALSE(state->scanState().isScanning());
    EXPECT_FALSE(state->scanState().scanProgress().has_value());
}

INSTANTIATE_TEST_SUITE_P(
    Cancel, SmartMoverStages,
    testing::Values(CancelCase{"NeverCancelled", 0, {"Copy", "Transfer"}, true, true},
                    CancelCase{"WhilePlanning", 1, {}, false, false},
                    // A copy in flight isn't undone; nothing more is asked and no original is touched.
                    CancelCase{"WhileCopying", 2, {"Copy"}, std::nullopt, false},
                    CancelCase{"WhileAnnotating", 3, {"Copy", "Transfer"}, true, std::nullopt}),
    [](const testing::TestParamInfo<CancelCase> &info) { return std::string(info.param.name); });
