#include "metadata/CategoryEditing.h"

#include "metadata/CategoryValidation.h"

#include <QCollator>

namespace {

CategoryEditing::Edit refused(const QString &reason)
{
    return {std::nullopt, reason};
}

CategoryEditing::Edit changedTo(const Category &category)
{
    return {category, {}};
}

} // namespace

CategoryEditing::Edit CategoryEditing::newCategory(const QString &name, qsizetype librarySize)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return {};
    if (const QString problem = CategoryValidation::checkName(name); !problem.isEmpty())
        return refused(problem);
    return changedTo(Category{
        QUuid::createUuid(), trimmed, Category::paletteColor(librarySize), {}, Category::paletteSymbol(librarySize)});
}

CategoryEditing::Edit CategoryEditing::renamed(const Category &category, const QString &name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty())
        return {};
    if (const QString problem = CategoryValidation::checkName(name); !problem.isEmpty())
        return refused(problem);
    Category changed = category;
    changed.name = trimmed;
    return changedTo(changed);
}

CategoryEditing::Edit CategoryEditing::withTag(const Category &category, const QString &tag)
{
    const QString trimmed = tag.trimmed();
    if (trimmed.isEmpty())
        return {};
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    for (const QString &existing : category.tags) {
        if (collator.compare(existing, trimmed) == 0)
            return {};
    }
    if (const QString problem = CategoryValidation::checkTagCount(category.name, category.tags.size() + 1);
        !problem.isEmpty())
        return refused(problem);
    if (const QString problem = CategoryValidation::checkTag(category.name, tag); !problem.isEmpty())
        return refused(problem);
    Category changed = category;
    changed.tags.append(trimmed);
    return changedTo(changed);
}

Category CategoryEditing::withoutTag(const Category &category, qsizetype index)
{
    Category changed = category;
    if (index >= 0 && index < changed.tags.size())
        changed.tags.removeAt(index);
    return changed;
}

CategoryEditing::Edit CategoryEditing::duplicate(const Category &category)
{
    Category copy = category;
    copy.id = QUuid::createUuid();
    copy.name += QStringLiteral(" Copy");
    if (const QString problem = CategoryValidation::checkName(copy.name); !problem.isEmpty())
        return refused(problem);
    return changedTo(copy);
}
