#include "ui/sheets/ProjectDetectorSheetView.h"

#include "app/AppState.h"
#include "foundation/ByteCountFormatter.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "ui/widgets/Typography.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

QString shownPath(const QString &path)
{
    return Paths::displayPath(path);
}

QString shortDate(const QDateTime &date)
{
    return QLocale().toString(date.toLocalTime(), QLocale::ShortFormat);
}

} // namespace

ProjectDetectorSheetView::ProjectDetectorSheetView(ProjectDetectorSession &detector, AppState &appState,
                                                   QWidget *parent)
    : SheetDialog(QStringLiteral("Project Detector"), parent), app(&appState), session(&detector),
      pages(new QStackedWidget(this)), roots(wrapped("rootsLabel", this)), problem(wrapped("problemLabel", this)),
      walked(wrapped("walkedLabel", this)), currentPath(wrapped("currentPathLabel", this)),
      projects(new QTreeWidget(this)), looseFiles(new QTreeWidget(this)), looseHeading(wrapped("looseHeading", this)),
      emptyTitle(wrapped("emptyTitle", this)), emptyHint(wrapped("emptyHint", this)),
      snapshot(new QPushButton(QStringLiteral("Snapshot"), this)),
      organize(new QPushButton(QStringLiteral("Organize"), this))
{
    setMinimumSize(640, 460);
    auto *setup = new QWidget(pages);
    auto *setupLayout = new QVBoxLayout(setup);
    setupLayout->addWidget(new QLabel(QStringLiteral("Folders to scan"), setup));
    setupLayout->addWidget(roots);
    problem->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    setupLayout->addWidget(problem);
    setupLayout->addStretch(1);

    auto *progress = new QWidget(pages);
    auto *progressLayout = new QVBoxLayout(progress);
    progressLayout->addStretch(1);
    progressLayout->addWidget(walked);
    currentPath->setEnabled(false);
    progressLayout->addWidget(currentPath);
    progressLayout->addStretch(1);

    auto *results = new QWidget(pages);
    auto *resultsLayout = new QVBoxLayout(results);
    projects->setObjectName(QStringLiteral("projectList"));
    projects->setHeaderLabels(
        {QStringLiteral("Project"), QStringLiteral("Kind"), QStringLiteral("Size"), QStringLiteral("Modified")});
    projects->setRootIsDecorated(false);
    projects->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    resultsLayout->addWidget(projects, 2);
    auto *actions = new QHBoxLayout;
    snapshot->setObjectName(QStringLiteral("snapshotButton"));
    organize->setObjectName(QStringLiteral("organizeButton"));
    actions->addStretch(1);
    actions->addWidget(snapshot);
    actions->addWidget(organize);
    resultsLayout->addLayout(actions);
    emptyTitle->setText(ProjectDetectorSession::emptyTitle());
    Typography::makeHeading(emptyTitle, 1.2);
    emptyHint->setText(ProjectDetectorSession::emptyHint());
    resultsLayout->addWidget(emptyTitle);
    resultsLayout->addWidget(emptyHint);
    looseHeading->setText(QStringLiteral("Loose files"));
    resultsLayout->addWidget(looseHeading);
    looseFiles->setObjectName(QStringLiteral("looseFileList"));
    looseFiles->setHeaderLabels({QStringLiteral("File"), QStringLiteral("Size"), QStringLiteral("Project")});
    looseFiles->setRootIsDecorated(false);
    looseFiles->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    resultsLayout->addWidget(looseFiles, 1);

    pages->addWidget(setup);
    pages->addWidget(progress);
    pages->addWidget(results);
    content()->addWidget(pages, 1);

    // Snapshot opens its workflow on the chosen project; until it exists its own words say so.
    connect(snapshot, &QPushButton::clicked, this, [this] {
        if (const auto root = selectedProject(); root && app)
            app->runWorkflow(QStringLiteral("project-snapshot"), {*root});
    });
    // The organizer works from these results: the project and the loose files matched to it.
    connect(organize, &QPushButton::clicked, this, [this] {
        const auto root = selectedProject();
        if (!root || !app || !shown)
            return;
        const auto found = ProjectOrganizerSession::findProject(*shown, *root);
        if (const auto *project = std::get_if<ProjectOrganizerSession::DetectedProject>(&found))
            app->setProjectOrganizerSession(new ProjectOrganizerSession(*app, *project, shown->looseFiles));
    });
    connect(projects, &QTreeWidget::itemSelectionChanged, this, [this] {
        snapshot->setEnabled(selectedProject().has_value());
        organize->setEnabled(selectedProject().has_value());
    });
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        if (std::holds_alternative<ProjectDetectorSession::done>(session->phase()))
            cancelSheet();
        else
            session->start();
    });
    connect(session, &ProjectDetectorSession::changed, this, &ProjectDetectorSheetView::refresh);
    refresh();
}

