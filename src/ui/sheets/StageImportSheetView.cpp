#include "ui/sheets/StageImportSheetView.h"

#include "app/AppState.h"
#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum Page { pickingPage, planningPage, executingPage, donePage, failedPage };
enum Column { fileColumn, sizeColumn, categoryColumn, conventionColumn, subfolderColumn };

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

QString nameOf(const QString &path)
{
    return NativeNames::display(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
}

} // namespace

StageImportSheetView::StageImportSheetView(StageImportSession &stage, AppState &appState, QWidget *parent)
    : SheetDialog(QStringLiteral("Stage & Import"), parent), app(&appState), session(&stage),
      pages(new QStackedWidget(this)), recentProjects(new QTreeWidget(this)),
      noRecentProjects(wrapped("noRecentProjects", this)),
      chooseFolderButton(new QPushButton(QStringLiteral("Choose Project Folder…"), this)),
      projectLabel(wrapped("projectLabel", this)), entries(new QTreeWidget(this)),
      refusalLabel(wrapped("refusalLabel", this)),
      moveMode(new QCheckBox(QStringLiteral("Move the originals to the Trash once copied"), this)),
      addComment(new QCheckBox(QStringLiteral("Add a comment saying where each file came from"), this)),
      changeProject(new QPushButton(QStringLiteral("Change Project"), this)), progress(new QProgressBar(this)),
      currentFile(wrapped("currentFileLabel", this)), summary(wrapped("summaryLabel", this)),
      failure(wrapped("failureLabel", this))
{
    setMinimumSize(720, 460);

    auto *picking = new QWidget(pages);
    auto *pickingLayout = new QVBoxLayout(picking);
    pickingLayout->addWidget(new QLabel(QStringLiteral("Recent projects"), picking));
    recentProjects->setObjectName(QStringLiteral("recentProjectList"));
    recentProjects->setHeaderLabels({QStringLiteral("Project"), QStringLiteral("Kind"), QStringLiteral("Folder")});
    recentProjects->setRootIsDecorated(false);
    recentProjects->header()->setSectionResizeMode(2, QHeaderView::Stretch);
    pickingLayout->addWidget(recentProjects, 1);
    noRecentProjects->setText(QStringLiteral("No recent projects yet. Choose the project's folder."));
    pickingLayout->addWidget(noRecentProjects);
    chooseFolderButton->setObjectName(QStringLiteral("chooseFolderButton"));
    auto *pickingActions = new QHBoxLayout;
    pickingActions->addStretch(1);
    pickingActions->addWidget(chooseFolderButton);
    pickingLayout->addLayout(pickingActions);

    auto *planning = new QWidget(pages);
    auto *planningLayout = new QVBoxLayout(planning);
    auto *projectRow = new QHBoxLayout;
    projectRow->addWidget(projectLabel, 1);
    changeProject->setObjectName(QStringLiteral("changeProjectButton"));
    projectRow->addWidget(changeProject);
    planningLayout->addLayout(projectRow);
    entries->setObjectName(QStringLiteral("entryList"));
    entries->setHeaderLabels({QStringLiteral("File"), QStringLiteral("Size"), QStringLiteral("Category"),
                              QStringLiteral("Convention"), QStringLiteral("Subfolder")});
    entries->setRootIsDecorated(false);
    entries->header()->setSectionResizeMode(subfolderColumn, QHeaderView::Stretch);
    planningLayout->addWidget(entries, 1);
    refusalLabel->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    planningLayout->addWidget(refusalLabel);
    moveMode->setObjectName(QStringLiteral("moveModeCheck"));
    addComment->setObjectName(QStringLiteral("addFinderCommentCheck"));
    planningLayout->addWidget(moveMode);
    planningLayout->addWidget(addComment);

    auto *executing = new QWidget(pages);
    auto *executingLayout = new QVBoxLayout(executing);
    executingLayout->addStretch(1);
    progress->setObjectName(QStringLiteral("stageProgress"));
    executingLayout->addWidget(progress);
    currentFile->setEnabled(false);
    executingLayout->addWidget(currentFile);
    executingLayout->addStretch(1);

    auto *finished = new QWidget(pages);
    auto *finishedLayout = new QVBoxLayout(finished);
    finishedLayout->addWidget(summary);
    finishedLayout->addStretch(1);

    auto *failedWidget = new QWidget(pages);
    auto *failedLayout = new QVBoxLayout(failedWidget);
    // The list of markers lines its arrows up in a fixed-width font.
    failure->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    failure->setTextInteractionFlags(Qt::TextSelectableByMouse);
    failedLayout->addWidget(failure);
    failedLayout->addStretch(1);

    pages->addWidget(picking);
    pages->addWidget(planning);
    pages->addWidget(executing);
    pages->addWidget(finished);
    pages->addWidget(failedWidget);
    content()->addWidget(pages, 1);

    connect(chooseFolderButton, &QPushButton::clicked, this, &StageImportSheetView::chooseFolder);
    connect(recentProjects, &QTreeWidget::itemDoubleClicked, this, &StageImportSheetView::useSelectedRecentProject);
    connect(recentProjects, &QTreeWidget::itemSelectionChanged, this, &StageImportSheetView::refresh);
    connect(changeProject, &QPushButton::clicked, this, [this] {
        if (session)
            session->back();
    });
    connect(moveMode, &QCheckBox::toggled, this, [this](bool on) {
        if (session)
            session->setMoveMode(on);
    });
    connect(addComment, &QCheckBox::toggled, this, [this](bool on) {
        if (session)
            session->setAddFinderComment(on);
    });
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        const auto &phase = session->phase();
        if (std::holds_alternative<StageImportSession::picking>(phase))
            useSelectedRecentProject();
        else if (std::holds_alternative<StageImportSession::planning>(phase))
            session->execute();
        else if (std::holds_alternative<StageImportSession::failed>(phase))
            session->back();
        else if (std::holds_alternative<StageImportSession::done>(phase))
            session->close();
    });
    connect(session, &StageImportSession::changed, this, &StageImportSheetView::refresh);
    if (app)
        connect(&app->recentProjects(), &RecentProjectsStore::entriesChanged, this,
                &StageImportSheetView::showRecentProjects);
    showRecentProjects();
    refresh();
}

