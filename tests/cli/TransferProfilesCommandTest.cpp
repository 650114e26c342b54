#include "AppTestEnvironment.h"
#include "transfer/rules/TransferProfileCodec.h"
#include "transfer/rules/TransferProfileStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct ProcessRun {
    int exitCode = -1;
    QString out;
    QString err;
};

// The real executable, as a user runs it, in the test's home.
ProcessRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                  QStringList{QStringLiteral("transfer-profiles")} + arguments);
    EXPECT_TRUE(process.waitForFinished(30000));
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

QString profileFile(AppTestEnvironment &env, const QString &name)
{
    TransferProfile profile = TransferProfileStore::newProfile();
    profile.name = name;
    profile.summary = QStringLiteral("For %1").arg(name);
    return env.makeFile(name + QStringLiteral(".vantreltransfer"), TransferProfileCodec::encode(profile));
}

} // namespace

TEST(TransferProfilesCommand, ImportsListsExportsAndDeletes)
{
    AppTestEnvironment env;
    EXPECT_EQ(vantrel({"list"}).out, QStringLiteral("No profiles yet.\n"));

    const ProcessRun imported = vantrel({"import", profileFile(env, QStringLiteral("Invoices"))});
    ASSERT_EQ(imported.exitCode, 0) << imported.err.toStdString();
    const QString id = imported.out.trimmed();
    EXPECT_FALSE(QUuid::fromString(id).isNull());
    EXPECT_EQ(vantrel({"list"}).out, QStringLiteral("%1\tInvoices\t1\n").arg(id));

    const QJsonArray rows = QJsonDocument::fromJson(vantrel({"list", "--json"}).out.toUtf8()).array();
    ASSERT_EQ(rows.size(), 1);
    const QJsonObject row = rows.first().toObject();
    EXPECT_EQ(row.value(QStringLiteral("id")).toString(), id);
    EXPECT_EQ(row.value(QStringLiteral("summary")).toString(), QStringLiteral("For Invoices"));
    EXPECT_EQ(row.value(QStringLiteral("ruleCount")).toInt(), 1);
    EXPECT_TRUE(QDateTime::fromString(row.value(QStringLiteral("updatedAt")).toString(), Qt::ISODate).isValid());

    // By id in lower case, then by name.
    const QString target = env.path(QStringLiteral("out.vantreltransfer"));
    const ProcessRun exported = vantrel({"export", id.toLower(), target});
    EXPECT_EQ(exported.exitCode, 0) << exported.err.toStdString();
    const auto decoded = TransferProfileCodec::decode(bytesOf(target));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(decoded->id, QUuid::fromString(id));
    EXPECT_EQ(decoded->name, QStringLiteral("Invoices"));

    const ProcessRun deleted = vantrel({"delete", "Invoices", "--json"});
    EXPECT_EQ(deleted.exitCode, 0) << deleted.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(deleted.out.toUtf8()).object().value(QStringLiteral("id")).toString(), id);
    EXPECT_EQ(vantrel({"list"}).out, QStringLiteral("No profiles yet.\n"));
}

TEST(TransferProfilesCommand, AnExportNeverReplacesAFile)
{
    AppTestEnvironment env;
    const QString id = vantrel({"import", profileFile(env, QStringLiteral("Scans"))}).out.trimmed();
    const QString target = env.makeFile(QStringLiteral("taken.vantreltransfer"), "keep me");
    const ProcessRun refused = vantrel({"export", id, target});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(refused.err.contains(QStringLiteral("already exists; nothing was written.")))
        << refused.err.toStdString();
    EXPECT_EQ(bytesOf(target), QByteArray("keep me"));
}

TEST(TransferProfilesCommand, AFailedImportSaysWhyAndAddsNothing)
{
    AppTestEnvironment env;
    const QString bad = env.makeFile(QStringLiteral("bad.vantreltransfer"), "{\"name\": \"x\"}");
    const ProcessRun failed = vantrel({"import", bad});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(failed.err.trimmed(),
              QStringLiteral("Couldn't import “bad.vantreltransfer”: No value associated with key “id”."));
    const ProcessRun json = vantrel({"import", bad, "--json"});
    EXPECT_EQ(json.exitCode, 1);
    const QJsonObject result = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_TRUE(result.value(QStringLiteral("id")).isNull());
    EXPECT_EQ(result.value(QStringLiteral("banner")).toObject().value(QStringLiteral("tone")).toString(),
              QStringLiteral("failure"));
    EXPECT_TRUE(QJsonDocument::fromJson(vantrel({"list", "--json"}).out.toUtf8()).array().isEmpty());
}

namespace {

struct Refusal {
    const char *name;
    QStringList arguments;
    const char *says;
};

void PrintTo(const Refusal &c, std::ostream *os)
{
    *os << c.name;
}

class Refusals : public testing::TestWithParam<Refusal> {};

} // namespace

TEST_P(Refusals, ExitTwoAndChangeNothing)
{
    AppTestEnvironment env;
    // Two profiles of the same name, so a name alone doesn't say which.
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(vantrel({"import", profileFile(env, QStringLiteral("Twin"))}).exitCode, 0);
    const ProcessRun run = vantrel(GetParam().arguments);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(QString::fromUtf8(GetParam().says))) << run.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(vantrel({"list", "--json"}).out.toUtf8()).array().size(), 2);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Refusals,
    testing::Values(Refusal{"NoSubcommand", {}, "Usage: vantrel transfer-profiles"},
                    Refusal{"UnknownSubcommand", {"rename", "Twin"}, "Usage: vantrel transfer-profiles"},
                    Refusal{"ExportWithoutAFile", {"export", "Twin"}, "Usage: vantrel transfer-profiles"},
                    Refusal{"AnUnknownOption", {"list", "--all"}, "Usage: vantrel transfer-profiles"},
                    Refusal{"AnUnknownName", {"delete", "Nobody"}, "No transfer profile has the id or name “Nobody”."},
                    Refusal{
                        "AnAmbiguousName", {"delete", "Twin"}, "2 profiles are named “Twin”; name one by its id: "}),
    [](const testing::TestParamInfo<Refusal> &info) { return std::string(info.param.name); });
