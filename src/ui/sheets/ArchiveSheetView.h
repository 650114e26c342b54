#pragma once

#include "transfer/archive/ArchiveSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class Interaction;
class QButtonGroup;
class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTimer;

// The Archive sheet: format, name, folder and the estimate; then the run with its elapsed time and
// bytes written; then the done screen with what to do with the archive and the originals.
class ArchiveSheetView : public SheetDialog {
    Q_OBJECT
public:
    ArchiveSheetView(ArchiveSession &session, Interaction &interaction, QWidget *parent = nullptr);

    ArchiveSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();
    void chooseDestination();
    // The done screen's three ways out; the first two apply the toggles.
    void finish(bool applyToggles, bool reveal);

    Interaction *asker;
    QPointer<ArchiveSession> session;
    QStackedWidget *pages;
    QButtonGroup *formats;
    QLineEdit *name;
    QLabel *destination;
    QLabel *estimate;
    QLabel *failedHeading;
    QLabel *problem;
    QLabel *step;
    QLabel *elapsed;
    QLabel *written;
    QProgressBar *bar;
    QLabel *summary;
    QCheckBox *comment;
    QLineEdit *commentTemplate;
    QCheckBox *trash;
    QPushButton *applyAndFinder;
    QPushButton *showInFinder;
    QTimer *ticker;
};
