#pragma once

#include <QStringList>
#include <QTextStream>

// `vantrel transfer-profiles (list | import FILE | export ID FILE | delete ID) [--json]`: the Transfer
// Profiles screen's library without a window, through the same flows and texts. ID is a profile's id or
// its name when no other profile has that name.
namespace TransferProfilesCommand {

// Exit status: 0 done, 1 failed (the banner's reason), 2 refused: bad usage, an unknown or ambiguous ID,
// or an export onto a file that exists, which is never replaced from here.
int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

} // namespace TransferProfilesCommand
