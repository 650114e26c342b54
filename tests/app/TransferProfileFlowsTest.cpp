#include "AppTestEnvironment.h"
#include "app/AppState.h"
#include "transfer/rules/TransferProfileCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <functional>

namespace {

QString bannerOf(const AppState &state)
{
    return state.packBanner() ? state.packBanner()->message : QString();
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

QByteArray withoutKey(const QByteArray &bytes, const QString &key)
{
    QJsonObject object = QJsonDocument::fromJson(bytes).object();
    object.remove(key);
    return QJsonDocument(object).toJson();
}

struct BadImport {
    const char *name;
    // Makes the file in the environment and returns its path.
    std::function<QString(AppTestEnvironment &)> make;
    const char *reason;
};

void PrintTo(const BadImport &c, std::ostream *os)
{
    *os << c.name;
}

class RefusedImports : public testing::TestWithParam<BadImport> {};

} // namespace

TEST_P(RefusedImports, ShowTheFileAndTheReasonAndAddNothing)
{
    AppTestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    auto state = env.makeAppState();
    const QString path = GetParam().make(env);
    EXPECT_EQ(state->importTransferProfile(path), std::nullopt);
    ASSERT_TRUE(state->packBanner().has_value());
    EXPECT_EQ(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Couldn't import “%1”: %2")
                                    .arg(QFileInfo(path).fileName(), QString::fromUtf8(GetParam().reason)));
    EXPECT_TRUE(state->transferProfileStore().profiles().isEmpty());
    EXPECT_EQ(state->transferProfileSelection(), std::nullopt);
    EXPECT_EQ(state->diagnosticLog().rows().last().kind, ActionReceipt::Kind::errorSwallow);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedImports,
    testing::Values(BadImport{"FiveMillionBytesIsRefusedUnread",
                              [](AppTestEnvironment &env) {
                                  // Valid JSON up to the limit: only its size refuses it.
                                  QByteArray bytes = TransferProfileCodec::encode(TransferProfileStore::newProfile());
                                  bytes.append(QByteArray(5'000'000 - bytes.size(), ' '));
                                  return env.makeFile(QStringLiteral("big.vantreltransfer"), bytes);
                              },
                              "the file is larger than 5 MB"},
                    BadImport{"ADecodingError",
                              [](AppTestEnvironment &env) {
                                  return env.makeFile(
                                      QStringLiteral("nodefaults.vantreltransfer"),
                                      withoutKey(TransferProfileCodec::encode(TransferProfileStore::newProfile()),
                                                 "defaults"));
                              },
                              "No value associated with key “defaults”."},
                    BadImport{"TwoActionsInOne",
                              [](AppTestEnvironment &env) {
                                  QByteArray bytes = TransferProfileCodec::encode(TransferProfileStore::newProfile());
                                  bytes.replace("\"moveTo\"", "\"copyTo\": {\"path\": \"~\"}, \"moveTo\"");
                                  return env.makeFile(QStringLiteral("two.vantreltransfer"), bytes);
                              },
                              "Invalid number of keys found, expected one."}),
    [](const testing::TestParamInfo<BadImport> &info) { return std::string(info.param.name); });

TEST(TransferProfileFlows, AVanishedFileIsNamedWithTheSystemsReason)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QString path = env.path(QStringLiteral("gone.vantreltransfer"));
    EXPECT_EQ(state->importTransferProfile(path), std::nullopt);
    EXPECT_TRUE(bannerOf(*state).startsWith(QStringLiteral("Couldn't import “gone.vantreltransfer”: ")));
    EXPECT_GT(bannerOf(*state).size(), QStringLiteral("Couldn't import “gone.vantreltransfer”: ").size());
}

