#pragma once

#include "metadata/Category.h"

#include <optional>

// The editor's changes to one category; nothing when the input changes nothing.
namespace CategoryEditing {

// A new category takes the palette entry at the library's current size.
std::optional<Category> newCategory(const QString &name, qsizetype librarySize);
std::optional<Category> renamed(const Category &category, const QString &name);
// Refuses an empty tag and one equal to an existing tag, compared without case.
std::optional<Category> withTag(const Category &category, const QString &tag);
Category withoutTag(const Category &category, qsizetype index);
Category duplicate(const Category &category);

} // namespace CategoryEditing
