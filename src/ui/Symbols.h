#pragma once

#include <QIcon>
#include <QString>

// The system's symbol names ("tag.fill", "bolt") drawn with the desktop's icon
// theme, falling back to a Qt standard icon where the theme has none.
namespace Symbols {
QIcon icon(const QString &symbolName);
}