TEST(TransferProfileFlows, ImportThroughThePanelSelectsTheNewProfileEveryTime)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    TransferProfile shared = TransferProfileStore::newProfile();
    shared.name = QStringLiteral("Invoices");
    const QString file =
        env.makeFile(QStringLiteral("Inbox/invoices.vantreltransfer"), TransferProfileCodec::encode(shared));

    for (int round = 1; round <= 2; ++round) {
        env.interaction().addAnswer(QStringLiteral("Import a transfer profile"), file);
        state->importTransferProfileFromDisk();
        EXPECT_EQ(bannerOf(*state), QStringLiteral("Imported “Invoices” from invoices.vantreltransfer."));
        ASSERT_EQ(state->transferProfileStore().profiles().size(), round);
        // The newest is first and selected; a second import is a second profile.
        const TransferProfile &newest = state->transferProfileStore().profiles().first();
        EXPECT_EQ(state->transferProfileSelection(), newest.id);
        EXPECT_NE(newest.id, shared.id);
        EXPECT_EQ(newest.rules, shared.rules);
    }
    const PanelRequest &asked = env.interaction().askedPanels().last();
    EXPECT_EQ(asked.mode, PanelRequest::Mode::open);
    EXPECT_EQ(asked.message, QStringLiteral("Pick a .vantreltransfer file to add to your profile library."));

    // Cancelled, the panel changes nothing.
    state->importTransferProfileFromDisk();
    EXPECT_EQ(state->transferProfileStore().profiles().size(), 2);
}

TEST(TransferProfileFlows, ExportProposesTheNameAndReplacesOnlyWhenAsked)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    TransferProfile profile = TransferProfileStore::newProfile();
    profile.name = QStringLiteral("Studio");
    ASSERT_TRUE(state->addTransferProfile(profile));
    const QString target = env.makeFolder(QStringLiteral("Shared")) + QStringLiteral("/studio");

    env.interaction().addAnswer(QStringLiteral("Export transfer profile"), target);
    state->exportTransferProfileToDisk(profile.id);
    EXPECT_EQ(env.interaction().askedPanels().last().suggestedName, QStringLiteral("Studio.vantreltransfer"));
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Exported “Studio” to Shared/studio.vantreltransfer."));
    const QString written = target + QStringLiteral(".vantreltransfer");
    const auto decoded = TransferProfileCodec::decode(bytesOf(written));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, *state->transferProfile(profile.id));

    // The file is there now: unanswered, the question keeps it as it was.
    QFile::remove(written);
    env.makeFile(QStringLiteral("Shared/studio.vantreltransfer"), "mine");
    env.interaction().addAnswer(QStringLiteral("Export transfer profile"), written);
    state->exportTransferProfileToDisk(profile.id);
    EXPECT_EQ(env.interaction().askedAlerts().last().message,
              QStringLiteral("“studio.vantreltransfer” already exists."));
    EXPECT_EQ(bytesOf(written), QByteArray("mine"));

    env.interaction().addAnswer(QStringLiteral("Export transfer profile"), written);
    env.interaction().addAnswer(QStringLiteral("“studio.vantreltransfer” already exists."), QStringLiteral("Replace"));
    state->exportTransferProfileToDisk(profile.id);
    EXPECT_TRUE(TransferProfileCodec::decode(bytesOf(written)).has_value());
}

TEST(TransferProfileFlows, DeleteAsksAndAnUnansweredQuestionKeepsTheProfile)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    TransferProfile profile = TransferProfileStore::newProfile();
    profile.name = QStringLiteral("Scans");
    ASSERT_TRUE(state->addTransferProfile(profile));
    EXPECT_EQ(state->transferProfileSelection(), profile.id);

    EXPECT_FALSE(state->deleteTransferProfile(profile.id));
    const AlertRequest &asked = env.interaction().askedAlerts().last();
    EXPECT_EQ(asked.message, QStringLiteral("Delete \"Scans\"?"));
    EXPECT_EQ(asked.buttons, (QStringList{"Delete", "Cancel"}));
    EXPECT_EQ(state->transferProfileStore().profiles().size(), 1);

    env.interaction().addAnswer(QStringLiteral("Delete \"Scans\"?"), QStringLiteral("Delete"));
    EXPECT_TRUE(state->deleteTransferProfile(profile.id));
    EXPECT_TRUE(state->transferProfileStore().profiles().isEmpty());
    EXPECT_EQ(state->transferProfileSelection(), std::nullopt);
    EXPECT_TRUE(QDir(state->transferProfileStore().folder()).isEmpty());
}
