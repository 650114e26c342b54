#include "metadata/sheets/SingleTagSelectorSheet.h"

#include "foundation/Plural.h"
#include "metadata/CategoryStore.h"
#include "metadata/sheets/CommentWrites.h"

#include <QJsonArray>

SingleTagSelectorSheet::SingleTagSelectorSheet(SessionHost &host, CategoryStore &categoryStore,
                                               SingleTagSelectorContext context, QObject *parent)
    : Session(host, context.targets, parent), store(&categoryStore), sheetContext(std::move(context))
{
    connect(store, &CategoryStore::categoriesChanged, this, &SingleTagSelectorSheet::changed);
}

void SingleTagSelectorSheet::toggle(const QString &tag)
{
    if (!picked.remove(tag))
        picked.insert(tag);
    emit changed();
}

void SingleTagSelectorSheet::setSelected(const QSet<QString> &tags)
{
    picked = tags;
    emit changed();
}

void SingleTagSelectorSheet::setQuery(const QString &value)
{
    if (filter == value)
        return;
    filter = value;
    emit changed();
}

QStringList SingleTagSelectorSheet::visibleTags() const
{
    QStringList all = store->allTags();
    const QString needle = filter.trimmed().toLower();
    if (needle.isEmpty())
        return all;
    QStringList matches;
    for (const QString &tag : all) {
        if (tag.toLower().contains(needle))
            matches.append(tag);
    }
    return matches;
}

QString SingleTagSelectorSheet::subtitle() const
{
    const qsizetype available = store->allTags().size();
    return QStringLiteral("%1 selected · %2 available")
        .arg(counted(sheetContext.targets.size(), QStringLiteral("file")), counted(available, QStringLiteral("tag")));
}

QString SingleTagSelectorSheet::emptyText() const
{
    if (store->allTags().isEmpty())
        return QStringLiteral("No tags configured yet. Add categories first.");
    if (visibleTags().isEmpty())
        return QStringLiteral("No tags match \"%1\".").arg(filter);
    return {};
}

QString SingleTagSelectorSheet::footer() const
{
    return picked.isEmpty() ? QString() : QStringLiteral("%1 selected").arg(picked.size());
}

QString SingleTagSelectorSheet::applyLabel() const
{
    return QStringLiteral("Apply to %1").arg(counted(sheetContext.targets.size(), QStringLiteral("file")));
}

QStringList SingleTagSelectorSheet::orderedSelection() const
{
    QStringList ordered;
    QSet<QString> rest = picked;
    for (const QString &tag : store->allTags()) {
        if (rest.remove(tag))
            ordered.append(tag);
    }
    // A picked tag the library no longer has still goes, behind the others.
    QStringList leftover(rest.cbegin(), rest.cend());
    leftover.sort();
    return ordered + leftover;
}

void SingleTagSelectorSheet::apply()
{
    CommentWrites::applyTags(*host(), orderedSelection(), sheetContext.targets);
    emit applied();
    close();
}

QString SingleTagSelectorSheet::title() const
{
    return QStringLiteral("Single Tag Selector");
}

QList<Session::Field> SingleTagSelectorSheet::fields()
{
    const auto pick = [this](const QString &value) -> std::optional<QString> {
        const QStringList library = store->allTags();
        QSet<QString> tags;
        for (const QString &tag : listValue(value)) {
            if (!library.contains(tag))
                return QStringLiteral("No tag “%1” in the library.").arg(tag);
            tags.insert(tag);
        }
        setSelected(tags);
        return std::nullopt;
    };
    return {{QStringLiteral("selected"), QStringLiteral("TAG,…"), pick, true},
            {QStringLiteral("query"), QStringLiteral("TEXT"), [this](const QString &value) -> std::optional<QString> {
                 setQuery(value);
                 return std::nullopt;
             }}};
}

std::optional<QString> SingleTagSelectorSheet::perform()
{
    apply();
    return std::nullopt;
}

QJsonObject SingleTagSelectorSheet::toJson() const
{
    QJsonObject object = Session::toJson();
    object.insert(QStringLiteral("selected"), QJsonArray::fromStringList(orderedSelection()));
    return object;
}
