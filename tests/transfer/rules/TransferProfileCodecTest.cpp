#include "transfer/rules/TransferProfileCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

using M = RuleMatch;

TransferProfile everyCase()
{
    TransferProfile profile;
    profile.id = QUuid::fromString(QStringLiteral("6f1c2a4e-0b7d-4c1e-9a43-2f7e5d1b9c08"));
    profile.name = QStringLiteral("Studio");
    profile.summary = QStringLiteral("Routing rules for one folder.");
    profile.createdAt = QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7), Qt::UTC);
    profile.updatedAt = QDateTime(QDate(2026, 11, 24), QTime(8, 0, 0), Qt::UTC);
    profile.rules = {
        {QUuid::createUuid(), {M::extensionEquals{{"tmp"}}}, {RuleAction::skip{}}},
        {QUuid::createUuid(),
         {M::any{{{M::nameContains{"invoice", false}},
                  {M::all{{{M::sizeGreaterThan{1048576}}, {M::modifiedOlderThanDays{30}}, {M::hasFinderTag{"Paid"}}}}},
                  {M::nameMatchesRegex{"^IMG_\\d{4}"}},
                  {M::commentContains{"review"}},
                  {M::all{}}}}},
         {RuleAction::moveTo{"~/Documents/Invoices"}}},
        {QUuid::createUuid(), {M::extensionEquals{{"pdf", "ai"}}}, {RuleAction::copyTo{"/mnt/archive"}}}};
    profile.defaults = {ProfileDefaults::ConflictPolicyName::skip, QStringLiteral(" (older)"), false};
    return profile;
}

} // namespace

TEST(TransferProfileCodec, WritesWhatItReadsInTheFilesOwnForm)
{
    const TransferProfile profile = everyCase();
    const QByteArray bytes = TransferProfileCodec::encode(profile);
    QString error;
    const auto decoded = TransferProfileCodec::decode(bytes, &error);
    ASSERT_TRUE(decoded.has_value()) << error.toStdString();
    EXPECT_EQ(*decoded, profile);
    EXPECT_EQ(TransferProfileCodec::encode(*decoded), bytes) << "the same profile, the same text";

    const QString text = QString::fromUtf8(bytes);
    EXPECT_TRUE(text.contains(QStringLiteral("\"id\": \"6F1C2A4E-0B7D-4C1E-9A43-2F7E5D1B9C08\"")));
    EXPECT_TRUE(text.contains(QStringLiteral("\"createdAt\": \"2026-03-04T05:06:07Z\"")));
    EXPECT_TRUE(text.contains(QStringLiteral("\"skip\": {\n")));
    EXPECT_TRUE(text.indexOf(QStringLiteral("\"createdAt\"")) < text.indexOf(QStringLiteral("\"defaults\"")))
        << "keys are sorted";
    EXPECT_TRUE(text.contains(QStringLiteral("\"_0\": [")));
}

namespace {

struct DecodeCase {
    const char *name;
    // Changes a valid profile's JSON into the case's.
    std::function<void(QJsonObject &)> edit;
    const char *error; // empty when it still decodes
};

void PrintTo(const DecodeCase &c, std::ostream *os)
{
    *os << c.name;
}

class ProfileDecoding : public testing::TestWithParam<DecodeCase> {};

QJsonObject firstRule(const QJsonObject &profile)
{
    return profile.value(QStringLiteral("rules")).toArray().first().toObject();
}

void setFirstRule(QJsonObject &profile, const QJsonObject &rule)
{
    QJsonArray rules = profile.value(QStringLiteral("rules")).toArray();
    rules.replace(0, rule);
    profile.insert(QStringLiteral("rules"), rules);
}

} // namespace

TEST_P(ProfileDecoding, RequiresEveryKeyAndOneCasePerObject)
{
    QJsonObject json = QJsonDocument::fromJson(TransferProfileCodec::encode(everyCase())).object();
    GetParam().edit(json);
    QString error;
    const auto decoded = TransferProfileCodec::decode(QJsonDocument(json).toJson(), &error);
    const QString expected = QString::fromUtf8(GetParam().error);
    EXPECT_EQ(decoded.has_value(), expected.isEmpty()) << error.toStdString();
    EXPECT_EQ(error, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ProfileDecoding,
    testing::Values(
        DecodeCase{"AnUnknownKeyIsPassedOver", [](QJsonObject &json) { json.insert("colour", "teal"); }, ""},
        DecodeCase{"WithoutDefaultsItIsNoProfile", [](QJsonObject &json) { json.remove("defaults"); },
                   "No value associated with key “defaults”."},
        DecodeCase{"AnActionWithTwoCases",
                   [](QJsonObject &json) {
                       QJsonObject rule = firstRule(json);
                       rule.insert("action", QJsonObject{{"moveTo", QJsonObject{{"path", "/a"}}},
                                                         {"copyTo", QJsonObject{{"path", "/b"}}}});
                       setFirstRule(json, rule);
                   },
                   "Invalid number of keys found, expected one."},
        DecodeCase{"AMatchWithNoCase",
                   [](QJsonObject &json) {
                       QJsonObject rule = firstRule(json);
                       rule.insert("match", QJsonObject{{"sizeLargerThan", QJsonObject{{"bytes", 1}}}});
                       setFirstRule(json, rule);
                   },
                   "Invalid number of keys found, expected one."},
        DecodeCase{"AnUnknownPolicy",
                   [](QJsonObject &json) {
                       QJsonObject defaults = json.value("defaults").toObject();
                       defaults.insert("conflictPolicy", "merge");
                       json.insert("defaults", defaults);
                   },
                   "Cannot initialize ConflictPolicyName from invalid String value merge."},
        DecodeCase{"ADateWithoutItsZone", [](QJsonObject &json) { json.insert("updatedAt", "last Tuesday"); },
                   "Expected date string to be ISO8601-formatted."},
        DecodeCase{"ANameThatIsNotText", [](QJsonObject &json) { json.insert("name", 7); },
                   "Expected to decode a string for “name”."}),
    [](const testing::TestParamInfo<DecodeCase> &info) { return std::string(info.param.name); });
