#include "platform/PropertyList.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantHash>
#include <QVariantList>
#include <QVariantMap>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <cstdint>
#include <ostream>
#include <string>

namespace {

// A typed, readable rendering: QVariant's own == compares numbers across types, and the tests
// care that an integer comes back as qlonglong, a uid as qulonglong, a date in UTC.
QString describe(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        QStringList parts;
        const QVariantMap map = value.toMap();
        for (auto it = map.constBegin(); it != map.constEnd(); ++it)
            parts.append(it.key() + QStringLiteral("=") + describe(it.value()));
        return QStringLiteral("{") + parts.join(QStringLiteral(", ")) + QStringLiteral("}");
    }
    case QMetaType::QVariantList: {
        QStringList parts;
        for (const QVariant &element : value.toList())
            parts.append(describe(element));
        return QStringLiteral("[") + parts.join(QStringLiteral(", ")) + QStringLiteral("]");
    }
    case QMetaType::QString:
        return QStringLiteral("string:") + value.toString();
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("bool:true") : QStringLiteral("bool:false");
    case QMetaType::LongLong:
        return QStringLiteral("integer:") + QString::number(value.toLongLong());
    case QMetaType::ULongLong:
        return QStringLiteral("uid:") + QString::number(value.toULongLong());
    case QMetaType::Double:
        return QStringLiteral("real:") + QString::number(value.toDouble(), 'g', 17);
    case QMetaType::QDateTime:
        return QStringLiteral("date:") + value.toDateTime().toString(Qt::ISODateWithMs);
    case QMetaType::QByteArray:
        return QStringLiteral("data:") + QString::fromLatin1(value.toByteArray().toHex());
    default:
        return QStringLiteral("other:") + QString::fromLatin1(value.typeName());
    }
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int msec = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec), Qt::UTC);
}

struct RoundTripCase {
    std::string name;
    QVariant input;
    QVariant expected;
};

void PrintTo(const RoundTripCase &c, std::ostream *os)
{
    *os << c.name;
}

class PropertyListRoundTrip : public testing::TestWithParam<RoundTripCase> {};

TEST_P(PropertyListRoundTrip, ComesBackAsTheReadType)
{
    const RoundTripCase &c = GetParam();
    const QByteArray xml = PropertyList::toXml(c.input);
    ASSERT_TRUE(xml.startsWith("<?xml")) << xml.constData();

    const PropertyList::ReadResult result = PropertyList::parse(xml);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    EXPECT_EQ(describe(result.value).toStdString(), describe(c.expected).toStdString()) << xml.constData();
}

constexpr char rawBytes[] = "\x00\x01\x7f\x80\xfe\xff binary";
const QByteArray binaryBytes(rawBytes, sizeof rawBytes - 1);

INSTANTIATE_TEST_SUITE_P(
    EveryValueType, PropertyListRoundTrip,
    testing::Values(
        RoundTripCase{"String", QStringLiteral("Grüße <&> \"quoted\" ✓"), QStringLiteral("Grüße <&> \"quoted\" ✓")},
        RoundTripCase{"EmptyString", QString(), QString()}, RoundTripCase{"True", true, true},
        RoundTripCase{"False", false, false}, RoundTripCase{"Int", 42, qlonglong(42)},
        RoundTripCase{"Zero", 0, qlonglong(0)},
        RoundTripCase{"NegativeLongLong", qlonglong(-1234567890123), qlonglong(-1234567890123)},
        RoundTripCase{"UIntAboveIntRange", 4000000000u, qlonglong(4000000000)}, RoundTripCase{"Double", 3.25, 3.25},
        RoundTripCase{"NegativeFraction", -0.001, -0.001}, RoundTripCase{"TinyDouble", 1e-300, 1e-300},
        RoundTripCase{"Date", utc(2024, 2, 29, 13, 45, 7), utc(2024, 2, 29, 13, 45, 7)},
        RoundTripCase{"DateBeforeReferenceDate", utc(1999, 12, 31, 23, 59, 59), utc(1999, 12, 31, 23, 59, 59)},
        RoundTripCase{"DateWithOffsetComesBackInUtc",
                      QDateTime(QDate(2024, 6, 1), QTime(12, 0, 0), Qt::OffsetFromUTC, 7200),
                      utc(2024, 6, 1, 10, 0, 0)},
        RoundTripCase{"Data", binaryBytes, binaryBytes}, RoundTripCase{"EmptyData", QByteArray(), QByteArray()},
        RoundTripCase{"List", QVariantList{1, QStringLiteral("two"), true, QVariantList{}},
                      QVariantList{qlonglong(1), QStringLiteral("two"), true, QVariantList{}}},
        RoundTripCase{"StringListBecomesList", QStringList{QStringLiteral("a"), QStringLiteral("b c")},
                      QVariantList{QStringLiteral("a"), QStringLiteral("b c")}},
        RoundTripCase{"NestedMap",
                      QVariantMap{{QStringLiteral("Class Name"), QStringLiteral("AMFlipImagesAction")},
                                  {QStringLiteral("Ünïcode key"), 2.5},
                                  {QStringLiteral("inner"), QVariantMap{{QStringLiteral("list"), QVariantList{1, 2}}}}},
                      QVariantMap{{QStringLiteral("Class Name"), QStringLiteral("AMFlipImagesAction")},
                                  {QStringLiteral("Ünïcode key"), 2.5},
                                  {QStringLiteral("inner"),
                                   QVariantMap{{QStringLiteral("list"), QVariantList{qlonglong(1), qlonglong(2)}}}}}},
        RoundTripCase{"EmptyMap", QVariantMap(), QVariantMap()},
        RoundTripCase{"HashBecomesMap", QVariantHash{{QStringLiteral("b"), 1}, {QStringLiteral("a"), false}},
                      QVariantMap{{QStringLiteral("a"), false}, {QStringLiteral("b"), qlonglong(1)}}},
        RoundTripCase{"UnsupportedValuesAreLeftOut",
                      QVariantMap{{QStringLiteral("keep"), 1},
                                  {QStringLiteral("invalid"), QVariant()},
                                  {QStringLiteral("list"), QVariantList{QVariant(), QStringLiteral("x")}}},
                      QVariantMap{{QStringLiteral("keep"), qlonglong(1)},
                                  {QStringLiteral("list"), QVariantList{QStringLiteral("x")}}}}),
    [](const testing::TestParamInfo<RoundTripCase> &info) { return info.param.name; });

