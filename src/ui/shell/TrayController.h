#pragma once

#include <QObject>
#include <QPointer>

class QMenu;
class QSystemTrayIcon;

// Keeps the application reachable after its window closes.
class TrayController : public QObject {
    Q_OBJECT
public:
    explicit TrayController(QObject *parent = nullptr);
    ~TrayController() override;

    QMenu *menu() const { return trayMenu; }
    bool isShown() const;

signals:
    void openRequested();
    // The repair flow: every bundle copied again.
    void installRequested();
    void quitRequested();

private:
    QMenu *trayMenu;
    QSystemTrayIcon *icon;
};
