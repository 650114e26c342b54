#include "ui/pages/CategoriesPage.h"

#include "app/AppState.h"
#include "foundation/Interaction.h"
#include "metadata/CategoryEditing.h"
#include "ui/widgets/DiagTracked.h"
#include "ui/widgets/Symbols.h"
#include "ui/widgets/Typography.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

QPushButton *trackedButton(const QString &text, const QString &source, AppState &state, QWidget *parent)
{
    auto *button = new QPushButton(text, parent);
    button->setObjectName(source);
    DiagTracked::track(button, state.diagnosticLog(), source);
    return button;
}

std::optional<Category> selectedIn(const AppState &state)
{
    const auto id = state.categoryEditorSelection();
    for (const Category &category : state.categories()) {
        if (id && category.id == *id)
            return category;
    }
    return std::nullopt;
}

} // namespace

CategoriesPage::CategoriesPage(AppState &appState, QWidget *parent)
    : QWidget(parent), state(&appState), list(new QListWidget(this)), newForm(new QWidget(this)),
      newName(new QLineEdit(newForm)), editor(new QStackedWidget(this)), nameEdit(new QLineEdit(this)),
      tagEdit(new QLineEdit(this)), tags(new QListWidget(this)),
      noTags(new QLabel(QStringLiteral("No tags yet. Click Add Tag to start."), this))
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(Typography::heading(QStringLiteral("Categories"), this));

    auto *libraryButtons = new QHBoxLayout;
    auto *add =
        trackedButton(QStringLiteral("New Category"), QStringLiteral("CategoriesView.addButton"), appState, this);
    auto *import =
        trackedButton(QStringLiteral("Import…"), QStringLiteral("CategoriesView.importButton"), appState, this);
    auto *exportButton =
        trackedButton(QStringLiteral("Export…"), QStringLiteral("CategoriesView.exportButton"), appState, this);
    auto *reset = trackedButton(QStringLiteral("Reset…"), QStringLiteral("CategoriesView.resetButton"), appState, this);
    for (QPushButton *button : {add, import, exportButton, reset})
        libraryButtons->addWidget(button);
    libraryButtons->addStretch(1);
    layout->addLayout(libraryButtons);

    auto *newLayout = new QHBoxLayout(newForm);
    newLayout->setContentsMargins(0, 0, 0, 0);
    newName->setPlaceholderText(QStringLiteral("Category name"));
    auto *confirmNew = new QPushButton(QStringLiteral("Add"), newForm);
    confirmNew->setObjectName(QStringLiteral("confirmNewCategory"));
    auto *cancelNew = new QPushButton(QStringLiteral("Cancel"), newForm);
    newLayout->addWidget(newName, 1);
    newLayout->addWidget(cancelNew);
    newLayout->addWidget(confirmNew);
    newForm->hide();
    layout->addWidget(newForm);

    // The editor: an empty state, or the selected category.
    auto *empty = new QWidget(editor);
    auto *emptyLayout = new QVBoxLayout(empty);
    emptyLayout->addStretch(1);
    emptyLayout->addWidget(Typography::heading(QStringLiteral("No category selected"), empty, 1.2), 0, Qt::AlignCenter);
    emptyLayout->addWidget(new QLabel(QStringLiteral("Pick a category on the left to edit, or add a new one."), empty),
                           0, Qt::AlignCenter);
    emptyLayout->addStretch(1);
    auto *details = new QWidget(editor);
    auto *detailsLayout = new QVBoxLayout(details);
    auto *nameRow = new QHBoxLayout;
    nameRow->addWidget(nameEdit, 1);
    auto *rename =
        trackedButton(QStringLiteral("Rename"), QStringLiteral("CategoryEditor.renameButton"), appState, details);
    nameRow->addWidget(rename);
    detailsLayout->addLayout(nameRow);
    auto *tagRow = new QHBoxLayout;
    tagEdit->setPlaceholderText(QStringLiteral("New tag"));
    tagRow->addWidget(tagEdit, 1);
    auto *addTagButton =
        trackedButton(QStringLiteral("Add Tag"), QStringLiteral("CategoryEditor.addTagButton"), appState, details);
    tagRow->addWidget(addTagButton);
    detailsLayout->addLayout(tagRow);
    detailsLayout->addWidget(noTags);
    detailsLayout->addWidget(tags, 1);
    auto *actions = new QHBoxLayout;
    auto *duplicate =
        trackedButton(QStringLiteral("Duplicate"), QStringLiteral("CategoryEditor.duplicateButton"), appState, details);
    auto *remove =
        trackedButton(QStringLiteral("Delete…"), QStringLiteral("CategoryEditor.deleteButton"), appState, details);
    actions->addWidget(duplicate);
    actions->addStretch(1);
    actions->addWidget(remove);
    detailsLayout->addLayout(actions);
    editor->addWidget(empty);
    editor->addWidget(details);

    auto *body = new QHBoxLayout;
    body->addWidget(list, 1);
    body->addWidget(editor, 2);
    layout->addLayout(body, 1);

    connect(add, &QPushButton::clicked, this, [this] {
        newForm->show();
        newName->setFocus();
    });
    connect(cancelNew, &QPushButton::clicked, this, [this] {
        newName->clear();
        newForm->hide();
    });
    connect(confirmNew, &QPushButton::clicked, this, &CategoriesPage::addCategory);
    connect(newName, &QLineEdit::returnPressed, this, &CategoriesPage::addCategory);
    connect(import, &QPushButton::clicked, this, [this] {
        if (state)
            state->importCategoriesFromDisk();
    });
    connect(exportButton, &QPushButton::clicked, this, [this] {
        if (state)
            state->exportCategoriesToDisk();
    });
    connect(reset, &QPushButton::clicked, this, &CategoriesPage::resetLibrary);
    connect(rename, &QPushButton::clicked, this, &CategoriesPage::renameSelected);
    connect(addTagButton, &QPushButton::clicked, this, &CategoriesPage::addTag);
    connect(tagEdit, &QLineEdit::returnPressed, this, &CategoriesPage::addTag);
    connect(duplicate, &QPushButton::clicked, this, &CategoriesPage::duplicateSelected);
    connect(remove, &QPushButton::clicked, this, &CategoriesPage::deleteSelected);
    connect(list, &QListWidget::currentRowChanged, this, [this](int row) {
        if (state && row >= 0 && row < state->categories().size())
            state->setCategoryEditorSelection(state->categories()[row].id);
    });
    connect(&appState, &AppState::categoriesChanged, this, &CategoriesPage::refreshList);
    connect(&appState, &AppState::categoryEditorSelectionChanged, this, &CategoriesPage::refreshEditor);
    refreshList();
}