TEST(PropertyListToXml, WritesDictionaryKeysInSortedOrder)
{
    QVariantHash hash;
    const QStringList keys{QStringLiteral("zeta"), QStringLiteral("alpha"), QStringLiteral("Mid"),
                           QStringLiteral("beta"), QStringLiteral("omega"), QStringLiteral("gamma")};
    for (const QString &key : keys)
        hash.insert(key, key);
    const QByteArray xml = PropertyList::toXml(hash);

    QStringList sorted = keys;
    sorted.sort();
    qsizetype previous = -1;
    for (const QString &key : sorted) {
        const qsizetype at = xml.indexOf(QByteArray(QByteArray("<key>") + key.toUtf8() + "</key>"));
        ASSERT_GE(at, 0) << key.toStdString();
        EXPECT_GT(at, previous) << key.toStdString() << " is out of order in\n" << xml.constData();
        previous = at;
    }
}

TEST(PropertyListToXml, UnsupportedRootGivesNothing)
{
    EXPECT_TRUE(PropertyList::toXml(QVariant()).isEmpty());
    EXPECT_TRUE(PropertyList::toXml(QDateTime()).isEmpty());
}

struct XmlCase {
    std::string name;
    QByteArray body;
    QVariant expected;
};

void PrintTo(const XmlCase &c, std::ostream *os)
{
    *os << c.name;
}

class PropertyListXmlText : public testing::TestWithParam<XmlCase> {};

// Property lists as other programs write them, so a mistake shared by toXml and parse can't hide.
TEST_P(PropertyListXmlText, ReadsAsExpected)
{
    const XmlCase &c = GetParam();
    const QByteArray document = QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                           "<plist version=\"1.0\">\n") +
                                c.body + QByteArray("\n</plist>\n");
    const PropertyList::ReadResult result = PropertyList::parse(document);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    EXPECT_EQ(describe(result.value).toStdString(), describe(c.expected).toStdString());
}

INSTANTIATE_TEST_SUITE_P(
    HandWritten, PropertyListXmlText,
    testing::Values(XmlCase{"ReferenceDate", "<date>2001-01-01T00:00:00Z</date>", utc(2001, 1, 1, 0, 0, 0)},
                    XmlCase{"LeapDay", "<date>2024-02-29T13:45:07Z</date>", utc(2024, 2, 29, 13, 45, 7)},
                    XmlCase{"NegativeInteger", "<integer>-3</integer>", qlonglong(-3)},
                    XmlCase{"Real", "<real>2.5</real>", 2.5},
                    XmlCase{"Data", "<data>AAEC/w==</data>", QByteArray("\x00\x01\x02\xff", 4)},
                    XmlCase{"EscapedUtf8String", "<string>caf\xc3\xa9 &amp; &lt;tea&gt;</string>",
                            QStringLiteral("café & <tea>")},
                    XmlCase{"Dictionary",
                            "<dict><key>yes</key><true/><key>no</key><false/>"
                            "<key>list</key><array><string>a</string><integer>7</integer></array></dict>",
                            QVariantMap{{QStringLiteral("yes"), true},
                                        {QStringLiteral("no"), false},
                                        {QStringLiteral("list"), QVariantList{QStringLiteral("a"), qlonglong(7)}}}}),
    [](const testing::TestParamInfo<XmlCase> &info) { return info.param.name; });

