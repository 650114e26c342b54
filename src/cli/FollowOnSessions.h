#pragma once

#include "cli/HeadlessSheets.h"

#include <QList>
#include <QString>

#include <optional>

class AppState;

// The sessions a finished workflow leads on to, as the window opens them from a row of its results:
// `vantrel run project-detector ROOT… --set organize=PROJECT` goes on into Project Organizer for that
// project, `--set snapshot=PROJECT --dest DIR` into Project Snapshot. A follow-on is opened by one setting and filled
// by the settings of its own fields.
namespace FollowOnSessions {

struct Pending {
    // The workflow it follows.
    QString workflowID;
    // The setting that opens it ("organize") and its value.
    HeadlessSheets::Setting opener;
    // The follow-on's own fields, in the order given.
    QList<HeadlessSheets::Setting> settings;
};

// Takes out of `settings` the follow-on of `workflowID` they name, with that follow-on's own fields;
// nothing when none is named, and `settings` is then left as it was.
std::optional<Pending> take(const QString &workflowID, QList<HeadlessSheets::Setting> &settings);

// Once the first session is done, opens the follow-on in its place, fills it and, unless `perform` is
// false, performs it. A first session that didn't finish opens nothing: its own failure is the answer.
// Returns why the follow-on can't be opened or filled; every session is then closed and nothing written.
std::optional<QString> open(AppState &state, const Pending &pending, bool perform);

} // namespace FollowOnSessions
