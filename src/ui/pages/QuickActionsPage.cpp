#include "ui/pages/QuickActionsPage.h"
#include "ui/widgets/Typography.h"

#include "app/AppState.h"
#include "app/RunPanel.h"
#include "ui/widgets/BackupsCard.h"
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
    const auto button = [this, controls](const QString &label, const char *name, void (AppState::*flow)()) {
        auto *control = new QPushButton(label, this);
        control->setObjectName(QString::fromLatin1(name));
        controls->addWidget(control);
        connect(control, &QPushButton::clicked, this, [this, flow] {
            if (state)
                (state->*flow)();
        });
    };
    // Install / Update All and Repair are one flow: both copy every bundle again.
    button(QStringLiteral("Install / Update All"), "installButton", &AppState::repairInstallation);
    button(QStringLiteral("Repair Installation"), "repairButton", &AppState::repairInstallation);
    button(QStringLiteral("Run Health Check"), "healthButton", &AppState::runHealthCheck);
    auto *remove = new QPushButton(QStringLiteral("Remove Vantrel Quick Actions"), this);
    remove->setObjectName(QStringLiteral("removeAllButton"));
    controls->addWidget(remove);
    connect(remove, &QPushButton::clicked, this, [this] {
        if (state)
            state->removeAllQuickActions();
    });
    layout->addLayout(controls);

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
    backups = new BackupsCard(appState, this);
    layout->addWidget(backups);

    connect(&appState, &AppState::workflowsChanged, this, &QuickActionsPage::refresh);
    refresh();
}

QWidget *QuickActionsPage::rowActions(const Workflow &workflow)
{
    auto *cell = new QWidget(rows);
    auto *actions = new QHBoxLayout(cell);
    actions->setContentsMargins(0, 0, 0, 0);
    const auto add = [this, cell, actions](const QString &label, auto act) {
        auto *control = new QPushButton(label, cell);
        actions->addWidget(control);
        connect(control, &QPushButton::clicked, this, [this, act] {
            if (state)
                act(*state);
        });
    };
    const QString id = workflow.id;
    if (RunPanel::offersRun(workflow))
        add(QStringLiteral("Run…"), [workflow](AppState &app) { RunPanel::run(app, workflow); });
    // Only the workflows the application carries a bundle for can be put back or taken out here.
    if (workflow.status == Workflow::Status::installed || workflow.status == Workflow::Status::missing ||
        workflow.status == Workflow::Status::needsSetup) {
        add(QStringLiteral("Reinstall"), [id](AppState &app) { app.reinstallQuickAction(id); });
        if (workflow.status != Workflow::Status::missing)
            add(QStringLiteral("Remove"), [id](AppState &app) { app.removeQuickAction(id); });
    }
    actions->addStretch(1);
    return cell;
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
        rows->setCellWidget(row, 3, rowActions(workflow));
    }
    rows->resizeColumnsToContents();
    rows->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
}
