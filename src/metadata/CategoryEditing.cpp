#include "metadata/CategoryEditing.h"

#include <QCollator>

std::optional<Category> CategoryEditing::newCategory(const QString &name, qsizetype librarySize)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return Category{
        QUuid::createUuid(), trimmed, Category::paletteColor(librarySize), {}, Category::paletteSymbol(librarySize)};
}

std::optional<Category> CategoryEditing::renamed(const Category &category, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    Category changed = category;
    changed.name = trimmed;
    return changed;
}

std::optional<Category> CategoryEditing::withTag(const Category &category, const QString &tag)
{
    const QString trimmed = tag.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    for (const QString &existing : category.tags) {
        if (collator.compare(existing, trimmed) == 0)
            return std::nullopt;
    }
    Category changed = category;
    changed.tags.append(trimmed);
    return changed;
}

Category CategoryEditing::withoutTag(const Category &category, qsizetype index)
{
    Category changed = category;
    if (index >= 0 && index < changed.tags.size())
        changed.tags.removeAt(index);
    return changed;
}

Category CategoryEditing::duplicate(const Category &category)
{
    Category copy = category;
    copy.id = QUuid::createUuid();
    copy.name += QStringLiteral(" Copy");
    return copy;
}
