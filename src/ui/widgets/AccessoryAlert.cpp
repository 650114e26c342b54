#include "ui/widgets/AccessoryAlert.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace {

QLabel *wrappingLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

AccessoryAlert::AccessoryAlert(const AlertRequest &request, QWidget *parent)
    : QDialog(parent), styleOfAlert(request.style), buttonCount(int(request.buttons.size()))
{
    Q_ASSERT(request.accessory);
    const AlertAccessory accessory = request.accessory.value_or(AlertAccessory{});
    preview = accessory.preview;
    previewPrefix = accessory.previewPrefix;
    chosen = std::max(0, buttonCount - 1);

    setWindowTitle(request.message);
    setModal(true);

    auto *icon = new QLabel(this);
    icon->setObjectName(QStringLiteral("alertIcon"));
    const QStyle::StandardPixmap pixmap =
        request.style == AlertRequest::Style::warning ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation;
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(pixmap, nullptr, this).pixmap(iconSize, iconSize));
    icon->setAlignment(Qt::AlignTop);

    auto *message = wrappingLabel(request.message, this);
    message->setObjectName(QStringLiteral("alertMessage"));
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);
    auto *informative = wrappingLabel(request.informativeText, this);
    informative->setObjectName(QStringLiteral("alertInformativeText"));
    informative->setVisible(!request.informativeText.isEmpty());

    checkbox = new QCheckBox(accessory.checkboxLabel, this);
    checkbox->setObjectName(QStringLiteral("accessoryCheckbox"));
    checkbox->setChecked(accessory.checked);
    checkbox->setVisible(!accessory.checkboxLabel.isEmpty());

    field = new QLineEdit(accessory.fieldText, this);
    field->setObjectName(QStringLiteral("accessoryField"));
    // The line usually holds a name pattern or a path, where every character counts.
    field->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));

    auto *hint = wrappingLabel(accessory.hint, this);
    hint->setObjectName(QStringLiteral("accessoryHint"));
    QFont small = hint->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    hint->setFont(small);
    hint->setVisible(!accessory.hint.isEmpty());

    previewLabel = new QLabel(this);
    previewLabel->setObjectName(QStringLiteral("accessoryPreview"));
    previewLabel->setTextFormat(Qt::PlainText);
    previewLabel->setWordWrap(false);
    previewLabel->setVisible(bool(preview) || !previewPrefix.isEmpty());
    refreshPreview(field->text());
    // The dialog is the receiver, so the connection goes with it and the preview function is never called
    // after the alert has closed.
    connect(field, &QLineEdit::textChanged, this, &AccessoryAlert::refreshPreview);

    auto *buttons = new QDialogButtonBox(this);
    buttons->setObjectName(QStringLiteral("alertButtons"));
    for (int i = 0; i < buttonCount; ++i) {
        const bool isAction = i == 0;
        const bool isWayOut = i + 1 == buttonCount && buttonCount > 1;
        const QDialogButtonBox::ButtonRole role = isAction   ? QDialogButtonBox::AcceptRole
                                                  : isWayOut ? QDialogButtonBox::RejectRole
                                                             : QDialogButtonBox::ActionRole;
        QPushButton *button = buttons->addButton(request.buttons[i], role);
        button->setObjectName(QStringLiteral("alertButton%1").arg(i));
        button->setDefault(isAction);
        button->setAutoDefault(isAction);
        connect(button, &QPushButton::clicked, this, [this, i] {
            chosen = i;
            done(i == 0 ? QDialog::Accepted : QDialog::Rejected);
        });
    }

    auto *texts = new QVBoxLayout;
    texts->addWidget(message);
    texts->addWidget(informative);
    texts->addSpacing(6);
    texts->addWidget(checkbox);
    texts->addWidget(field);
    texts->addWidget(hint);
    texts->addWidget(previewLabel);
    auto *body = new QHBoxLayout;
    body->addWidget(icon, 0, Qt::AlignTop);
    body->addLayout(texts, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(body);
    layout->addWidget(buttons);
    setMinimumWidth(420);
}

AlertAnswer AccessoryAlert::answer() const
{
    return {chosen, checkbox->isChecked(), field->text()};
}

void AccessoryAlert::reject()
{
    // Escape and the window's close button are the safe way out, as the last button is.
    chosen = std::max(0, buttonCount - 1);
    QDialog::reject();
}

void AccessoryAlert::refreshPreview(const QString &text)
{
    previewLabel->setText(previewPrefix + (preview ? preview(text) : text));
}
