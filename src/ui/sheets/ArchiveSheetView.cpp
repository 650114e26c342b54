#include "ui/sheets/ArchiveSheetView.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "platform/Paths.h"
#include "ui/widgets/Reveal.h"
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
#include <QTimer>
#include <QVBoxLayout>

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

QLabel *note(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setEnabled(false);
    label->setContentsMargins(24, 0, 0, 4);
    return label;
}

QString bytes(qint64 count)
{
    return ByteCountFormatter::format(quint64(std::max<qint64>(0, count)));
}

QString files(int n)
{
    return QStringLiteral("%1 file%2").arg(n).arg(n == 1 ? "" : "s");
}

// "0:07", "12:30", "1:02:03".
QString duration(qint64 seconds)
{
    const qint64 hours = seconds / 3600;
    const qint64 minutes = (seconds % 3600) / 60;
    const QString rest = QStringLiteral("%1").arg(seconds % 60, 2, 10, QLatin1Char('0'));
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(rest);
    return QStringLiteral("%1:%2").arg(minutes).arg(rest);
}

bool isRefusal(const QString &message)
{
    return message == QLatin1String("Pick a destination folder before starting.") ||
           message == QLatin1String("Give the archive a name before starting.");
}

} // namespace

ArchiveSheetView::ArchiveSheetView(ArchiveSession &archive, Interaction &interaction, QWidget *parent)
    : SheetDialog(QStringLiteral("Archive Handler"), parent), asker(&interaction), session(&archive),
      pages(new QStackedWidget(this)), formats(new QButtonGroup(this)), name(new QLineEdit(this)),
      destination(wrapped("destinationLabel", this)), estimate(wrapped("estimateLabel", this)),
      failedHeading(wrapped("failedHeading", this)), problem(wrapped("problemLabel", this)),
      step(wrapped("stepLabel", this)), elapsed(wrapped("elapsedLabel", this)), written(wrapped("writtenLabel", this)),
      bar(new QProgressBar(this)), summary(wrapped("summaryLabel", this)),
      comment(new QCheckBox(QStringLiteral("Add a Finder Comment to the archive"), this)),
      commentTemplate(new QLineEdit(this)), trash(new QCheckBox(QStringLiteral("Move original files to Trash"), this)),
      applyAndFinder(new QPushButton(QStringLiteral("Apply && Finder"), this)),
      showInFinder(new QPushButton(QStringLiteral("Show in Finder"), this)), ticker(new QTimer(this))
{
    setMinimumWidth(540);
    auto *setup = new QWidget(pages);
    auto *setupLayout = new QVBoxLayout(setup);
    for (const auto format : {ArchiveFormat::zip, ArchiveFormat::tarGz}) {
        auto *choice = new QRadioButton(displayName(format), setup);
        choice->setObjectName(toString(format) + QStringLiteral("Format"));
        formats->addButton(choice, int(format));
        setupLayout->addWidget(choice);
        setupLayout->addWidget(note(description(format), setup));
    }
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
    setupLayout->addWidget(estimate);
    auto *estimateNote = new QLabel(ArchiveSession::estimateNote(), setup);
    estimateNote->setWordWrap(true);
    estimateNote->setEnabled(false);
    setupLayout->addWidget(estimateNote);
    failedHeading->setText(QStringLiteral("Archive failed"));
    failedHeading->setStyleSheet(QStringLiteral("color: #B91C1C; font-weight: bold;"));
    setupLayout->addWidget(failedHeading);
    problem->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    setupLayout->addWidget(problem);
    setupLayout->addStretch(1);

    auto *progress = new QWidget(pages);
    auto *progressLayout = new QVBoxLayout(progress);
    progressLayout->addStretch(1);
    progressLayout->addWidget(step);
    bar->setRange(0, 0); // the tools say nothing of how far they are
    progressLayout->addWidget(bar);
    progressLayout->addWidget(elapsed);
    progressLayout->addWidget(written);
    progressLayout->addStretch(1);

    auto *finished = new QWidget(pages);
    auto *finishedLayout = new QVBoxLayout(finished);
    finishedLayout->addWidget(Typography::heading(QStringLiteral("Archive created"), finished, 1.2));
    finishedLayout->addWidget(summary);
    finishedLayout->addWidget(Typography::heading(QStringLiteral("Post-archive"), finished, 1.0));
    comment->setObjectName(QStringLiteral("commentToggle"));
    finishedLayout->addWidget(comment);
    finishedLayout->addWidget(note(QStringLiteral("Stamps the archive with a comment so it's searchable in Spotlight. "
                                                  "Edit the template below to write something memorable."),
                                   finished));
    commentTemplate->setObjectName(QStringLiteral("commentTemplateField"));
    finishedLayout->addWidget(commentTemplate);
    trash->setObjectName(QStringLiteral("trashToggle"));
    finishedLayout->addWidget(trash);
    finishedLayout->addWidget(note(QStringLiteral("Sources stay in place unless you tick this. The archive contains a "
                                                  "full copy regardless."),
                                   finished));
    finishedLayout->addStretch(1);

    pages->addWidget(setup);
    pages->addWidget(progress);
    pages->addWidget(finished);
    content()->addWidget(pages, 1);
    // A button's label reads "&&" as "&": one alone would mark the next letter as its shortcut.
    applyAndFinder->setObjectName(QStringLiteral("applyAndFinder"));
    showInFinder->setObjectName(QStringLiteral("showInFinder"));
    footer()->addWidget(showInFinder);
    footer()->addWidget(applyAndFinder);

    connect(formats, &QButtonGroup::idClicked, this, [this](int id) {
        if (session)
            session->setFormat(ArchiveFormat(id));
    });
    connect(name, &QLineEdit::textEdited, this, [this](const QString &text) {
        if (session)
            session->setArchiveBaseName(text);
    });
    connect(choose, &QPushButton::clicked, this, &ArchiveSheetView::chooseDestination);
    connect(comment, &QCheckBox::toggled, this, [this](bool on) {
        if (session)
            session->setAnnotateArchiveComment(on);
    });
    connect(trash, &QCheckBox::toggled, this, [this](bool on) {
        if (session)
            session->setDeleteOriginalsAfter(on);
    });
    connect(commentTemplate, &QLineEdit::textEdited, this, [this](const QString &text) {
        if (session)
            session->setCommentTemplate(text);
    });
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        if (std::holds_alternative<ArchiveSession::done>(session->phase()))
            finish(true, false);
        else
            session->start();
    });
    connect(applyAndFinder, &QPushButton::clicked, this, [this] { finish(true, true); });
    connect(showInFinder, &QPushButton::clicked, this, [this] { finish(false, true); });
    // Elapsed time moves on its own while the tool works.
    ticker->setInterval(1000);
    connect(ticker, &QTimer::timeout, this, &ArchiveSheetView::refresh);
    connect(session, &ArchiveSession::changed, this, &ArchiveSheetView::refresh);
    connect(session, &ArchiveSession::phaseChanged, this, &ArchiveSheetView::refresh);
    refresh();
}

