#pragma once

#include "app/AppState.h"
#include "foundation/Defaults.h"
#include "ui/shell/WidgetInteraction.h"

#include <QObject>
#include <QStringList>

#include <memory>

class InstanceServer;
class MainWindow;
class TrayController;

// Puts the windowed application together: the state, the main window, the tray
// icon and the channel on which later launches hand over their URLs.
class AppController : public QObject {
    Q_OBJECT
public:
    // `pendingURLs` came on the command line of a cold start; they go to the
    // runner once start-up is done.
    explicit AppController(QStringList pendingURLs = {}, QObject *parent = nullptr);
    ~AppController() override;

    // Listens for later launches, registers the desktop entry, shows the window
    // and runs the first tasks. Returns false when another instance already listens.
    bool start(const QString &executablePath);
    // Why listening failed, when `start` returned false.
    QString listenError() const;

    AppState &state() { return *appState; }
    MainWindow &window() { return *mainWindow; }
    TrayController &tray() { return *trayController; }

private:
    void deliver(const QStringList &urls);

    QStringList pending;
    Defaults defaults;
    WidgetInteraction interaction;
    std::unique_ptr<AppState> appState;
    std::unique_ptr<MainWindow> mainWindow;
    TrayController *trayController;
    InstanceServer *server;
};
