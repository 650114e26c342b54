#include "AppTestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct VantrelRun {
    int exitCode = -1;
    QJsonObject json;
    QString out;
    QString err;
};

VantrelRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    const QByteArray out = process.readAllStandardOutput();
    return {process.exitCode(), QJsonDocument::fromJson(out).object(), QString::fromUtf8(out),
            QString::fromUtf8(process.readAllStandardError())};
}

QStringList tarEntries(const QString &archive)
{
    QProcess process;
    process.start(QStringLiteral("tar"), {QStringLiteral("-tzf"), archive});
    EXPECT_TRUE(process.waitForFinished(60000));
    QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

} // namespace

TEST(ArchiveRun, MakesTheArchiveInTheFolderOfDestAndPrintsTheResult)
{
    AppTestEnvironment env;
    const QStringList sources{env.makeFile(QStringLiteral("Work/plan.txt"), QByteArray(3000, 'p')),
                              env.makeFile(QStringLiteral("Work/photo.jpg"), QByteArray(1000, 'j'))};
    const QString dest = env.makeFolder(QStringLiteral("Archives"));
    const VantrelRun run = vantrel(QStringList{"run", "archive-handler"} + sources +
                                   QStringList{"--dest", dest, "--set", "format=tarGz", "--set", "archiveBaseName=work",
                                               "--set", "commentTemplate={count} files", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("workflowID")).toString(), QStringLiteral("archive-handler"));
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("done"));
    const QJsonObject result = session.value(QStringLiteral("result")).toObject();
    const QString archive = dest + QStringLiteral("/work.tar.gz");
    EXPECT_EQ(result.value(QStringLiteral("archiveURL")).toString(), archive);
    EXPECT_EQ(result.value(QStringLiteral("sourceFileCount")).toInt(), 2);
    EXPECT_EQ(result.value(QStringLiteral("sourceTotalSizeBytes")).toInt(), 4000);
    EXPECT_EQ(result.value(QStringLiteral("archiveSizeBytes")).toInt(), QFileInfo(archive).size());
    EXPECT_EQ(tarEntries(archive), (QStringList{"photo.jpg", "plan.txt"}));
    // The panel --dest answered, in the sheet's words.
    const QJsonObject asked = run.json.value(QStringLiteral("asked")).toArray().first().toObject();
    EXPECT_EQ(asked.value(QStringLiteral("title")).toString(), QStringLiteral("Where should the archive go?"));
    // Apply: the comment on the archive; the originals stay without deleteOriginalsAfter.
    QProcess attr;
    attr.start(QStringLiteral("getfattr"),
               {QStringLiteral("--only-values"), QStringLiteral("-n"), QStringLiteral("user.xdg.comment"), archive});
    ASSERT_TRUE(attr.waitForFinished(10000));
    EXPECT_EQ(attr.readAllStandardOutput(), QByteArray("2 files"));
    for (const QString &source : sources)
        EXPECT_TRUE(QFileInfo::exists(source));

    // The same again is answered by Cancel unless the script says Replace: nothing replaced unasked.
    const VantrelRun again =
        vantrel(QStringList{"run", "archive-handler"} + sources.mid(0, 1) +
                QStringList{"--dest", dest, "--set", "format=tarGz", "--set", "archiveBaseName=work"});
    EXPECT_EQ(again.exitCode, 1) << again.out.toStdString();
    EXPECT_EQ(tarEntries(archive), (QStringList{"photo.jpg", "plan.txt"}));
}

TEST(ArchiveRun, ADryRunPrintsNameEstimateAndCommandAndWritesNothing)
{
    AppTestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("Work/notes.txt"), QByteArray(10000, 'n'));
    const QString dest = env.makeFolder(QStringLiteral("Archives"));
    const VantrelRun run =
        vantrel({"run", "archive-handler", source, "--set", "destinationURL=" + dest, "--dry-run", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("configuring"));
    EXPECT_EQ(session.value(QStringLiteral("archiveName")).toString(), QStringLiteral("notes.zip"));
    EXPECT_EQ(session.value(QStringLiteral("estimatedArchiveBytes")).toInt(), 3000);
    const QJsonObject command = session.value(QStringLiteral("command")).toObject();
    EXPECT_EQ(command.value(QStringLiteral("program")).toString(), QStringLiteral("/usr/bin/zip"));
    QStringList arguments;
    for (const auto &word : command.value(QStringLiteral("arguments")).toArray())
        arguments.append(word.toString());
    EXPECT_EQ(arguments, (QStringList{"-r", "-q", dest + QStringLiteral("/notes.zip"), "notes.txt"}));
    EXPECT_TRUE(QDir(dest).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));

    const VantrelRun text = vantrel({"run", "archive-handler", source, "--set", "destinationURL=" + dest, "--dry-run"});
    EXPECT_TRUE(text.out.contains(QStringLiteral("Archive: notes.zip"))) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("Expected size · ~3 KB"))) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("/usr/bin/zip -r -q"))) << text.out.toStdString();
}

TEST(ArchiveRun, RefusesAnEmptySelectionAndABadFormat)
{
    AppTestEnvironment env;
    const VantrelRun empty = vantrel({"run", "archive-handler", "--json"});
    EXPECT_EQ(empty.exitCode, 1);
    EXPECT_EQ(empty.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Archive Handler needs at least one selected file or folder."));

    const VantrelRun bad =
        vantrel({"run", "archive-handler", env.makeFile(QStringLiteral("a.txt"), "a"), "--set", "format=rar"});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains(QStringLiteral("format is zip or tarGz, not “rar”."))) << bad.err.toStdString();
}
