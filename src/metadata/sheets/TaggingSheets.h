#pragma once

#include "metadata/Category.h"
#include "metadata/sheets/SheetContexts.h"

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUuid>

#include <optional>

class AppState;

// What the Category Tagging sheet shows and does: pick one category and write
// all its tags, or make a new category on the spot.
class CategoryTaggingSheet : public QObject {
    Q_OBJECT
public:
    CategoryTaggingSheet(AppState &state, CategoryTaggingContext context, QObject *parent = nullptr);

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
    void cancel();

signals:
    void changed();

private:
    QPointer<AppState> state;
    CategoryTaggingContext sheetContext;
    std::optional<QUuid> selectedID;
    bool adding = false;
    QString name;
    QString tags;
    QString refusal;
};

// What the Single Tag Selector sheet shows and does: pick tags one by one from
// every tag in the library.
class SingleTagSelectorSheet : public QObject {
    Q_OBJECT
public:
    SingleTagSelectorSheet(AppState &state, SingleTagSelectorContext context, QObject *parent = nullptr);

    const SingleTagSelectorContext &context() const { return sheetContext; }
    const QSet<QString> &selected() const { return picked; }
    void toggle(const QString &tag);
    void setSelected(const QSet<QString> &tags);
    QString query() const { return filter; }
    void setQuery(const QString &value);

    // Every tag of the library, narrowed by the query.
    QStringList visibleTags() const;
    // "2 files selected · 14 tags available"
    QString subtitle() const;
    // The list's empty text, or nothing when it shows tags.
    QString emptyText() const;
    // "2 selected", empty while nothing is picked.
    QString footer() const;
    QString applyLabel() const;
    // The picked tags in the library's order.
    QStringList orderedSelection() const;

    // Writes the picked tags and closes; with nothing picked it only closes.
    void apply();
    void cancel();

signals:
    void changed();

private:
    QPointer<AppState> state;
    SingleTagSelectorContext sheetContext;
    QSet<QString> picked;
    QString filter;
};