QLineEdit *StageImportSheetView::subpathEditor(int row) const
{
    QTreeWidgetItem *item = entries->topLevelItem(row);
    return item ? qobject_cast<QLineEdit *>(entries->itemWidget(item, subfolderColumn)) : nullptr;
}

void StageImportSheetView::showRecentProjects()
{
    if (!app)
        return;
    recentProjects->clear();
    for (const RecentProjectsStore::Entry &entry : app->recentProjects().entries()) {
        auto *item = new QTreeWidgetItem(recentProjects,
                                         {nameOf(entry.rootURL), entry.kindRaw, Paths::displayPath(entry.rootURL)});
        item->setData(0, Qt::UserRole, entry.rootURL);
    }
    const bool none = recentProjects->topLevelItemCount() == 0;
    recentProjects->setVisible(!none);
    noRecentProjects->setVisible(none);
}

void StageImportSheetView::chooseFolder()
{
    if (!session || !app)
        return;
    PanelRequest panel;
    panel.title = QStringLiteral("Choose the project to stage into");
    panel.message = QStringLiteral("Pick the project's root folder.");
    panel.prompt = QStringLiteral("Use Project");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    const QStringList chosen = app->interaction().panel(panel);
    if (!chosen.isEmpty())
        session->choose(chosen.first());
}

void StageImportSheetView::useSelectedRecentProject()
{
    const QList<QTreeWidgetItem *> selected = recentProjects->selectedItems();
    if (session && !selected.isEmpty())
        session->choose(selected.first()->data(0, Qt::UserRole).toString());
}

void StageImportSheetView::checkEditors()
{
    if (!session)
        return;
    std::optional<QString> first;
    for (int row = 0; row < entries->topLevelItemCount() && !first; ++row) {
        if (const QLineEdit *editor = subpathEditor(row))
            first = session->refusal(editor->text());
    }
    refusalLabel->setText(first.value_or(QString()));
    refusalLabel->setVisible(first.has_value());
    applyButton()->setEnabled(!first);
}

