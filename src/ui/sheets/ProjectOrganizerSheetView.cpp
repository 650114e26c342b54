#include "ui/sheets/ProjectOrganizerSheetView.h"

#include "foundation/ByteCountFormatter.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "ui/widgets/Typography.h"

#include <QButtonGroup>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

QLabel *heading(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    Typography::makeHeading(label, 1.05);
    return label;
}

QString fileName(const QString &path)
{
    return NativeNames::display(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
}

enum Page { planPage, runPage, donePage, failedPage };

} // namespace

ProjectOrganizerSheetView::ProjectOrganizerSheetView(ProjectOrganizerSession &organizer, QWidget *parent)
    : SheetDialog(QStringLiteral("Project Organizer"), parent), session(&organizer), pages(new QStackedWidget(this)),
      headline(wrapped("headlineLabel", this)), containerNote(wrapped("containerNote", this)),
      container(wrapped("containerLabel", this)), files(new QTreeWidget(this)), groups(wrapped("groupsLabel", this)),
      copy(new QRadioButton(QStringLiteral("Copy"), this)), move(new QRadioButton(QStringLiteral("Move"), this)),
      progress(new QProgressBar(this)), currentFile(wrapped("currentFileLabel", this)),
      counts(wrapped("countsLabel", this)), failures(wrapped("failuresLabel", this)),
      failure(wrapped("failureLabel", this))
{
    setMinimumSize(600, 520);
    auto *plan = new QWidget(pages);
    auto *planLayout = new QVBoxLayout(plan);
    planLayout->addWidget(headline);
    containerNote->setEnabled(false);
    planLayout->addWidget(containerNote);
    container->setTextInteractionFlags(Qt::TextSelectableByMouse);
    planLayout->addWidget(container);
    files->setObjectName(QStringLiteral("fileList"));
    files->setHeaderLabels({QStringLiteral("File"), QStringLiteral("Size"), QStringLiteral("Folder")});
    files->setRootIsDecorated(false);
    files->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    planLayout->addWidget(files, 1);
    planLayout->addWidget(heading(QStringLiteral("What goes where"), plan));
    groups->setTextInteractionFlags(Qt::TextSelectableByMouse);
    planLayout->addWidget(groups);
    planLayout->addWidget(heading(QStringLiteral("Copy or move"), plan));
    copy->setObjectName(QStringLiteral("copyButton"));
    move->setObjectName(QStringLiteral("moveButton"));
    auto *mode = new QButtonGroup(this);
    mode->addButton(copy);
    mode->addButton(move);
    auto *modeRow = new QHBoxLayout;
    modeRow->addWidget(copy);
    modeRow->addWidget(move);
    modeRow->addStretch(1);
    planLayout->addLayout(modeRow);

    auto *run = new QWidget(pages);
    auto *runLayout = new QVBoxLayout(run);
    runLayout->addStretch(1);
    progress->setObjectName(QStringLiteral("progressBar"));
    runLayout->addWidget(progress);
    currentFile->setEnabled(false);
    runLayout->addWidget(currentFile);
    runLayout->addStretch(1);

    auto *finished = new QWidget(pages);
    auto *finishedLayout = new QVBoxLayout(finished);
    Typography::makeHeading(counts, 1.1);
    finishedLayout->addWidget(counts);
    finishedLayout->addWidget(failures);
    finishedLayout->addStretch(1);

    auto *stopped = new QWidget(pages);
    auto *stoppedLayout = new QVBoxLayout(stopped);
    failure->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    stoppedLayout->addWidget(failure);
    stoppedLayout->addStretch(1);

    pages->insertWidget(planPage, plan);
    pages->insertWidget(runPage, run);
    pages->insertWidget(donePage, finished);
    pages->insertWidget(failedPage, stopped);
    content()->addWidget(pages, 1);

    fillFiles();
    connect(files, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem *item, int column) {
        if (session && column == 0)
            session->setTicked(item->data(0, Qt::UserRole).toString(), item->checkState(0) == Qt::Checked);
    });
    connect(move, &QRadioButton::toggled, this, [this](bool moving) {
        if (session)
            session->setMoveMode(moving);
    });
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        if (std::holds_alternative<ProjectOrganizerSession::planning>(session->phase())) {
            session->execute();
            return;
        }
        cancelSheet();
        accept();
    });
    connect(session, &ProjectOrganizerSession::changed, this, &ProjectOrganizerSheetView::refresh);
    refresh();
}

