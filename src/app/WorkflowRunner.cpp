#include "app/WorkflowRunner.h"

#include "app/AppState.h"
#include "app/WorkflowTable.h"
#include "foundation/RunURL.h"
#include "platform/NativeNames.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Turns a decoded piece into an absolute path; no check that it exists.
QString fileURLPath(const QString &piece)
{
    return QDir::isAbsolutePath(piece) ? piece : NativeNames::absolutePath(piece);
}

} // namespace

WorkflowRunner::WorkflowRunner(AppState *state) : state(state) {}

const QHash<QString, WorkflowRunner::Handler> &WorkflowRunner::urlTable()
{
    static const QHash<QString, Handler> table = [] {
        QHash<QString, Handler> handlers;
        for (const WorkflowTable::Row &row : WorkflowTable::rows())
            handlers.insert(row.id, row.handler);
        return handlers;
    }();
    return table;
}

WorkflowRunner::Outcome WorkflowRunner::handle(const QString &urlText)
{
    const QString scheme = RunURL::split(urlText).scheme;
    if (scheme == QLatin1String("vantrel"))
        return handleRun(urlText);
    if (scheme == QLatin1String("file"))
        return handleFile(QUrl(urlText, QUrl::TolerantMode));
    return malformed{QStringLiteral("unsupported scheme %1").arg(scheme.isEmpty() ? QStringLiteral("(none)") : scheme)};
}

WorkflowRunner::Outcome WorkflowRunner::handleRun(const QString &urlText)
{
    const RunURL::Parts parts = RunURL::split(urlText);
    if (parts.host != QStringLiteral("run"))
        return malformed{
            QStringLiteral("expected host 'run', got %1").arg(parts.host.value_or(QStringLiteral("(none)")))};
    if (parts.id.isEmpty())
        return malformed{QStringLiteral("missing workflow id in path")};

    QStringList paths;
    for (const QString &piece : RunURL::decodePaths(parts.files))
        paths.append(fileURLPath(piece));
    const int fileCount = int(paths.size());

    if (!state)
        return unknownWorkflow{parts.id};
    emit state->activationRequested();

    const auto &table = urlTable();
    if (const auto found = table.constFind(parts.id); found != table.constEnd()) {
        found.value()(*state, paths);
        return ran{parts.id, fileCount};
    }

    // The last resort: a workflow the user has but that no Quick Action URL names
    // leads to the Quick Actions screen.
    for (const Workflow &workflow : state->allWorkflows()) {
        if (workflow.id == parts.id) {
            state->setSelection(AppState::Destination::quickActions);
            return ran{parts.id, fileCount};
        }
    }
    return unknownWorkflow{parts.id};
}

WorkflowRunner::Outcome WorkflowRunner::handleFile(const QUrl &url)
{
    const QString extension = QFileInfo(url.path()).suffix();
    if (extension.toLower() == QLatin1String("vantrelpack")) {
        if (state) {
            state->setSelection(AppState::Destination::automationPacks);
            state->showFailure(QStringLiteral("Opening automation packs isn't available yet."));
        }
        return ran{QStringLiteral("import-pack"), 1};
    }
    return malformed{QStringLiteral("unsupported file extension %1").arg(extension)};
}

QString WorkflowRunner::describe(const Outcome &outcome)
{
    if (const auto *r = std::get_if<ran>(&outcome))
        return QStringLiteral("ran %1 (%2 file%3)")
            .arg(r->workflowID)
            .arg(r->fileCount)
            .arg(r->fileCount == 1 ? "" : "s");
    if (const auto *u = std::get_if<unknownWorkflow>(&outcome))
        return QStringLiteral("unknown workflow %1").arg(u->id);
    return QStringLiteral("malformed URL: %1").arg(std::get<malformed>(outcome).reason);
}
