#include "ui/pages/QuickActionsPage.h"
#include "ui/widgets/Typography.h"

#include "app/AppState.h"
#include "app/RunPanel.h"
#include "ui/widgets/Symbols.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

QuickActionsPage::QuickActionsPage(AppState &appState, QWidget *parent)
    : QWidget(parent), state(&appState), statusLine(new QLabel(this)), rows(new QTableWidget(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(Typography::heading(QStringLiteral("Quick Actions"), this));
    layout->addWidget(new QLabel(QStringLiteral("Install, update, repair, or remove Vantrel Finder workflows."), this));

    auto *controls = new QHBoxLayout;
    statusLine->setObjectName(QStringLiteral("statusLine"));
    controls->addWidget(statusLine, 1);
    auto *healthButton = new QPushButton(QStringLiteral("Run Health Check"), this);
    controls->addWidget(healthButton);
    layout->addLayout(controls);
    connect(healthButton, &QPushButton::clicked, this, [this] {
        if (state)
            state->runHealthCheck();
    });

    rows->setObjectName(QStringLiteral("workflowTable"));
    rows->setColumnCount(4);
    rows->setHorizontalHeaderLabels(
        {QStringLiteral("Workflow"), QStringLiteral("Status"), QStringLiteral("Version"), QStringLiteral("Action")});
    rows->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    rows->verticalHeader()->setVisible(false);
    rows->setEditTriggers(QAbstractItemView::NoEditTriggers);
    rows->setSelectionBehavior(QAbstractItemView::SelectRows);
    layout->addWidget(rows, 1);

    auto *note =
        new QLabel(QStringLiteral("<b>Removing workflows does not delete your categories.</b><br>Quick Actions "
                                  "and Categories are stored independently on this Mac. Removing one never "
                                  "touches the other."),
                   this);
    note->setWordWrap(true);
    layout->addWidget(note);

    connect(&appState, &AppState::workflowsChanged, this, &QuickActionsPage::refresh);
    refresh();
}

void QuickActionsPage::refresh()
{
    if (!state)
        return;
    statusLine->setText(state->statusLine());
    const QList<Workflow> workflows = state->allWorkflows();
    rows->setRowCount(int(workflows.size()));
    for (int row = 0; row < workflows.size(); ++row) {
        const Workflow &workflow = workflows[row];
        auto *name = new QTableWidgetItem(Symbols::icon(workflow.systemImage), workflow.displayName);
        name->setToolTip(workflow.summary);
        rows->setItem(row, 0, name);
        rows->setItem(row, 1, new QTableWidgetItem(Workflow::toString(workflow.status)));
        rows->setItem(row, 2, new QTableWidgetItem(workflow.version));
        if (RunPanel::offersRun(workflow)) {
            auto *run = new QPushButton(QStringLiteral("Run…"), rows);
            connect(run, &QPushButton::clicked, this, [this, workflow] {
                if (state)
                    RunPanel::run(*state, workflow);
            });
            rows->setCellWidget(row, 3, run);
        } else {
            rows->removeCellWidget(row, 3);
            rows->setItem(row, 3, new QTableWidgetItem);
        }
    }
    rows->resizeColumnsToContents();
    rows->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
}
