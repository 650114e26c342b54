#include "ui/pages/DashboardPage.h"
#include "ui/widgets/Typography.h"

#include "app/AppState.h"
#include "foundation/Plural.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QGroupBox *statCard(const QString &title, QLabel *figure, QLabel *caption, QWidget *parent)
{
    auto *card = new QGroupBox(title, parent);
    auto *layout = new QVBoxLayout(card);
    Typography::makeHeading(figure, 1.8);
    layout->addWidget(figure);
    layout->addWidget(caption);
    return card;
}

} // namespace

DashboardPage::DashboardPage(AppState &appState, QWidget *parent)
    : QWidget(parent), state(&appState), quickActionsFigure(new QLabel(this)), healthFigure(new QLabel(this)),
      healthSummary(new QLabel(this)), workflowList(new QLabel(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(Typography::heading(QStringLiteral("Finder productivity, cleaned up."), this));
    layout->addWidget(
        new QLabel(QStringLiteral("Organise, tag, clean, and refresh files from Finder — locally on your Mac."), this));

    // The first launch says what it installed and how to try it.
    auto *firstLaunch = new QLabel(this);
    firstLaunch->setObjectName(QStringLiteral("firstLaunchMessage"));
    firstLaunch->setWordWrap(true);
    layout->addWidget(firstLaunch);
    const auto showFirstLaunch = [this, firstLaunch] {
        const auto message = state ? state->firstLaunchMessage() : std::nullopt;
        firstLaunch->setText(message.value_or(QString()));
        firstLaunch->setVisible(message.has_value());
    };
    connect(&appState, &AppState::firstLaunchMessageChanged, this, showFirstLaunch);
    showFirstLaunch();

    // The integrity check's card: what is missing, with Fix, or that all is set up.
    auto *setup = new QGroupBox(this);
    setup->setObjectName(QStringLiteral("setupCard"));
    auto *setupLayout = new QHBoxLayout(setup);
    auto *setupText = new QLabel(setup);
    setupText->setObjectName(QStringLiteral("setupText"));
    setupText->setWordWrap(true);
    auto *fix = new QPushButton(QStringLiteral("Fix"), setup);
    fix->setObjectName(QStringLiteral("fixButton"));
    setupLayout->addWidget(setupText, 1);
    setupLayout->addWidget(fix);
    layout->addWidget(setup);
    connect(fix, &QPushButton::clicked, this, [this] {
        if (state)
            state->repairInstallation();
    });
    const auto showSetup = [this, setupText, fix] {
        const auto &report = state ? state->integrityReport() : std::nullopt;
        const qsizetype missing = report ? report->missing.size() : 0;
        fix->setVisible(missing > 0);
        setupText->setText(missing > 0 ? QStringLiteral("<b>%1 need attention</b><br>Some Vantrel workflows are "
                                                        "missing or were removed. Click Fix to reinstall.")
                                             .arg(counted(missing, QStringLiteral("Quick Action")))
                                       : QStringLiteral("Vantrel is set up"));
    };
    connect(&appState, &AppState::integrityChanged, this, showSetup);
    showSetup();

    auto *cards = new QGridLayout;
    healthFigure->setObjectName(QStringLiteral("healthCount"));
    healthSummary->setObjectName(QStringLiteral("healthSummary"));
    cards->addWidget(statCard(QStringLiteral("Quick Actions"), quickActionsFigure, new QLabel(this), this), 0, 0);
    cards->addWidget(statCard(QStringLiteral("Issues Found"), healthFigure, healthSummary, this), 0, 1);
    auto *local = new QLabel(QStringLiteral("100%"), this);
    cards->addWidget(statCard(QStringLiteral("Local Storage"), local,
                              new QLabel(QStringLiteral("No cloud. No uploads."), this), this),
                     0, 2);
    layout->addLayout(cards);

    auto *controls = new QGroupBox(QStringLiteral("Quick controls"), this);
    auto *controlsLayout = new QVBoxLayout(controls);
    controlsLayout->addWidget(new QLabel(QStringLiteral("One-click actions for the things you do most."), controls));
    auto *buttons = new QHBoxLayout;
    auto *healthButton = new QPushButton(QStringLiteral("Run Health Check"), controls);
    auto *installButton = new QPushButton(QStringLiteral("Install / Update Quick Actions"), controls);
    installButton->setObjectName(QStringLiteral("installButton"));
    buttons->addWidget(healthButton);
    buttons->addWidget(installButton);
    buttons->addStretch(1);
    controlsLayout->addLayout(buttons);
    layout->addWidget(controls);
    connect(healthButton, &QPushButton::clicked, this, [this] {
        if (state)
            state->runHealthCheck();
    });
    connect(installButton, &QPushButton::clicked, this, [this] {
        if (state)
            state->repairInstallation();
    });

    auto *installed = new QGroupBox(QStringLiteral("Installed Workflows"), this);
    auto *installedLayout = new QVBoxLayout(installed);
    installedLayout->addWidget(
        new QLabel(QStringLiteral("Right-click files in Finder → Quick Actions to use them."), installed));
    installedLayout->addWidget(workflowList);
    layout->addWidget(installed);
    layout->addStretch(1);

    connect(&appState, &AppState::workflowsChanged, this, &DashboardPage::refresh);
    connect(&appState, &AppState::healthChanged, this, &DashboardPage::refresh);
    refresh();
}

void DashboardPage::refresh()
{
    if (!state)
        return;
    quickActionsFigure->setText(QString::number(state->installedCount()));
    healthFigure->setText(state->healthCount());
    healthSummary->setText(state->healthSummary());
    QStringList rows;
    for (const Workflow &workflow : state->allWorkflows())
        rows.append(QStringLiteral("%1 — %2").arg(workflow.displayName, Workflow::toString(workflow.status)));
    workflowList->setText(rows.join(QLatin1Char('\n')));
}
