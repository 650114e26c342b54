#include "scan/ScanReport.h"

#include "TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

TEST(ScanReport, SurvivesJsonWithEveryOptionalPartSetOrMissing)
{
    ScanReport report;
    report.id = QUuid::createUuid();
    report.workflowID = QStringLiteral("downloads-tidy");
    report.title = QStringLiteral("Downloads Tidy");
    report.summary = QStringLiteral("3 files");
    report.generatedAt = QDateTime::fromString(QStringLiteral("2026-11-22T10:20:30.456Z"), Qt::ISODateWithMs);
    report.kind = ScanReport::Kind::tidy;
    const QUuid group = QUuid::createUuid();
    report.items = {
        ScanItem{QUuid::createUuid(), QStringLiteral("/tmp/a b.pdf"), 5000000000ULL, report.generatedAt,
                 QStringLiteral("old"), group},
        ScanItem{QUuid::createUuid(), QStringLiteral("/tmp/c"), 0, std::nullopt, std::nullopt, std::nullopt}};
    report.groups = QList<ScanGroup>{{group, QStringLiteral("PDFs")}};
    report.plannedMoves = QList<PlannedMove>{
        {QUuid::createUuid(), QStringLiteral("/tmp/a b.pdf"), QStringLiteral("/tmp/T/a b.pdf"), QStringLiteral("old")}};

    const QJsonObject json = report.toJson();
    EXPECT_EQ(json.value(QStringLiteral("kind")).toString(), QStringLiteral("tidy"));
    EXPECT_TRUE(json.value(QStringLiteral("items")).toArray()[1].toObject().value(QStringLiteral("badge")).isNull());
    const auto back = ScanReport::fromJson(QJsonDocument::fromJson(QJsonDocument(json).toJson()).object());
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, report);
    EXPECT_EQ(back->totalSize(), 5000000000ULL);

    report.groups.reset();
    report.plannedMoves.reset();
    const QJsonObject bare = report.toJson();
    EXPECT_TRUE(bare.value(QStringLiteral("groups")).isNull());
    EXPECT_EQ(ScanReport::fromJson(bare), report);
    EXPECT_FALSE(ScanReport::fromJson(QJsonObject{{QStringLiteral("kind"), QStringLiteral("nope")}}).has_value());
}

TEST(ScanReport, KindsHaveTheirNamesAndSymbols)
{
    EXPECT_EQ(ScanReport::symbol(ScanReport::Kind::transferMove), QStringLiteral("arrow.up.forward.app.fill"));
    EXPECT_EQ(ScanReport::symbol(ScanReport::Kind::projectSnapshot),
              QStringLiteral("shippingbox.and.arrow.backward.fill"));
    EXPECT_EQ(ScanReport::kindFromString(QStringLiteral("metadataRestore")), ScanReport::Kind::metadataRestore);
    EXPECT_EQ(ScanReport::toString(ScanReport::Kind::tagAudit), QStringLiteral("tagAudit"));
}

TEST(ScanReport, ItemForAPathTakesItsFirstWalkedFile)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Folder/only.txt"), "1234");
    const ScanItem folder = ScanReport::itemFor(env.path(QStringLiteral("Folder")), QStringLiteral("refreshed"));
    EXPECT_EQ(folder.size, 4u);
    EXPECT_TRUE(folder.modificationDate.has_value());
    const ScanItem missing = ScanReport::itemFor(env.path(QStringLiteral("none")), std::nullopt);
    EXPECT_EQ(missing.size, 0u);
    EXPECT_FALSE(missing.modificationDate.has_value());
    EXPECT_NE(folder.id, missing.id);
}

TEST(ScanThresholds, PresetLabels)
{
    QStringList stale;
    for (const auto &preset : ScanThresholds::stalePresets())
        stale.append(preset.label);
    EXPECT_EQ(stale, (QStringList{"30 d", "90 d", "180 d", "1 yr", "2 yr"}));
    QStringList large;
    for (const auto &preset : ScanThresholds::largePresets())
        large.append(preset.label);
    EXPECT_EQ(large, (QStringList{"10 MB", "50 MB", "100 MB", "500 MB", "1 GB"}));
    EXPECT_EQ(ScanThresholds::tidyPresets().last(), (ScanThresholds::Preset{90, QStringLiteral("90 d")}));
}

struct ThrottleCase {
    int total;
    int step;
    int publications;
};

void PrintTo(const ThrottleCase &c, std::ostream *os)
{
    *os << c.total;
}

class Throttle : public ::testing::TestWithParam<ThrottleCase> {};

TEST_P(Throttle, PublishesAboutSixtyTimesAtMost)
{
    const ProgressThrottle throttle(GetParam().total);
    EXPECT_EQ(throttle.step(), GetParam().step);
    int published = 0;
    for (int i = 0; i < GetParam().total; ++i)
        published += throttle.shouldPublish(i) ? 1 : 0;
    EXPECT_EQ(published, GetParam().publications);
    EXPECT_TRUE(throttle.shouldPublish(GetParam().total - 1));
}

INSTANTIATE_TEST_SUITE_P(Steps, Throttle,
                         ::testing::Values(ThrottleCase{1, 1, 1}, ThrottleCase{59, 1, 59}, ThrottleCase{60, 1, 60},
                                           ThrottleCase{600, 10, 61}, ThrottleCase{601, 10, 61},
                                           ThrottleCase{1000, 16, 64}));
