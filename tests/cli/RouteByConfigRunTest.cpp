#include "AppTestEnvironment.h"
#include "TreeSnapshot.h"
#include "transfer/rules/TransferProfileCodec.h"
#include "transfer/rules/TransferProfileStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct RouteRun {
    int exitCode = -1;
    QJsonObject json;
    QString err;
};

RouteRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), QJsonDocument::fromJson(process.readAllStandardOutput()).object(),
            QString::fromUtf8(process.readAllStandardError())};
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

// PDFs to ~/Documents/Invoices, a temporary file kept in place; one invoice's name is taken there already.
TransferProfile invoices(AppTestEnvironment &env)
{
    env.makeFile(QStringLiteral("Downloads/march.pdf"), "march");
    env.makeFile(QStringLiteral("Downloads/april.PDF"), "april");
    env.makeFile(QStringLiteral("Downloads/setup.tmp"), "tmp");
    env.makeFile(QStringLiteral("Downloads/photo.jpg"), "jpg");
    env.makeFile(QStringLiteral("Documents/Invoices/march.pdf"), "filed before");
    TransferProfile profile = TransferProfileStore::newProfile();
    profile.name = QStringLiteral("Invoices");
    profile.rules = {
        {QUuid::createUuid(), {RuleMatch::extensionEquals{{"tmp"}}}, {RuleAction::skip{}}},
        {QUuid::createUuid(), {RuleMatch::extensionEquals{{"pdf"}}}, {RuleAction::moveTo{"~/Documents/Invoices"}}}};
    return profile;
}

QStringList cases(const QJsonArray &items, const char *key)
{
    QStringList found;
    for (const QJsonValue &item : items)
        found.append(
            item.toObject().value(QString::fromLatin1(key)).toObject().value(QStringLiteral("case")).toString());
    return found;
}

} // namespace

TEST(RouteByConfigRun, WithoutRunItStopsAtThePreview)
{
    AppTestEnvironment env;
    TransferProfileStore store;
    ASSERT_FALSE(store.save(invoices(env)));
    const QString downloads = env.path(QStringLiteral("Downloads"));
    const auto snapshot = [&env] {
        return std::make_pair(treeSnapshot(env.path(QStringLiteral("Downloads"))),
                              treeSnapshot(env.path(QStringLiteral("Documents"))));
    };
    const auto before = snapshot();
    for (const QStringList &extra : {QStringList{}, QStringList{"--dry-run", "--set", "run=move"}}) {
        const RouteRun run =
            vantrel(QStringList{"run", "route-by-config", downloads, "--set", "profile=Invoices", "--json"} + extra);
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
        EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("previewingPlan"));
        const QJsonObject plan = session.value(QStringLiteral("plan")).toObject();
        EXPECT_EQ(plan.value(QStringLiteral("unmatchedCount")).toInt(), 1);
        EXPECT_EQ(plan.value(QStringLiteral("totalFileCount")).toInt(), 4);
        EXPECT_EQ(cases(plan.value(QStringLiteral("matches")).toArray(), "action"),
                  (QStringList{"moveTo", "moveTo", "skip"}));
    }
    EXPECT_EQ(snapshot(), before) << "a preview changes nothing";
}

TEST(RouteByConfigRun, RunRuleCopyFilesTheInvoicesWithASuffixOnAClash)
{
    AppTestEnvironment env;
    TransferProfileStore store;
    const TransferProfile profile = invoices(env);
    ASSERT_FALSE(store.save(profile));
    const RouteRun run =
        vantrel({"run", "route-by-config", env.path(QStringLiteral("Downloads")), "--set",
                 "profile=" + profile.id.toString(QUuid::WithoutBraces).toUpper(), "--set", "run=copy", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject result =
        run.json.value(QStringLiteral("session")).toObject().value(QStringLiteral("result")).toObject();
    EXPECT_EQ(cases(result.value(QStringLiteral("outcomes")).toArray(), "result"),
              (QStringList{"moved", "moved", "skipped"}));
    EXPECT_EQ(contents(env.path(QStringLiteral("Documents/Invoices/march.pdf"))), "filed before");
    EXPECT_EQ(contents(env.path(QStringLiteral("Documents/Invoices/march -copy.pdf"))), "march");
    EXPECT_EQ(contents(env.path(QStringLiteral("Documents/Invoices/april.PDF"))), "april");
    EXPECT_EQ(contents(env.path(QStringLiteral("Downloads/setup.tmp"))), "tmp");
    EXPECT_EQ(contents(env.path(QStringLiteral("Downloads/photo.jpg"))), "jpg");
}

TEST(RouteByConfigRun, TakesOneOffRulesFromAFileAndRefusesWhatItCantUse)
{
    AppTestEnvironment env;
    const QString rules =
        env.makeFile(QStringLiteral("rules.vantreltransfer"), TransferProfileCodec::encode(invoices(env)));
    const QString downloads = env.path(QStringLiteral("Downloads"));
    const RouteRun run = vantrel(
        {"run", "route-by-config", downloads, "--set", "rules=" + rules, "--set", "run=skipConflicts", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(contents(env.path(QStringLiteral("Documents/Invoices/march.pdf"))), "filed before");
    EXPECT_EQ(contents(downloads + QStringLiteral("/march.pdf")), "march");
    EXPECT_EQ(contents(env.path(QStringLiteral("Documents/Invoices/april.PDF"))), "april");

    const RouteRun unset = vantrel({"run", "route-by-config", downloads, "--set", "run=copy"});
    EXPECT_EQ(unset.exitCode, 2);
    EXPECT_TRUE(unset.err.contains(QStringLiteral("needs --set profile=NAME|ID or --set rules=FILE")))
        << unset.err.toStdString();
    const RouteRun unknown = vantrel({"run", "route-by-config", downloads, "--set", "profile=Nobody"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("“Nobody”"))) << unknown.err.toStdString();
    const RouteRun empty = vantrel({"run", "route-by-config"});
    EXPECT_EQ(empty.exitCode, 1);
}
