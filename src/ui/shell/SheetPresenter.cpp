#include "ui/shell/SheetPresenter.h"

#include "app/AppState.h"
#include "ui/sheets/ArchiveSheetView.h"
#include "ui/sheets/CategoryTaggingSheetView.h"
#include "ui/sheets/CommentTemplateSheetView.h"
#include "ui/sheets/GitInitSheetView.h"
#include "ui/sheets/ProjectDetectorSheetView.h"
#include "ui/sheets/ProjectOrganizerSheetView.h"
#include "ui/sheets/ProjectSnapshotSheetView.h"
#include "ui/sheets/RouteByConfigSheetView.h"
#include "ui/sheets/SingleTagSheetView.h"
#include "ui/sheets/StageImportSheetView.h"
#include "ui/sheets/StitchSheetView.h"
#include "ui/sheets/TextCommentToolsSheetView.h"
#include "ui/shell/MainWindow.h"

#include <algorithm>

SheetPresenter::SheetPresenter(AppState &appState, MainWindow &mainWindow)
    : QObject(&mainWindow), state(&appState), window(&mainWindow)
{
    addRow<SingleTagSelectorSheet>([](SingleTagSelectorSheet &sheet, AppState &, QWidget *parent) {
        return new SingleTagSheetView(sheet, parent);
    });
    addRow<CategoryTaggingSheet>([](CategoryTaggingSheet &sheet, AppState &, QWidget *parent) {
        return new CategoryTaggingSheetView(sheet, parent);
    });
    addRow<CommentTemplatePickerSheet>([](CommentTemplatePickerSheet &sheet, AppState &, QWidget *parent) {
        return new CommentTemplateSheetView(sheet, parent);
    });
    addRow<TextCommentToolsSheet>([](TextCommentToolsSheet &sheet, AppState &, QWidget *parent) {
        return new TextCommentToolsSheetView(sheet, parent);
    });
    addRow<StitchSession>([](StitchSession &session, AppState &app, QWidget *parent) {
        return new StitchSheetView(session, app.interaction(), parent);
    });
    addRow<RouteByConfigSession>([](RouteByConfigSession &session, AppState &app, QWidget *parent) {
        return new RouteByConfigSheetView(session, app.interaction(), parent);
    });
    addRow<ArchiveSession>([](ArchiveSession &session, AppState &app, QWidget *parent) {
        return new ArchiveSheetView(session, app.interaction(), parent);
    });
    addRow<ProjectDetectorSession>([](ProjectDetectorSession &session, AppState &app, QWidget *parent) {
        return new ProjectDetectorSheetView(session, app, parent);
    });
    addRow<StageImportSession>([](StageImportSession &session, AppState &app, QWidget *parent) {
        return new StageImportSheetView(session, app, parent);
    });
    addRow<ProjectSnapshotSession>([](ProjectSnapshotSession &session, AppState &app, QWidget *parent) {
        return new ProjectSnapshotSheetView(session, app.interaction(), parent);
    });
    addRow<ProjectOrganizerSession>([](ProjectOrganizerSession &session, AppState &, QWidget *parent) {
        return new ProjectOrganizerSheetView(session, parent);
    });
    addRow<GitInitSession>(
        [](GitInitSession &session, AppState &, QWidget *parent) { return new GitInitSheetView(session, parent); });
}

void SheetPresenter::present()
{
    if (!state)
        return;
    const QList<Session *> sessions = state->sessions();
    // A session that closed or was replaced takes its view with it.
    for (qsizetype i = shown.size() - 1; i >= 0; --i) {
        if (sessions.contains(shown[i].session) && shown[i].view)
            continue;
        if (SheetDialog *view = shown[i].view) {
            view->dismiss();
            view->deleteLater();
        }
        shown.removeAt(i);
    }
    for (Session *session : sessions) {
        const bool onShow = std::any_of(shown.cbegin(), shown.cend(),
                                        [session](const Presented &presented) { return presented.session == session; });
        if (onShow)
            continue;
        for (const Row &row : rows) {
            if (!session->metaObject()->inherits(row.kind))
                continue;
            window->showAndRaise();
            SheetDialog *view = row.make(*session, *state, window);
            shown.append({session, view});
            view->open();
            break;
        }
    }
}
