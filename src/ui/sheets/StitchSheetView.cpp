#include "ui/sheets/StitchSheetView.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "platform/Paths.h"
#include "transfer/stitch/StitchSession.h"
#include "ui/widgets/Typography.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
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

#include <algorithm>

namespace {

QLabel *wrapped(const char *name, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    return label;
}

} // namespace

StitchSheetView::StitchSheetView(StitchSession &stitch, Interaction &interaction, QWidget *parent)
    : SheetDialog(QStringLiteral("Stitch to PDF or Image"), parent), asker(&interaction), session(&stitch),
      pages(new QStackedWidget(this)), modes(new QButtonGroup(this)), layout(new QComboBox(this)),
      resolution(new QComboBox(this)), spacing(new QDoubleSpinBox(this)),
      white(new QCheckBox(QStringLiteral("White background"), this)), estimate(wrapped("estimateLabel", this)),
      note(wrapped("estimateNote", this)), name(new QLineEdit(this)), destination(wrapped("destinationLabel", this)),
      problem(wrapped("problemLabel", this)), step(wrapped("stepLabel", this)), bar(new QProgressBar(this)),
      doneText(wrapped("doneLabel", this))
{
    setMinimumWidth(540);
    auto *setup = new QWidget(pages);
    auto *setupLayout = new QVBoxLayout(setup);
    for (const auto mode : {StitchRunner::Mode::pdf, StitchRunner::Mode::image}) {
        auto *choice = new QRadioButton(StitchRunner::label(mode), setup);
        choice->setObjectName(StitchRunner::toString(mode) + QStringLiteral("Mode"));
        modes->addButton(choice, int(mode));
        setupLayout->addWidget(choice);
        auto *detail = new QLabel(StitchRunner::description(mode), setup);
        detail->setEnabled(false);
        detail->setContentsMargins(24, 0, 0, 4);
        setupLayout->addWidget(detail);
    }
    auto *form = new QFormLayout;
    for (const auto option :
         {StitchRunner::Layout::vertical, StitchRunner::Layout::horizontal, StitchRunner::Layout::grid})
        layout->addItem(StitchRunner::label(option), int(option));
    layout->setObjectName(QStringLiteral("layoutChoice"));
    for (const auto option : StitchSession::allResolutions())
        resolution->addItem(StitchSession::label(option), int(option));
    resolution->setObjectName(QStringLiteral("resolutionChoice"));
    spacing->setRange(0, 500);
    spacing->setSuffix(QStringLiteral(" px"));
    spacing->setObjectName(QStringLiteral("spacingField"));
    form->addRow(QStringLiteral("Layout"), layout);
    form->addRow(QStringLiteral("Size"), resolution);
    form->addRow(QStringLiteral("Spacing"), spacing);
    form->addRow(QString(), white);
    setupLayout->addLayout(form);
    setupLayout->addWidget(estimate);
    setupLayout->addWidget(note);
    auto *order = new QLabel(QStringLiteral("Combined in the order they were selected."), setup);
    order->setEnabled(false);
    setupLayout->addWidget(order);

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
    problem->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    setupLayout->addWidget(problem);
    setupLayout->addStretch(1);

    auto *progress = new QWidget(pages);
    auto *progressLayout = new QVBoxLayout(progress);
    progressLayout->addStretch(1);
    progressLayout->addWidget(step);
    progressLayout->addWidget(bar);
    progressLayout->addStretch(1);

    auto *finished = new QWidget(pages);
    auto *finishedLayout = new QVBoxLayout(finished);
    finishedLayout->addWidget(Typography::heading(QStringLiteral("Done"), finished, 1.2));
    finishedLayout->addWidget(doneText);
    finishedLayout->addStretch(1);

    pages->addWidget(setup);
    pages->addWidget(progress);
    pages->addWidget(finished);
    content()->addWidget(pages, 1);

    connect(modes, &QButtonGroup::idClicked, this, [this](int id) {
        if (session)
            session->setMode(StitchRunner::Mode(id));
    });
    connect(layout, &QComboBox::activated, this, [this] {
        if (session)
            session->setLayout(StitchRunner::Layout(layout->currentData().toInt()));
    });
    connect(resolution, &QComboBox::activated, this, [this] {
        if (session)
            session->setResolution(StitchSession::Resolution(resolution->currentData().toInt()));
    });
    connect(spacing, &QDoubleSpinBox::valueChanged, this, [this](double value) {
        if (session)
            session->setSpacing(value);
    });
    connect(white, &QCheckBox::toggled, this, [this](bool on) {
        if (session)
            session->setBackgroundIsWhite(on);
    });
    connect(name, &QLineEdit::textEdited, this, [this](const QString &text) {
        if (session)
            session->setOutputBaseName(text);
    });
    connect(choose, &QPushButton::clicked, this, &StitchSheetView::chooseDestination);
    connect(applyButton(), &QPushButton::clicked, this, [this] {
        if (!session)
            return;
        if (std::holds_alternative<StitchSession::done>(session->phase()))
            cancelSheet();
        else
            session->start();
    });
    connect(session, &StitchSession::changed, this, &StitchSheetView::refresh);
    connect(session, &StitchSession::phaseChanged, this, &StitchSheetView::refresh);
    refresh();
}

