#include "AppTestEnvironment.h"
#include "platform/Paths.h"
#include "quickactions/QuickActionBackupStore.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <ostream>

namespace {

struct CommandRun {
    int exitCode = -1;
    QJsonObject json;
    QString out;
    QString err;
};

// The real executable, as a user runs it, in the test's home.
CommandRun vantrel(const QStringList &arguments)
{
    QProcess process;
    process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments);
    EXPECT_TRUE(process.waitForFinished(30000));
    CommandRun run;
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    run.json = QJsonDocument::fromJson(run.out.toUtf8()).object();
    return run;
}

// What is on disk before the command runs.
struct Setup {
    bool backup = false;    // a backup of "Resize Images" in the backup folder
    bool installed = false; // "Resize Images.workflow" in the Services folder
};

// "{backup}" in an argument stands for the backup's file name, "{stem}" for it without ".workflow", and
// "{bundle}" for a bundle outside both folders.
struct CommandCase {
    const char *name;
    Setup setup;
    QStringList arguments;
    int exitCode;
    QString message;     // in the JSON's "message", on stdout in text, or on stderr on a failure; "{services}"
                         // is the Services folder as shown
    int backupsAfter;    // backups listed afterwards
    bool installedAfter; // the Services folder holds the workflow afterwards
};

void PrintTo(const CommandCase &c, std::ostream *os)
{
    *os << c.name;
}

class QuickActionsBackupsCommand : public testing::TestWithParam<CommandCase> {};

TEST_P(QuickActionsBackupsCommand, RunsThroughTheExecutable)
{
    AppTestEnvironment env;
    const CommandCase &c = GetParam();
    env.makeFile(QStringLiteral("Downloads/Resize Images.workflow/Contents/document.wflow"), "actions");
    const QString bundle = env.path(QStringLiteral("Downloads/Resize Images.workflow"));
    QString backupName;
    if (c.setup.backup) {
        const QString saved = QuickActionBackupStore::save(bundle);
        backupName = QFileInfo(saved).fileName();
    }
    const QString installed = Paths::servicesFolder() + QStringLiteral("/Resize Images.workflow");
    if (c.setup.installed)
        QDir().mkpath(installed);

    QStringList arguments{QStringLiteral("quick-actions")};
    for (QString word : c.arguments) {
        word.replace(QStringLiteral("{backup}"), backupName);
        word.replace(QStringLiteral("{stem}"), backupName.chopped(qMin(backupName.size(), 9)));
        word.replace(QStringLiteral("{bundle}"), bundle);
        arguments.append(word);
    }
    const CommandRun run = vantrel(arguments);
    EXPECT_EQ(run.exitCode, c.exitCode) << run.out.toStdString() << run.err.toStdString();

    QString message = c.message;
    message.replace(QStringLiteral("{services}"), Paths::displayPath(Paths::servicesFolder()));
    const bool json = c.arguments.contains(QStringLiteral("--json"));
    if (c.exitCode == 2) {
        EXPECT_TRUE(run.err.startsWith(QStringLiteral("Usage: vantrel quick-actions"))) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << run.out.toStdString();
    } else if (json) {
        if (message.isEmpty())
            EXPECT_TRUE(run.json.value(QStringLiteral("message")).isNull()) << run.out.toStdString();
        else
            EXPECT_TRUE(run.json.value(QStringLiteral("message")).toString().startsWith(message))
                << run.out.toStdString();
        const QJsonArray rows = run.json.value(QStringLiteral("backups")).toArray();
        EXPECT_EQ(rows.size(), c.backupsAfter) << run.out.toStdString();
        for (const auto &row : rows) {
            const QJsonObject backup = row.toObject();
            EXPECT_EQ(backup.value(QStringLiteral("workflowName")).toString(), QStringLiteral("Resize Images"));
            EXPECT_EQ(backup.value(QStringLiteral("sizeBytes")).toInteger(), 7);
            EXPECT_TRUE(QDateTime::fromString(backup.value(QStringLiteral("createdAt")).toString(), Qt::ISODateWithMs)
                            .isValid())
                << run.out.toStdString();
            EXPECT_TRUE(QFileInfo(backup.value(QStringLiteral("url")).toString()).isDir()) << run.out.toStdString();
        }
    } else if (c.exitCode == 1) {
        EXPECT_EQ(run.err.trimmed(), message) << run.err.toStdString();
    } else {
        EXPECT_TRUE(run.out.startsWith(message)) << run.out.toStdString();
    }
    EXPECT_EQ(QuickActionBackupStore::list().size(), c.backupsAfter);
    EXPECT_EQ(QFileInfo(installed).isDir(), c.installedAfter);
}

const QString refusal = QStringLiteral(
    "“Resize Images” is still installed. Remove or rename it in {services} first, so restoring can't overwrite it.");
const QString restored =
    QStringLiteral("Restored “Resize Images” to {services}. It's back in Finder's Quick Actions menu.");

INSTANTIATE_TEST_SUITE_P(
    Commands, QuickActionsBackupsCommand,
    testing::Values(
        CommandCase{"list_none_json", {}, {"backups", "list", "--json"}, 0, {}, 0, false},
        CommandCase{"list_none_text", {}, {"backups", "list"}, 0, "Backups of your originals · 0", 0, false},
        CommandCase{"list_one_json", {true, false}, {"backups", "list", "--json"}, 0, {}, 1, false},
        CommandCase{"list_one_text",
                    {true, false},
                    {"backups", "list"},
                    0,
                    "Backups of your originals · 1\nResize Images 2",
                    1,
                    false},
        CommandCase{"save_json",
                    {},
                    {"backups", "save", "{bundle}", "--json"},
                    0,
                    "Saved ~/.local/share/Vantrel/Quick Action Backups/Resize Images ",
                    1,
                    false},
        CommandCase{"save_missing_bundle",
                    {},
                    {"backups", "save", "/nonexistent/X.workflow"},
                    1,
                    "Couldn't copy the workflow: No such file or directory",
                    0,
                    false},
        CommandCase{"restore_by_file_name", {true, false}, {"backups", "restore", "{backup}"}, 0, restored, 1, true},
        CommandCase{"restore_without_extension_json",
                    {true, false},
                    {"backups", "restore", "{stem}", "--json"},
                    0,
                    restored,
                    1,
                    true},
        CommandCase{
            "restore_while_installed_text", {true, true}, {"backups", "restore", "{backup}"}, 1, refusal, 1, true},
        CommandCase{"restore_while_installed_json",
                    {true, true},
                    {"backups", "restore", "{backup}", "--json"},
                    1,
                    refusal,
                    1,
                    true},
        CommandCase{"restore_unknown_name",
                    {true, false},
                    {"backups", "restore", "Nothing Here"},
                    1,
                    "No backup is named “Nothing Here”.",
                    1,
                    false},
        CommandCase{"delete_to_the_trash",
                    {true, false},
                    {"backups", "delete", "{stem}", "--json"},
                    0,
                    "Moved “Resize Images ",
                    0,
                    false},
        CommandCase{"no_subcommand", {}, {}, 2, {}, 0, false},
        CommandCase{"unknown_subcommand", {}, {"frobnicate"}, 2, {}, 0, false},
        CommandCase{"unknown_action", {}, {"backups", "prune"}, 2, {}, 0, false},
        CommandCase{"save_without_bundle", {}, {"backups", "save"}, 2, {}, 0, false},
        CommandCase{"list_with_extra_word", {}, {"backups", "list", "extra"}, 2, {}, 0, false}),
    [](const testing::TestParamInfo<CommandCase> &info) { return std::string(info.param.name); });

} // namespace
