#include "AppTestEnvironment.h"

#include <QDir>
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

QStringList tarFiles(const QString &archive)
{
    QProcess process;
    process.start(QStringLiteral("tar"), {QStringLiteral("-tzf"), archive});
    EXPECT_TRUE(process.waitForFinished(60000));
    QStringList files;
    for (const QString &line : QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'))) {
        if (!line.isEmpty() && !line.endsWith(QLatin1Char('/')))
            files.append(line);
    }
    files.sort();
    return files;
}

QStringList strings(const QJsonValue &array)
{
    QStringList list;
    for (const auto &value : array.toArray())
        list.append(value.toString());
    return list;
}

bool chattr(const QString &flag, const QString &path)
{
    QProcess process;
    process.start(QStringLiteral("chattr"), {flag, path});
    return process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

void makeProject(AppTestEnvironment &env)
{
    env.makeFile(QStringLiteral("Code/comet/package.json"), QByteArray(1000, 'p'));
    env.makeFile(QStringLiteral("Code/comet/Cargo.toml"), QByteArray(500, 'c'));
    env.makeFile(QStringLiteral("Code/comet/src/main.rs"), QByteArray(1500, 'm'));
    env.makeFile(QStringLiteral("Code/comet/node_modules/dep/index.js"), QByteArray(9000, 'd'));
    env.makeFile(QStringLiteral("Code/comet/target/debug/comet"), QByteArray(9000, 't'));
    env.makeFile(QStringLiteral("Code/comet/.git/HEAD"), "ref: refs/heads/main");
}

} // namespace

TEST(ProjectSnapshotRun, WritesTheSnapshotAndWarnsOfTheSameVolume)
{
    AppTestEnvironment env;
    makeProject(env);
    const QString root = env.path(QStringLiteral("Code/comet"));
    const QString dest = env.makeFolder(QStringLiteral("Backups"));
    const VantrelRun run = vantrel({"run", "project-snapshot", root, "--dest", dest, "--set", "format=tar.gz", "--set",
                                    "name=comet-backup", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(strings(session.value(QStringLiteral("detected"))), (QStringList{"node", "rust", "gitRepo"}));
    const QStringList excluded = strings(session.value(QStringLiteral("excludedRoots")));
    EXPECT_TRUE(excluded.contains(root + QStringLiteral("/node_modules")));
    EXPECT_TRUE(excluded.contains(root + QStringLiteral("/target")));
    EXPECT_TRUE(excluded.contains(root + QStringLiteral("/.git")));
    EXPECT_EQ(session.value(QStringLiteral("estimatedSourceBytes")).toInt(), 3000);
    EXPECT_EQ(session.value(QStringLiteral("estimatedFileCount")).toInt(), 3);
    EXPECT_EQ(session.value(QStringLiteral("destinationWarning")).toObject().value(QStringLiteral("case")).toString(),
              QStringLiteral("sameVolumeAsSource"));
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("done"));

    const QJsonObject report = session.value(QStringLiteral("report")).toObject();
    EXPECT_EQ(report.value(QStringLiteral("kind")).toString(), QStringLiteral("projectSnapshot"));
    const QJsonArray items = report.value(QStringLiteral("items")).toArray();
    ASSERT_EQ(items.size(), 1);
    const QString archive = dest + QStringLiteral("/comet-backup.tar.gz");
    EXPECT_EQ(items.first().toObject().value(QStringLiteral("url")).toString(), archive);
    EXPECT_EQ(items.first().toObject().value(QStringLiteral("size")).toInt(), QFileInfo(archive).size());
    EXPECT_EQ(tarFiles(archive), (QStringList{"comet/Cargo.toml", "comet/package.json", "comet/src/main.rs"}));

    // As text, the warning is printed beside the result.
    const VantrelRun text = vantrel({"run", "project-snapshot", root, "--dest", dest, "--set", "name=again"});
    EXPECT_EQ(text.exitCode, 0) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("Warning: The destination is on the same volume as the project.")))
        << text.out.toStdString();
    EXPECT_TRUE(QFileInfo::exists(dest + QStringLiteral("/again.zip")));
}

