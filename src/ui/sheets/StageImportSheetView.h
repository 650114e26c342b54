#pragma once

#include "steward/StageImportSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class AppState;
class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTreeWidget;

// The Stage & Import sheet: the project picked from a folder or the recent projects, then one row per
// file with the subfolder it goes to, which the user may retype, checked as they type.
class StageImportSheetView : public SheetDialog {
    Q_OBJECT
public:
    StageImportSheetView(StageImportSession &session, AppState &app, QWidget *parent = nullptr);

    StageImportSession *model() const { return session; }
    // The subfolder editor of a plan row.
    QLineEdit *subpathEditor(int row) const;

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();
    void showRecentProjects();
    void showPlan(const StageImportSession::Plan &plan);
    void chooseFolder();
    void useSelectedRecentProject();
    // Checks the text of every row editor; the first refusal is shown and Stage waits until it's fixed.
    void checkEditors();

    QPointer<AppState> app;
    QPointer<StageImportSession> session;
    QStackedWidget *pages;
    QTreeWidget *recentProjects;
    QLabel *noRecentProjects;
    QPushButton *chooseFolderButton;
    QLabel *projectLabel;
    QTreeWidget *entries;
    QLabel *refusalLabel;
    QCheckBox *moveMode;
    QCheckBox *addComment;
    QPushButton *changeProject;
    QProgressBar *progress;
    QLabel *currentFile;
    QLabel *summary;
    QLabel *failure;
    // The project and files whose rows are on show, so an edited subfolder doesn't rebuild its row.
    QString shownRoot;
    QStringList shownSources;
};
