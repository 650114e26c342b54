#include "ui/sheets/RouteByConfigSheetView.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Plural.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "transfer/route/RoutePlanner.h"
#include "transfer/route/RouteRunner.h"
#include "ui/widgets/TransferRulesEditor.h"
#include "ui/widgets/Typography.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

using Route::RouteResult;

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

QPushButton *button(const QString &text, const char *name, QWidget *parent)
{
    auto *made = new QPushButton(text, parent);
    made->setObjectName(QString::fromLatin1(name));
    return made;
}

// A big number over its caption, as the preview's two counts show.
QWidget *stat(QLabel *number, const QString &caption, QWidget *parent)
{
    auto *box = new QWidget(parent);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 24, 0);
    QFont font = number->font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    font.setBold(true);
    number->setFont(font);
    layout->addWidget(number);
    auto *label = new QLabel(caption, box);
    label->setEnabled(false);
    layout->addWidget(label);
    return box;
}

QString fileName(const QString &path)
{
    return NativeNames::display(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
}

} // namespace

RouteByConfigSheetView::RouteByConfigSheetView(RouteByConfigSession &route, Interaction &interaction, QWidget *parent)
    : SheetDialog(QStringLiteral("Route by Config"), parent), session(&route), pages(new QStackedWidget(this)),
      rulesEditor(new TransferRulesEditor(interaction, this))
{
    setMinimumSize(620, 460);
    pages->addWidget(makePickingPage());
    pages->addWidget(makeAdHocPage());
    pages->addWidget(makePreviewPage());
    pages->addWidget(makeRunningPage());
    pages->addWidget(makeFinishedPage());
    pages->addWidget(makeBlockedPage());
    content()->addWidget(pages, 1);

    connect(applyButton(), &QPushButton::clicked, this, &RouteByConfigSheetView::primary);
    connect(session, &RouteByConfigSession::changed, this, &RouteByConfigSheetView::refresh);
    connect(session, &RouteByConfigSession::phaseChanged, this, &RouteByConfigSheetView::refresh);
    connect(session, &RouteByConfigSession::workingProfileChanged, this, &RouteByConfigSheetView::refresh);
    refresh();
}

QWidget *RouteByConfigSheetView::makePickingPage()
{
    auto *page = new QWidget(pages);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(
        new QLabel(QStringLiteral("Pick a saved profile, or write rules for this selection only."), page));
    profiles = new QListWidget(page);
    profiles->setObjectName(QStringLiteral("profileList"));
    layout->addWidget(profiles, 1);
    noProfiles = wrapped("noProfilesLabel", page);
    noProfiles->setText(QStringLiteral("No profiles yet. Write them in Transfer Profiles, or build rules now."));
    noProfiles->setEnabled(false);
    layout->addWidget(noProfiles);
    auto *adHoc = button(QStringLiteral("Build rules now"), "buildRulesButton", page);
    layout->addWidget(adHoc, 0, Qt::AlignLeft);
    connect(adHoc, &QPushButton::clicked, this, [this] {
        if (session)
            session->startAdHoc();
    });
    connect(profiles, &QListWidget::itemDoubleClicked, this, &RouteByConfigSheetView::primary);
    connect(profiles, &QListWidget::currentRowChanged, this, &RouteByConfigSheetView::refresh);
    return page;
}

QWidget *RouteByConfigSheetView::makeAdHocPage()
{
    auto *page = new QWidget(pages);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(new QLabel(QStringLiteral("Rules for this selection only. They are not saved."), page));
    auto *scroll = new QScrollArea(page);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(rulesEditor);
    layout->addWidget(scroll, 1);
    auto *back = button(QStringLiteral("Back"), "adHocBackButton", page);
    layout->addWidget(back, 0, Qt::AlignLeft);
    connect(rulesEditor, &TransferRulesEditor::edited, this, [this] {
        if (session)
            session->setWorkingProfile(rulesEditor->profile());
    });
    connect(back, &QPushButton::clicked, this, [this] {
        if (session)
            session->back();
    });
    return page;
}

