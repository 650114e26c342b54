#pragma once

#include <QLabel>

// The face's few text styles, in one place.
namespace Typography {
// A bold label `scale` times the normal size.
QLabel *heading(const QString &text, QWidget *parent, qreal scale = 1.6);
void makeHeading(QLabel *label, qreal scale = 1.6);
} // namespace Typography
