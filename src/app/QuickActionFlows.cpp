#include "app/AppState.h"

#include "foundation/Defaults.h"
#include "foundation/Interaction.h"
#include "foundation/Plural.h"
#include "platform/Paths.h"
#include "platform/ServicesRegistry.h"
#include "quickactions/WorkflowInstaller.h"

#include <QFileInfo>

namespace {

const Workflow *rowOf(const QList<Workflow> &rows, const QString &id)
{
    for (const Workflow &row : rows) {
        if (row.id == id)
            return &row;
    }
    return nullptr;
}

} // namespace

void AppState::setInstallerStatus(const WorkflowInstaller::Status &status)
{
    if (installer == status)
        return;
    installer = status;
    emit installerStatusChanged();
}

void AppState::runIntegrityCheck()
{
    IntegrityReport report;
    const QString services = Paths::servicesFolder();
    for (const Workflow &row : coreRows) {
        if (row.status != Workflow::Status::installed && row.status != Workflow::Status::missing &&
            row.status != Workflow::Status::needsSetup)
            continue;
        if (QFileInfo::exists(services + QLatin1Char('/') + row.bundleName))
            ++report.okCount;
        else
            report.missing.append(row.id);
    }
    report.checkedAt = QDateTime::currentDateTime();
    setIntegrityReport(report);
    refreshStatuses();
}

void AppState::startUp()
{
    ServicesRegistry::system().refreshIfMoved();
    runFirstLaunchInstall();
    setInstallerStatus(WorkflowInstaller::statusCheck());
    refreshStatuses();
}

void AppState::runFirstLaunchInstall()
{
    if (userDefaults.value(DefaultsKeys::hasInstalledWorkflowsOnFirstLaunch))
        return;
    const WorkflowInstaller::Status result = WorkflowInstaller::installAll();
    setInstallerStatus(result);
    if (const auto *done = std::get_if<WorkflowInstaller::installed>(&result); done && done->count >= 1) {
        userDefaults.setValue(DefaultsKeys::hasInstalledWorkflowsOnFirstLaunch, true);
        setFirstLaunchMessage(
            QStringLiteral("%1 enabled in Finder. Right-click any file in Finder → Quick Actions to try them.")
                .arg(counted(done->count, QStringLiteral("Quick Action"))));
    }
    refreshStatuses();
    runIntegrityCheck();
}

void AppState::repairInstallation()
{
    const WorkflowInstaller::Status result = WorkflowInstaller::installAll();
    setInstallerStatus(result);
    if (const auto *failure = std::get_if<WorkflowInstaller::failed>(&result))
        showFailure(QStringLiteral("Repair failed: %1").arg(failure->reason));
    else if (const auto *done = std::get_if<WorkflowInstaller::installed>(&result); done && done->count >= 1)
        showSuccess(QStringLiteral("Repaired %1. They should be live in Finder now.")
                        .arg(counted(done->count, QStringLiteral("Quick Action"))));
    refreshStatuses();
    setInstallerStatus(WorkflowInstaller::statusCheck());
    runIntegrityCheck();
}

bool AppState::removeAllQuickActions()
{
    const int answer = asker.alert(
        {QStringLiteral("Remove all Vantrel Quick Actions?"),
         QStringLiteral("Vantrel's Quick Actions will disappear from Finder's right-click menu. Your categories and "
                        "templates stay safe and aren't deleted.\n\nYou can reinstall any time from Settings → "
                        "Install / Update Quick Actions."),
         {QStringLiteral("Remove"), QStringLiteral("Cancel")}});
    if (answer != 0)
        return false;
    // The names live inside the bundles, so they are read before the bundles go.
    const QStringList names = WorkflowInstaller::menuNames(WorkflowInstaller::installedBundles());
    const QStringList removed = WorkflowInstaller::removeAll();
    ServicesRegistry::system().disable(names);
    packIDs.clear();
    packWorkflowIDs.clear();
    userDefaults.remove(DefaultsKeys::installedPackIDs.name);
    userDefaults.remove(DefaultsKeys::installedPackWorkflowIDs.name);
    setInstallerStatus(WorkflowInstaller::statusCheck());
    if (removed.isEmpty())
        showSuccess(QStringLiteral("Nothing to remove — no Vantrel Quick Actions were installed."));
    else
        showSuccess(QStringLiteral("Removed %1 and cleared their Services menu entries.")
                        .arg(counted(removed.size(), QStringLiteral("Quick Action"))));
    emit workflowsChanged();
    refreshStatuses();
    runIntegrityCheck();
    return true;
}

void AppState::removeQuickAction(const QString &workflowID)
{
    const Workflow *row = rowOf(allWorkflows(), workflowID);
    if (!row)
        return;
    const QString bundle = Paths::servicesFolder() + QLatin1Char('/') + row->bundleName;
    const QString name = QFileInfo(row->bundleName).completeBaseName();
    const auto menuName = ServiceBundles::menuName(bundle);
    if (WorkflowInstaller::removeOne(bundle)) {
        if (menuName)
            ServicesRegistry::system().disable({*menuName});
        setInstallerStatus(WorkflowInstaller::statusCheck());
        showSuccess(QStringLiteral("Removed %1.").arg(name));
    } else {
        showFailure(QStringLiteral("Couldn't remove %1").arg(name));
    }
    refreshStatuses();
    runIntegrityCheck();
}

void AppState::reinstallQuickAction(const QString &workflowID)
{
    const Workflow *row = rowOf(allWorkflows(), workflowID);
    if (!row)
        return;
    const QString bundleName = row->bundleName;
    const WorkflowInstaller::Status result = WorkflowInstaller::installBundle(bundleName);
    const QString name = QFileInfo(bundleName).completeBaseName();
    if (const auto *failure = std::get_if<WorkflowInstaller::failed>(&result))
        showFailure(QStringLiteral("Couldn't reinstall %1: %2").arg(name, failure->reason));
    else if (std::holds_alternative<WorkflowInstaller::bundleMissing>(result))
        showFailure(QStringLiteral("Couldn't reinstall %1: Vantrel doesn't carry its bundle.").arg(name));
    else
        showSuccess(QStringLiteral("Reinstalled %1.").arg(name));
    refreshStatuses();
    setInstallerStatus(WorkflowInstaller::statusCheck());
    runIntegrityCheck();
}
