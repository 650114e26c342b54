#pragma once

#include <QStringList>
#include <QTextStream>

// `vantrel service NAME -- FILE…`: what the file managers' launchers run. It finds the Quick Action
// of that menu name in the Services folder and performs its Run Shell Script steps on the files, the
// way the system performs a service: the shell named, the command, the files as arguments or one per
// line on standard input. `vantrel` itself comes first on PATH, so a bundle's `vantrel open …` reaches
// this build. Exit status: the step's, 1 when the action can't be performed here, 2 for bad usage.
namespace ServiceCommand {

int run(const QStringList &arguments, const QString &executable, QTextStream &err);

} // namespace ServiceCommand
