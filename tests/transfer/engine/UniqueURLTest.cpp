#include "transfer/engine/TransferRunner.h"

#include "TestEnvironment.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

struct UniqueCase {
    const char *name;
    QString intended;  // below the test's folder
    QStringList taken; // names already there
    QString expected;
};

void PrintTo(const UniqueCase &c, std::ostream *os)
{
    *os << c.name;
}

class UniqueURL : public testing::TestWithParam<UniqueCase> {};

QStringList numbered(const QString &stem, const QString &extension, int last)
{
    QStringList names{stem + QStringLiteral(" -copy") + extension};
    for (int n = 2; n <= last; ++n)
        names.append(stem + QStringLiteral(" -copy ") + QString::number(n) + extension);
    return names;
}

} // namespace

TEST_P(UniqueURL, TakesTheFirstFreeNumberedName)
{
    TestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("dest"));
    for (const QString &name : GetParam().taken)
        env.makeFile(QStringLiteral("dest/") + name);
    EXPECT_EQ(TransferRunner::uniqueURL(folder + QLatin1Char('/') + GetParam().intended, QStringLiteral(" -copy")),
              folder + QLatin1Char('/') + GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, UniqueURL,
    testing::Values(UniqueCase{"NoExtension", "notes", {"notes"}, "notes -copy"},
                    UniqueCase{
                        "TheFirstNumberIsTwo", "report.pdf", {"report.pdf", "report -copy.pdf"}, "report -copy 2.pdf"},
                    UniqueCase{"OnlyTheLastExtension", "archive.tar.gz", {"archive.tar.gz"}, "archive.tar -copy.gz"},
                    UniqueCase{"AHiddenFileHasNoExtension", ".profile", {".profile"}, ".profile -copy"},
                    UniqueCase{"ATrailingPointIsNoExtension", "notes.", {"notes."}, "notes. -copy"},
                    UniqueCase{"AGapIsFilled", "a.txt", {"a -copy.txt", "a -copy 3.txt"}, "a -copy 2.txt"},
                    UniqueCase{"AllTakenGivesTheLastWhichExists", "b.txt",
                               numbered(QStringLiteral("b"), QStringLiteral(".txt"), 999), "b -copy 999.txt"}),
    [](const testing::TestParamInfo<UniqueCase> &info) { return std::string(info.param.name); });

TEST(UniqueURLName, ADanglingLinkStillTakesTheName)
{
    TestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("dest"));
    ASSERT_TRUE(QFile::link(env.path(QStringLiteral("nowhere")), folder + QStringLiteral("/c -copy.txt")));
    EXPECT_EQ(TransferRunner::uniqueURL(folder + QStringLiteral("/c.txt"), QStringLiteral(" -copy")),
              folder + QStringLiteral("/c -copy 2.txt"));
}
