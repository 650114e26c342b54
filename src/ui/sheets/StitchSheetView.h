#pragma once

#include "transfer/stitch/StitchSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class Interaction;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QStackedWidget;

// The Stitch sheet: the choices and the estimate, then progress with Cancel,
// then the done screen.
class StitchSheetView : public SheetDialog {
    Q_OBJECT
public:
    StitchSheetView(StitchSession &session, Interaction &interaction, QWidget *parent = nullptr);

    StitchSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();
    void chooseDestination();

    Interaction *asker;
    QPointer<StitchSession> session;
    QStackedWidget *pages;
    QButtonGroup *modes;
    QComboBox *layout;
    QComboBox *resolution;
    QDoubleSpinBox *spacing;
    QCheckBox *white;
    QLabel *estimate;
    QLabel *note;
    QLineEdit *name;
    QLabel *destination;
    QLabel *problem;
    QLabel *step;
    QProgressBar *bar;
    QLabel *doneText;
};
