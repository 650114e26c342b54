#include "app/RunPanel.h"

#include "app/AppState.h"
#include "platform/Paths.h"

#include <QDir>
#include <QHash>

namespace {

QString messageFor(const Workflow &workflow)
{
    static const QHash<QString, QString> messages{
        {QStringLiteral("project-snapshot"), QStringLiteral("Pick the project folder you want to snapshot.")},
        {QStringLiteral("project-detector"),
         QStringLiteral("Pick a parent folder. Project Detector will scan it for projects.")},
        {QStringLiteral("stage-import"),
         QStringLiteral("Pick file(s) to stage into a project. You'll pick the project on the next screen.")},
        {QStringLiteral("github-sync"), QStringLiteral("Pick a git repository folder to Sync or Commit & Push.")},
        {QStringLiteral("git-init"), QStringLiteral("Pick a folder to turn into a git repository. The next screen lets "
                                                    "you edit .gitignore + first commit.")},
        {QStringLiteral("git-full-run"),
         QStringLiteral("Pick a folder. The wizard handles init, GitHub remote, verify, commit & push end-to-end.")},
        {QStringLiteral("route-by-config"),
         QStringLiteral("Pick a folder. Your routing rules will be applied to its contents.")},
        {QStringLiteral("smart-mover"), QStringLiteral("Pick the files or folder you want to move.")},
        {QStringLiteral("cloud-migrate"), QStringLiteral("Pick the files or folder you want to send to the cloud.")},
        {QStringLiteral("archive-handler"), QStringLiteral("Pick the files you want to compress into an archive.")},
    };
    if (const auto found = messages.constFind(workflow.id); found != messages.constEnd())
        return found.value();
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
