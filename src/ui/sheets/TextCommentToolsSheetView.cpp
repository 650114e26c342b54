#include "ui/sheets/TextCommentToolsSheetView.h"

#include "ui/widgets/Symbols.h"
#include "ui/widgets/Typography.h"

#include <QButtonGroup>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

QLabel *named(QLabel *label, const char *name)
{
    label->setObjectName(QString::fromLatin1(name));
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

TextCommentToolsSheetView::TextCommentToolsSheetView(TextCommentToolsSheet &model, QWidget *parent)
    : SheetDialog(QStringLiteral("Text & Comment Tools"), parent), sheet(&model), actions(new QListWidget(this)),
      help(named(new QLabel(this), "helpLabel")), primaryLabel(new QLabel(this)), primary(new QLineEdit(this)),
      replacementLabel(new QLabel(this)), replacement(new QLineEdit(this)), separatorRow(new QWidget(this)),
      separatorChoices(new QButtonGroup(this)), separatorNote(named(new QLabel(this), "separatorNote")),
      warning(named(new QLabel(this), "warningLabel")), problem(named(new QLabel(this), "problemLabel")),
      preview(new QWidget(this)), before(named(new QLabel(preview), "beforeLabel")),
      after(named(new QLabel(preview), "afterLabel"))
{
    setMinimumSize(620, 480);
    actions->setObjectName(QStringLiteral("actionList"));
    actions->setIconSize(QSize(18, 18));
    for (const auto kind : TextCommentToolsSheet::allActionKinds()) {
        auto *item = new QListWidgetItem(Symbols::icon(TextCommentToolsSheet::systemImage(kind)),
                                         TextCommentToolsSheet::toString(kind), actions);
        item->setData(Qt::UserRole, int(kind));
    }
    actions->setFixedWidth(240);

    auto *form = new QWidget(this);
    auto *formLayout = new QVBoxLayout(form);
    formLayout->setContentsMargins(0, 0, 0, 0);
    formLayout->addWidget(help);
    auto *fields = new QFormLayout;
    primary->setObjectName(QStringLiteral("primaryField"));
    replacement->setObjectName(QStringLiteral("replacementField"));
    fields->addRow(primaryLabel, primary);
    fields->addRow(replacementLabel, replacement);
    formLayout->addLayout(fields);

    auto *separatorLayout = new QHBoxLayout(separatorRow);
    separatorLayout->setContentsMargins(0, 0, 0, 0);
    separatorLayout->addWidget(new QLabel(QStringLiteral("Separator"), separatorRow));
    const auto &choices = TextCommentToolsSheet::separators();
    for (int i = 0; i < choices.size(); ++i) {
        auto *choice = new QRadioButton(choices[i].label, separatorRow);
        choice->setObjectName(QStringLiteral("separator%1").arg(i));
        separatorChoices->addButton(choice, i);
        separatorLayout->addWidget(choice);
    }
    separatorLayout->addStretch(1);
    formLayout->addWidget(separatorRow);
    formLayout->addWidget(separatorNote);
    warning->setStyleSheet(QStringLiteral("color: #B45309;"));
    formLayout->addWidget(warning);
    problem->setStyleSheet(QStringLiteral("color: #B91C1C;"));
    formLayout->addWidget(problem);

    auto *previewLayout = new QFormLayout(preview);
    previewLayout->setContentsMargins(0, 8, 0, 0);
    previewLayout->addRow(Typography::heading(QStringLiteral("Preview (first file)"), preview, 1.05));
    previewLayout->addRow(QStringLiteral("Before"), before);
    previewLayout->addRow(QStringLiteral("After"), after);
    formLayout->addWidget(preview);
    formLayout->addStretch(1);

    auto *columns = new QHBoxLayout;
    columns->addWidget(actions);
    columns->addWidget(form, 1);
    content()->addLayout(columns, 1);

    connect(actions, &QListWidget::itemSelectionChanged, this, [this] {
        const auto items = actions->selectedItems();
        if (!items.isEmpty())
            sheet->setAction(TextCommentToolsSheet::ActionKind(items.first()->data(Qt::UserRole).toInt()));
    });
    connect(primary, &QLineEdit::textChanged, sheet, &TextCommentToolsSheet::setPrimary);
    connect(replacement, &QLineEdit::textChanged, sheet, &TextCommentToolsSheet::setReplacement);
    connect(separatorChoices, &QButtonGroup::idClicked, this,
            [this](int id) { sheet->setSeparator(TextCommentToolsSheet::separators().value(id).value); });
    connect(applyButton(), &QPushButton::clicked, sheet, &TextCommentToolsSheet::apply);
    connect(sheet, &TextCommentToolsSheet::changed, this, &TextCommentToolsSheetView::refresh);
    refresh();
    primary->setFocus();
}

void TextCommentToolsSheetView::cancelSheet()
{
    if (sheet)
        sheet->cancel();
}

void TextCommentToolsSheetView::refresh()
{
    subtitle()->setText(sheet->subtitle());
    const auto kind = sheet->action();
    for (int row = 0; row < actions->count(); ++row)
        actions->item(row)->setSelected(actions->item(row)->data(Qt::UserRole).toInt() == int(kind));
    help->setText(TextCommentToolsSheet::help(kind));

    const bool hasPrimary = kind != TextCommentToolsSheet::ActionKind::clearComment;
    const auto field = sheet->primaryField();
    primaryLabel->setText(field.label);
    primary->setPlaceholderText(field.placeholder);
    primaryLabel->setVisible(hasPrimary);
    primary->setVisible(hasPrimary);
    const auto second = sheet->replacementField();
    replacementLabel->setVisible(second.has_value());
    replacement->setVisible(second.has_value());
    if (second) {
        replacementLabel->setText(second->label);
        replacement->setPlaceholderText(second->placeholder);
    }

    separatorRow->setVisible(sheet->showsSeparators());
    const auto &choices = TextCommentToolsSheet::separators();
    for (int i = 0; i < choices.size(); ++i) {
        if (choices[i].value == sheet->separator())
            separatorChoices->button(i)->setChecked(true);
    }
    separatorNote->setText(sheet->separatorNote());
    separatorNote->setVisible(!sheet->separatorNote().isEmpty());
    warning->setText(sheet->warning());
    warning->setVisible(!sheet->warning().isEmpty());
    const auto refusal = sheet->problem();
    problem->setText(refusal.value_or(QString()));
    problem->setVisible(refusal.has_value());

    const auto previewBefore = sheet->previewBefore();
    preview->setVisible(previewBefore.has_value());
    before->setText(previewBefore.value_or(QString()));
    after->setText(sheet->previewAfter().value_or(QString()));
    applyButton()->setText(sheet->applyLabel());
    applyButton()->setEnabled(sheet->canApply());
}
