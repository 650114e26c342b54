#pragma once

#include "foundation/Interaction.h"

#include <QDialog>

#include <functional>

class QCheckBox;
class QLabel;
class QLineEdit;

// An alert with its accessory under the texts: a checkbox, an editable line, a hint and a preview of what
// the line becomes. QMessageBox has no place for more than a checkbox, so the alert is drawn here.
class AccessoryAlert : public QDialog {
    Q_OBJECT
public:
    // `request` must carry an accessory.
    explicit AccessoryAlert(const AlertRequest &request, QWidget *parent = nullptr);

    // The button taken: the last one when the alert is dismissed without one (Escape, closing the window).
    int chosenButton() const { return chosen; }
    AlertAnswer answer() const;
    AlertRequest::Style alertStyle() const { return styleOfAlert; }

    void reject() override;

private:
    void refreshPreview(const QString &text);

    AlertRequest::Style styleOfAlert;
    std::function<QString(const QString &)> preview;
    QString previewPrefix;
    int buttonCount = 0;
    int chosen = 0;
    QCheckBox *checkbox = nullptr;
    QLineEdit *field = nullptr;
    QLabel *previewLabel = nullptr;
};
