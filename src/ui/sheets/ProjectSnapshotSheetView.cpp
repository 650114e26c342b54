#include "ui/sheets/ProjectSnapshotSheetView.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "platform/Paths.h"
#include "ui/widgets/Typography.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

} // namespace

ProjectSnapshotSheetView::ProjectSnapshotSheetView(ProjectSnapshotSession &snapshot, Interaction &interaction,
                                                   QWidget *parent)
    : SheetDialog(QStringLiteral("Project Snapshot"), parent), asker(&interaction), session(&snapshot),
      pages(new QStackedWidget(this)), detected(wrapped("detectedLabel", this)), fileCount(wrapped("filesLabel", this)),
      sourceSize(wrapped("sourceSizeLabel", this)), excluded(wrapped("excludedRootsLabel", this)),
      formats(new QButtonGroup(this)), name(new QLineEdit(this)),
      gitHistory(new QCheckBox(QStringLiteral("Include git history"), this)),
      destination(wrapped("destinationLabel", this)), warning(wrapped("warningLabel", this)),
      problem(wrapped("problemLabel", this)), step(wrapped("stepLabel", this)), written(wrapped("writtenLabel", this)),
      bar(new QProgressBar(this)), summary(wrapped("summaryLabel", this))
{
    setMinimumWidth(540);
    auto *setup = new QWidget(pages);
    auto *setupLayout = new QVBoxLayout(setup);
    setupLayout->addWidget(detected);
    auto *facts = new QFormLayout;
    facts->addRow(QStringLiteral("files"), fileCount);
    facts->addRow(QStringLiteral("source size"), sourceSize);
    facts->addRow(QStringLiteral("excluded roots"), excluded);
    setupLayout->addLayout(facts);
    gitHistory->setObjectName(QStringLiteral("gitHistoryToggle"));
    setupLayout->addWidget(gitHistory);
    auto *formatRow = new QHBoxLayout;
    for (const auto format : {ArchiveFormat::zip, ArchiveFormat::tarGz}) {
        auto *choice = new QRadioButton(displayName(format), setup);
        choice->setObjectName(toString(format) + QStringLiteral("Format"));
        formats->addButton(choice, int(format));
        formatRow->addWidget(choice);
    }
    formatRow->addStretch(1);
    setupLayout->addLayout(formatRow);
    auto *output = new QFormLayout;
    name->setObjectName(QStringLiteral("nameField"));
    auto *destinationRow = new QHBoxLayout;
    destinationRow->addWidget(destination, 1);
    auto *choose = new QPushButton(QStringLiteral("Choose…"), setup);
    choose->setObjectName(QStringLiteral("chooseDestination"));
    destinationRow->addWidget(choose);
    output->addRow(QStringLiteral("Name"), name);
    output->addRow(QStringLiteral("Save to"), destinationRow);
    setupLayout->addLayout(output);
    warning->setStyleSheet(QStringLiteral("color: #B45309;"));
    setupLayout->addWidget(warning);
    problem->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    setupLayout->addWidget(problem);
    setupLayout->addStretch(1);

    auto *progress = new QWidget(pages);
    auto *progressLayout = new QVBoxLayout(progress);
    progressLayout->addStretch(1);
    progressLayout->addWidget(step);
    bar->setRange(0, 0); // the tools say nothing of how far they are
    progressLayout->addWidget(bar);
    progressLayout->addWidget(written);
    progressLayout->addStretch(1);

    auto *finished = new QWidget(pages);
    auto *finishedLayout = new QVBoxLayout(finished);
    finishedLayout->addWidget(Typography::heading(QStringLiteral("Snapshot created"), finished, 1.2));
    finishedLayout->addWidget(summary);
    finishedLayout->addStretch(1);

    pages->addWidget(setup);
    pages->addWidget(progress);
    pages->addWidget(finished);
    content()->addWidget(pages, 1);

    connect(formats, &QButtonGroup::idClicked, this, [this](int id) {
        if (session)
            session->setFormat(ArchiveFormat(id));
    });
    connect(name, &QLineEdit::textEdited, this, [this](const QString &text) {
        if (session)
            session->setArchiveBaseName(text);
    });
    connect(gitHistory, &QCheckBox::toggled, this, [this](bool on) {
        if (session)
            session->setIncludeGitHistory(on);
    });
    connect(choose, &QPushButton::clicked, this, &ProjectSnapshotSheetView::chooseDestination);
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        if (std::holds_alternative<ProjectSnapshotSession::done>(session->phase()))
            session->close();
        else
            session->start();
    });
    connect(session, &ProjectSnapshotSession::changed, this, &ProjectSnapshotSheetView::refresh);
    connect(session, &ProjectSnapshotSession::phaseChanged, this, &ProjectSnapshotSheetView::refresh);
    refresh();
}

