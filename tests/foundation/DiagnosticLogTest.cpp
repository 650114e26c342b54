#include "foundation/diagnostics/DiagnosticLog.h"

#include "TestEnvironment.h"
#include "foundation/diagnostics/Redaction.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

QList<QJsonObject> lines(const QString &file)
{
    QFile in(file);
    QList<QJsonObject> objects;
    if (!in.open(QIODevice::ReadOnly))
        return objects;
    for (const QByteArray &line : in.readAll().split('\n')) {
        if (!line.isEmpty())
            objects.append(QJsonDocument::fromJson(line).object());
    }
    return objects;
}

} // namespace

TEST(DiagnosticLog, OffLeavesNoTrace)
{
    TestEnvironment env;
    DiagnosticLog log(env.defaults());
    log.record(ActionReceipt::Kind::ui, QStringLiteral("CategoriesView.addButton"));
    EXPECT_TRUE(log.rows().isEmpty());
    EXPECT_TRUE(log.sessionFile().isEmpty());
    EXPECT_FALSE(QDir(DiagnosticLog::defaultFolder()).exists());
}

TEST(DiagnosticLog, TurningOnRecordsTheSwitchFirstIntoAPrivateFile)
{
    TestEnvironment env;
    DiagnosticLog log(env.defaults());
    log.setEnabled(true);
    log.record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.add"), QStringLiteral("count=1"),
               QStringLiteral("count=2"));
    log.record(ActionReceipt::Kind::persist, QStringLiteral("categories.json"), std::nullopt,
               QStringLiteral("bytes=10"));
    ASSERT_EQ(log.rows().size(), 3);
    EXPECT_EQ(log.rows().first().source, QStringLiteral("DiagnosticLog.enabled"));
    EXPECT_EQ(log.rows().first().before, QStringLiteral("false"));
    EXPECT_EQ(log.rows().first().after, QStringLiteral("true"));

    log.writer()->flush();
    const QString file = log.sessionFile();
    EXPECT_TRUE(QFileInfo(file).fileName().startsWith(QStringLiteral("session-")));
    EXPECT_TRUE(file.endsWith(QStringLiteral(".jsonl")));
    EXPECT_EQ(QFileInfo(file).permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup),
              QFile::Permissions());
    const QList<QJsonObject> written = lines(file);
    ASSERT_EQ(written.size(), 3);
    EXPECT_EQ(ActionReceipt::fromJson(written[1]), log.rows()[1]);
    EXPECT_FALSE(written[2].contains(QStringLiteral("before")));
    EXPECT_FALSE(written[2].contains(QStringLiteral("correlationID")));
    EXPECT_EQ(written[2].value(QStringLiteral("kind")).toString(), QStringLiteral("persist"));

    // Turning it off forgets this run: rows, file, and the switch itself.
    log.setEnabled(false);
    EXPECT_TRUE(log.rows().isEmpty());
    EXPECT_FALSE(QFile::exists(file));
    log.record(ActionReceipt::Kind::ui, QStringLiteral("x"));
    EXPECT_TRUE(log.rows().isEmpty());
}

TEST(DiagnosticLog, KeepsTheNewestFiveThousandRows)
{
    TestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    DiagnosticLog log(env.defaults());
    for (int i = 0; i < 5001; ++i)
        log.record(ActionReceipt::Kind::cmd, QStringLiteral("Test.row"), QString::number(i));
    ASSERT_EQ(log.rows().size(), 5000);
    EXPECT_EQ(log.rows().first().before, QStringLiteral("1"));
    EXPECT_EQ(log.rows().last().before, QStringLiteral("5000"));
}

struct RedactionCase {
    const char *text;
    const char *expected;
};

void PrintTo(const RedactionCase &c, std::ostream *os)
{
    *os << c.text;
}

class Redacting : public ::testing::TestWithParam<RedactionCase> {};

