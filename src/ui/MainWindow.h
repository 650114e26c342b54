#pragma once

#include "app/AppState.h"

#include <QHash>
#include <QMainWindow>
#include <QPointer>

class BannerView;
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
    void showAndRaise();

private:
    void followSelection();

    QPointer<AppState> state;
    BannerView *bannerView;
    QListWidget *destinations;
    QStackedWidget *screens;
};
