#pragma once

#include "steward/ProjectDetectorSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class AppState;
class QLabel;
class QPushButton;
class QStackedWidget;
class QTreeWidget;

// The Project Detector sheet: the folders to scan, the walk with its count, then the projects largest
// first with Snapshot and Organize, and the loose files with the project each seems to belong to.
class ProjectDetectorSheetView : public SheetDialog {
    Q_OBJECT
public:
    ProjectDetectorSheetView(ProjectDetectorSession &session, AppState &app, QWidget *parent = nullptr);

    ProjectDetectorSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();
    void showResults(const ProjectDetectorSession::ScanResults &results);
    // The root of the project row selected, or nothing.
    std::optional<QString> selectedProject() const;

    QPointer<AppState> app;
    QPointer<ProjectDetectorSession> session;
    QStackedWidget *pages;
    QLabel *roots;
    QLabel *problem;
    QLabel *walked;
    QLabel *currentPath;
    QTreeWidget *projects;
    QTreeWidget *looseFiles;
    QLabel *looseHeading;
    QLabel *emptyTitle;
    QLabel *emptyHint;
    QPushButton *snapshot;
    QPushButton *organize;
    // The results on show, so a refresh with the same results keeps the selection.
    std::optional<ProjectDetectorSession::ScanResults> shown;
};
