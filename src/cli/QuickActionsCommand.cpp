#include "cli/QuickActionsCommand.h"

#include "app/AppState.h"
#include "foundation/ByteCountFormatter.h"
#include "foundation/Defaults.h"
#include "foundation/Plural.h"
#include "foundation/ScriptedInteraction.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/RegularFile.h"
#include "platform/ServicesRegistry.h"
#include "quickactions/QuickActionBackupStore.h"
#include "quickactions/WorkflowInstaller.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <algorithm>
#include <optional>

namespace {

using QuickActionBackupStore::Backup;
using QuickActionBackupStore::BackupError;

const QString backupsUsage =
    QStringLiteral("Usage: vantrel quick-actions backups (list|save BUNDLE|restore NAME|delete NAME) [--json]");

struct Subcommand {
    const char *name;
    int (*run)(const QStringList &, QTextStream &, QTextStream &);
};

int installer(const QString &action, const QStringList &arguments, QTextStream &out, QTextStream &err);

template <const char *Action> int installerStep(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    return installer(QString::fromLatin1(Action), arguments, out, err);
}

constexpr char statusName[] = "status";
constexpr char firstLaunchName[] = "first-launch";
constexpr char installName[] = "install";
constexpr char repairName[] = "repair";
constexpr char removeAllName[] = "remove-all";
constexpr char removeName[] = "remove";
constexpr char reinstallName[] = "reinstall";
constexpr char healthName[] = "health";
constexpr char refreshName[] = "refresh";

// A second subcommand is one more row here.
const Subcommand subcommands[] = {
    {statusName, &installerStep<statusName>},       {firstLaunchName, &installerStep<firstLaunchName>},
    {installName, &installerStep<installName>},     {repairName, &installerStep<repairName>},
    {removeAllName, &installerStep<removeAllName>}, {removeName, &installerStep<removeName>},
    {reinstallName, &installerStep<reinstallName>}, {healthName, &installerStep<healthName>},
    {refreshName, &installerStep<refreshName>},     {"backups", &QuickActionsCommand::backups},
};

QString usage()
{
    QStringList names;
    for (const Subcommand &subcommand : subcommands)
        names.append(QString::fromLatin1(subcommand.name));
    return QStringLiteral("Usage: vantrel quick-actions (") + names.join(QLatin1Char('|')) + QStringLiteral(") …");
}

QString fileNameOf(const Backup &backup)
{
    return backup.url.mid(backup.url.lastIndexOf(QLatin1Char('/')) + 1);
}

std::optional<Backup> findBackup(const QString &name)
{
    const QString wanted = name.endsWith(QLatin1String(".workflow")) ? name : name + QStringLiteral(".workflow");
    for (const Backup &backup : QuickActionBackupStore::list()) {
        if (fileNameOf(backup) == wanted)
            return backup;
    }
    return std::nullopt;
}

QJsonObject backupJson(const Backup &backup)
{
    return QJsonObject{
        {QStringLiteral("url"), NativeNames::display(backup.url)},
        {QStringLiteral("workflowName"), NativeNames::display(backup.workflowName)},
        {QStringLiteral("createdAt"), backup.createdAt.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("sizeBytes"), double(backup.sizeBytes)},
    };
}

QString backupLine(const Backup &backup)
{
    return NativeNames::display(fileNameOf(backup)) + QLatin1Char('\t') + backup.createdAt.toString(Qt::ISODate) +
           QLatin1Char('\t') + ByteCountFormatter::format(quint64(backup.sizeBytes));
}

QJsonObject statusJson(const WorkflowInstaller::Status &status)
{
    QJsonObject object{{QStringLiteral("case"), WorkflowInstaller::caseName(status)}};
    if (const auto *r = std::get_if<WorkflowInstaller::ready>(&status))
        object.insert(QStringLiteral("bundledCount"), r->bundledCount);
    else if (const auto *i = std::get_if<WorkflowInstaller::installed>(&status))
        object.insert(QStringLiteral("count"), i->count);
    else if (const auto *f = std::get_if<WorkflowInstaller::failed>(&status))
        object.insert(QStringLiteral("reason"), f->reason);
    return object;
}

QString statusText(const WorkflowInstaller::Status &status)
{
    if (const auto *r = std::get_if<WorkflowInstaller::ready>(&status))
        return QStringLiteral("Vantrel carries %1.").arg(counted(r->bundledCount, QStringLiteral("Quick Action")));
    if (const auto *i = std::get_if<WorkflowInstaller::installed>(&status))
        return QStringLiteral("Installed %1.").arg(counted(i->count, QStringLiteral("Quick Action")));
    if (const auto *f = std::get_if<WorkflowInstaller::failed>(&status))
        return QStringLiteral("Couldn't install the Quick Actions: %1").arg(f->reason);
    if (std::holds_alternative<WorkflowInstaller::bundleMissing>(status))
        return QStringLiteral("Vantrel's Quick Action bundles can't be found.");
    return QStringLiteral("Status not yet checked");
}

// The health as the dashboard has it, and why each row needs attention.
QJsonObject healthJson(const AppState &state)
{
    QJsonArray rows;
    for (const Workflow &row : state.workflows()) {
        if (row.status != Workflow::Status::missing && row.status != Workflow::Status::needsSetup)
            continue;
        rows.append(QJsonObject{
            {QStringLiteral("id"), row.id},
            {QStringLiteral("status"), Workflow::toString(row.status)},
            {QStringLiteral("why"),
             row.status == Workflow::Status::missing
                 ? QStringLiteral("Its bundle isn't in %1.").arg(Paths::displayPath(Paths::servicesFolder()))
                 : QStringLiteral("The file managers' launchers for it are missing, altered "
                                  "or can't run; Repair writes them again.")}});
    }
    const auto *issues = std::get_if<AppState::issues>(&state.healthStatus());
    return {{QStringLiteral("issues"), issues ? issues->count : 0},
            {QStringLiteral("summary"), state.healthSummary()},
            {QStringLiteral("lastCheck"), state.lastHealthCheck()
                                              ? QJsonValue(state.lastHealthCheck()->toUTC().toString(Qt::ISODate))
                                              : QJsonValue()},
            {QStringLiteral("rows"), rows}};
}

int installer(const QString &action, const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const QString usage = QStringLiteral("Usage: vantrel quick-actions (status|first-launch|install|repair|"
                                         "remove-all|remove ID|reinstall ID|health|refresh) [--yes|--answers "
                                         "FILE] [--json]");
    bool json = false;
    bool yes = false;
    QString answersFile;
    QStringList words;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &word = arguments[i];
        if (word == QLatin1String("--json"))
            json = true;
        else if (word == QLatin1String("--yes"))
            yes = true;
        else if (word == QLatin1String("--answers") && i + 1 < arguments.size())
            answersFile = arguments[++i];
        else if (!word.startsWith(QLatin1String("--")))
            words.append(word);
        else {
            err << usage << Qt::endl;
            return 2;
        }
    }
    const bool takesID = action == QLatin1String("remove") || action == QLatin1String("reinstall");
    if (words.size() != (takesID ? 1 : 0)) {
        err << usage << Qt::endl;
        return 2;
    }
    ScriptedInteraction interaction;
    if (!answersFile.isEmpty()) {
        const RegularFile::Read read = RegularFile::read(answersFile, qint64(4) * 1024 * 1024);
        QString error;
        const auto answers = read.ok() ? ScriptedInteraction::parseAnswers(read.bytes, &error) : std::nullopt;
        if (!answers) {
            err << QStringLiteral("Couldn't read the answers file %1: %2")
                       .arg(answersFile, read.ok() ? error : read.reason)
                << Qt::endl;
            return 2;
        }
        for (const auto &answer : *answers)
            interaction.addAnswer(answer.match, answer.answer);
    }
    interaction.setAssumeYes(yes);
    Defaults defaults(Paths::defaultsFile());
    AppState state(defaults, interaction);
    state.refreshStatuses();
    if (takesID && !std::any_of(state.workflows().cbegin(), state.workflows().cend(),
                                [&](const Workflow &row) { return row.id == words.first(); })) {
        err << QStringLiteral("No Quick Action has the id “%1”.").arg(words.first()) << Qt::endl;
        return 2;
    }