void ProjectOrganizerSheetView::fillFiles()
{
    const QSignalBlocker quiet(files);
    files->clear();
    for (const ProjectOrganizerSession::PlannedFile &file : session->plan().files) {
        auto *item = new QTreeWidgetItem(files, {fileName(file.source), ByteCountFormatter::format(file.sizeBytes),
                                                 ProjectOrganizing::displayName(file.category)});
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setData(0, Qt::UserRole, file.source);
        item->setToolTip(0, Paths::displayPath(file.source));
        item->setCheckState(0, session->selectedSources().contains(file.source) ? Qt::Checked : Qt::Unchecked);
    }
}

void ProjectOrganizerSheetView::showGroups()
{
    const QList<ProjectOrganizerSession::Group> grouped = session->whatGoesWhere();
    if (grouped.isEmpty()) {
        groups->setText(ProjectOrganizerSession::emptyGroupsHint());
        return;
    }
    QStringList lines;
    for (const ProjectOrganizerSession::Group &group : grouped) {
        lines.append(QStringLiteral("%1 — %2 file%3")
                         .arg(Paths::displayPath(group.folder))
                         .arg(group.count)
                         .arg(group.count == 1 ? "" : "s"));
    }
    groups->setText(lines.join(QLatin1Char('\n')));
}

void ProjectOrganizerSheetView::reject()
{
    // While files are placed, Cancel stops after the one under way and the sheet stays to show the counts.
    if (session && std::holds_alternative<ProjectOrganizerSession::executing>(session->phase())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void ProjectOrganizerSheetView::cancelSheet()
{
    if (session) {
        if (session->isRunning())
            session->cancel();
        session->close();
    }
}

void ProjectOrganizerSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    headline->setText(session->headline());
    containerNote->setText(session->containerNote());
    container->setText(Paths::displayPath(session->plan().containerURL) + QLatin1Char('/'));
    if (std::holds_alternative<ProjectOrganizerSession::planning>(phase)) {
        pages->setCurrentIndex(planPage);
        const qsizetype ticked = session->selectedSources().size();
        subtitle()->setText(QStringLiteral("%1 of %2 files ticked").arg(ticked).arg(session->plan().files.size()));
        showGroups();
        const QSignalBlocker quiet(move);
        (session->moveMode() ? move : copy)->setChecked(true);
        applyButton()->setText(session->moveMode() ? QStringLiteral("Move Files") : QStringLiteral("Copy Files"));
        applyButton()->setEnabled(ticked > 0);
        cancelButton()->show();
        return;
    }
    if (const auto *running = std::get_if<ProjectOrganizerSession::executing>(&phase)) {
        pages->setCurrentIndex(runPage);
        subtitle()->setText(
            QStringLiteral("%1 of %2 files").arg(running->progress.processed).arg(running->progress.total));
        progress->setRange(0, std::max(running->progress.total, 1));
        progress->setValue(running->progress.processed);
        currentFile->setText(running->progress.currentFile ? NativeNames::display(*running->progress.currentFile)
                                                           : QString());
        applyButton()->setEnabled(false);
        cancelButton()->setText(QStringLiteral("Cancel"));
        return;
    }
    applyButton()->setText(QStringLiteral("Done"));
    applyButton()->setEnabled(true);
    cancelButton()->hide();
    if (const auto *finished = std::get_if<ProjectOrganizerSession::done>(&phase)) {
        pages->setCurrentIndex(donePage);
        subtitle()->setText(QStringLiteral("Organized into %1").arg(Paths::displayPath(finished->result.containerURL)));
        counts->setText(ProjectOrganizerSession::countsLine(finished->result));
        QStringList lines;
        for (const ProjectOrganizerSession::FailedItem &item : finished->result.failedItems)
            lines.append(QStringLiteral("%1: %2").arg(fileName(item.source), item.reason));
        failures->setText(lines.join(QLatin1Char('\n')));
        failures->setVisible(!lines.isEmpty());
        return;
    }
    pages->setCurrentIndex(failedPage);
    subtitle()->setText(QStringLiteral("Nothing was organized."));
    failure->setText(std::get<ProjectOrganizerSession::failed>(phase).message);
}
