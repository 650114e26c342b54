#include "ui/sheets/CommentTemplateSheetView.h"

#include "ui/widgets/Symbols.h"
#include "ui/widgets/Typography.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

QLabel *section(const QString &title, QWidget *parent)
{
    return Typography::heading(title, parent, 1.05);
}

} // namespace

CommentTemplateSheetView::CommentTemplateSheetView(CommentTemplatePickerSheet &model, QWidget *parent)
    : SheetDialog(QStringLiteral("Apply Comment Template"), parent), sheet(&model), rows(new QWidget(this)),
      rowsLayout(new QVBoxLayout(rows)), newTemplate(new QPushButton(Symbols::icon(QStringLiteral("plus.app.fill")),
                                                                     QStringLiteral("New template"), this)),
      form(new QWidget(this)), newName(new QLineEdit(form)), newBody(new QPlainTextEdit(form)),
      body(new QPlainTextEdit(this)), replace(new QRadioButton(QStringLiteral("Replace"), this)),
      append(new QRadioButton(QStringLiteral("Append"), this)), explanation(new QLabel(this))
{
    setMinimumSize(520, 560);
    content()->addWidget(section(QStringLiteral("Saved templates"), this));
    rows->setObjectName(QStringLiteral("templateRows"));
    rowsLayout->setContentsMargins(0, 0, 0, 0);
    auto *scroll = new QScrollArea(this);
    scroll->setWidget(rows);
    scroll->setWidgetResizable(true);
    scroll->setMinimumHeight(120);
    content()->addWidget(scroll, 1);

    newTemplate->setObjectName(QStringLiteral("newTemplateButton"));
    auto *newRow = new QHBoxLayout;
    newRow->addWidget(newTemplate);
    newRow->addStretch(1);
    content()->addLayout(newRow);

    auto *formLayout = new QVBoxLayout(form);
    formLayout->setContentsMargins(0, 0, 0, 0);
    newName->setObjectName(QStringLiteral("newTemplateName"));
    newName->setPlaceholderText(QStringLiteral("Name"));
    newBody->setObjectName(QStringLiteral("newTemplateBody"));
    newBody->setPlaceholderText(QStringLiteral("Comment text"));
    newBody->setMaximumHeight(70);
    formLayout->addWidget(newName);
    formLayout->addWidget(newBody);
    auto *formButtons = new QHBoxLayout;
    auto *cancelNew = new QPushButton(QStringLiteral("Cancel"), form);
    cancelNew->setObjectName(QStringLiteral("cancelTemplateButton"));
    auto *saveNew = new QPushButton(QStringLiteral("Save template"), form);
    saveNew->setObjectName(QStringLiteral("saveTemplateButton"));
    saveButton = saveNew;
    formButtons->addStretch(1);
    formButtons->addWidget(cancelNew);
    formButtons->addWidget(saveNew);
    formLayout->addLayout(formButtons);
    content()->addWidget(form);

    content()->addWidget(section(QStringLiteral("Comment to apply"), this));
    body->setObjectName(QStringLiteral("customBody"));
    body->setMinimumHeight(90);
    content()->addWidget(body, 1);

    content()->addWidget(section(QStringLiteral("Mode"), this));
    replace->setObjectName(QStringLiteral("replaceMode"));
    append->setObjectName(QStringLiteral("appendMode"));
    auto *modes = new QButtonGroup(this);
    modes->addButton(replace);
    modes->addButton(append);
    auto *modeRow = new QHBoxLayout;
    modeRow->addWidget(replace);
    modeRow->addWidget(append);
    modeRow->addStretch(1);
    content()->addLayout(modeRow);
    explanation->setObjectName(QStringLiteral("modeExplanation"));
    explanation->setWordWrap(true);
    content()->addWidget(explanation);

    connect(newTemplate, &QPushButton::clicked, this, [this] {
        sheet->setAddingTemplate(true);
        newName->setFocus();
    });
    connect(newName, &QLineEdit::textEdited, sheet, &CommentTemplatePickerSheet::setNewTemplateName);
    connect(newBody, &QPlainTextEdit::textChanged, this, [this] { sheet->setNewTemplateBody(newBody->toPlainText()); });
    connect(saveNew, &QPushButton::clicked, sheet, &CommentTemplatePickerSheet::saveNewTemplate);
    connect(cancelNew, &QPushButton::clicked, sheet, &CommentTemplatePickerSheet::cancelNewTemplate);
    connect(body, &QPlainTextEdit::textChanged, this, [this] { sheet->setCustomBody(body->toPlainText()); });
    connect(replace, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            sheet->setMode(FinderMetadata::ApplyMode::replace);
    });
    connect(append, &QRadioButton::toggled, this, [this](bool on) {
        if (on)
            sheet->setMode(FinderMetadata::ApplyMode::append);
    });
    connect(applyButton(), &QPushButton::clicked, sheet, &CommentTemplatePickerSheet::apply);
    connect(sheet, &CommentTemplatePickerSheet::changed, this, &CommentTemplateSheetView::refresh);
    refresh();
}

