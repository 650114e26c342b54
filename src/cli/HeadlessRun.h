#pragma once

#include "app/WorkflowRunner.h"
#include "cli/HeadlessSheets.h"

#include <QJsonObject>
#include <QStringList>
#include <QTextStream>

#include <optional>

class AppState;

// `vantrel run (WORKFLOW-ID [PATH…] | URL) [--answers FILE] [--set NAME=VALUE]… [--threshold N] [--yes]
// [--dest DIR] [--json]`: a workflow run without a window, through the same runner, answered by a script;
// a sheet it opens is filled from the settings and applied. A threshold scan takes its threshold for this
// run from --threshold; a plan of moves is put to the same question as in the window, which --yes answers.
namespace HeadlessRun {

struct Options {
    QString target; // a URL, or a workflow id followed by paths
    QStringList paths;
    QString answersFile;
    QString destination;
    QList<HeadlessSheets::Setting> settings;
    std::optional<int> threshold;
    bool assumeYes = false;
    bool json = false;
    // Plans and asks, but every alert is cancelled: nothing is changed.
    bool dryRun = false;
};

// Parses the words after "run". Returns nothing and sets `error` on bad usage.
std::optional<Options> parse(const QStringList &arguments, QString *error);

// The URL text a run dispatches: the target itself when it has a scheme,
// otherwise the run URL for the id and paths.
QString urlFor(const Options &options);

// What a finished run shows: the outcome and what it left on the state.
QJsonObject resultObject(const WorkflowRunner::Outcome &outcome, const AppState &state, bool includeItems = true);
QString resultText(const WorkflowRunner::Outcome &outcome, const AppState &state);

// Runs and prints. Exit status: 0 ran, 1 ran but ended on a failure banner, 2 refused or bad usage.
int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

// `vantrel categories (export|import) FILE [--answers FILE] [--yes] [--json]`: the
// library's export and import through the same flows and texts as the window.
int categories(const QStringList &arguments, QTextStream &out, QTextStream &err);

} // namespace HeadlessRun
