#pragma once

#include "transfer/route/RoutePlan.h"

#include <QDateTime>
#include <QStringList>

#include <stop_token>

// Works out, before anything moves, where the rules send each file of a selection.
namespace RoutePlanner {

struct Leaf {
    QString url;
    qint64 size = 0; // a package's is counted only when it is routed
    bool package = false;
};

// The files a selection stands for, in selection order. A selected file, or package, is taken as it is;
// a folder gives every regular file and package below it, hidden ones too, each folder's entries in
// the byte order of their names. Links, folders themselves and special files give nothing; a folder
// that can't be read gives nothing. A stop request ends the walk with what was found.
QList<Leaf> expand(const QStringList &sources, std::stop_token stop = {});

// "~" and "~/…" become the home folder; a path that isn't absolute is taken from the home folder, the
// only folder a rule written on this machine can mean.
QString expandedFolder(const QString &path);

// Each file's first matching rule, judged against one instant `now`.
Route::RoutePlan plan(const TransferProfile &profile, const QStringList &sources, const QDateTime &now,
                      std::stop_token stop = {});

// The preview's routes: one row per verb and folder in the order first met, skips last.
QList<Route::RouteRow> routes(const Route::RoutePlan &plan);
// "Move to ~/Documents/Invoices", "Copy to …", "Skipped (rule action)".
QString rowTitle(const Route::RouteRow &row);
// "3 files"; the first names and "+ 2 more".
QString rowCount(const Route::RouteRow &row);
QString rowNames(const Route::RouteRow &row, int shown = 3);
// "{n} file{s} did not match any rule — they stay where they are."; empty when every file matched.
QString unmatchedLine(const Route::RoutePlan &plan);

} // namespace RoutePlanner
