#include "AppTestEnvironment.h"
#include "TreeSnapshot.h"
#include "UsersQuickActions.h"
#include "foundation/RunURL.h"
#include "platform/InstanceChannel.h"
#include "platform/Paths.h"
#include "platform/ServicesRegistry.h"
#include "quickactions/WorkflowInstaller.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct CommandRun {
    int exitCode = -1;
    QJsonObject json;
    QString out;
    QString err;
};

// The real executable, as a user or a launcher runs it, in the test's home.
CommandRun vantrel(const QStringList &arguments, const QString &workingFolder = {})
{
    QProcess process;
    if (!workingFolder.isEmpty())
        process.setWorkingDirectory(workingFolder);
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    CommandRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.json = QJsonDocument::fromJson(run.out.toUtf8()).object();
    return run;
}

// Our launchers in the three file managers' folders.
QStringList ourLaunchers(const TestHome &env)
{
    QStringList found;
    for (const QString &folder :
         {QStringLiteral(".local/share/nautilus/scripts"), QStringLiteral(".local/share/nemo/actions"),
          QStringLiteral(".local/share/kio/servicemenus")}) {
        for (const QString &name : QDir(env.path(folder)).entryList({QStringLiteral("Vantrel - *")}, QDir::Files))
            found.append(folder + QLatin1Char('/') + name);
    }
    return found;
}

QStringList rowsNeedingAttention(const QJsonObject &result)
{
    QStringList ids;
    for (const QJsonValue &row :
         result.value(QStringLiteral("health")).toObject().value(QStringLiteral("rows")).toArray())
        ids.append(row.toObject().value(QStringLiteral("id")).toString() + QLatin1Char(':') +
                   row.toObject().value(QStringLiteral("status")).toString());
    return ids;
}

} // namespace

TEST(InstallerCommand, InstallsOnceWritesTheLaunchersAndSaysSo)
{
    AppTestEnvironment env;
    const CommandRun first =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("first-launch"), QStringLiteral("--json")});
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_EQ(first.json.value(QStringLiteral("installerStatus")).toObject(),
              (QJsonObject{{QStringLiteral("case"), QStringLiteral("installed")}, {QStringLiteral("count"), 7}}));
    EXPECT_EQ(first.json.value(QStringLiteral("message")).toString(),
              QStringLiteral("7 Quick Actions enabled in Finder. Right-click any file in Finder → Quick Actions to try "
                             "them."));
    EXPECT_EQ(ourLaunchers(env).size(), 21);
    EXPECT_TRUE(rowsNeedingAttention(first.json).isEmpty());

    // The second start copies nothing.
    const CommandRun again =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("first-launch"), QStringLiteral("--json")});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_TRUE(again.json.value(QStringLiteral("message")).isNull());
}

TEST(InstallerCommand, HealthNamesARowWhoseLauncherWentAndRepairMendsIt)
{
    AppTestEnvironment env;
    ASSERT_EQ(vantrel({QStringLiteral("quick-actions"), QStringLiteral("first-launch")}).exitCode, 0);
    ASSERT_TRUE(QFile::remove(
        env.path(QStringLiteral(".local/share/nemo/actions/Vantrel - Stitch to PDF or Image.nemo_action"))));

    const CommandRun health =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("health"), QStringLiteral("--json")});
    EXPECT_EQ(health.exitCode, 0);
    EXPECT_EQ(rowsNeedingAttention(health.json), QStringList{"stitch-files:needsSetup"});
    EXPECT_EQ(health.json.value(QStringLiteral("health")).toObject().value(QStringLiteral("issues")).toInt(), 1);
    EXPECT_EQ(health.json.value(QStringLiteral("installerStatus")).toObject(),
              (QJsonObject{{QStringLiteral("case"), QStringLiteral("ready")}, {QStringLiteral("bundledCount"), 7}}));

    const CommandRun repair =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("repair"), QStringLiteral("--json")});
    EXPECT_EQ(repair.exitCode, 0);
    EXPECT_EQ(repair.json.value(QStringLiteral("message")).toString(),
              QStringLiteral("Repaired 7 Quick Actions. They should be live in Finder now."));
    EXPECT_TRUE(rowsNeedingAttention(repair.json).isEmpty());
    EXPECT_EQ(ourLaunchers(env).size(), 21);
}

