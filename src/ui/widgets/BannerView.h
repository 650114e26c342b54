#pragma once

#include <QFrame>
#include <QPointer>

class AppState;
class QLabel;
class QToolButton;

// The main window's one banner: a workflow's failure or short result, in a
// success or failure tone, until the user dismisses it.
class BannerView : public QFrame {
    Q_OBJECT
public:
    explicit BannerView(AppState &state, QWidget *parent = nullptr);

    QString message() const;
    QLabel *messageLabel() const { return label; }
    QToolButton *dismissButton() const { return dismiss; }

private:
    void refresh();

    QPointer<AppState> state;
    QLabel *label;
    QToolButton *dismiss;
};
