#include "scan/ScanReport.h"

#include "TestEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <functional>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

const QDateTime generated = QDateTime::fromString(QStringLiteral("2026-11-22T10:20:30.456Z"), Qt::ISODateWithMs);

ScanReport reportOf(ScanReport::Kind kind)
{
    ScanReport report = ScanReport::begin(QStringLiteral("downloads-tidy"), QStringLiteral("Downloads Tidy"), kind);
    report.summary = QStringLiteral("2 files · 5 GB");
    report.generatedAt = generated;
    return report;
}

// Through text, as a report leaves the program (`vantrel run --json`) and comes back.
std::optional<ScanReport> throughText(const ScanReport &report)
{
    return ScanReport::fromJson(QJsonDocument::fromJson(QJsonDocument(report.toJson()).toJson()).object());
}

} // namespace

struct RoundTripCase {
    const char *name;
    std::function<void(ScanReport &)> fill;
};

void PrintTo(const RoundTripCase &c, std::ostream *os)
{
    *os << c.name;
}

class JsonRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(JsonRoundTrip, GivesBackAnEqualReport)
{
    ScanReport report = reportOf(ScanReport::Kind::tidy);
    GetParam().fill(report);
    const std::optional<ScanReport> back = throughText(report);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, report);
    EXPECT_EQ(back->groups.has_value(), report.groups.has_value());
    EXPECT_EQ(back->plannedMoves.has_value(), report.plannedMoves.has_value());
}

