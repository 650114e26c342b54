#pragma once

#include <QDialog>

class QHBoxLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

// The frame every sheet shares: a heading with a line of counts below it, the
// sheet's own content, and a footer with Cancel and the primary button. Closing
// the sheet any way but its primary action cancels it.
class SheetDialog : public QDialog {
    Q_OBJECT
public:
    SheetDialog(const QString &heading, QWidget *parent);

    QLabel *subtitle() const { return subtitleLabel; }
    QPushButton *applyButton() const { return primary; }
    QPushButton *cancelButton() const { return secondary; }

    // Closes without cancelling: the sheet's context is already gone.
    void dismiss();

protected:
    QVBoxLayout *content() const { return contentLayout; }
    // Left of the buttons, for a count or a hint.
    QHBoxLayout *footer() const { return footerLayout; }
    virtual void cancelSheet() = 0;
    void reject() override;

private:
    QLabel *subtitleLabel;
    QVBoxLayout *contentLayout;
    QHBoxLayout *footerLayout;
    QPushButton *secondary;
    QPushButton *primary;
    bool dismissing = false;
};