void ProjectSnapshotSheetView::chooseDestination()
{
    if (!session)
        return;
    PanelRequest panel;
    panel.title = QStringLiteral("Where should the snapshot go?");
    panel.message = QStringLiteral("Pick a folder on another drive for the snapshot of %1.")
                        .arg(QFileInfo(session->projectRoot()).fileName());
    panel.prompt = QStringLiteral("Use Folder");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    panel.canCreateDirectories = true;
    panel.directory = session->destinationURL().value_or(QFileInfo(session->projectRoot()).absolutePath());
    const QStringList chosen = asker->panel(panel);
    if (!chosen.isEmpty())
        session->setDestination(chosen.first());
}

void ProjectSnapshotSheetView::reject()
{
    // While it runs, Cancel stops the run and the sheet stays to say so.
    if (session && std::holds_alternative<ProjectSnapshotSession::running>(session->phase())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void ProjectSnapshotSheetView::cancelSheet()
{
    // Closing while it runs stops the run; the runner leaves nothing behind.
    if (session) {
        if (std::holds_alternative<ProjectSnapshotSession::running>(session->phase()))
            session->cancel();
        session->close();
    }
}

void ProjectSnapshotSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    subtitle()->setText(Paths::displayPath(session->projectRoot()));
    if (session->detected().isEmpty()) {
        detected->setText(ProjectSnapshotSession::plainFolderNote());
    } else {
        QStringList kinds;
        for (const ProjectStructure &structure : session->detected())
            kinds.append(ProjectKinds::toString(structure.kind));
        detected->setText(QStringLiteral("Detected: %1").arg(kinds.join(QStringLiteral(", "))));
    }
    const bool measuring = session->isMeasuring();
    fileCount->setText(measuring ? QStringLiteral("measuring…") : QString::number(session->estimatedFileCount()));
    sourceSize->setText(measuring ? QStringLiteral("measuring…")
                                  : ByteCountFormatter::format(session->estimatedSourceBytes()));
    QStringList roots;
    for (const QString &root : session->excludedRoots())
        roots.append(QFileInfo(root).fileName());
    excluded->setText(roots.join(QStringLiteral(", ")));
    gitHistory->setChecked(session->includeGitHistory());
    formats->button(int(session->format()))->setChecked(true);
    if (name->text() != session->archiveBaseName())
        name->setText(session->archiveBaseName());
    destination->setText(session->destinationURL() ? Paths::displayPath(*session->destinationURL())
                                                   : QStringLiteral("No folder chosen"));
    const auto &issue = session->destinationWarning();
    warning->setText(issue ? ProjectSnapshotSession::text(*issue) : QString());
    warning->setVisible(issue.has_value());

    if (const auto *run = std::get_if<ProjectSnapshotSession::running>(&phase)) {
        pages->setCurrentIndex(1);
        step->setText(run->progress.currentStep);
        written->setText(
            QStringLiteral("%1 written").arg(ByteCountFormatter::format(quint64(run->progress.bytesWritten))));
        applyButton()->setText(QStringLiteral("Create snapshot"));
        applyButton()->setEnabled(false);
        return;
    }
    if (const auto *finished = std::get_if<ProjectSnapshotSession::done>(&phase)) {
        pages->setCurrentIndex(2);
        summary->setText(Paths::displayPath(finished->result.items.value(0).url) + QLatin1Char('\n') +
                         finished->result.summary);
        applyButton()->setText(QStringLiteral("Done"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
        return;
    }
    pages->setCurrentIndex(0);
    const auto *failure = std::get_if<ProjectSnapshotSession::failed>(&phase);
    const std::optional<QString> message = failure ? std::optional<QString>(failure->message) : session->refusal();
    problem->setText(message.value_or(QString()));
    problem->setVisible(message.has_value());
    applyButton()->setText(QStringLiteral("Create snapshot"));
    applyButton()->setEnabled(session->canStart());
}
