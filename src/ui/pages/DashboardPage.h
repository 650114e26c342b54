#pragma once

#include <QPointer>
#include <QWidget>

class AppState;
class QLabel;

// The first screen: what Vantrel is, the health of the Quick Actions, and the
// installed workflows.
class DashboardPage : public QWidget {
    Q_OBJECT
public:
    explicit DashboardPage(AppState &state, QWidget *parent = nullptr);

private:
    void refresh();

    QPointer<AppState> state;
    QLabel *quickActionsFigure;
    QLabel *healthFigure;
    QLabel *healthSummary;
    QLabel *workflowList;
};
