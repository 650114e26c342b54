#pragma once

#include "app/AppState.h"
#include "ui/pages/WorkflowResultsView.h"
#include "ui/shell/SheetPresenter.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>

class BannerView;
class ScanProgressCard;

class QListWidget;
class QStackedWidget;

// The main window: the sidebar of destinations, the banner and the screens.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(AppState &state, QWidget *parent = nullptr);

    static QString label(AppState::Destination destination);
    static QString symbol(AppState::Destination destination);

    BannerView *banner() const { return bannerView; }
    QListWidget *sidebar() const { return destinations; }
    QWidget *currentScreen() const;
    ScanProgressCard *progressCard() const { return progress; }
    // The results window while a report is on show.
    WorkflowResultsView *resultsView() const { return results; }
    // The sheet on show of a kind, one per session at most.
    template <typename View> View *sheet() const { return sheets->find<View>(); }
    void showAndRaise();

protected:
    // A .vantreltransfer file dropped anywhere on the window is imported into the profile library.
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void followSelection();
    void presentReport();

    QPointer<AppState> state;
    BannerView *bannerView;
    QListWidget *destinations;
    QStackedWidget *screens;
    ScanProgressCard *progress;
    QPointer<WorkflowResultsView> results;
    SheetPresenter *sheets;
};
