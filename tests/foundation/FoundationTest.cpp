#include "TestEnvironment.h"
#include "foundation/Concurrency.h"
#include "foundation/Defaults.h"
#include "foundation/ScriptedInteraction.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

TEST(Defaults, MissingOrMistypedKeysReadAsTheirValueWhenMissing)
{
    TestEnvironment env;
    {
        QDir().mkpath(QFileInfo(Paths::defaultsFile()).path());
        QFile file(Paths::defaultsFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("[General]\nstaleThresholdDays=soon\nlargeFileThresholdMB=250\nmenuBarEnabled=maybe\n"
                   "hasInstalledWorkflowsOnFirstLaunch=true\ninstalledPackIDs=com.vantrel.pack.file-hygiene\n");
    }
    Defaults defaults(Paths::defaultsFile());
    EXPECT_EQ(defaults.value(DefaultsKeys::staleThresholdDays), 180);
    EXPECT_EQ(defaults.value(DefaultsKeys::largeFileThresholdMB), 250);
    EXPECT_EQ(defaults.value(DefaultsKeys::downloadsTidyThresholdDays), 30);
    EXPECT_TRUE(defaults.value(DefaultsKeys::menuBarEnabled));
    EXPECT_TRUE(defaults.value(DefaultsKeys::hasInstalledWorkflowsOnFirstLaunch));
    EXPECT_FALSE(defaults.value(DefaultsKeys::diagnosticsEnabled));
    EXPECT_EQ(defaults.value(DefaultsKeys::installedPackIDs), QStringList{"com.vantrel.pack.file-hygiene"});
    EXPECT_TRUE(defaults.value(DefaultsKeys::installedPackWorkflowIDs).isEmpty());
}

TEST(Defaults, ValuesSurviveANewStore)
{
    TestEnvironment env;
    {
        Defaults defaults(Paths::defaultsFile());
        defaults.setValue(DefaultsKeys::installedPackWorkflowIDs, {"git-init", "tag-audit"});
        defaults.setValue(DefaultsKeys::installedPackIDs, {});
        defaults.setValue(DefaultsKeys::diagnosticsEnabled, true);
        defaults.setValue(DefaultsKeys::staleThresholdDays, 7);
        defaults.sync();
    }
    Defaults reread(Paths::defaultsFile());
    EXPECT_EQ(reread.value(DefaultsKeys::installedPackWorkflowIDs), (QStringList{"git-init", "tag-audit"}));
    EXPECT_TRUE(reread.value(DefaultsKeys::installedPackIDs).isEmpty());
    EXPECT_TRUE(reread.value(DefaultsKeys::diagnosticsEnabled));
    EXPECT_EQ(reread.value(DefaultsKeys::staleThresholdDays), 7);
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral(".config/Vantrel/Vantrel.conf"))));
}

TEST(ScriptedInteraction, AnswersByPrefixAndUsesEachEntryOnce)
{
    ScriptedInteraction interaction(
        QList<ScriptedInteraction::Answer>{{"Move", "Move to Trash"}, {"Move", "Cancel"}, {"Choose", "/tmp/dest"}});
    const AlertRequest trash{"Move 3 items to the Trash?", {}, {"Move to Trash", "Cancel"}};
    EXPECT_EQ(interaction.alert(trash), 0);
    EXPECT_EQ(interaction.alert(trash), 1);
    // Used up: the next one is cancelled with the last button.
    EXPECT_EQ(interaction.alert(trash), 1);
    PanelRequest panel;
    panel.title = QStringLiteral("Choose a destination");
    EXPECT_EQ(interaction.panel(panel), QStringList{"/tmp/dest"});
    EXPECT_TRUE(interaction.panel(panel).isEmpty());
    EXPECT_EQ(interaction.askedAlerts().size(), 3);
    EXPECT_EQ(interaction.askedPanels().size(), 2);
}

TEST(ScriptedInteraction, YesAndDestinationAnswerWhatTheScriptDoesNot)
{
    ScriptedInteraction interaction(QList<ScriptedInteraction::Answer>{{"Replace", "No such button"}});
    interaction.setAssumeYes(true);
    interaction.setDestination(QStringLiteral("/tmp/out"));
    EXPECT_EQ(interaction.alert({"Replace the file?", {}, {"Replace", "Keep Both", "Cancel"}}), 2);
    EXPECT_EQ(interaction.alert({"Continue?", {}, {"Continue", "Cancel"}}), 0);

    PanelRequest folder;
    folder.canChooseFiles = false;
    folder.canChooseDirectories = true;
    EXPECT_EQ(interaction.panel(folder), QStringList{"/tmp/out"});
    PanelRequest files;
    EXPECT_TRUE(interaction.panel(files).isEmpty());
}

TEST(ScriptedInteraction, ParsesAnswersFilesAndRejectsBadOnes)
{
    QString error;
    const auto answers = ScriptedInteraction::parseAnswers(R"([{"match": "Run", "answer": "/tmp"}])", &error);
    ASSERT_TRUE(answers.has_value());
    EXPECT_EQ(answers->size(), 1);
    for (const QByteArray &bad :
         {QByteArray("{}"), QByteArray("[1]"), QByteArray("[{\"match\": \"x\"}]"), QByteArray("not json")}) {
        error.clear();
        EXPECT_FALSE(ScriptedInteraction::parseAnswers(bad, &error).has_value()) << bad.constData();
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST(Concurrency, ResultsComeBackOnTheMainThreadAndIdleWaitsForThem)
{
    QObject context;
    std::atomic<bool> ranOnWorker{false};
    bool delivered = false;
    auto task = std::make_unique<BackgroundTask>([&](std::stop_token) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ranOnWorker = std::this_thread::get_id() != std::thread::id();
        postToMain(&context, [&] { delivered = QThread::currentThread() == context.thread(); });
    });
    EXPECT_TRUE(runUntilIdle(5000));
    EXPECT_TRUE(ranOnWorker);
    EXPECT_TRUE(delivered);
    EXPECT_TRUE(task->isFinished());
}

TEST(Concurrency, CancellingStopsTheWorkAndAGoneContextDropsItsResult)
{
    auto context = std::make_unique<QObject>();
    bool delivered = false;
    std::atomic<bool> sawStop{false};
    {
        BackgroundTask task([&](std::stop_token stop) {
            while (!stop.stop_requested())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            sawStop = true;
            postToMain(context.get(), [&] { delivered = true; });
        });
        task.cancel();
        EXPECT_TRUE(task.isCancelled());
    } // destroying the task waits for its thread
    EXPECT_TRUE(sawStop);
    context.reset();
    EXPECT_TRUE(runUntilIdle(5000));
    EXPECT_FALSE(delivered);
    EXPECT_TRUE(WorkTracker::isIdle());
}