TEST(ProjectSnapshotRun, ADryRunPrintsThePlanAndWritesNothing)
{
    AppTestEnvironment env;
    makeProject(env);
    const QString root = env.path(QStringLiteral("Code/comet"));
    const QString dest = env.makeFolder(QStringLiteral("Backups"));
    const VantrelRun run = vantrel({"run", "project-snapshot", root, "--dest", dest, "--set", "name=plan", "--set",
                                    "includeGitHistory=true", "--dry-run", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("configuring"));
    EXPECT_EQ(session.value(QStringLiteral("archiveURL")).toString(), dest + QStringLiteral("/plan.zip"));
    EXPECT_EQ(session.value(QStringLiteral("estimatedFileCount")).toInt(), 4);
    EXPECT_FALSE(strings(session.value(QStringLiteral("excludedRoots"))).contains(root + QStringLiteral("/.git")));
    EXPECT_TRUE(QDir(dest).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));

    const VantrelRun text = vantrel({"run", "project-snapshot", root, "--dest", dest, "--dry-run"});
    EXPECT_TRUE(text.out.contains(QStringLiteral("Excluded: %1/node_modules").arg(root))) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("Estimate: 3 files · 3 KB"))) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains(QStringLiteral("Warning: The destination is on the same volume as the project.")))
        << text.out.toStdString();
    EXPECT_TRUE(QDir(dest).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

TEST(ProjectSnapshotRun, ABlockedDestinationEndsOnItsText)
{
    AppTestEnvironment env;
    makeProject(env);
    const QString dest = env.makeFolder(QStringLiteral("Locked"));
    if (!chattr(QStringLiteral("+i"), dest))
        GTEST_SKIP() << "chattr +i needs root and a file system that keeps the flag";
    const VantrelRun run = vantrel({"run", "project-snapshot", env.path(QStringLiteral("Code/comet")), "--dest", dest});
    chattr(QStringLiteral("-i"), dest);
    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("Failed: Vantrel can't write to the chosen destination. Check the "
                                                "folder's permissions and try again.")))
        << run.out.toStdString();
    EXPECT_TRUE(QDir(dest).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

TEST(ProjectSnapshotRun, RefusesAFileNothingAndABadFormat)
{
    AppTestEnvironment env;
    const VantrelRun empty = vantrel({"run", "project-snapshot", "--json"});
    EXPECT_EQ(empty.exitCode, 1);
    EXPECT_EQ(empty.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Project Snapshot needs a folder. Drop a folder and try again."));
    const VantrelRun file = vantrel({"run", "project-snapshot", env.makeFile(QStringLiteral("a.txt"), "a"), "--json"});
    EXPECT_EQ(file.exitCode, 1);
    EXPECT_EQ(file.json.value(QStringLiteral("banner")).toObject().value(QStringLiteral("message")).toString(),
              QStringLiteral("Project Snapshot needs a folder, not a file."));
    const VantrelRun bad = vantrel(
        {"run", "project-snapshot", env.makeFolder(QStringLiteral("p")), "--set", "format=rar", "--dest", env.home()});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains(QStringLiteral("format is zip or tar.gz, not “rar”."))) << bad.err.toStdString();
}

TEST(ProjectSnapshotRun, FollowsTheDetectorOnToTheProjectItNames)
{
    AppTestEnvironment env;
    makeProject(env);
    env.makeFile(QStringLiteral("Code/Library/x.bin"), "never walked");
    const QString dest = env.makeFolder(QStringLiteral("Backups"));
    const VantrelRun run = vantrel({"run", "project-detector", env.path(QStringLiteral("Code")), "--dest", dest,
                                    "--set", "snapshot=comet", "--set", "name=from-detector", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("workflowID")).toString(), QStringLiteral("project-snapshot"));
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("done"));
    const QString archive = dest + QStringLiteral("/from-detector.zip");
    QProcess listing;
    listing.start(QStringLiteral("unzip"), {QStringLiteral("-Z1"), archive});
    ASSERT_TRUE(listing.waitForFinished(60000));
    QStringList entries = QString::fromUtf8(listing.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    entries.removeIf([](const QString &entry) { return entry.endsWith('/'); });
    entries.sort();
    EXPECT_EQ(entries, (QStringList{"comet/Cargo.toml", "comet/package.json", "comet/src/main.rs"}));

    // A project the detector didn't find is refused and nothing is written.
    const VantrelRun unknown = vantrel({"run", "project-detector", env.path(QStringLiteral("Code")), "--dest", dest,
                                        "--set", "snapshot=rocket", "--set", "name=never"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("Project Detector found no project “rocket”.")))
        << unknown.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(dest + QStringLiteral("/never.zip")));
}