void CommentTemplateSheetView::cancelSheet()
{
    if (sheet)
        sheet->cancel();
}

void CommentTemplateSheetView::rebuildRows()
{
    while (QLayoutItem *item = rowsLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const CommentTemplate &commentTemplate : sheet->templates()) {
        auto *row = new QWidget(rows);
        auto *layout = new QHBoxLayout(row);
        layout->setContentsMargins(4, 2, 4, 2);
        auto *tick = new QCheckBox(commentTemplate.name, row);
        tick->setObjectName(QStringLiteral("tick"));
        tick->setProperty("templateID", commentTemplate.id);
        tick->setToolTip(commentTemplate.body);
        tick->setChecked(sheet->selectedTemplateIDs().contains(commentTemplate.id));
        auto *preview = new QLabel(commentTemplate.body.section(QLatin1Char('\n'), 0, 0), row);
        preview->setEnabled(false);
        auto *remove = new QToolButton(row);
        remove->setObjectName(QStringLiteral("deleteTemplate"));
        remove->setIcon(Symbols::icon(QStringLiteral("xmark")));
        remove->setToolTip(QStringLiteral("Delete %1").arg(commentTemplate.name));
        layout->addWidget(tick);
        layout->addWidget(preview, 1);
        layout->addWidget(remove);
        rowsLayout->addWidget(row);
        const QUuid id = commentTemplate.id;
        connect(tick, &QCheckBox::toggled, this, [this, id](bool on) { sheet->setTicked(id, on); });
        connect(remove, &QToolButton::clicked, this, [this, id] { sheet->deleteTemplate(id); });
    }
    rowsLayout->addStretch(1);
}

void CommentTemplateSheetView::refresh()
{
    subtitle()->setText(sheet->subtitle());
    if (sheet->templates() != shownTemplates) {
        shownTemplates = sheet->templates();
        // Rebuilt once the current signal has returned: a row's own delete
        // button may be what brought us here.
        QMetaObject::invokeMethod(this, &CommentTemplateSheetView::rebuildRows, Qt::QueuedConnection);
    } else {
        for (QCheckBox *tick : rows->findChildren<QCheckBox *>()) {
            const QSignalBlocker blocker(tick);
            tick->setChecked(sheet->selectedTemplateIDs().contains(tick->property("templateID").toUuid()));
        }
    }
    form->setVisible(sheet->addingTemplate());
    // Return saves the draft while the form is open, and only then applies.
    saveButton->setDefault(sheet->addingTemplate());
    applyButton()->setDefault(!sheet->addingTemplate());
    newTemplate->setEnabled(!sheet->addingTemplate());
    if (newName->text() != sheet->newTemplateName())
        newName->setText(sheet->newTemplateName());
    if (newBody->toPlainText() != sheet->newTemplateBody())
        newBody->setPlainText(sheet->newTemplateBody());
    if (body->toPlainText() != sheet->customBody())
        body->setPlainText(sheet->customBody());
    const bool replacing = sheet->mode() == FinderMetadata::ApplyMode::replace;
    replace->setChecked(replacing);
    append->setChecked(!replacing);
    explanation->setText(sheet->modeExplanation());
    applyButton()->setText(sheet->applyLabel());
}