    const QStringList before = WorkflowInstaller::installedBundles();
    bool cancelled = false;
    // Health reads like status: what the application carries, then what needs attention.
    if (action == QLatin1String("status") || action == QLatin1String("health")) {
        state.setInstallerStatus(WorkflowInstaller::statusCheck());
    } else if (action == QLatin1String("first-launch")) {
        state.runFirstLaunchInstall();
    } else if (action == QLatin1String("install") || action == QLatin1String("repair")) {
        state.repairInstallation();
    } else if (action == QLatin1String("remove-all")) {
        cancelled = !state.removeAllQuickActions();
    } else if (action == QLatin1String("remove")) {
        state.removeQuickAction(words.first());
    } else if (action == QLatin1String("reinstall")) {
        state.reinstallQuickAction(words.first());
    } else if (action == QLatin1String("refresh")) {
        ServicesRegistry::system().refresh();
        state.refreshStatuses();
    }
    state.runHealthCheck();
    QStringList removed;
    const QStringList after = WorkflowInstaller::installedBundles();
    for (const QString &bundle : before) {
        if (!after.contains(bundle))
            removed.append(bundle);
    }

    const auto &banner = state.packBanner();
    std::optional<QString> message;
    if (cancelled)
        message = QStringLiteral("Cancelled.");
    else if (banner)
        message = banner->message;
    else if (state.firstLaunchMessage())
        message = state.firstLaunchMessage();
    const bool failed = cancelled || (banner && banner->tone == AppState::PackBanner::Tone::failure) ||
                        std::holds_alternative<WorkflowInstaller::failed>(state.installerStatus());
    if (json) {
        QJsonArray removedRows;
        for (const QString &bundle : removed)
            removedRows.append(NativeNames::display(bundle));
        out << QJsonDocument(QJsonObject{{QStringLiteral("installerStatus"), statusJson(state.installerStatus())},
                                         {QStringLiteral("message"), message ? QJsonValue(*message) : QJsonValue()},
                                         {QStringLiteral("removed"), removedRows},
                                         {QStringLiteral("health"), healthJson(state)}})
                   .toJson(QJsonDocument::Indented);
    } else {
        (failed ? err : out) << message.value_or(statusText(state.installerStatus())) << Qt::endl;
        if (action == QLatin1String("health") || action == QLatin1String("status")) {
            out << state.healthSummary() << Qt::endl;
            for (const auto &row : healthJson(state).value(QStringLiteral("rows")).toArray())
                out << QStringLiteral("  %1  %2")
                           .arg(row.toObject().value(QStringLiteral("id")).toString(),
                                row.toObject().value(QStringLiteral("why")).toString())
                    << Qt::endl;
        }
    }
    out.flush();
    return failed ? 1 : 0;
}

} // namespace

int QuickActionsCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const QString name = arguments.value(0);
    for (const Subcommand &subcommand : subcommands) {
        if (name == QLatin1String(subcommand.name))
            return subcommand.run(arguments.mid(1), out, err);
    }
    err << usage() << Qt::endl;
    return 2;
}

int QuickActionsCommand::backups(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    bool json = false;
    QStringList words;
    for (const QString &word : arguments) {
        if (word == QLatin1String("--json"))
            json = true;
        else
            words.append(word);
    }
    const QString action = words.value(0);
    const bool takesName =
        action == QLatin1String("save") || action == QLatin1String("restore") || action == QLatin1String("delete");
    const bool known = takesName || action == QLatin1String("list");
    if (!known || words.size() != (takesName ? 2 : 1) || (takesName && words[1].isEmpty())) {
        err << backupsUsage << Qt::endl;
        return 2;
    }

    std::optional<QString> message;
    bool failed = false;
    try {
        if (action == QLatin1String("save")) {
            const QString saved = QuickActionBackupStore::save(NativeNames::absolutePath(words[1]));
            message = QStringLiteral("Saved ") + Paths::displayPath(saved) + QLatin1Char('.');
        } else if (action != QLatin1String("list")) {
            const auto backup = findBackup(words[1]);
            if (!backup)
                throw BackupError(QStringLiteral("No backup is named “") + NativeNames::display(words[1]) +
                                  QStringLiteral("”."));
            if (action == QLatin1String("restore")) {
                QuickActionBackupStore::restore(*backup);
                message = QuickActionBackupStore::restoredMessage(NativeNames::display(backup->workflowName));
            } else {
                QuickActionBackupStore::remove(*backup);
                message = QStringLiteral("Moved “") + NativeNames::display(fileNameOf(*backup)) +
                          QStringLiteral("” to the Trash.");
            }
        }
    } catch (const BackupError &error) {
        message = error.message();
        failed = true;
    }

    const QList<Backup> backups = QuickActionBackupStore::list();
    if (json) {
        QJsonArray rows;
        for (const Backup &backup : backups)
            rows.append(backupJson(backup));
        out << QJsonDocument(QJsonObject{{QStringLiteral("backups"), rows},
                                         {QStringLiteral("message"), message ? QJsonValue(*message) : QJsonValue()}})
                   .toJson(QJsonDocument::Indented);
    } else if (failed) {
        err << *message << Qt::endl;
    } else if (message) {
        out << *message << Qt::endl;
    } else {
        out << QuickActionBackupStore::cardTitle(backups.size()) << Qt::endl;
        for (const Backup &backup : backups)
            out << backupLine(backup) << Qt::endl;
    }
    out.flush();
    return failed ? 1 : 0;
}