QWidget *RouteByConfigSheetView::makePreviewPage()
{
    auto *page = new QWidget(pages);
    auto *layout = new QVBoxLayout(page);
    matchedCount = wrapped("matchedCount", page);
    matchedSize = wrapped("matchedSize", page);
    auto *counts = new QHBoxLayout;
    counts->addWidget(stat(matchedCount, QStringLiteral("files matched"), page));
    counts->addWidget(stat(matchedSize, QStringLiteral("matched size"), page));
    counts->addStretch(1);
    layout->addLayout(counts);
    routes = new QTreeWidget(page);
    routes->setObjectName(QStringLiteral("routeList"));
    routes->setHeaderLabels({QStringLiteral("Route"), QStringLiteral("Files"), QStringLiteral("Names")});
    routes->setRootIsDecorated(false);
    routes->header()->setStretchLastSection(true);
    layout->addWidget(routes, 1);
    unmatched = wrapped("unmatchedLabel", page);
    unmatched->setEnabled(false);
    layout->addWidget(unmatched);

    auto *row = new QHBoxLayout;
    auto *back = button(QStringLiteral("Back"), "previewBackButton", page);
    row->addWidget(back);
    row->addStretch(1);
    connect(back, &QPushButton::clicked, this, [this] {
        if (session)
            session->back();
    });
    for (const auto choice : RouteByConfigSession::allRunChoices()) {
        auto *run = new QPushButton(RouteByConfigSession::label(choice), page);
        run->setObjectName(RouteByConfigSession::toString(choice) + QStringLiteral("Button"));
        row->addWidget(run);
        runButtons.append(run);
        connect(run, &QPushButton::clicked, this, [this, choice] {
            if (session)
                session->run(choice);
        });
    }
    layout->addLayout(row);
    return page;
}

QWidget *RouteByConfigSheetView::makeRunningPage()
{
    auto *page = new QWidget(pages);
    auto *layout = new QVBoxLayout(page);
    step = wrapped("stepLabel", page);
    bar = new QProgressBar(page);
    runCounts = wrapped("runCounts", page);
    layout->addStretch(1);
    layout->addWidget(step);
    layout->addWidget(bar);
    layout->addWidget(runCounts);
    layout->addStretch(1);
    return page;
}

QWidget *RouteByConfigSheetView::makeFinishedPage()
{
    auto *page = new QWidget(pages);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(Typography::heading(QStringLiteral("Routing finished"), page, 1.2));
    doneCounts = wrapped("doneCounts", page);
    layout->addWidget(doneCounts);
    problems = new QTreeWidget(page);
    problems->setObjectName(QStringLiteral("problemList"));
    problems->setHeaderLabels({QStringLiteral("File"), QStringLiteral("Reason")});
    problems->setRootIsDecorated(false);
    layout->addWidget(problems, 1);
    return page;
}

QWidget *RouteByConfigSheetView::makeBlockedPage()
{
    auto *page = new QWidget(pages);
    auto *layout = new QVBoxLayout(page);
    layout->addWidget(Typography::heading(RouteByConfigSession::failedTitle(), page, 1.2));
    blockedMessage = wrapped("blockedMessage", page);
    layout->addWidget(blockedMessage);
    auto *back = button(QStringLiteral("Back"), "blockedBackButton", page);
    layout->addStretch(1);
    layout->addWidget(back, 0, Qt::AlignLeft);
    connect(back, &QPushButton::clicked, this, [this] {
        if (session)
            session->back();
    });
    return page;
}

void RouteByConfigSheetView::primary()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    if (std::holds_alternative<RouteByConfigSession::pickingProfile>(phase)) {
        const QList<TransferProfile> saved = session->savedProfiles();
        const int row = profiles->currentRow();
        if (row >= 0 && row < saved.size())
            session->pickProfile(saved[row]);
    } else if (std::holds_alternative<RouteByConfigSession::editingAdHoc>(phase)) {
        session->preview();
    } else if (std::holds_alternative<RouteByConfigSession::done>(phase)) {
        cancelSheet();
        accept();
    }
}

