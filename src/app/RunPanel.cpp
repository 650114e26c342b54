#include "app/RunPanel.h"

#include "app/AppState.h"
#include "app/WorkflowTable.h"
#include "foundation/WorkflowCatalog.h"
#include "platform/Paths.h"

#include <QDir>

namespace {

QString messageFor(const Workflow &workflow)
{
    if (const WorkflowTable::Row *row = WorkflowTable::find(WorkflowCatalog::urlIDForWorkflow(workflow.id));
        row && !row->runPanelMessage.isEmpty())
        return row->runPanelMessage;
    switch (workflow.inputKind.value_or(Workflow::InputKind::files)) {
    case Workflow::InputKind::folder:
        return QStringLiteral("Pick a folder.");
    case Workflow::InputKind::files:
        return QStringLiteral("Pick one or more files.");
    case Workflow::InputKind::folderOrFiles:
        return QStringLiteral("Pick a folder or one or more files.");
    }
    return {};
}

} // namespace

bool RunPanel::offersRun(const Workflow &workflow)
{
    return workflow.inputKind.has_value() && workflow.status == Workflow::Status::installed;
}

PanelRequest RunPanel::request(const Workflow &workflow)
{
    const Workflow::InputKind kind = workflow.inputKind.value_or(Workflow::InputKind::files);
    PanelRequest panel;
    panel.mode = PanelRequest::Mode::open;
    panel.title = QStringLiteral("Run %1").arg(workflow.displayName);
    panel.prompt = QStringLiteral("Run");
    panel.message = messageFor(workflow);
    panel.allowsMultipleSelection = kind != Workflow::InputKind::folder;
    panel.canChooseFiles = kind != Workflow::InputKind::folder;
    panel.canChooseDirectories = kind != Workflow::InputKind::files;
    if (workflow.id == QLatin1String("project-snapshot")) {
        const QString projects = Paths::home() + QStringLiteral("/Projects");
        if (QDir(projects).exists())
            panel.directory = projects;
    }
    return panel;
}

void RunPanel::run(AppState &state, const Workflow &workflow)
{
    const QStringList chosen = state.interaction().panel(request(workflow));
    // Cancelling, or choosing nothing, does nothing.
    state.runWorkflow(workflow.id, chosen);
}
