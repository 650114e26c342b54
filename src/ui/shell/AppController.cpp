#include "ui/shell/AppController.h"

#include "app/WorkflowRunner.h"
#include "platform/DesktopRegistration.h"
#include "platform/InstanceChannel.h"
#include "platform/Paths.h"
#include "ui/shell/MainWindow.h"
#include "ui/shell/TrayController.h"

#include <QCoreApplication>
#include <QTimer>

AppController::AppController(QStringList pendingURLs, QObject *parent)
    : QObject(parent), pending(std::move(pendingURLs)), defaults(Paths::defaultsFile()),
      appState(std::make_unique<AppState>(defaults, interaction)), mainWindow(std::make_unique<MainWindow>(*appState)),
      trayController(new TrayController(this)), server(new InstanceServer(this))
{
    interaction.setParentWindow(mainWindow.get());
    connect(trayController, &TrayController::openRequested, mainWindow.get(), &MainWindow::showAndRaise);
    connect(trayController, &TrayController::quitRequested, qApp, &QCoreApplication::quit);
    connect(trayController, &TrayController::installRequested, appState.get(), &AppState::repairInstallation);
    connect(server, &InstanceServer::urlsReceived, this, &AppController::deliver);
}

AppController::~AppController() = default;

bool AppController::start(const QString &executablePath)
{
    if (!server->listen(Paths::instanceSocket()))
        return false;
    if (DesktopRegistration::needsRegistration(executablePath)) {
        const auto result = DesktopRegistration::registerApplication(executablePath);
        for (const QString &problem : result.problems)
            qInfo().noquote() << "Desktop registration:" << problem;
    }
    mainWindow->show();
    // The window's first task: the first launch's installation and the statuses from disk, then the
    // URLs a cold start brought.
    QTimer::singleShot(0, this, [this] {
        appState->startUp();
        deliver(std::exchange(pending, {}));
    });
    return true;
}

QString AppController::listenError() const
{
    return server->errorString();
}

void AppController::deliver(const QStringList &urls)
{
    if (urls.isEmpty()) {
        mainWindow->showAndRaise();
        return;
    }
    // Each URL is handled to its end before the next.
    for (const QString &url : urls) {
        if (url.startsWith(InstanceClient::failurePrefix)) {
            mainWindow->showAndRaise();
            appState->showFailure(url.mid(InstanceClient::failurePrefix.size()));
            continue;
        }
        appState->workflowRunner().handle(url);
    }
}