TEST(InstallerCommand, RemoveAllNeedsAnAnswerAndLeavesOnlyTheUsersOwn)
{
    AppTestEnvironment env;
    addUsersOwnQuickActions();
    const auto users = treeSnapshot(Paths::servicesFolder());
    ASSERT_EQ(vantrel({QStringLiteral("quick-actions"), QStringLiteral("first-launch")}).exitCode, 0);

    const CommandRun unanswered =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("remove-all"), QStringLiteral("--json")});
    EXPECT_EQ(unanswered.exitCode, 1);
    EXPECT_EQ(unanswered.json.value(QStringLiteral("message")).toString(), QStringLiteral("Cancelled."));
    EXPECT_EQ(WorkflowInstaller::installedBundles().size(), 7);

    const CommandRun removed = vantrel({QStringLiteral("quick-actions"), QStringLiteral("remove-all"),
                                        QStringLiteral("--yes"), QStringLiteral("--json")});
    EXPECT_EQ(removed.exitCode, 0) << removed.err.toStdString();
    EXPECT_EQ(removed.json.value(QStringLiteral("removed")).toArray().size(), 7);
    EXPECT_TRUE(ourLaunchers(env).isEmpty());
    EXPECT_EQ(treeSnapshot(Paths::servicesFolder()), users);

    // The next start doesn't bring them back.
    const CommandRun next =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("first-launch"), QStringLiteral("--json")});
    EXPECT_TRUE(WorkflowInstaller::installedBundles().isEmpty());
    EXPECT_EQ(rowsNeedingAttention(next.json).size(), 7);
}