QPushButton *CategoriesPage::button(const QString &objectName) const
{
    return findChild<QPushButton *>(objectName);
}

void CategoriesPage::refreshList()
{
    if (!state)
        return;
    const QSignalBlocker blocker(list);
    list->clear();
    for (const Category &category : state->categories()) {
        auto *item =
            new QListWidgetItem(Symbols::tinted(category.systemImage, QColor(category.colorHex)), category.name, list);
        item->setToolTip(category.tags.join(QStringLiteral(", ")));
    }
    refreshEditor();
}

void CategoriesPage::refreshEditor()
{
    const auto category = state ? selectedIn(*state) : std::nullopt;
    editor->setCurrentIndex(category ? 1 : 0);
    if (!category) {
        list->setCurrentRow(-1);
        return;
    }
    for (int row = 0; row < state->categories().size(); ++row) {
        if (state->categories()[row].id == category->id && list->currentRow() != row) {
            const QSignalBlocker blocker(list);
            list->setCurrentRow(row);
        }
    }
    nameEdit->setText(category->name);
    tags->clear();
    noTags->setVisible(category->tags.isEmpty());
    tags->setVisible(!category->tags.isEmpty());
    for (int index = 0; index < category->tags.size(); ++index) {
        auto *item = new QListWidgetItem(tags);
        auto *chip = new QWidget(tags);
        auto *chipLayout = new QHBoxLayout(chip);
        chipLayout->setContentsMargins(6, 2, 6, 2);
        chipLayout->addWidget(new QLabel(category->tags[index], chip), 1);
        auto *removeChip = new QToolButton(chip);
        removeChip->setObjectName(QStringLiteral("removeTagChip"));
        removeChip->setIcon(Symbols::icon(QStringLiteral("xmark")));
        removeChip->setToolTip(QStringLiteral("Remove %1").arg(category->tags[index]));
        removeChip->setAutoRaise(true);
        chipLayout->addWidget(removeChip);
        connect(removeChip, &QToolButton::clicked, this, [this, index] { removeTag(index); });
        item->setSizeHint(chip->sizeHint());
        tags->setItemWidget(item, chip);
    }
}

