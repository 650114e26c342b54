#include "ui/widgets/Typography.h"

void Typography::makeHeading(QLabel *label, qreal scale)
{
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setBold(true);
    label->setFont(font);
}

QLabel *Typography::heading(const QString &text, QWidget *parent, qreal scale)
{
    auto *label = new QLabel(text, parent);
    makeHeading(label, scale);
    return label;
}
