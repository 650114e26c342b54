#pragma once

#include "steward/ProjectSnapshotSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class Interaction;
class QButtonGroup;
class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QStackedWidget;

// The Project Snapshot sheet: what was detected and left out, the estimate, name, format and folder with
// the folder's warning; then the run; then the archive made.
class ProjectSnapshotSheetView : public SheetDialog {
    Q_OBJECT
public:
    ProjectSnapshotSheetView(ProjectSnapshotSession &session, Interaction &interaction, QWidget *parent = nullptr);

    ProjectSnapshotSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();
    void chooseDestination();

    Interaction *asker;
    QPointer<ProjectSnapshotSession> session;
    QStackedWidget *pages;
    QLabel *detected;
    QLabel *fileCount;
    QLabel *sourceSize;
    QLabel *excluded;
    QButtonGroup *formats;
    QLineEdit *name;
    QCheckBox *gitHistory;
    QLabel *destination;
    QLabel *warning;
    QLabel *problem;
    QLabel *step;
    QLabel *written;
    QProgressBar *bar;
    QLabel *summary;
};