std::optional<QString> ProjectDetectorSheetView::selectedProject() const
{
    const QList<QTreeWidgetItem *> selected = projects->selectedItems();
    if (selected.isEmpty())
        return std::nullopt;
    return selected.first()->data(0, Qt::UserRole).toString();
}

void ProjectDetectorSheetView::reject()
{
    // While it walks, Cancel stops the walk and the sheet goes back to its folders.
    if (session && std::holds_alternative<ProjectDetectorSession::scanning>(session->phase())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void ProjectDetectorSheetView::cancelSheet()
{
    if (session) {
        if (std::holds_alternative<ProjectDetectorSession::scanning>(session->phase()))
            session->cancel();
        session->close();
    }
}

void ProjectDetectorSheetView::showResults(const ProjectDetectorSession::ScanResults &results)
{
    if (shown == results)
        return;
    shown = results;
    projects->clear();
    for (const ProjectDetectorSession::DetectedProject &project : results.projects) {
        const QString root = project.structure.projectRoot;
        auto *item = new QTreeWidgetItem(
            projects, {NativeNames::display(QFileInfo(root).fileName()), ProjectKinds::toString(project.structure.kind),
                       ByteCountFormatter::format(project.totalSizeBytes), shortDate(project.lastModified)});
        item->setData(0, Qt::UserRole, root);
        item->setToolTip(0, shownPath(root));
    }
    looseFiles->clear();
    for (const ProjectDetectorSession::LooseFile &file : results.looseFiles) {
        auto *item = new QTreeWidgetItem(
            looseFiles,
            {NativeNames::display(QFileInfo(file.url).fileName()), ByteCountFormatter::format(file.sizeBytes),
             file.relatedTo ? NativeNames::display(QFileInfo(*file.relatedTo).fileName()) : QString()});
        item->setToolTip(0, shownPath(file.url));
    }
    const bool none = results.projects.isEmpty();
    projects->setVisible(!none);
    snapshot->setVisible(!none);
    organize->setVisible(!none);
    snapshot->setEnabled(false);
    organize->setEnabled(false);
    emptyTitle->setVisible(none);
    emptyHint->setVisible(none);
    looseHeading->setVisible(!results.looseFiles.isEmpty());
    looseFiles->setVisible(!results.looseFiles.isEmpty());
}

void ProjectDetectorSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    QStringList shownRoots;
    for (const QString &root : session->roots())
        shownRoots.append(shownPath(root));
    roots->setText(shownRoots.join(QLatin1Char('\n')));

    if (const auto *walking = std::get_if<ProjectDetectorSession::scanning>(&phase)) {
        pages->setCurrentIndex(1);
        subtitle()->setText(QStringLiteral("Scanning…"));
        walked->setText(QStringLiteral("%1 folders walked · %2 projects found")
                            .arg(walking->progress.foldersWalked)
                            .arg(walking->progress.projectsFound));
        currentPath->setText(walking->progress.currentPath ? shownPath(*walking->progress.currentPath) : QString());
        applyButton()->setText(QStringLiteral("Scan"));
        applyButton()->setEnabled(false);
        cancelButton()->setText(QStringLiteral("Cancel"));
        return;
    }
    if (const auto *finished = std::get_if<ProjectDetectorSession::done>(&phase)) {
        pages->setCurrentIndex(2);
        subtitle()->setText(ProjectDetectorSession::summary(finished->results));
        showResults(finished->results);
        applyButton()->setText(QStringLiteral("Done"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
        return;
    }
    pages->setCurrentIndex(0);
    subtitle()->setText(
        QStringLiteral("%1 folder%2 chosen").arg(session->roots().size()).arg(session->roots().size() == 1 ? "" : "s"));
    const auto *failure = std::get_if<ProjectDetectorSession::failed>(&phase);
    problem->setText(failure ? failure->message : QString());
    problem->setVisible(failure != nullptr);
    applyButton()->setText(QStringLiteral("Scan"));
    applyButton()->setEnabled(true);
    cancelButton()->show();
}
