#pragma once

#include "steward/git/GitInitSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QStackedWidget;

// The Init Repo sheet: the folder and what will be done to it, the .gitignore to edit, the first commit's
// message and an optional remote; then the run's steps and log, which stay on show when it ends.
class GitInitSheetView : public SheetDialog {
    Q_OBJECT
public:
    GitInitSheetView(GitInitSession &session, QWidget *parent = nullptr);

    GitInitSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    void refresh();

    QPointer<GitInitSession> session;
    QStackedWidget *pages;
    QLabel *folder;
    QLabel *kind;
    QLabel *plan;
    QLabel *problem;
    QPlainTextEdit *ignoreEditor;
    QLineEdit *messageEditor;
    QLineEdit *remoteEditor;
    QLabel *step;
    QPlainTextEdit *logView;
    QLabel *outcome;
};
