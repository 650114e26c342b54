#include "ui/shell/TrayController.h"

#include "ui/widgets/Symbols.h"

#include <QMenu>
#include <QSystemTrayIcon>

TrayController::TrayController(QObject *parent)
    : QObject(parent), trayMenu(new QMenu), icon(new QSystemTrayIcon(Symbols::icon(QStringLiteral("tag.fill")), this))
{
    QAction *open = trayMenu->addAction(Symbols::icon(QStringLiteral("macwindow")), QStringLiteral("Open Vantrel"));
    open->setShortcut(QKeySequence(QStringLiteral("Ctrl+O")));
    QAction *install = trayMenu->addAction(Symbols::icon(QStringLiteral("tray.and.arrow.down")),
                                           QStringLiteral("Install / Update Quick Actions"));
    connect(install, &QAction::triggered, this, &TrayController::installRequested);
    trayMenu->addSeparator();
    QAction *quit = trayMenu->addAction(Symbols::icon(QStringLiteral("power")), QStringLiteral("Quit Vantrel"));
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    connect(open, &QAction::triggered, this, &TrayController::openRequested);
    connect(quit, &QAction::triggered, this, &TrayController::quitRequested);

    icon->setToolTip(QStringLiteral("Vantrel"));
    icon->setContextMenu(trayMenu);
    connect(icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            emit openRequested();
    });
    if (QSystemTrayIcon::isSystemTrayAvailable())
        icon->show();
}

TrayController::~TrayController()
{
    delete trayMenu;
}

bool TrayController::isShown() const
{
    return icon->isVisible();
}