INSTANTIATE_TEST_SUITE_P(
    Reports, JsonRoundTrip,
    ::testing::Values(
        RoundTripCase{"Empty", [](ScanReport &) {}},
        RoundTripCase{"EveryOptionalSet",
                      [](ScanReport &r) {
                          const QUuid group = QUuid::createUuid();
                          r.items = {ScanItem{QUuid::createUuid(), QStringLiteral("/home/u/a b.pdf"), 5'000'000'000ULL,
                                              generated.addMSecs(-86'400'001), QStringLiteral("original"), group},
                                     ScanItem{QUuid::createUuid(), QStringLiteral("/home/u/ü/ç.pdf"), 0, std::nullopt,
                                              std::nullopt, std::nullopt}};
                          r.groups = QList<ScanGroup>{{group, QStringLiteral("2 copies · a b.pdf")}};
                          r.plannedMoves =
                              QList<PlannedMove>{{QUuid::createUuid(), QStringLiteral("/home/u/a b.pdf"),
                                                  QStringLiteral("/home/u/Documents/Vantrel Tidy/PDFs/a b.pdf"),
                                                  QStringLiteral("Older than 30 days")}};
                      }},
        RoundTripCase{"EmptyListsStayLists",
                      [](ScanReport &r) {
                          r.groups = QList<ScanGroup>{};
                          r.plannedMoves = QList<PlannedMove>{};
                      }},
        RoundTripCase{"FailuresWithTheirReasons",
                      [](ScanReport &r) {
                          r.failures = {{QStringLiteral("/home/u/a.pdf"), QStringLiteral("Operation not permitted")},
                                        {QStringLiteral("/home/u/ü.pdf"), QStringLiteral("Busy")}};
                      }},
        RoundTripCase{"SizesBeyondWhatADoubleHoldsExactly",
                      [](ScanReport &r) {
                          r.items = {ScanItem{QUuid::createUuid(), QStringLiteral("/big"), 9'007'199'254'740'993ULL,
                                              std::nullopt, std::nullopt, std::nullopt}};
                      }}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ScanReport, JsonUsesTheMemberNamesAndNullForWhatIsAbsent)
{
    ScanReport report = reportOf(ScanReport::Kind::metadataRestore);
    report.items = {ScanItem{QUuid::createUuid(), QStringLiteral("/x"), 12, std::nullopt, std::nullopt, std::nullopt}};
    const QJsonObject json = report.toJson();

    EXPECT_EQ(QStringList(json.keys()), (QStringList{"failures", "generatedAt", "groups", "id", "items", "kind",
                                                     "plannedMoves", "summary", "title", "workflowID"}));
    EXPECT_EQ(json.value(QStringLiteral("kind")).toString(), QStringLiteral("metadataRestore"));
    EXPECT_EQ(json.value(QStringLiteral("generatedAt")).toString(), QStringLiteral("2026-11-22T10:20:30.456Z"));
    EXPECT_EQ(json.value(QStringLiteral("id")).toString(), report.id.toString(QUuid::WithoutBraces).toUpper());
    EXPECT_TRUE(json.value(QStringLiteral("groups")).isNull());
    EXPECT_TRUE(json.value(QStringLiteral("plannedMoves")).isNull());
    // No failures is an empty list, so a script reads the same key every time.
    EXPECT_EQ(json.value(QStringLiteral("failures")).toArray(), QJsonArray());

    const QJsonObject item = json.value(QStringLiteral("items")).toArray().first().toObject();
    EXPECT_EQ(QStringList(item.keys()), (QStringList{"badge", "groupID", "id", "modificationDate", "size", "url"}));
    EXPECT_EQ(item.value(QStringLiteral("size")).toInteger(), 12);
    for (const char *absent : {"badge", "groupID", "modificationDate"})
        EXPECT_TRUE(item.value(QLatin1String(absent)).isNull()) << absent;
}

struct RejectCase {
    const char *name;
    std::function<void(QJsonObject &)> spoil;
};

void PrintTo(const RejectCase &c, std::ostream *os)
{
    *os << c.name;
}

class JsonThatIsNoReport : public ::testing::TestWithParam<RejectCase> {};

TEST_P(JsonThatIsNoReport, IsRefused)
{
    QJsonObject json = reportOf(ScanReport::Kind::large).toJson();
    ASSERT_TRUE(ScanReport::fromJson(json).has_value());
    GetParam().spoil(json);
    EXPECT_FALSE(ScanReport::fromJson(json).has_value());
}

INSTANTIATE_TEST_SUITE_P(
    Spoiled, JsonThatIsNoReport,
    ::testing::Values(
        RejectCase{"UnknownKind", [](QJsonObject &j) { j.insert(QStringLiteral("kind"), QStringLiteral("Large")); }},
        RejectCase{"NoKind", [](QJsonObject &j) { j.remove(QStringLiteral("kind")); }},
        RejectCase{"NoDate", [](QJsonObject &j) { j.insert(QStringLiteral("generatedAt"), QJsonValue()); }},
        RejectCase{"BadDate", [](QJsonObject &j) { j.insert(QStringLiteral("generatedAt"), QStringLiteral("today")); }},
        RejectCase{"ItemsNotAList", [](QJsonObject &j) { j.insert(QStringLiteral("items"), QJsonObject()); }},
        RejectCase{"AnItemNotAnObject",
                   [](QJsonObject &j) { j.insert(QStringLiteral("items"), QJsonArray{QStringLiteral("/x")}); }},
        RejectCase{"Empty", [](QJsonObject &j) { j = QJsonObject(); }}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ScanReport, EveryKindHasItsRawValueAndSymbol)
{
    using K = ScanReport::Kind;
    const QList<std::tuple<K, const char *, const char *>> table{
        {K::duplicates, "duplicates", "doc.on.doc.fill"},
        {K::stale, "stale", "calendar.badge.clock"},
        {K::large, "large", "scalemass"},
        {K::tidy, "tidy", "tray.2.fill"},
        {K::metadataExport, "metadataExport", "square.and.arrow.up.on.square.fill"},
        {K::metadataRestore, "metadataRestore", "square.and.arrow.down.on.square.fill"},
        {K::tagAudit, "tagAudit", "tag.circle.fill"},
        {K::transferCopy, "transferCopy", "arrow.up.forward.app.fill"},
        {K::transferMove, "transferMove", "arrow.up.forward.app.fill"},
        {K::projectSnapshot, "projectSnapshot", "shippingbox.and.arrow.backward.fill"}};
    for (const auto &[kind, raw, symbol] : table) {
        EXPECT_EQ(ScanReport::toString(kind), QLatin1String(raw));
        EXPECT_EQ(ScanReport::kindFromString(QLatin1String(raw)), kind) << raw;
        EXPECT_EQ(ScanReport::symbol(kind), QLatin1String(symbol)) << raw;
    }
    EXPECT_FALSE(ScanReport::kindFromString(QStringLiteral("Duplicates")).has_value());
    EXPECT_FALSE(ScanReport::kindFromString(QString()).has_value());
}

TEST(ScanReport, TotalSizeAddsEveryItem)
{
    ScanReport report = reportOf(ScanReport::Kind::large);
    EXPECT_EQ(report.totalSize(), 0u);
    for (quint64 size : {4'000'000'000ULL, 4'000'000'000ULL, 1ULL})
        report.items.append(ScanItem{QUuid::createUuid(), QStringLiteral("/f"), size, {}, {}, {}});
    EXPECT_EQ(report.totalSize(), 8'000'000'001ULL);
}

TEST(ScanReport, AnItemForAPathTakesTheFirstFileOfItsWalk)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Folder/only.txt"), "1234");
    const timespec times[2] = {{1'700'000'000, 250'000'000}, {1'700'000'000, 250'000'000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(file).constData(), times, 0), 0);
    env.makeFolder(QStringLiteral("Empty"));
    const QDateTime stamp = QDateTime::fromMSecsSinceEpoch(1'700'000'000'250, Qt::UTC);

    struct Case {
        QString path;
        quint64 size;
        std::optional<QDateTime> date;
    };
    for (const Case &c : {Case{env.path(QStringLiteral("Folder")), 4, stamp}, Case{file, 4, stamp},
                          Case{env.path(QStringLiteral("Empty")), 0, std::nullopt},
                          Case{env.path(QStringLiteral("missing")), 0, std::nullopt}}) {
        const ScanItem item = ScanReport::itemFor(c.path, QStringLiteral("refreshed"));
        EXPECT_EQ(item.url, c.path);
        EXPECT_EQ(item.size, c.size) << qPrintable(c.path);
        EXPECT_EQ(item.modificationDate, c.date) << qPrintable(c.path);
        EXPECT_EQ(item.badge, QStringLiteral("refreshed"));
        EXPECT_FALSE(item.groupID.has_value());
        EXPECT_FALSE(item.id.isNull());
    }
    EXPECT_NE(ScanReport::itemFor(file, std::nullopt).id, ScanReport::itemFor(file, std::nullopt).id);
}

TEST(ScanThresholds, PresetsOfferTheValuesWithTheirLabels)
{
    using P = ScanThresholds::Preset;
    EXPECT_EQ(ScanThresholds::stalePresets(),
              (QList<P>{{30, "30 d"}, {90, "90 d"}, {180, "180 d"}, {365, "1 yr"}, {730, "2 yr"}}));
    EXPECT_EQ(ScanThresholds::largePresets(),
              (QList<P>{{10, "10 MB"}, {50, "50 MB"}, {100, "100 MB"}, {500, "500 MB"}, {1024, "1 GB"}}));
    EXPECT_EQ(ScanThresholds::tidyPresets(), (QList<P>{{7, "7 d"}, {14, "14 d"}, {30, "30 d"}, {90, "90 d"}}));
}

struct LaunchCase {
    int stored;
    int floor;
    int atLaunch;
};

void PrintTo(const LaunchCase &c, std::ostream *os)
{
    *os << c.stored << " over " << c.floor;
}

class ThresholdAtLaunch : public ::testing::TestWithParam<LaunchCase> {};

TEST_P(ThresholdAtLaunch, IsTheStoredValueButNeverBelowTheDefault)
{
    EXPECT_EQ(ScanThresholds::atLaunch(GetParam().stored, GetParam().floor), GetParam().atLaunch);
}

INSTANTIATE_TEST_SUITE_P(Floors, ThresholdAtLaunch,
                         ::testing::Values(LaunchCase{90, 180, 180}, LaunchCase{365, 180, 365}, LaunchCase{0, 180, 180},
                                           LaunchCase{180, 180, 180}, LaunchCase{10, 100, 100},
                                           LaunchCase{1024, 100, 1024}, LaunchCase{7, 30, 30}, LaunchCase{90, 30, 90}));

struct ThrottleCase {
    int total;
    int step;
    QList<int> published; // the indices that publish
};

void PrintTo(const ThrottleCase &c, std::ostream *os)
{
    *os << c.total << " files";
}

QList<int> everyStep(int total, int step)
{
    QList<int> indices;
    for (int i = 0; i < total; i += step)
        indices.append(i);
    if (indices.isEmpty() || indices.last() != total - 1)
        indices.append(total - 1);
    return indices;
}

class Throttle : public ::testing::TestWithParam<ThrottleCase> {};

TEST_P(Throttle, PublishesAtEveryStepAndTheLastFile)
{
    const ProgressThrottle throttle(GetParam().total);
    EXPECT_EQ(throttle.step(), GetParam().step);
    QList<int> published;
    for (int i = 0; i < GetParam().total; ++i) {
        if (throttle.shouldPublish(i))
            published.append(i);
    }
    EXPECT_EQ(published, GetParam().published);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, Throttle,
    ::testing::Values(ThrottleCase{1, 1, {0}}, ThrottleCase{2, 1, {0, 1}}, ThrottleCase{59, 1, everyStep(59, 1)},
                      ThrottleCase{60, 1, everyStep(60, 1)}, ThrottleCase{119, 1, everyStep(119, 1)},
                      ThrottleCase{120, 2, everyStep(120, 2)}, ThrottleCase{600, 10, everyStep(600, 10)},
                      ThrottleCase{605, 10, everyStep(605, 10)}, ThrottleCase{1000, 16, everyStep(1000, 16)}));

TEST(Throttle, SixHundredFilesPublishEveryTenthAndTheLast)
{
    const ProgressThrottle throttle(600);
    EXPECT_TRUE(throttle.shouldPublish(0));
    EXPECT_FALSE(throttle.shouldPublish(1));
    EXPECT_FALSE(throttle.shouldPublish(9));
    EXPECT_TRUE(throttle.shouldPublish(10));
    EXPECT_TRUE(throttle.shouldPublish(590));
    EXPECT_FALSE(throttle.shouldPublish(598));
    EXPECT_TRUE(throttle.shouldPublish(599));
}

namespace {

struct ByteDetailCase {
    const char *name;
    qint64 processed;
    qint64 total;
    std::optional<qint64> secondsLeft;
    QString text;
};

void PrintTo(const ByteDetailCase &c, std::ostream *os)
{
    *os << c.name;
}

class ProgressBytes : public testing::TestWithParam<ByteDetailCase> {};

} // namespace

TEST_P(ProgressBytes, SaysHowManyBytesOfHowManyAndHowLongIsLeft)
{
    ScanProgress progress{QStringLiteral("Copying a"), 1, 2};
    progress.bytesProcessed = GetParam().processed;
    progress.bytesTotal = GetParam().total;
    progress.secondsLeft = GetParam().secondsLeft;
    EXPECT_EQ(progress.byteDetail(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Details, ProgressBytes,
    testing::Values(ByteDetailCase{"NotCountedInBytes", 0, 0, std::nullopt, ""},
                    ByteDetailCase{"RateNotKnownYet", 1'200'000'000, 4'800'000'000, std::nullopt, "1.2 GB of 4.8 GB"},
                    ByteDetailCase{"UnderAMinute", 0, 1000, 30, "Zero KB of 1 KB · less than a minute left"},
                    ByteDetailCase{"MinutesRoundToTheNearest", 1, 1000, 150, "1 byte of 1 KB · about 3 min left"},
                    ByteDetailCase{"HoursAndMinutes", 1, 1000, 3700, "1 byte of 1 KB · about 1 h 1 min left"}),
    [](const testing::TestParamInfo<ByteDetailCase> &info) { return std::string(info.param.name); });
