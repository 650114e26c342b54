#include "scan/ScanState.h"

#include "TestEnvironment.h"
#include "foundation/Defaults.h"

#include <QSignalSpy>
#include <QTest>
#include <QUuid>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

ScanReport reportNamed(const QString &workflowID, const QString &summary = {})
{
    ScanReport report;
    report.id = QUuid::createUuid();
    report.workflowID = workflowID;
    report.title = workflowID;
    report.summary = summary;
    report.generatedAt = QDateTime::currentDateTime();
    report.kind = ScanReport::Kind::stale;
    return report;
}

} // namespace

struct FloorCase {
    std::optional<int> stored;
    int atLaunch;
};

void PrintTo(const FloorCase &c, std::ostream *os)
{
    *os << c.stored.value_or(-1);
}

class StaleThresholdAtLaunch : public ::testing::TestWithParam<FloorCase> {};

TEST_P(StaleThresholdAtLaunch, IsNeverBelowItsDefault)
{
    TestEnvironment env;
    if (GetParam().stored)
        env.defaults().setValue(DefaultsKeys::staleThresholdDays, *GetParam().stored);
    ScanState scans(env.defaults());
    EXPECT_EQ(scans.staleThresholdDays(), GetParam().atLaunch);
}

INSTANTIATE_TEST_SUITE_P(Floors, StaleThresholdAtLaunch,
                         ::testing::Values(FloorCase{std::nullopt, 180}, FloorCase{0, 180}, FloorCase{90, 180},
                                           FloorCase{180, 180}, FloorCase{365, 365}, FloorCase{730, 730}));

TEST(ScanState, ASmallerPresetHoldsUntilTheNextLaunch)
{
    TestEnvironment env;
    {
        ScanState scans(env.defaults());
        scans.setLargeFileThreshold(10);
        scans.setDownloadsTidyThreshold(7);
        EXPECT_EQ(scans.largeFileThresholdMB(), 10);
        EXPECT_EQ(env.defaults().value(DefaultsKeys::largeFileThresholdMB), 10);
    }
    ScanState relaunched(env.defaults());
    EXPECT_EQ(relaunched.largeFileThresholdMB(), 100);
    EXPECT_EQ(relaunched.downloadsTidyThresholdDays(), 30);
}

TEST(ScanState, AThresholdChangeReworksOnlyItsOwnScansReport)
{
    TestEnvironment env;
    ScanState scans(env.defaults());
    FileWalker::WalkedFile walked{QStringLiteral("/tmp/a"), 5, std::nullopt};
    int rebuilds = 0;
    scans.storeCache({QStringLiteral("old-stale-files"), {walked}}, [&](const auto &files, int days) {
        ++rebuilds;
        return reportNamed(QStringLiteral("old-stale-files"),
                           QStringLiteral("%1 files, %2 d").arg(files.size()).arg(days));
    });
    scans.presentReport(reportNamed(QStringLiteral("old-stale-files")));

    scans.setLargeFileThreshold(500);
    EXPECT_EQ(rebuilds, 0);
    scans.setStaleThreshold(30);
    EXPECT_EQ(rebuilds, 1);
    EXPECT_EQ(scans.activeReport()->summary, QStringLiteral("1 files, 30 d"));

    // After a reset there is no cache: the value is stored and the report left alone.
    scans.resetScan();
    scans.setStaleThreshold(90);
    EXPECT_EQ(rebuilds, 1);
    EXPECT_EQ(scans.activeReport()->summary, QStringLiteral("1 files, 30 d"));
    EXPECT_EQ(env.defaults().value(DefaultsKeys::staleThresholdDays), 90);
}

TEST(ScanState, ANewScanCancelsTheOneBeforeAndOnlyTheLastReports)
{
    TestEnvironment env;
    ScanState scans(env.defaults());
    std::atomic<bool> firstSawStop{false};
    scans.runScan([&](std::stop_token stop, const ScanState::PublishProgress &publish) -> std::optional<ScanReport> {
        publish({QStringLiteral("first"), 0, 0});
        while (!stop.stop_requested())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        firstSawStop = true;
        return reportNamed(QStringLiteral("first"));
    });
    EXPECT_TRUE(scans.isScanning());
    scans.runScan([](std::stop_token, const ScanState::PublishProgress &publish) -> std::optional<ScanReport> {
        publish({QStringLiteral("Hashing files"), 1, 2});
        return reportNamed(QStringLiteral("second"));
    });
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_TRUE(firstSawStop);
    EXPECT_FALSE(scans.isScanning());
    EXPECT_FALSE(scans.scanProgress().has_value());
    ASSERT_TRUE(scans.activeReport().has_value());
    EXPECT_EQ(scans.activeReport()->workflowID, QStringLiteral("second"));
}

TEST(ScanState, ProgressIsPublishedOnTheMainThreadWhileRunning)
{
    TestEnvironment env;
    ScanState scans(env.defaults());
    QSignalSpy progress(&scans, &ScanState::scanProgressChanged);
    std::atomic<bool> release{false};
    scans.runScan([&](std::stop_token, const ScanState::PublishProgress &publish) -> std::optional<ScanReport> {
        publish({QStringLiteral("Hashing files"), 3, 10});
        while (!release)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return std::nullopt;
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return scans.scanProgress().has_value(); }, 5000));
    EXPECT_EQ(scans.scanProgress()->processed, 3);
    EXPECT_EQ(scans.scanProgress()->total, 10);
    release = true;
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_FALSE(scans.scanProgress().has_value());
    EXPECT_FALSE(scans.activeReport().has_value());
    EXPECT_GE(progress.count(), 2);
}