void StageImportSheetView::showPlan(const StageImportSession::Plan &plan)
{
    QStringList sources;
    for (const StageImportSession::Entry &entry : plan.entries)
        sources.append(entry.source);
    const bool sameRows = plan.project.projectRoot == shownRoot && sources == shownSources;
    if (!sameRows) {
        shownRoot = plan.project.projectRoot;
        shownSources = sources;
        entries->clear();
        for (qsizetype row = 0; row < plan.entries.size(); ++row) {
            const StageImportSession::Entry &entry = plan.entries[row];
            auto *item =
                new QTreeWidgetItem(entries, {nameOf(entry.source), ByteCountFormatter::format(entry.sizeBytes),
                                              StageRouting::toString(entry.category), entry.suggested.label});
            item->setToolTip(fileColumn, Paths::displayPath(entry.source));
            auto *editor = new QLineEdit(entries);
            editor->setObjectName(QStringLiteral("subpathEditor"));
            editor->setPlaceholderText(entry.suggested.relativeSubpath);
            entries->setItemWidget(item, subfolderColumn, editor);
            editor->setText(entry.effectiveSubpath());
            // Each keystroke is checked and kept, so Stage always runs what the rows show.
            connect(editor, &QLineEdit::textEdited, this, [this, row](const QString &text) {
                if (session)
                    session->updateOverride(row, text);
                checkEditors();
            });
        }
    }
    projectLabel->setText(
        QStringLiteral("Into %1 · %2")
            .arg(Paths::displayPath(plan.project.projectRoot), ProjectKinds::toString(plan.project.kind)));
    checkEditors();
}

void StageImportSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    subtitle()->setText(QStringLiteral("%1 item%2 to stage")
                            .arg(session->sources().size())
                            .arg(session->sources().size() == 1 ? "" : "s"));
    cancelButton()->show();
    cancelButton()->setText(QStringLiteral("Cancel"));
    moveMode->setChecked(session->moveMode());
    addComment->setChecked(session->addFinderComment());

    if (const auto *shown = std::get_if<StageImportSession::planning>(&phase)) {
        pages->setCurrentIndex(planningPage);
        applyButton()->setText(QStringLiteral("Stage"));
        showPlan(shown->plan);
        return;
    }
    if (const auto *copying = std::get_if<StageImportSession::executing>(&phase)) {
        pages->setCurrentIndex(executingPage);
        progress->setRange(0, std::max(copying->progress.total, 1));
        progress->setValue(copying->progress.processed);
        currentFile->setText(copying->progress.currentFile.value_or(QString()));
        applyButton()->setText(QStringLiteral("Stage"));
        applyButton()->setEnabled(false);
        return;
    }
    if (std::holds_alternative<StageImportSession::done>(phase)) {
        pages->setCurrentIndex(donePage);
        summary->setText(session->describe().join(QLatin1Char('\n')));
        applyButton()->setText(QStringLiteral("Done"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
        return;
    }
    if (const auto *failed = std::get_if<StageImportSession::failed>(&phase)) {
        pages->setCurrentIndex(failedPage);
        failure->setText(failed->message);
        applyButton()->setText(QStringLiteral("Back"));
        applyButton()->setEnabled(true);
        return;
    }
    pages->setCurrentIndex(pickingPage);
    shownRoot.clear();
    applyButton()->setText(QStringLiteral("Use Project"));
    applyButton()->setEnabled(!recentProjects->selectedItems().isEmpty());
}

void StageImportSheetView::reject()
{
    // While copying, Cancel stops before the next file and the sheet shows what was done.
    if (session && std::holds_alternative<StageImportSession::executing>(session->phase())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void StageImportSheetView::cancelSheet()
{
    if (session) {
        if (std::holds_alternative<StageImportSession::executing>(session->phase()))
            session->cancel();
        session->close();
    }
}
