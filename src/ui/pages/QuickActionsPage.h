#pragma once

#include <QPointer>
#include <QWidget>

class AppState;
class BackupsCard;
struct Workflow;
class QLabel;
class QTableWidget;

// Lists every workflow in use with its status and version, runs those that take input from a panel,
// and installs, repairs and removes the Quick Actions, all of them or one row's.
class QuickActionsPage : public QWidget {
    Q_OBJECT
public:
    explicit QuickActionsPage(AppState &state, QWidget *parent = nullptr);

    QTableWidget *table() const { return rows; }
    BackupsCard *backupsCard() const { return backups; }

private:
    void refresh();
    QWidget *rowActions(const Workflow &workflow);

    QPointer<AppState> state;
    QLabel *statusLine;
    QTableWidget *rows;
    BackupsCard *backups = nullptr;
};
