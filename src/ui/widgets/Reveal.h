#pragma once

#include <QStringList>

// Shows files in the desktop's file manager: the FileManager1 D-Bus interface
// selects them where it is offered; otherwise their folders are opened.
namespace Reveal {
void showItems(const QStringList &paths);
}
