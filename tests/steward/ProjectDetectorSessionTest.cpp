#include "steward/ProjectDetectorSession.h"
#include "TestEnvironment.h"
#include "steward/RecentProjectsStore.h"

#include <QJsonArray>
#include <QSignalSpy>

#include <gtest/gtest.h>

using Detector = ProjectDetectorSession;

namespace {

QList<Detector::Phase> phasesOf(Detector &session)
{
    auto seen = std::make_shared<QList<Detector::Phase>>();
    QObject::connect(&session, &Detector::phaseChanged, &session, [seen, &session] { seen->append(session.phase()); });
    TestEnvironment::runUntilIdle();
    return *seen;
}

} // namespace

TEST(ProjectDetectorSession, StartsOnlyOnFolders)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("notes.txt"), "n");
    const QString other = env.makeFile(QStringLiteral("other.txt"), "o");
    const QString needsFolder = QStringLiteral("Project Detector needs a folder to scan. Pick one and try again.");
    const QList<std::pair<QStringList, QString>> rows{
        {{file}, QStringLiteral("Project Detector scans folders. notes.txt is a file.")},
        {{file, other}, needsFolder},
        {{}, needsFolder},
        {{env.path(QStringLiteral("gone"))}, needsFolder},
    };
    for (const auto &[roots, message] : rows) {
        Detector session(env.host(), roots, nullptr);
        EXPECT_EQ(session.phase(), Detector::Phase(Detector::configuring{roots}));
        session.start();
        EXPECT_EQ(session.phase(), Detector::Phase(Detector::failed{message})) << roots.join(", ").toStdString();
        EXPECT_EQ(session.phaseKind(), Session::PhaseKind::failed);
    }
}

TEST(ProjectDetectorSession, ScansThenIsDoneWithTheResults)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("work/site/package.json"), "{}");
    env.makeFile(QStringLiteral("work/site.js"), "x");
    env.makeFile(QStringLiteral("loose.txt"), "x");
    const QString work = env.path(QStringLiteral("work"));
    Detector session(env.host(), {work, env.path(QStringLiteral("loose.txt"))}, nullptr);
    session.start();
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::running);
    const QList<Detector::Phase> phases = phasesOf(session);
    ASSERT_GE(phases.size(), 2);
    // The first folder is published at once, whatever the throttle.
    const auto *first = std::get_if<Detector::scanning>(&phases.first());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->progress.foldersWalked, 1);
    EXPECT_EQ(first->progress.currentPath, work);
    const auto *finished = std::get_if<Detector::done>(&session.phase());
    ASSERT_TRUE(finished);
    ASSERT_EQ(finished->results.projects.size(), 1);
    EXPECT_EQ(finished->results.foldersWalked, 2);
    EXPECT_GE(finished->results.elapsed, 0.0);
    ASSERT_EQ(finished->results.looseFiles.size(), 1) << "only the folder is a root";
    EXPECT_EQ(finished->results.looseFiles.first().relatedTo, env.path(QStringLiteral("work/site")));

    const QJsonObject json = session.toJson();
    EXPECT_EQ(json.value("phase").toString(), QStringLiteral("done"));
    EXPECT_EQ(json.value("projects").toArray().first().toObject().value("structure").toObject().value("kind"),
              QStringLiteral("node"));
    EXPECT_EQ(json.value("foldersWalked").toInt(), 2);
}

TEST(ProjectDetectorSession, NothingFoundSaysSo)
{
    TestEnvironment env;
    const QString empty = env.makeFolder(QStringLiteral("empty"));
    Detector session(env.host(), {empty}, nullptr);
    session.start();
    TestEnvironment::runUntilIdle();
    EXPECT_EQ(session.describe(), (QStringList{Detector::emptyTitle(), Detector::emptyHint()}));
    EXPECT_EQ(Detector::emptyTitle(), QStringLiteral("No projects detected."));
}

TEST(ProjectDetectorSession, CancelGoesBackToConfiguringAndDropsTheWalk)
{
    TestEnvironment env;
    for (int i = 0; i < 30; ++i)
        env.makeFile(QStringLiteral("many/f%1/g/p/Cargo.toml").arg(i), "x");
    RecentProjectsStore recent(env.defaults());
    const QStringList roots{env.path(QStringLiteral("many"))};
    Detector session(env.host(), roots, &recent);
    QSignalSpy closed(&session, &Detector::closed);
    session.start();
    session.cancel();
    EXPECT_EQ(session.phase(), Detector::Phase(Detector::configuring{roots}));
    TestEnvironment::runUntilIdle();
    EXPECT_EQ(session.phase(), Detector::Phase(Detector::configuring{roots})) << "a cancelled walk reports nothing";
    EXPECT_TRUE(recent.entries().isEmpty());
    EXPECT_EQ(closed.count(), 0);

    // Started again it runs to the end; cancelled then, the sheet closes.
    session.start();
    TestEnvironment::runUntilIdle();
    ASSERT_TRUE(std::holds_alternative<Detector::done>(session.phase()));
    EXPECT_EQ(std::get<Detector::done>(session.phase()).results.projects.size(), 30);
    session.cancel();
    EXPECT_EQ(closed.count(), 1);
}

TEST(ProjectDetectorSession, TheTwelveLargestGoToRecentProjectsLargestFirst)
{
    TestEnvironment env;
    for (int i = 1; i <= 14; ++i)
        env.makeFile(QStringLiteral("root/p%1/Cargo.toml").arg(i, 2, 10, QLatin1Char('0')), QByteArray(i * 8192, 'r'));
    RecentProjectsStore recent(env.defaults());
    recent.record(ProjectStructure{ProjectKind::node, QStringLiteral("/earlier"), {}, {}, {}});
    Detector session(env.host(), {env.path(QStringLiteral("root"))}, &recent);
    session.start();
    TestEnvironment::runUntilIdle();
    QStringList names;
    for (const RecentProjectsStore::Entry &entry : recent.entries())
        names.append(QFileInfo(entry.rootURL).fileName());
    EXPECT_EQ(names, (QStringList{"p14", "p13", "p12", "p11", "p10", "p09", "p08", "p07", "p06", "p05", "p04", "p03"}));
}

TEST(ProjectDetectorSession, TheSummaryCountsEachNounRightly)
{
    Detector::ScanResults one;
    one.projects.append(Detector::DetectedProject{});
    one.looseFiles.append(Detector::LooseFile{});
    one.foldersWalked = 1;
    EXPECT_EQ(Detector::summary(one), QStringLiteral("1 project · 1 loose file · 1 folder walked"));
    Detector::ScanResults many;
    many.projects.resize(2);
    many.foldersWalked = 40;
    EXPECT_EQ(Detector::summary(many), QStringLiteral("2 projects · 0 loose files · 40 folders walked"));
}
