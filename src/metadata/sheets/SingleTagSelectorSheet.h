#pragma once

#include "foundation/Session.h"
#include "metadata/sheets/SheetContexts.h"

#include <QSet>

class CategoryStore;

// What the Single Tag Selector sheet shows and does: pick tags one by one from
// every tag in the library.
class SingleTagSelectorSheet : public Session {
    Q_OBJECT
public:
    SingleTagSelectorSheet(SessionHost &host, CategoryStore &store, SingleTagSelectorContext context,
                           QObject *parent = nullptr);

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

    QString title() const override;
    // selected (TAG,…), query.
    QList<Field> fields() override;
    std::optional<QString> perform() override;
    QJsonObject toJson() const override;

signals:
    // The tags were written: whichever tagging sheet is open closes.
    void applied();

private:
    CategoryStore *store;
    SingleTagSelectorContext sheetContext;
    QSet<QString> picked;
    QString filter;
};