TEST(PropertyListParse, ReadsBinaryPropertyLists)
{
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "string", plist_new_string("Flip Images"));
    plist_dict_set_item(dict, "flag", plist_new_bool(1));
    plist_dict_set_item(dict, "count", plist_new_uint(15));
    plist_dict_set_item(dict, "negative", plist_new_uint(static_cast<uint64_t>(-7)));
    plist_dict_set_item(dict, "real", plist_new_real(-2.75));
    // 100.25 s after the reference date; the binary form keeps the fraction.
    plist_dict_set_item(dict, "date", plist_new_date(100, 250000));
    plist_dict_set_item(dict, "data", plist_new_data("\x00\xff", 2));
    plist_dict_set_item(dict, "uid", plist_new_uid(9));
    plist_t array = plist_new_array();
    plist_array_append_item(array, plist_new_string("public.item"));
    plist_dict_set_item(dict, "types", array);

    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(dict, &bytes, &length);
    plist_free(dict);
    ASSERT_NE(bytes, nullptr);
    const QByteArray binary(bytes, qsizetype(length));
    plist_to_bin_free(bytes);
    ASSERT_TRUE(binary.startsWith("bplist00"));

    const PropertyList::ReadResult result = PropertyList::parse(binary);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    const QVariantMap expected{
        {QStringLiteral("string"), QStringLiteral("Flip Images")},
        {QStringLiteral("flag"), true},
        {QStringLiteral("count"), qlonglong(15)},
        {QStringLiteral("negative"), qlonglong(-7)},
        {QStringLiteral("real"), -2.75},
        {QStringLiteral("date"), utc(2001, 1, 1, 0, 1, 40, 250)},
        {QStringLiteral("data"), QByteArray("\x00\xff", 2)},
        {QStringLiteral("uid"), qulonglong(9)},
        {QStringLiteral("types"), QVariantList{QStringLiteral("public.item")}},
    };
    EXPECT_EQ(describe(result.value).toStdString(), describe(expected).toStdString());
}

struct GarbageCase {
    std::string name;
    QByteArray data;
};

void PrintTo(const GarbageCase &c, std::ostream *os)
{
    *os << c.name;
}

class PropertyListGarbage : public testing::TestWithParam<GarbageCase> {};

TEST_P(PropertyListGarbage, IsRefusedWithAnError)
{
    const PropertyList::ReadResult result = PropertyList::parse(GetParam().data);
    EXPECT_FALSE(result.ok());
    EXPECT_TRUE(result.error.contains(QStringLiteral("not a property list"))) << result.error.toStdString();
    EXPECT_FALSE(result.value.isValid());
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, PropertyListGarbage,
    testing::Values(GarbageCase{"Empty", QByteArray()}, GarbageCase{"PlainText", "hello world, not a plist"},
                    GarbageCase{"BinaryMagicThenJunk", "bplist00 this is not a trailer at all, just junk bytes"},
                    GarbageCase{"TruncatedXml", "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>"},
                    GarbageCase{"Json", "{\"NSServices\": []}"},
                    GarbageCase{"RandomBytes", QByteArray("\x13\x37\x00\xfe\x01\x99\x42\x00\xff\x10", 10)}),
    [](const testing::TestParamInfo<GarbageCase> &info) { return info.param.name; });

TEST(PropertyListReadFile, ReadsAWrittenFile)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("Info.plist"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(PropertyList::toXml(QVariantMap{{QStringLiteral("CFBundleName"), QStringLiteral("Vantrel")}}));
    file.close();

    const PropertyList::ReadResult result = PropertyList::readFile(path);
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    EXPECT_EQ(result.value.toMap().value(QStringLiteral("CFBundleName")).toString(), QStringLiteral("Vantrel"));
}

TEST(PropertyListReadFile, ReportsUnreadableAndUndecodableFiles)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());

    const QString missing = dir.filePath(QStringLiteral("missing.plist"));
    const PropertyList::ReadResult absent = PropertyList::readFile(missing);
    EXPECT_FALSE(absent.ok());
    EXPECT_TRUE(absent.error.startsWith(QStringLiteral("couldn't read ") + missing + QStringLiteral(": ")))
        << absent.error.toStdString();

    const PropertyList::ReadResult folder = PropertyList::readFile(dir.path());
    EXPECT_FALSE(folder.ok());
    EXPECT_TRUE(folder.error.startsWith(QStringLiteral("couldn't read ") + dir.path())) << folder.error.toStdString();

    const QString garbage = dir.filePath(QStringLiteral("garbage.plist"));
    QFile file(garbage);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("definitely not a property list");
    file.close();
    const PropertyList::ReadResult undecodable = PropertyList::readFile(garbage);
    EXPECT_FALSE(undecodable.ok());
    EXPECT_TRUE(undecodable.error.startsWith(QStringLiteral("couldn't read ") + garbage))
        << undecodable.error.toStdString();
    EXPECT_TRUE(undecodable.error.contains(QStringLiteral("not a property list"))) << undecodable.error.toStdString();
}

} // namespace