void RouteByConfigSheetView::reject()
{
    // While files move, Cancel stops before the next one and the sheet stays to show what was done.
    if (session && (std::holds_alternative<RouteByConfigSession::running>(session->phase()) || session->isPlanning())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void RouteByConfigSheetView::cancelSheet()
{
    if (session) {
        session->cancel();
        session->close();
    }
}

void RouteByConfigSheetView::refreshProfiles()
{
    const QList<TransferProfile> saved = session->savedProfiles();
    const int keep = profiles->currentRow();
    if (profiles->count() != saved.size()) {
        profiles->clear();
        for (const TransferProfile &profile : saved) {
            auto *item = new QListWidgetItem(
                QStringLiteral("%1\n%2 · %3")
                    .arg(profile.name, profile.summary, counted(profile.rules.size(), QStringLiteral("rule"))),
                profiles);
            item->setToolTip(profile.summary);
        }
        profiles->setCurrentRow(saved.isEmpty() ? -1 : std::clamp(keep, 0, int(saved.size()) - 1));
    }
    profiles->setVisible(!saved.isEmpty());
    noProfiles->setVisible(saved.isEmpty());
}

void RouteByConfigSheetView::showPlan(const RouteByConfigSession::RoutePlan &plan)
{
    matchedCount->setText(QString::number(plan.matches.size()));
    matchedSize->setText(ByteCountFormatter::format(quint64(std::max<qint64>(0, plan.totalMatchedBytes))));
    routes->clear();
    for (const Route::RouteRow &row : RoutePlanner::routes(plan)) {
        auto *item = new QTreeWidgetItem(
            routes, {RoutePlanner::rowTitle(row), RoutePlanner::rowCount(row), RoutePlanner::rowNames(row)});
        item->setToolTip(0, row.folder);
    }
    routes->resizeColumnToContents(0);
    const QString line = RoutePlanner::unmatchedLine(plan);
    unmatched->setText(line);
    unmatched->setVisible(!line.isEmpty());
    for (QPushButton *run : std::as_const(runButtons))
        run->setEnabled(!plan.matches.isEmpty());
}

void RouteByConfigSheetView::refresh()
{
    if (!session)
        return;
    const qsizetype count = session->sources().size();
    subtitle()->setText(
        QStringLiteral("%1 · %2").arg(counted(count, QStringLiteral("item")), session->workingProfile().name));
    const auto &phase = session->phase();
    applyButton()->show();
    cancelButton()->show();
    cancelButton()->setText(QStringLiteral("Close"));

    if (std::holds_alternative<RouteByConfigSession::pickingProfile>(phase)) {
        pages->setCurrentIndex(picking);
        refreshProfiles();
        subtitle()->setText(counted(count, QStringLiteral("item")) + QStringLiteral(" selected"));
        applyButton()->setText(session->isPlanning() ? QStringLiteral("Planning…") : QStringLiteral("Preview"));
        applyButton()->setEnabled(!session->isPlanning() && profiles->currentRow() >= 0);
    } else if (std::holds_alternative<RouteByConfigSession::editingAdHoc>(phase)) {
        pages->setCurrentIndex(adHoc);
        // The editor keeps its own copy while the user types; it is given the session's only when they differ.
        if (rulesEditor->profile() != session->workingProfile())
            rulesEditor->setProfile(session->workingProfile());
        applyButton()->setText(session->isPlanning() ? QStringLiteral("Planning…") : QStringLiteral("Preview routing"));
        applyButton()->setEnabled(!session->isPlanning() && !session->workingProfile().rules.isEmpty());
    } else if (const auto *shown = std::get_if<RouteByConfigSession::previewingPlan>(&phase)) {
        pages->setCurrentIndex(preview);
        showPlan(shown->plan);
        applyButton()->hide();
    } else if (const auto *run = std::get_if<RouteByConfigSession::running>(&phase)) {
        pages->setCurrentIndex(running);
        const Route::RunProgress &progress = run->progress;
        step->setText(progress.currentFile ? QStringLiteral("Routing %1").arg(fileName(*progress.currentFile))
                                           : QStringLiteral("Routing…"));
        bar->setRange(0, std::max(1, progress.total));
        bar->setValue(progress.processed);
        runCounts->setText(RouteByConfigSession::countsLine(progress));
        applyButton()->hide();
        cancelButton()->setText(QStringLiteral("Cancel"));
    } else if (const auto *done = std::get_if<RouteByConfigSession::done>(&phase)) {
        pages->setCurrentIndex(finished);
        doneCounts->setText(RouteByConfigSession::countsLine(RouteRunner::tally(done->result.outcomes)));
        problems->clear();
        for (const RouteResult::Outcome &outcome : done->result.outcomes) {
            if (const auto *failure = std::get_if<RouteResult::ItemResult::failed>(&outcome.result.value))
                new QTreeWidgetItem(problems, {Paths::displayPath(outcome.source), failure->message});
        }
        problems->setVisible(problems->topLevelItemCount() > 0);
        applyButton()->setText(QStringLiteral("Close"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
    } else if (const auto *failure = std::get_if<RouteByConfigSession::failed>(&phase)) {
        pages->setCurrentIndex(blocked);
        blockedMessage->setText(failure->message);
        applyButton()->hide();
    }
}
