#pragma once

#include "foundation/Session.h"
#include "metadata/Category.h"
#include "metadata/sheets/SheetContexts.h"

#include <QUuid>

#include <optional>

class CategoryStore;

// What the Category Tagging sheet shows and does: pick one category and write
// all its tags, or make a new category on the spot.
class CategoryTaggingSheet : public Session {
    Q_OBJECT
public:
    CategoryTaggingSheet(SessionHost &host, CategoryStore &store, CategoryTaggingContext context,
                         QObject *parent = nullptr);

    const CategoryTaggingContext &context() const { return sheetContext; }
    const QList<Category> &categories() const;

    std::optional<QUuid> selectedCategoryID() const { return selectedID; }
    void setSelectedCategoryID(std::optional<QUuid> id);
    bool addingCategory() const { return adding; }
    void setAddingCategory(bool value);
    QString draftName() const { return name; }
    void setDraftName(const QString &value);
    QString draftTags() const { return tags; }
    void setDraftTags(const QString &value);

    // The chosen category as the store has it now; a stale id is no choice.
    std::optional<Category> selectedCategory() const;
    // "3 files selected · 4 categories"
    QString subtitle() const;
    // The row's preview of a category's tags.
    static QString preview(const Category &category);
    // "Will apply 3 tags from Projects to 2 files.", empty without a choice.
    QString summary() const;
    QString applyLabel() const;

    // The inline form's own look for a new category: six pairs, by the number of
    // categories modulo 6.
    static QString draftColor(qsizetype position);
    static QString draftSymbol(qsizetype position);
    // "Save category": adds the draft and selects it. False when the name is empty, or when the
    // library's rules refuse the draft; `draftRefusal()` then says why and the draft stays.
    bool saveDraft();
    QString draftRefusal() const { return refusal; }
    void cancelDraft();

    // Writes the chosen category's tags and closes; without a choice does nothing.
    void apply();

    QString title() const override;
    // selectedCategoryID (an id or a name), draftName, draftTags.
    QList<Field> fields() override;
    // A draft with a name is saved first, as the inline form saves it, and becomes the choice.
    std::optional<QString> perform() override;
    QJsonObject toJson() const override;

signals:
    // The tags were written: whichever tagging sheet is open closes.
    void applied();

private:
    CategoryStore *store;
    CategoryTaggingContext sheetContext;
    std::optional<QUuid> selectedID;
    bool adding = false;
    QString name;
    QString tags;
    QString refusal;
};
