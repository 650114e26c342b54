#pragma once

#include <QPointer>
#include <QWidget>

class AppState;
class QLabel;
class QTableWidget;

// Lists every workflow in use with its status and version, and runs those that
// take input from a panel.
class QuickActionsPage : public QWidget {
    Q_OBJECT
public:
    explicit QuickActionsPage(AppState &state, QWidget *parent = nullptr);

    QTableWidget *table() const { return rows; }

private:
    void refresh();

    QPointer<AppState> state;
    QLabel *statusLine;
    QTableWidget *rows;
};
