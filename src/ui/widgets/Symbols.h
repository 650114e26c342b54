#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

// The system's symbol names ("tag.fill", "bolt") drawn with the desktop's icon
// theme, falling back to a Qt standard icon where the theme has none.
namespace Symbols {
QIcon icon(const QString &symbolName);
// The symbol's silhouette in one colour, the way a category shows its own.
QIcon tinted(const QString &symbolName, const QColor &color, int size = 20);
} // namespace Symbols