void ArchiveSheetView::chooseDestination()
{
    if (!session)
        return;
    PanelRequest panel;
    panel.title = QStringLiteral("Where should the archive go?");
    panel.message = QStringLiteral("Pick a folder for the new %1 archive.").arg(displayName(session->format()));
    panel.prompt = QStringLiteral("Use Folder");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    panel.canCreateDirectories = true;
    panel.directory = session->destinationURL().value_or(QFileInfo(session->sources().value(0)).absolutePath());
    const QStringList chosen = asker->panel(panel);
    if (!chosen.isEmpty())
        session->setDestinationURL(chosen.first());
}

void ArchiveSheetView::finish(bool applyToggles, bool reveal)
{
    if (!session)
        return;
    const auto *finished = std::get_if<ArchiveSession::done>(&session->phase());
    if (!finished)
        return;
    const QString archive = finished->result.archiveURL;
    if (applyToggles)
        session->apply();
    if (reveal)
        Reveal::showItems({archive});
    session->close();
}

void ArchiveSheetView::reject()
{
    // While it runs, Cancel stops the run and the sheet stays to say so.
    if (session && std::holds_alternative<ArchiveSession::running>(session->phase())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void ArchiveSheetView::cancelSheet()
{
    // Closing while it runs stops the run; the runner leaves nothing behind.
    if (session) {
        session->cancel();
        session->close();
    }
}

void ArchiveSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    const int count = session->totals().fileCount;
    subtitle()->setText(QStringLiteral("%1 item%2 selected · %3")
                            .arg(session->sources().size())
                            .arg(session->sources().size() == 1 ? "" : "s")
                            .arg(files(count)));
    formats->button(int(session->format()))->setChecked(true);
    if (name->text() != session->archiveBaseName())
        name->setText(session->archiveBaseName());
    destination->setText(session->destinationURL() ? Paths::displayPath(*session->destinationURL())
                                                   : QStringLiteral("No folder chosen"));
    estimate->setText(session->estimateText());
    const bool isDone = std::holds_alternative<ArchiveSession::done>(phase);
    applyAndFinder->setVisible(isDone);
    showInFinder->setVisible(isDone);

    if (const auto *run = std::get_if<ArchiveSession::running>(&phase)) {
        if (!ticker->isActive())
            ticker->start();
        pages->setCurrentIndex(1);
        step->setText(run->progress.currentStep);
        elapsed->setText(
            QStringLiteral("Elapsed %1").arg(duration(run->progress.startedAt.secsTo(QDateTime::currentDateTime()))));
        written->setText(QStringLiteral("%1 written").arg(bytes(run->progress.bytesWritten)));
        applyButton()->setText(QStringLiteral("Create archive"));
        applyButton()->setEnabled(false);
        cancelButton()->setText(QStringLiteral("Cancel"));
        return;
    }
    ticker->stop();
    if (const auto *finished = std::get_if<ArchiveSession::done>(&phase)) {
        pages->setCurrentIndex(2);
        const ArchiveRunner::Result &result = finished->result;
        summary->setText(QStringList{Paths::displayPath(result.archiveURL),
                                     QStringLiteral("Source files: %1").arg(result.sourceFileCount),
                                     QStringLiteral("Source size: %1").arg(bytes(result.sourceTotalSizeBytes)),
                                     QStringLiteral("Archive size: %1").arg(bytes(result.archiveSizeBytes)),
                                     QStringLiteral("Saved: %1").arg(ArchiveSession::ratioText(result))}
                             .join(QLatin1Char('\n')));
        comment->setChecked(session->annotateArchiveComment());
        trash->setChecked(session->deleteOriginalsAfter());
        if (commentTemplate->text() != session->commentTemplate())
            commentTemplate->setText(session->commentTemplate());
        commentTemplate->setEnabled(session->annotateArchiveComment());
        applyButton()->setText(QStringLiteral("Apply && close"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
        return;
    }
    pages->setCurrentIndex(0);
    const auto *failure = std::get_if<ArchiveSession::failed>(&phase);
    problem->setText(failure ? failure->message : QString());
    problem->setVisible(failure != nullptr);
    failedHeading->setVisible(failure && !isRefusal(failure->message));
    applyButton()->setText(QStringLiteral("Create archive"));
    applyButton()->setEnabled(session->canStart());
}
