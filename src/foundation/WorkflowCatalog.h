#pragma once

#include "foundation/Workflow.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

// The compiled-in list of Quick Actions: the core rows that always ship and
// the rows that arrive with automation packs.
namespace WorkflowCatalog {

// The seven core rows, in catalogue order.
const QList<Workflow> &coreWorkflows();
// The nineteen pack rows, in catalogue order, built once.
const QList<Workflow> &packWorkflows();
// Pack rows keyed by id, and by bundle base name ("Vantrel - Smart Mover").
const QHash<QString, Workflow> &packWorkflowsByID();
const QHash<QString, Workflow> &packWorkflowsByBundleBaseName();

// The pack id a pack row belongs to ("com.vantrel.pack.file-hygiene"); empty for core rows.
QString packIDForWorkflow(const QString &workflowID);

// The id a Quick Action puts in its URL. Three core rows differ from their
// catalogue id: category-tagging, duplicate-scanner and spotlight-refresher.
QString urlIDForWorkflow(const QString &workflowID);

// `workflows` followed by the installed pack rows, the latter sorted by display name.
QList<Workflow> combined(const QList<Workflow> &workflows, const QSet<QString> &installedPackWorkflowIDs);

} // namespace WorkflowCatalog
