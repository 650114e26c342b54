// vantrel-bundlegen: writes the application's Quick Action bundles into a folder.
// Run at build time, so it always replaces bundles left by an earlier run.

#include "foundation/Workflow.h"
#include "foundation/WorkflowCatalog.h"
#include "quickactions/QuickActionBundle.h"

#include <QCoreApplication>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTextStream>

#include <optional>

namespace {

QString usage()
{
    return QStringLiteral("usage: vantrel-bundlegen OUTPUT_DIR [--all] [ID...]\n"
                          "  no ids: the core Quick Actions; --all: core and pack Quick Actions;\n"
                          "  ids: those catalogue rows.\n");
}

std::optional<Workflow> findWorkflow(const QString &id)
{
    for (const Workflow &workflow : WorkflowCatalog::coreWorkflows()) {
        if (workflow.id == id)
            return workflow;
    }
    const auto &packs = WorkflowCatalog::packWorkflowsByID();
    const auto found = packs.constFind(id);
    if (found != packs.constEnd())
        return found.value();
    return std::nullopt;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    QString outputDir;
    bool all = false;
    QStringList ids;
    const QStringList arguments = app.arguments().mid(1);
    for (const QString &argument : arguments) {
        if (argument == QStringLiteral("--help") || argument == QStringLiteral("-h")) {
            out << usage();
            return 0;
        }
        if (argument == QStringLiteral("--all")) {
            all = true;
        } else if (argument.startsWith(QLatin1Char('-'))) {
            err << "vantrel-bundlegen: unknown option " << argument << "\n" << usage();
            return 2;
        } else if (outputDir.isEmpty()) {
            outputDir = argument;
        } else {
            ids.append(argument);
        }
    }
    if (outputDir.isEmpty()) {
        err << usage();
        return 2;
    }

    QList<Workflow> workflows;
    if (all || ids.isEmpty()) {
        workflows = WorkflowCatalog::coreWorkflows();
        if (all)
            workflows.append(WorkflowCatalog::packWorkflows());
    }
    // Every id is checked before anything is written, so a typo leaves the folder as it was.
    QSet<QString> chosen;
    for (const Workflow &workflow : workflows)
        chosen.insert(workflow.id);
    for (const QString &id : ids) {
        const std::optional<Workflow> workflow = findWorkflow(id);
        if (!workflow) {
            err << "vantrel-bundlegen: no Quick Action with id " << id << "\n";
            return 2;
        }
        if (!chosen.contains(id)) {
            chosen.insert(id);
            workflows.append(*workflow);
        }
    }

    for (const Workflow &workflow : workflows) {
        QString error;
        const QString urlID = WorkflowCatalog::urlIDForWorkflow(workflow.id);
        if (!QuickActionBundleWriter::write(workflow, urlID, outputDir, true, &error)) {
            err << "vantrel-bundlegen: " << error << "\n";
            return 1;
        }
    }
    return 0;
}
