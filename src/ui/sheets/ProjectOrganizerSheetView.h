#pragma once

#include "steward/ProjectOrganizerSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class QLabel;
class QProgressBar;
class QRadioButton;
class QStackedWidget;
class QTreeWidget;

// The Project Organizer sheet: where the container goes, the project's loose files with ticks, what
// goes where, copy or move; then the run file by file, and what it came to.
class ProjectOrganizerSheetView : public SheetDialog {
    Q_OBJECT
public:
    explicit ProjectOrganizerSheetView(ProjectOrganizerSession &session, QWidget *parent = nullptr);

    ProjectOrganizerSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();
    void fillFiles();
    void showGroups();

    QPointer<ProjectOrganizerSession> session;
    QStackedWidget *pages;
    QLabel *headline;
    QLabel *containerNote;
    QLabel *container;
    QTreeWidget *files;
    QLabel *groups;
    QRadioButton *copy;
    QRadioButton *move;
    QProgressBar *progress;
    QLabel *currentFile;
    QLabel *counts;
    QLabel *failures;
    QLabel *failure;
};
