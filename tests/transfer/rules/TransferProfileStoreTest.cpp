#include "transfer/rules/TransferProfileStore.h"

#include "TestEnvironment.h"
#include "transfer/rules/TransferProfileCodec.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

TransferProfile named(const QString &name)
{
    TransferProfile profile = TransferProfileStore::newProfile();
    profile.name = name;
    return profile;
}

} // namespace

TEST(TransferProfileStore, KeepsOneFileEachNewestFirstAndPassesOverWhatDoesNotDecode)
{
    TestEnvironment env;
    TransferProfileStore store;
    EXPECT_EQ(store.folder(), QDir::homePath() + QStringLiteral("/.local/share/Vantrel/transfer-profiles"));
    const TransferProfile older = named(QStringLiteral("Older"));
    ASSERT_EQ(store.save(older), std::nullopt);
    QThread::sleep(1); // dates are kept to the second
    const TransferProfile newer = named(QStringLiteral("Newer"));
    ASSERT_EQ(store.save(newer), std::nullopt);
    const QString broken = store.folder() + QStringLiteral("/broken.vantreltransfer");
    env.makeFile(broken.mid(env.path(QString()).size()), "{\"name\": \"no defaults\"}");

    TransferProfileStore again;
    ASSERT_EQ(again.profiles().size(), 2);
    EXPECT_EQ(again.profiles()[0].name, QStringLiteral("Newer"));
    EXPECT_EQ(again.profiles()[1].name, QStringLiteral("Older"));
    EXPECT_TRUE(QFile::exists(store.folder() + QLatin1Char('/') + older.id.toString(QUuid::WithoutBraces).toUpper() +
                              QStringLiteral(".vantreltransfer")));
    EXPECT_EQ(bytesOf(broken), "{\"name\": \"no defaults\"}") << "a file that doesn't decode stays untouched";

    ASSERT_EQ(again.remove(again.profiles()[0]), std::nullopt);
    EXPECT_EQ(again.profiles().size(), 1);
    EXPECT_EQ(TransferProfileStore().profiles().size(), 1);
}

TEST(TransferProfileStore, AnImportIsAlwaysANewProfile)
{
    TestEnvironment env;
    TransferProfileStore store;
    const TransferProfile mine = named(QStringLiteral("Mine"));
    ASSERT_EQ(store.save(mine), std::nullopt);
    const QString shared = env.path(QStringLiteral("Mine.vantreltransfer"));
    ASSERT_EQ(store.exportProfile(mine, shared), std::nullopt);

    QString error;
    const auto first = store.importProfile(shared, &error);
    ASSERT_TRUE(first.has_value()) << error.toStdString();
    const auto second = store.importProfile(shared, &error);
    ASSERT_TRUE(second.has_value()) << error.toStdString();
    EXPECT_NE(first->id, mine.id);
    EXPECT_NE(second->id, first->id);
    EXPECT_EQ(first->rules, mine.rules);
    EXPECT_EQ(store.profiles().size(), 3);
}

namespace {

struct ForeignCase {
    const char *name;
    std::function<QString(TestEnvironment &)> make; // returns the path to import
    const char *reasonStart;
};

void PrintTo(const ForeignCase &c, std::ostream *os)
{
    *os << c.name;
}

class ForeignImport : public testing::TestWithParam<ForeignCase> {};

} // namespace

TEST_P(ForeignImport, IsRefusedWithItsReasonAndAddsNothing)
{
    TestEnvironment env;
    TransferProfileStore store;
    QString error;
    EXPECT_FALSE(store.importProfile(GetParam().make(env), &error).has_value());
    EXPECT_TRUE(error.startsWith(QString::fromUtf8(GetParam().reasonStart))) << error.toStdString();
    EXPECT_TRUE(store.profiles().isEmpty());
    EXPECT_TRUE(QDir(store.folder()).isEmpty(QDir::Files | QDir::Hidden));
}

