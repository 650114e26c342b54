#include "ui/sheets/CategoryTaggingSheetView.h"

#include "ui/widgets/Symbols.h"
#include "ui/widgets/Typography.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

QWidget *emptyState(QWidget *parent)
{
    auto *page = new QWidget(parent);
    auto *layout = new QVBoxLayout(page);
    layout->addStretch(1);
    layout->addWidget(Typography::heading(QStringLiteral("No categories yet"), page, 1.1), 0, Qt::AlignCenter);
    layout->addWidget(new QLabel(QStringLiteral("Create your first category above to start tagging."), page), 0,
                      Qt::AlignCenter);
    layout->addStretch(1);
    return page;
}

} // namespace

CategoryTaggingSheetView::CategoryTaggingSheetView(CategoryTaggingSheet &model, QWidget *parent)
    : SheetDialog(QStringLiteral("Choose a category"), parent), sheet(&model),
      newCategory(
          new QPushButton(Symbols::icon(QStringLiteral("plus.app.fill")), QStringLiteral("New category"), this)),
      form(new QWidget(this)), draftName(new QLineEdit(form)), draftTags(new QLineEdit(form)),
      draftRefusal(new QLabel(form)), listOrEmpty(new QStackedWidget(this)), list(new QListWidget(listOrEmpty)),
      summary(new QLabel(this))
{
    setMinimumHeight(460);
    newCategory->setObjectName(QStringLiteral("newCategoryButton"));
    auto *top = new QHBoxLayout;
    top->addWidget(newCategory);
    top->addStretch(1);
    content()->addLayout(top);

    auto *formLayout = new QVBoxLayout(form);
    formLayout->setContentsMargins(0, 0, 0, 0);
    draftName->setObjectName(QStringLiteral("draftName"));
    draftName->setPlaceholderText(QStringLiteral("Category name"));
    draftTags->setObjectName(QStringLiteral("draftTags"));
    draftTags->setPlaceholderText(QStringLiteral("Tags, comma-separated"));
    formLayout->addWidget(draftName);
    formLayout->addWidget(draftTags);
    // Why the draft can't be saved, beside the fields the user corrects.
    draftRefusal->setObjectName(QStringLiteral("draftRefusal"));
    draftRefusal->setWordWrap(true);
    draftRefusal->setStyleSheet(QStringLiteral("color: #8A1C1F;"));
    formLayout->addWidget(draftRefusal);
    auto *formButtons = new QHBoxLayout;
    auto *cancelDraft = new QPushButton(QStringLiteral("Cancel"), form);
    cancelDraft->setObjectName(QStringLiteral("cancelCategoryButton"));
    auto *saveDraft = new QPushButton(QStringLiteral("Save category"), form);
    saveDraft->setObjectName(QStringLiteral("saveCategoryButton"));
    saveButton = saveDraft;
    formButtons->addStretch(1);
    formButtons->addWidget(cancelDraft);
    formButtons->addWidget(saveDraft);
    formLayout->addLayout(formButtons);
    content()->addWidget(form);

    list->setObjectName(QStringLiteral("categoryList"));
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setIconSize(QSize(20, 20));
    listOrEmpty->addWidget(list);
    listOrEmpty->addWidget(emptyState(listOrEmpty));
    content()->addWidget(listOrEmpty, 1);
    summary->setObjectName(QStringLiteral("summaryLabel"));
    summary->setWordWrap(true);
    content()->addWidget(summary);

    connect(newCategory, &QPushButton::clicked, this, [this] {
        sheet->setAddingCategory(true);
        draftName->setFocus();
    });
    connect(draftName, &QLineEdit::textEdited, sheet, &CategoryTaggingSheet::setDraftName);
    connect(draftTags, &QLineEdit::textEdited, sheet, &CategoryTaggingSheet::setDraftTags);
    connect(saveDraft, &QPushButton::clicked, sheet, &CategoryTaggingSheet::saveDraft);
    connect(cancelDraft, &QPushButton::clicked, sheet, &CategoryTaggingSheet::cancelDraft);
    // Selection, not the current row: the list makes its first row current when
    // it takes the focus, and that isn't a choice.
    connect(list, &QListWidget::itemSelectionChanged, this, [this] {
        const QList<QListWidgetItem *> items = list->selectedItems();
        if (!items.isEmpty())
            sheet->setSelectedCategoryID(items.first()->data(Qt::UserRole).toUuid());
    });
    connect(applyButton(), &QPushButton::clicked, sheet, &CategoryTaggingSheet::apply);
    connect(sheet, &CategoryTaggingSheet::changed, this, &CategoryTaggingSheetView::refresh);
    refresh();
}

void CategoryTaggingSheetView::cancelSheet()
{
    if (sheet)
        sheet->cancel();
}

void CategoryTaggingSheetView::refresh()
{
    subtitle()->setText(sheet->subtitle());
    form->setVisible(sheet->addingCategory());
    // Return saves the draft while the form is open, and only then applies.
    saveButton->setDefault(sheet->addingCategory());
    applyButton()->setDefault(!sheet->addingCategory());
    newCategory->setEnabled(!sheet->addingCategory());
    if (draftName->text() != sheet->draftName())
        draftName->setText(sheet->draftName());
    if (draftTags->text() != sheet->draftTags())
        draftTags->setText(sheet->draftTags());
    draftRefusal->setText(sheet->draftRefusal());
    draftRefusal->setVisible(!sheet->draftRefusal().isEmpty());

    const QSignalBlocker blocker(list);
    const QList<Category> &categories = sheet->categories();
    bool same = list->count() == categories.size();
    for (int row = 0; same && row < list->count(); ++row)
        same = list->item(row)->data(Qt::UserRole + 1).value<Category>() == categories[row];
    // Rebuilt only when the library changed, so choosing a row keeps the list where it was.
    if (!same) {
        list->clear();
        for (const Category &category : categories) {
            auto *item =
                new QListWidgetItem(Symbols::tinted(category.systemImage, QColor(category.colorHex)),
                                    category.name + QLatin1Char('\n') + CategoryTaggingSheet::preview(category), list);
            item->setData(Qt::UserRole, category.id);
            item->setData(Qt::UserRole + 1, QVariant::fromValue(category));
            item->setToolTip(category.tags.join(QStringLiteral(", ")));
        }
    }
    const auto selected = sheet->selectedCategory();
    for (int row = 0; row < list->count(); ++row) {
        QListWidgetItem *item = list->item(row);
        const bool chosen = selected && item->data(Qt::UserRole).toUuid() == selected->id;
        item->setSelected(chosen);
        if (chosen)
            list->scrollToItem(item);
    }
    listOrEmpty->setCurrentIndex(sheet->categories().isEmpty() ? 1 : 0);

    summary->setText(sheet->summary());
    summary->setVisible(!sheet->summary().isEmpty());
    applyButton()->setText(sheet->applyLabel());
    applyButton()->setEnabled(selected.has_value());
}