TEST(InstallerCommand, BadUsageIsRefused)
{
    AppTestEnvironment env;
    EXPECT_EQ(vantrel({QStringLiteral("quick-actions"), QStringLiteral("remove")}).exitCode, 2);
    const CommandRun unknown =
        vantrel({QStringLiteral("quick-actions"), QStringLiteral("reinstall"), QStringLiteral("no-such")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_EQ(unknown.err.trimmed(), QStringLiteral("No Quick Action has the id “no-such”."));
}

namespace {

// A user's own Quick Action whose one step writes its arguments, its input and the first PATH entry.
void addRecordingQuickAction(const TestHome &env, int inputMethod,
                             const QString &stepClass = QStringLiteral("RunShellScriptAction"))
{
    const QString contents = Paths::servicesFolder() + QStringLiteral("/Record Me.workflow/Contents");
    QDir().mkpath(contents);
    QFile info(contents + QStringLiteral("/Info.plist"));
    ASSERT_TRUE(info.open(QIODevice::WriteOnly));
    info.write(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>NSServices</key><array><dict>
<key>NSMenuItem</key><dict><key>default</key><string>Record “Me” &amp; 100%</string></dict>
<key>NSMessage</key><string>runWorkflowAsService</string>
</dict></array></dict></plist>)");
    info.close();
    const QString record = env.path(QStringLiteral("recorded"));
    QFile document(contents + QStringLiteral("/document.wflow"));
    ASSERT_TRUE(document.open(QIODevice::WriteOnly));
    document.write(QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>actions</key><array><dict><key>action</key><dict>
<key>ActionName</key><string>Run Shell Script</string>
<key>ActionParameters</key><dict>
<key>COMMAND_STRING</key><string>{ for a in "$@"; do echo "arg:$a"; done; while read -r l; do echo "in:$l"; done; echo "path:${PATH%%:*}"; } &gt; '%1'</string>
<key>inputMethod</key><integer>%2</integer>
<key>shell</key><string>/bin/sh</string>
</dict>
<key>Class Name</key><string>%3</string>
</dict></dict></array></dict></plist>)")
                       .arg(record)
                       .arg(inputMethod)
                       .arg(stepClass)
                       .toUtf8());
}

QStringList recorded(const TestHome &env)
{
    QFile file(env.path(QStringLiteral("recorded")));
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("(nothing recorded)")};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

TEST(ServiceCommand, RunsTheShellStepWithTheFilesAsArgumentsOrInput)
{
    AppTestEnvironment env;
    const QString folder = QFileInfo(AppTestEnvironment::executable(QStringLiteral("vantrel"))).absolutePath();
    addRecordingQuickAction(env, 1);
    const CommandRun asArguments = vantrel({QStringLiteral("service"), QStringLiteral("Record “Me” & 100%"),
                                            QStringLiteral("--"), QStringLiteral("/a b"), QStringLiteral("/c'd")});
    EXPECT_EQ(asArguments.exitCode, 0) << asArguments.err.toStdString();
    EXPECT_EQ(recorded(env), (QStringList{"arg:/a b", "arg:/c'd", QStringLiteral("path:") + folder}));

    QDir(Paths::servicesFolder() + QStringLiteral("/Record Me.workflow")).removeRecursively();
    addRecordingQuickAction(env, 0);
    const CommandRun asInput = vantrel({QStringLiteral("service"), QStringLiteral("Record “Me” & 100%"),
                                        QStringLiteral("--"), QStringLiteral("/a b")});
    EXPECT_EQ(asInput.exitCode, 0);
    EXPECT_EQ(recorded(env), (QStringList{"in:/a b", QStringLiteral("path:") + folder}));
}

TEST(ServiceCommand, RefusesWhatItCantPerform)
{
    AppTestEnvironment env;
    addRecordingQuickAction(env, 1, QStringLiteral("AMRenameFinderItemsAction"));
    QFile document(Paths::servicesFolder() + QStringLiteral("/Record Me.workflow/Contents/document.wflow"));
    ASSERT_TRUE(document.open(QIODevice::ReadWrite));
    QByteArray text = document.readAll().replace("Run Shell Script", "Rename Finder Items");
    document.resize(0);
    document.write(text);
    document.close();
    const CommandRun refused = vantrel(
        {QStringLiteral("service"), QStringLiteral("Record “Me” & 100%"), QStringLiteral("--"), QStringLiteral("/a")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.err.trimmed(),
              QStringLiteral("“Record “Me” & 100%” can't run here: its “Rename Finder Items” step isn't supported on "
                             "this system."));
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("recorded"))));

    const CommandRun missing =
        vantrel({QStringLiteral("service"), QStringLiteral("Nobody"), QStringLiteral("--"), QStringLiteral("/a")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err.trimmed(), QStringLiteral("No Quick Action named “Nobody” is installed."));
    EXPECT_EQ(vantrel({QStringLiteral("service")}).exitCode, 2);
}

// The whole road as GNOME Files takes it: its script, run in the browsed folder with a relative name,
// runs `vantrel service`, which runs the bundle's step, whose `vantrel open` hands the running window
// the URL with the file's absolute path.
TEST(ServiceCommand, AGnomeFilesScriptReachesTheRunningWindow)
{
    AppTestEnvironment env;
    ASSERT_EQ(vantrel({QStringLiteral("quick-actions"), QStringLiteral("first-launch")}).exitCode, 0);
    InstanceServer window;
    ASSERT_TRUE(window.listen(Paths::instanceSocket())) << window.errorString().toStdString();
    QStringList received;
    QObject::connect(&window, &InstanceServer::urlsReceived,
                     [&received](const QStringList &urls) { received += urls; });
    const QString picked = env.makeFile(QStringLiteral("Photos/a b's.txt"), "x");

    QProcess script;
    script.setWorkingDirectory(env.path(QStringLiteral("Photos")));
    script.start(env.path(QStringLiteral(".local/share/nautilus/scripts/Vantrel - Tag Category Selector")),
                 {QStringLiteral("a b's.txt")});
    QDeadlineTimer deadline(60000);
    while ((script.state() != QProcess::NotRunning || received.isEmpty()) && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        script.waitForFinished(10);
    }
    EXPECT_EQ(script.exitCode(), 0) << script.readAllStandardError().toStdString();
    EXPECT_EQ(received, QStringList{RunURL::make(QStringLiteral("tag-category-selector"), {picked})});
}