INSTANTIATE_TEST_SUITE_P(
    Files, ForeignImport,
    testing::Values(ForeignCase{"FiveMillionBytesAreTooMany",
                                [](TestEnvironment &env) {
                                    return env.makeFile(QStringLiteral("huge.vantreltransfer"),
                                                        QByteArray(5'000'000, ' '));
                                },
                                "the file is larger than 5 MB"},
                    ForeignCase{"APipeIsNoFile",
                                [](TestEnvironment &env) {
                                    const QString path = env.path(QStringLiteral("pipe.vantreltransfer"));
                                    ::mkfifo(QFile::encodeName(path).constData(), 0600);
                                    return path;
                                },
                                ""},
                    ForeignCase{"TwoActionsInOne",
                                [](TestEnvironment &env) {
                                    QByteArray bytes = TransferProfileCodec::encode(TransferProfileStore::newProfile());
                                    bytes.replace("\"moveTo\": {", "\"copyTo\": {\"path\": \"/x\"}, \"moveTo\": {");
                                    return env.makeFile(QStringLiteral("two.vantreltransfer"), bytes);
                                },
                                "Invalid number of keys found, expected one."}),
    [](const testing::TestParamInfo<ForeignCase> &info) { return std::string(info.param.name); });

TEST(TransferProfileStore, NewAndDuplicateProfiles)
{
    const TransferProfile fresh = TransferProfileStore::newProfile();
    EXPECT_EQ(fresh.name, QStringLiteral("New profile"));
    EXPECT_EQ(fresh.summary, QStringLiteral("Routing rules for one folder."));
    ASSERT_EQ(fresh.rules.size(), 1);
    EXPECT_EQ(fresh.rules[0].match, RuleMatch{RuleMatch::extensionEquals{{"pdf"}}});
    EXPECT_EQ(fresh.rules[0].action, RuleAction{RuleAction::moveTo{"~/Documents"}});
    EXPECT_EQ(fresh.defaults, ProfileDefaults{});
    EXPECT_EQ(fresh.defaults.policy(), TransferEngine::ConflictPolicy(TransferEngine::renameWithSuffix{" -copy"}));

    const TransferProfile copy = TransferProfileStore::duplicate(fresh);
    EXPECT_EQ(copy.name, QStringLiteral("New profile (copy)"));
    EXPECT_NE(copy.id, fresh.id);
    EXPECT_NE(copy.rules[0].id, fresh.rules[0].id);
    EXPECT_EQ(copy.rules[0].match, fresh.rules[0].match);
}

TEST(TransferProfileStore, FindsAProfileByItsIdOrAnUnsharedName)
{
    TestEnvironment env;
    TransferProfileStore store;
    TransferProfile invoices = TransferProfileStore::newProfile();
    invoices.name = QStringLiteral("Invoices");
    const TransferProfile first = TransferProfileStore::newProfile();
    const TransferProfile second = TransferProfileStore::duplicate(first);
    TransferProfile twin = second;
    twin.name = first.name;
    for (const TransferProfile &profile : {invoices, first, twin})
        ASSERT_FALSE(store.save(profile));

    EXPECT_EQ(store.find(QStringLiteral("Invoices"))->id, invoices.id);
    EXPECT_EQ(store.find(invoices.id.toString(QUuid::WithoutBraces).toLower())->id, invoices.id);
    EXPECT_EQ(store.find(invoices.id.toString())->id, invoices.id);
    QString refusal;
    EXPECT_FALSE(store.find(QStringLiteral("invoices"), &refusal)) << "names are matched exactly";
    EXPECT_EQ(refusal, QStringLiteral("No transfer profile has the id or name “invoices”."));
    EXPECT_FALSE(store.find(QStringLiteral("New profile"), &refusal));
    EXPECT_TRUE(refusal.startsWith(QStringLiteral("2 profiles are named “New profile”; name one by its id: ")));
    EXPECT_EQ(store.find(twin.id.toString(QUuid::WithoutBraces))->id, twin.id);
}
