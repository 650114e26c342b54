#include "ui/shell/MainWindow.h"
#include "ui/widgets/Typography.h"

#include "platform/NativeNames.h"
#include "ui/pages/CategoriesPage.h"
#include "ui/pages/DashboardPage.h"
#include "ui/pages/QuickActionsPage.h"
#include "ui/pages/TransferProfilesPage.h"
#include "ui/pages/WorkflowResultsView.h"
#include "ui/widgets/BannerView.h"
#include "ui/widgets/ScanProgressCard.h"
#include "ui/widgets/Symbols.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QSplitter>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

// A destination whose screen arrives later shows its name and what it will hold.
QWidget *comingScreen(const QString &title, const QString &text, QWidget *parent)
{
    auto *page = new QWidget(parent);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(Typography::heading(title, page));
    auto *body = new QLabel(text, page);
    body->setWordWrap(true);
    layout->addWidget(body);
    layout->addStretch(1);
    return page;
}

// The profile files among what is being dragged: local files whose extension is the profile's.
QStringList profileFiles(const QMimeData *data)
{
    QStringList files;
    if (!data || !data->hasUrls())
        return files;
    for (const QUrl &url : data->urls()) {
        if (!url.isLocalFile())
            continue;
        // The path's own bytes: a name that isn't UTF-8 arrives percent-encoded and is kept as it is.
        const QString path =
            NativeNames::decode(QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()));
        if (QFileInfo(path).suffix() == QLatin1String("vantreltransfer"))
            files.append(path);
    }
    return files;
}

QWidget *sidebarPanel(QListWidget *list, QWidget *parent)
{
    auto *panel = new QWidget(parent);
    auto *layout = new QVBoxLayout(panel);
    auto *name = new QLabel(QStringLiteral("<b>Vantrel</b>"), panel);
    layout->addWidget(name);
    layout->addWidget(new QLabel(QStringLiteral("Finder productivity toolkit"), panel));
    layout->addWidget(list, 1);
    layout->addWidget(new QLabel(QStringLiteral("Local-first · No telemetry"), panel));
    return panel;
}

} // namespace

QString MainWindow::label(AppState::Destination destination)
{
    switch (destination) {
    case AppState::Destination::dashboard:
        return QStringLiteral("Dashboard");
    case AppState::Destination::quickActions:
        return QStringLiteral("Quick Actions");
    case AppState::Destination::categories:
        return QStringLiteral("Categories");
    case AppState::Destination::automationPacks:
        return QStringLiteral("Automation Packs");
    case AppState::Destination::transferProfiles:
        return QStringLiteral("Transfer Profiles");
    case AppState::Destination::settings:
        return QStringLiteral("Settings");
    }
    return {};
}

QString MainWindow::symbol(AppState::Destination destination)
{
    switch (destination) {
    case AppState::Destination::dashboard:
        return QStringLiteral("square.grid.2x2");
    case AppState::Destination::quickActions:
        return QStringLiteral("bolt");
    case AppState::Destination::categories:
        return QStringLiteral("tag");
    case AppState::Destination::automationPacks:
        return QStringLiteral("shippingbox");
    case AppState::Destination::transferProfiles:
        return QStringLiteral("arrow.triangle.branch");
    case AppState::Destination::settings:
        return QStringLiteral("gearshape");
    }
    return {};
}

MainWindow::MainWindow(AppState &appState, QWidget *parent)
    : QMainWindow(parent), state(&appState), bannerView(new BannerView(appState, this)),
      destinations(new QListWidget(this)), screens(new QStackedWidget(this)),
      progress(new ScanProgressCard(appState.scanState(), this)), sheets(new SheetPresenter(appState, *this))
{
    setWindowTitle(QStringLiteral("Vantrel"));
    setAcceptDrops(true);
    resize(1040, 700);

    destinations->setObjectName(QStringLiteral("sidebar"));
    for (const AppState::Destination destination : AppState::allDestinations())
        destinations->addItem(new QListWidgetItem(Symbols::icon(symbol(destination)), label(destination)));

    screens->addWidget(new DashboardPage(appState, screens));
    screens->addWidget(new QuickActionsPage(appState, screens));
    screens->addWidget(new CategoriesPage(appState, screens));
    screens->addWidget(comingScreen(QStringLiteral("Automation Packs"),
                                    QStringLiteral("Signed packs that add Quick Actions and categories."), screens));
    screens->addWidget(new TransferProfilesPage(appState, screens));
    screens->addWidget(comingScreen(QStringLiteral("Settings"),
                                    QStringLiteral("General, Quick Actions, Categories, Privacy and Support."),
                                    screens));

    auto *content = new QWidget(this);
    auto *contentLayout = new QVBoxLayout(content);
    contentLayout->addWidget(bannerView);
    contentLayout->addWidget(progress);
    contentLayout->addWidget(screens, 1);

    auto *splitter = new QSplitter(this);
    splitter->addWidget(sidebarPanel(destinations, splitter));
    splitter->addWidget(content);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({220, 820});
    setCentralWidget(splitter);

    connect(destinations, &QListWidget::currentRowChanged, this, [this](int row) {
        if (state && row >= 0)
            state->setSelection(AppState::allDestinations().value(row));
    });
    connect(&appState, &AppState::selectionChanged, this, &MainWindow::followSelection);
    connect(&appState, &AppState::activationRequested, this, &MainWindow::showAndRaise);
    connect(&appState.scanState(), &ScanState::activeReportChanged, this, &MainWindow::presentReport);
    connect(&appState, &AppState::contextsChanged, sheets, &SheetPresenter::present);
    followSelection();
    sheets->present();
}

QWidget *MainWindow::currentScreen() const
{
    return screens->currentWidget();
}

void MainWindow::showAndRaise()
{
    show();
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    raise();
    activateWindow();
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (!profileFiles(event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    const QStringList files = profileFiles(event->mimeData());
    if (files.isEmpty() || !state)
        return;
    event->acceptProposedAction();
    // The screen comes to the front, so the imported profile is seen selected, or the banner says why not.
    state->setSelection(AppState::Destination::transferProfiles);
    for (const QString &file : files)
        state->importTransferProfile(file);
}

void MainWindow::followSelection()
{
    if (!state)
        return;
    const auto selection = state->selection();
    const int row = selection ? int(AppState::allDestinations().indexOf(*selection)) : -1;
    if (destinations->currentRow() != row)
        destinations->setCurrentRow(row);
    if (row >= 0)
        screens->setCurrentIndex(row);
}

void MainWindow::presentReport()
{
    if (!state)
        return;
    if (!state->activeReport()) {
        if (results)
            results->close();
        return;
    }
    if (results) {
        results->raise();
        return;
    }
    // The window opens without blocking; closing it dismisses the report.
    results = new WorkflowResultsView(state->scanState(), state->interaction(), this);
    results->setAttribute(Qt::WA_DeleteOnClose);
    results->setOnExecutePlan([appState = state](const ScanReport &report) {
        if (appState)
            appState->executePlan(report);
    });
    results->show();
}