TEST_P(Redacting, TakesAccountNamesOutOfPaths)
{
    TestEnvironment env;
    const QString text = QString::fromUtf8(GetParam().text).replace(QStringLiteral("{HOME}"), env.home());
    EXPECT_EQ(Redaction::redact(text), QString::fromUtf8(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Paths, Redacting,
                         ::testing::Values(RedactionCase{"/Users/anna/Documents/a.txt", "~/Documents/a.txt"},
                                           RedactionCase{"from /home/bob/x to /Users/c/y", "from ~/x to ~/y"},
                                           RedactionCase{"{HOME}/Music/song.mp3", "~/Music/song.mp3"},
                                           RedactionCase{"/Volumes/Data/Users", "/Volumes/Data/Users"},
                                           RedactionCase{"/opt/tools/bin", "/opt/tools/bin"}));

TEST(DiagnosticLog, RecordRedactsEveryText)
{
    TestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    DiagnosticLog log(env.defaults());
    log.record(ActionReceipt::Kind::errorSwallow, QStringLiteral("CategoryStore.save"), QStringLiteral("/Users/a/x"),
               QStringLiteral("/home/b/y"), QStringLiteral("can't write /Users/c/z"));
    const ActionReceipt &receipt = log.rows().last();
    EXPECT_EQ(receipt.before, QStringLiteral("~/x"));
    EXPECT_EQ(receipt.after, QStringLiteral("~/y"));
    EXPECT_EQ(receipt.errorDescription, QStringLiteral("can't write ~/z"));
}

struct PruneFile {
    const char *name;
    qint64 size;
    int ageDays;
    bool kept;
};

struct PruneCase {
    const char *label;
    QList<PruneFile> files;
};

void PrintTo(const PruneCase &c, std::ostream *os)
{
    *os << c.label;
}

class Pruning : public ::testing::TestWithParam<PruneCase> {};

TEST_P(Pruning, RemovesByAgeThenOldestFirstAboveTwentyMiB)
{
    TestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("Diagnostics"));
    const QDateTime now = QDateTime::currentDateTime();
    for (const PruneFile &spec : GetParam().files) {
        QFile file(folder + QLatin1Char('/') + QString::fromUtf8(spec.name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.resize(spec.size)); // sparse: fast, and the size is what counts
        ASSERT_TRUE(
            file.setFileTime(now.addSecs(-qint64(spec.ageDays) * 86400 - 60), QFileDevice::FileModificationTime));
    }
    DiagnosticLog::prune(folder, now);
    for (const PruneFile &spec : GetParam().files)
        EXPECT_EQ(QFile::exists(folder + QLatin1Char('/') + QString::fromUtf8(spec.name)), spec.kept) << spec.name;
}

constexpr qint64 MiB = 1024 * 1024;
INSTANTIATE_TEST_SUITE_P(Rules, Pruning,
                         ::testing::Values(PruneCase{"Age",
                                                     {{"session-old.jsonl", 10, 31, false},
                                                      {"session-young.jsonl", 10, 29, true},
                                                      {"notes-old.txt", 10, 40, true}}},
                                           PruneCase{"TwentyFiveMiB",
                                                     {{"session-a.jsonl", 5 * MiB, 5, false},
                                                      {"session-b.jsonl", 10 * MiB, 4, true},
                                                      {"session-c.jsonl", 10 * MiB, 3, true}}},
                                           PruneCase{"OldestGoFirstUntilUnder",
                                                     {{"session-a.jsonl", 8 * MiB, 9, false},
                                                      {"session-b.jsonl", 8 * MiB, 8, false},
                                                      {"session-c.jsonl", 8 * MiB, 7, true},
                                                      {"session-d.jsonl", 8 * MiB, 6, true}}},
                                           PruneCase{"ExactlyTwentyMiBStays",
                                                     {{"session-a.jsonl", 10 * MiB, 5, true},
                                                      {"session-b.jsonl", 10 * MiB, 4, true}}}));
