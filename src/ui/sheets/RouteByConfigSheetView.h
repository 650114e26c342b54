#pragma once

#include "transfer/route/RouteByConfigSession.h"
#include "ui/sheets/SheetDialog.h"

#include <QPointer>

class Interaction;
class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTreeWidget;
class TransferRulesEditor;

// The Route by Config sheet: pick a profile or write rules, see where every file will go, then run.
class RouteByConfigSheetView : public SheetDialog {
    Q_OBJECT
public:
    RouteByConfigSheetView(RouteByConfigSession &session, Interaction &interaction, QWidget *parent = nullptr);

    RouteByConfigSession *model() const { return session; }

protected:
    void cancelSheet() override;
    void reject() override;

private:
    enum Page { picking, adHoc, preview, running, finished, blocked };
    QWidget *makePickingPage();
    QWidget *makeAdHocPage();
    QWidget *makePreviewPage();
    QWidget *makeRunningPage();
    QWidget *makeFinishedPage();
    QWidget *makeBlockedPage();
    void refresh();
    void refreshProfiles();
    void showPlan(const RouteByConfigSession::RoutePlan &plan);
    void primary();

    QPointer<RouteByConfigSession> session;
    QStackedWidget *pages;
    QListWidget *profiles = nullptr;
    QLabel *noProfiles = nullptr;
    TransferRulesEditor *rulesEditor = nullptr;
    QLabel *matchedCount = nullptr;
    QLabel *matchedSize = nullptr;
    QTreeWidget *routes = nullptr;
    QLabel *unmatched = nullptr;
    QList<QPushButton *> runButtons;
    QLabel *step = nullptr;
    QProgressBar *bar = nullptr;
    QLabel *runCounts = nullptr;
    QLabel *doneCounts = nullptr;
    QTreeWidget *problems = nullptr;
    QLabel *blockedMessage = nullptr;
};
