#pragma once

#include <QStringList>
#include <QTextStream>

// `vantrel quick-actions SUBCOMMAND …`: the Quick Actions screen's tools without a window:
// `(status|first-launch|install|repair|remove-all|remove ID|reinstall ID|health|refresh) [--yes|--answers
// FILE] [--json]`, and the backups. Each subcommand is one entry of the table in the .cpp file; an
// unanswered Remove All is cancelled.
namespace QuickActionsCommand {

// Runs the subcommand named first in `arguments`. Exit status: 0 done, 1 failed (the reason on `err`,
// or in the JSON's "message"), 2 bad usage.
int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

// `backups (list|save BUNDLE|restore NAME|delete NAME) [--json]`, where NAME is a backup's file name,
// with or without ".workflow".
int backups(const QStringList &arguments, QTextStream &out, QTextStream &err);

} // namespace QuickActionsCommand