void StitchSheetView::chooseDestination()
{
    if (!session)
        return;
    PanelRequest panel;
    panel.title = QStringLiteral("Choose a destination folder");
    panel.prompt = QStringLiteral("Choose");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    panel.directory = session->destinationURL().value_or(QFileInfo(session->sources().value(0)).absolutePath());
    const QStringList chosen = asker->panel(panel);
    if (!chosen.isEmpty())
        session->setDestinationURL(chosen.first());
}

void StitchSheetView::reject()
{
    // While it runs, Cancel stops the run and the sheet stays to say so.
    if (session && std::holds_alternative<StitchSession::running>(session->phase())) {
        session->cancel();
        return;
    }
    SheetDialog::reject();
}

void StitchSheetView::cancelSheet()
{
    // Closing while it runs stops the run; the runner leaves nothing behind.
    if (session) {
        session->cancel();
        session->close();
    }
}

void StitchSheetView::refresh()
{
    if (!session)
        return;
    const auto &phase = session->phase();
    subtitle()->setText(QStringLiteral("%1 file%2 selected")
                            .arg(session->sources().size())
                            .arg(session->sources().size() == 1 ? "" : "s"));
    const bool imageMode = session->mode() == StitchRunner::Mode::image;
    modes->button(int(session->mode()))->setChecked(true);
    layout->setCurrentIndex(layout->findData(int(session->layout())));
    resolution->setCurrentIndex(resolution->findData(int(session->resolution())));
    for (QWidget *widget : {static_cast<QWidget *>(layout), static_cast<QWidget *>(resolution),
                            static_cast<QWidget *>(spacing), static_cast<QWidget *>(white)})
        widget->setEnabled(imageMode);
    if (spacing->value() != session->spacing())
        spacing->setValue(session->spacing());
    white->setChecked(session->backgroundIsWhite());
    estimate->setVisible(imageMode);
    note->setVisible(imageMode);
    estimate->setText(session->estimateText());
    note->setText(session->estimateNote());
    if (name->text() != session->outputBaseName())
        name->setText(session->outputBaseName());
    destination->setText(session->destinationURL() ? Paths::displayPath(*session->destinationURL())
                                                   : QStringLiteral("No folder chosen"));

    if (const auto *run = std::get_if<StitchSession::running>(&phase)) {
        pages->setCurrentIndex(1);
        step->setText(run->progress.currentStep);
        bar->setRange(0, std::max(1, run->progress.total));
        bar->setValue(run->progress.done);
        applyButton()->setText(QStringLiteral("Create"));
        applyButton()->setEnabled(false);
        cancelButton()->setText(QStringLiteral("Cancel"));
        return;
    }
    if (const auto *finished = std::get_if<StitchSession::done>(&phase)) {
        pages->setCurrentIndex(2);
        QStringList lines{Paths::displayPath(finished->result.outputURL), StitchSession::imagesLine(finished->result),
                          ByteCountFormatter::format(quint64(std::max<qint64>(0, finished->result.outputSizeBytes)))};
        if (const QString skipped = StitchSession::skippedLine(finished->result); !skipped.isEmpty())
            lines.append(skipped);
        doneText->setText(lines.join(QLatin1Char('\n')));
        applyButton()->setText(QStringLiteral("Done"));
        applyButton()->setEnabled(true);
        cancelButton()->hide();
        return;
    }
    pages->setCurrentIndex(0);
    const auto *failure = std::get_if<StitchSession::failed>(&phase);
    problem->setText(failure ? failure->message : QString());
    problem->setVisible(failure != nullptr);
    applyButton()->setText(QStringLiteral("Create"));
    applyButton()->setEnabled(!session->isTooLarge());
}
