#include "ui/sheets/SheetDialog.h"

#include "ui/widgets/Typography.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

SheetDialog::SheetDialog(const QString &heading, QWidget *parent)
    : QDialog(parent), subtitleLabel(new QLabel(this)), contentLayout(new QVBoxLayout), footerLayout(new QHBoxLayout),
      secondary(new QPushButton(QStringLiteral("Cancel"), this)), primary(new QPushButton(this))
{
    setWindowTitle(heading);
    setWindowModality(Qt::WindowModal);
    setMinimumWidth(460);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(Typography::heading(heading, this, 1.3));
    subtitleLabel->setObjectName(QStringLiteral("subtitleLabel"));
    layout->addWidget(subtitleLabel);
    layout->addLayout(contentLayout, 1);

    secondary->setObjectName(QStringLiteral("cancelButton"));
    primary->setObjectName(QStringLiteral("applyButton"));
    primary->setDefault(true);
    footerLayout->addStretch(1);
    footerLayout->addWidget(secondary);
    footerLayout->addWidget(primary);
    layout->addLayout(footerLayout);
    connect(secondary, &QPushButton::clicked, this, &SheetDialog::reject);
}

void SheetDialog::dismiss()
{
    dismissing = true;
    done(QDialog::Accepted);
}

void SheetDialog::reject()
{
    if (!dismissing)
        cancelSheet();
    QDialog::reject();
}
