#pragma once

#include <QString>
#include <QStringList>

// What the Linux registry's refresh leaves for the file managers: for each enabled Quick Action a
// GNOME Files script, a Nemo action and a Dolphin service menu, each running
// `vantrel service "{menu name}" -- FILES`. Every launcher's file name begins with "Vantrel - "; a file
// without that prefix in their folders is the user's and is never touched.
namespace ServiceLaunchers {

// The program the launchers start: $VANTREL_EXECUTABLE when set, else this process when it is
// `vantrel`, else the `vantrel` beside it or on the PATH; empty when there is none.
QString executable();

// The launchers of one menu name: the GNOME Files script, the Nemo action, the Dolphin service menu.
QStringList paths(const QString &menuName);

} // namespace ServiceLaunchers
