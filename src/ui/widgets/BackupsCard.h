#pragma once

#include <QGroupBox>
#include <QPointer>

class AppState;
class QLabel;
class QVBoxLayout;

// The card of the Quick Action backups: how many there are, the folder, and Restore and Delete for
// each. A restore never overwrites a workflow that is still installed; a deleted backup goes to the
// Trash.
class BackupsCard : public QGroupBox {
    Q_OBJECT
public:
    explicit BackupsCard(AppState &state, QWidget *parent = nullptr);

    void refresh();

private:
    QPointer<AppState> state;
    QLabel *empty;
    QWidget *rows;
    QVBoxLayout *rowsLayout;
};
