#pragma once

#include "app/WorkflowRunner.h"

#include <QList>
#include <QString>

// Everything keyed by a workflow's URL id, in one row each: what runs it, and what the Run panel asks.
namespace WorkflowTable {

struct Row {
    // The id a Quick Action's URL carries (the catalogue's id but for three renamed rows).
    QString id;
    WorkflowRunner::Handler handler;
    // What the Run panel says above its file list; empty gives the input kind's default.
    QString runPanelMessage;
};

// All 26 rows, in the catalogue's order of subsystems.
const QList<Row> &rows();
// The row of a URL id, or nothing.
const Row *find(const QString &id);

} // namespace WorkflowTable
