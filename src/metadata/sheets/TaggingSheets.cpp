#include "metadata/sheets/TaggingSheets.h"

#include "app/AppState.h"
#include "foundation/Plural.h"
#include "metadata/CategoryValidation.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace {

constexpr std::array<const char *, 6> draftColors{"#8B5CF6", "#38BDF8", "#A78BFA", "#34D399", "#F59E0B", "#60A5FA"};
constexpr std::array<const char *, 6> draftSymbols{"folder.fill",           "tag.fill",   "person.2.fill",
                                                   "checkmark.circle.fill", "photo.fill", "tray.full.fill"};
constexpr qsizetype previewLength = 5;

QStringList splitDraftTags(const QString &text)
{
    static const QRegularExpression separators(QStringLiteral("[,\\n]"));
    QStringList result;
    for (const QString &piece : text.split(separators, Qt::SkipEmptyParts)) {
        const QString trimmed = piece.trimmed();
        if (!trimmed.isEmpty())
            result.append(trimmed);
    }
    return result;
}

} // namespace

CategoryTaggingSheet::CategoryTaggingSheet(AppState &appState, CategoryTaggingContext context, QObject *parent)
    : QObject(parent), state(&appState), sheetContext(std::move(context))
{
    connect(&appState, &AppState::categoriesChanged, this, &CategoryTaggingSheet::changed);
}

const QList<Category> &CategoryTaggingSheet::categories() const
{
    static const QList<Category> none;
    return state ? state->categories() : none;
}

void CategoryTaggingSheet::setSelectedCategoryID(std::optional<QUuid> id)
{
    if (selectedID == id)
        return;
    selectedID = id;
    emit changed();
}

void CategoryTaggingSheet::setAddingCategory(bool value)
{
    if (adding == value)
        return;
    adding = value;
    emit changed();
}

void CategoryTaggingSheet::setDraftName(const QString &value)
{
    name = value;
}

void CategoryTaggingSheet::setDraftTags(const QString &value)
{
    tags = value;
}

std::optional<Category> CategoryTaggingSheet::selectedCategory() const
{
    if (!selectedID)
        return std::nullopt;
    const QList<Category> &list = categories();
    const auto found =
        std::find_if(list.cbegin(), list.cend(), [this](const Category &c) { return c.id == *selectedID; });
    if (found == list.cend())
        return std::nullopt;
    return *found;
}

QString CategoryTaggingSheet::subtitle() const
{
    return QStringLiteral("%1 selected · %2")
        .arg(counted(sheetContext.targets.size(), QStringLiteral("file")),
             counted(categories().size(), QStringLiteral("category"), QStringLiteral("categories")));
}

QString CategoryTaggingSheet::preview(const Category &category)
{
    if (category.tags.isEmpty())
        return QStringLiteral("No tags yet");
    QString text = category.tags.first(std::min(previewLength, category.tags.size())).join(QStringLiteral(", "));
    if (category.tags.size() > previewLength)
        text += QStringLiteral(", +%1 more").arg(category.tags.size() - previewLength);
    return text;
}

QString CategoryTaggingSheet::summary() const
{
    const auto category = selectedCategory();
    if (!category)
        return {};
    return QStringLiteral("Will apply %1 from %2 to %3.")
        .arg(counted(category->tags.size(), QStringLiteral("tag")), category->name,
             counted(sheetContext.targets.size(), QStringLiteral("file")));
}

QString CategoryTaggingSheet::applyLabel() const
{
    const auto category = selectedCategory();
    if (!category || category->tags.isEmpty())
        return QStringLiteral("Apply");
    return QStringLiteral("Apply %1 to %2")
        .arg(counted(category->tags.size(), QStringLiteral("tag")),
             counted(sheetContext.targets.size(), QStringLiteral("file")));
}

QString CategoryTaggingSheet::draftColor(qsizetype position)
{
    return QString::fromLatin1(draftColors[std::size_t(position % qsizetype(draftColors.size()))]);
}

QString CategoryTaggingSheet::draftSymbol(qsizetype position)
{
    return QString::fromLatin1(draftSymbols[std::size_t(position % qsizetype(draftSymbols.size()))]);
}

bool CategoryTaggingSheet::saveDraft()
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || !state)
        return false;
    const qsizetype position = categories().size();
    const Category category{QUuid::createUuid(), trimmed, draftColor(position), splitDraftTags(tags),
                            draftSymbol(position)};
    // The untrimmed name too: a control character at either end is refused, as on import.
    QString problem = CategoryValidation::checkName(name);
    if (problem.isEmpty())
        problem = CategoryValidation::check(category);
    refusal = problem;
    if (!problem.isEmpty()) {
        emit changed();
        return false;
    }
    if (const auto error = state->categoryStore().add(category)) {
        // The draft stays in the form, so nothing typed is lost; the banner says why it wasn't saved.
        state->showFailure(*error);
        return false;
    }
    selectedID = category.id;
    adding = false;
    name.clear();
    tags.clear();
    emit changed();
    return true;
}

void CategoryTaggingSheet::cancelDraft()
{
    adding = false;
    refusal.clear();
    name.clear();
    tags.clear();
    emit changed();
}

void CategoryTaggingSheet::apply()
{
    const auto category = selectedCategory();
    if (!category || !state)
        return;
    state->applyTags(category->tags, sheetContext.targets);
    state->setCategoryTaggingContext(std::nullopt);
}

void CategoryTaggingSheet::cancel()
{
    if (state)
        state->setCategoryTaggingContext(std::nullopt);
}

SingleTagSelectorSheet::SingleTagSelectorSheet(AppState &appState, SingleTagSelectorContext context, QObject *parent)
    : QObject(parent), state(&appState), sheetContext(std::move(context))
{
    connect(&appState, &AppState::categoriesChanged, this, &SingleTagSelectorSheet::changed);
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
    if (!state)
        return {};
    QStringList all = state->categoryStore().allTags();
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
    const qsizetype available = state ? state->categoryStore().allTags().size() : 0;
    return QStringLiteral("%1 selected · %2 available")
        .arg(counted(sheetContext.targets.size(), QStringLiteral("file")), counted(available, QStringLiteral("tag")));
}

QString SingleTagSelectorSheet::emptyText() const
{
    if (!state || state->categoryStore().allTags().isEmpty())
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
    if (state) {
        for (const QString &tag : state->categoryStore().allTags()) {
            if (rest.remove(tag))
                ordered.append(tag);
        }
    }
    // A picked tag the library no longer has still goes, behind the others.
    QStringList leftover(rest.cbegin(), rest.cend());
    leftover.sort();
    return ordered + leftover;
}

void SingleTagSelectorSheet::apply()
{
    if (!state)
        return;
    state->applyTags(orderedSelection(), sheetContext.targets);
    state->setSingleTagSelectorContext(std::nullopt);
}

void SingleTagSelectorSheet::cancel()
{
    if (state)
        state->setSingleTagSelectorContext(std::nullopt);
}