void CategoriesPage::addCategory()
{
    if (!state)
        return;
    const auto edit = CategoryEditing::newCategory(newName->text(), state->categories().size());
    if (!accepted(edit))
        return;
    // A name the disk wouldn't take stays in the form, to try again once there is room.
    if (!saved(state->categoryStore().add(*edit.category)))
        return;
    newName->clear();
    newForm->hide();
    state->setCategoryEditorSelection(edit.category->id);
}

bool CategoriesPage::saved(const std::optional<QString> &error)
{
    // A change the disk refused is not made; the banner says why.
    if (error && state)
        state->showFailure(*error);
    return !error;
}

void CategoriesPage::renameSelected()
{
    if (const auto category = state ? selectedIn(*state) : std::nullopt) {
        if (const auto edit = CategoryEditing::renamed(*category, nameEdit->text()); accepted(edit))
            saved(state->categoryStore().update(*edit.category));
    }
}

void CategoriesPage::addTag()
{
    if (const auto category = state ? selectedIn(*state) : std::nullopt) {
        // The tag stays in its field when the disk refused it.
        if (const auto edit = CategoryEditing::withTag(*category, tagEdit->text());
            accepted(edit) && saved(state->categoryStore().update(*edit.category)))
            tagEdit->clear();
    }
}

bool CategoriesPage::accepted(const CategoryEditing::Edit &edit)
{
    // A refused edit leaves the field as typed, so the user can shorten or correct it.
    if (!edit.refusal.isEmpty() && state)
        state->showFailure(edit.refusal);
    return edit.category.has_value();
}

void CategoriesPage::removeTag(int index)
{
    if (const auto category = state ? selectedIn(*state) : std::nullopt) {
        state->diagnosticLog().record(ActionReceipt::Kind::ui, QStringLiteral("CategoryEditor.removeTagChip"));
        saved(state->categoryStore().update(CategoryEditing::withoutTag(*category, index)));
    }
}

void CategoriesPage::duplicateSelected()
{
    if (const auto category = state ? selectedIn(*state) : std::nullopt) {
        if (const auto edit = CategoryEditing::duplicate(*category); accepted(edit))
            saved(state->categoryStore().add(*edit.category));
    }
}

void CategoriesPage::deleteSelected()
{
    const auto category = state ? selectedIn(*state) : std::nullopt;
    if (!category)
        return;
    const qsizetype n = category->tags.size();
    const AlertRequest confirm{QStringLiteral("Delete %1?").arg(category->name),
                               QStringLiteral("Removes the category and its %1 tag%2. Tags already applied to files "
                                              "in Finder are not affected.")
                                   .arg(n)
                                   .arg(n == 1 ? QString() : QStringLiteral("s")),
                               {QStringLiteral("Delete"), QStringLiteral("Cancel")}};
    if (state->interaction().alert(confirm) == 0)
        saved(state->categoryStore().remove(category->id));
}

void CategoriesPage::resetLibrary()
{
    if (!state)
        return;
    const AlertRequest confirm{
        QStringLiteral("Reset to defaults?"),
        QStringLiteral("Replaces your categories with the Vantrel defaults. Custom categories will be lost."),
        {QStringLiteral("Reset"), QStringLiteral("Cancel")}};
    if (state->interaction().alert(confirm) == 0)
        saved(state->categoryStore().resetToSeeded());
}
