#include "AppTestEnvironment.h"
#include "foundation/Defaults.h"
#include "steward/RecentProjectsStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct DetectorRun {
    int exitCode = -1;
    QJsonObject json;
    QString err;
};

DetectorRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitCode(), QJsonDocument::fromJson(process.readAllStandardOutput()).object(),
            QString::fromUtf8(process.readAllStandardError())};
}

} // namespace

TEST(ProjectDetectorRun, PrintsTheProjectsAndLooseFilesAndRemembersTheProjects)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("Code/orbit-game/project.godot"), "config");
    env.makeFile(QStringLiteral("Code/orbit-game/art/ship.png"), QByteArray(32 * 1024, 'p'));
    env.makeFile(QStringLiteral("Code/tools/linter/Cargo.toml"), "[package]");
    env.makeFile(QStringLiteral("Code/orbit-ship.tscn"), "scene");
    env.makeFile(QStringLiteral("Downloads/readme.md"), "hi");
    const QString code = env.path(QStringLiteral("Code"));
    const QString downloads = env.path(QStringLiteral("Downloads"));

    const DetectorRun run = vantrel({"run", "project-detector", code, downloads, "--json"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.err.isEmpty()) << "progress is for a terminal only: " << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("done"));
    const QJsonArray projects = session.value(QStringLiteral("projects")).toArray();
    ASSERT_EQ(projects.size(), 2);
    const QJsonObject largest = projects.first().toObject();
    const QJsonObject structure = largest.value(QStringLiteral("structure")).toObject();
    EXPECT_EQ(structure.value(QStringLiteral("kind")).toString(), QStringLiteral("godot"));
    EXPECT_EQ(structure.value(QStringLiteral("projectRoot")).toString(), env.path(QStringLiteral("Code/orbit-game")));
    EXPECT_EQ(structure.value(QStringLiteral("derivedPaths")).toArray(),
              QJsonArray{env.path(QStringLiteral("Code/orbit-game/.godot"))});
    EXPECT_GE(largest.value(QStringLiteral("totalSizeBytes")).toDouble(), 32 * 1024);
    EXPECT_TRUE(QDateTime::fromString(largest.value(QStringLiteral("lastModified")).toString(), Qt::ISODate).isValid());
    EXPECT_EQ(projects[1].toObject().value(QStringLiteral("structure")).toObject().value(QStringLiteral("kind")),
              QStringLiteral("rust"));

    QHash<QString, QJsonValue> related;
    for (const QJsonValue &file : session.value(QStringLiteral("looseFiles")).toArray())
        related.insert(file.toObject().value(QStringLiteral("url")).toString(),
                       file.toObject().value(QStringLiteral("relatedTo")));
    EXPECT_EQ(related.size(), 2);
    EXPECT_EQ(related.value(env.path(QStringLiteral("Code/orbit-ship.tscn"))).toString(),
              env.path(QStringLiteral("Code/orbit-game")));
    EXPECT_TRUE(related.value(env.path(QStringLiteral("Downloads/readme.md"))).isNull());
    // Code, orbit-game, tools, linter and Downloads.
    EXPECT_EQ(session.value(QStringLiteral("foldersWalked")).toInt(), 5);
    EXPECT_TRUE(session.value(QStringLiteral("elapsed")).isDouble());

    Defaults written(env.defaults().filePath());
    const RecentProjectsStore recent(written);
    ASSERT_EQ(recent.entries().size(), 2);
    EXPECT_EQ(recent.entries().first().rootURL, env.path(QStringLiteral("Code/orbit-game")));
}

TEST(ProjectDetectorRun, AFileIsRefusedWithAFailedPhase)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("report.pdf"), "pdf");
    const DetectorRun run = vantrel({"run", "project-detector", file, "--json"});
    EXPECT_EQ(run.exitCode, 1) << run.err.toStdString();
    const QJsonObject session = run.json.value(QStringLiteral("session")).toObject();
    EXPECT_EQ(session.value(QStringLiteral("phase")).toString(), QStringLiteral("failed"));
    EXPECT_EQ(session.value(QStringLiteral("message")).toString(),
              QStringLiteral("Project Detector scans folders. report.pdf is a file."));
}

TEST(ProjectDetectorRun, ATerminalSeesTheWalkOnStandardError)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("Code/site/package.json"), "{}");
    // `script` gives the run a terminal, as a person at a shell has; its output is the terminal's.
    const QString command =
        QStringLiteral("'%1' run project-detector '%2' 1>/dev/null")
            .arg(AppTestEnvironment::executable(QStringLiteral("vantrel")), env.path(QStringLiteral("Code")));
    QProcess process;
    process.start(QStringLiteral("script"), {"-qec", command, "/dev/null"});
    ASSERT_TRUE(process.waitForFinished(60000));
    if (process.exitCode() == 127 || process.error() == QProcess::FailedToStart)
        GTEST_SKIP() << "no `script` to give the run a terminal";
    const QString seen = QString::fromUtf8(process.readAllStandardOutput());
    EXPECT_EQ(process.exitCode(), 0) << seen.toStdString();
    EXPECT_TRUE(seen.contains(QStringLiteral("Project Detector… "))) << seen.toStdString();
    EXPECT_TRUE(seen.endsWith(QStringLiteral("\r\x1b[K"))) << "the line is cleared before the result";
}
