#pragma once

#include "metadata/Category.h"

// The editor's changes to one category, each checked by the library's rules (CategoryValidation) so
// that nothing enters that an export couldn't carry back in.
namespace CategoryEditing {

// What an edit comes to: the changed category; or nothing, when the input changes nothing (an empty
// name, a tag the category already has); or the reason it is refused, for the user to read.
struct Edit {
    std::optional<Category> category;
    QString refusal;
    bool operator==(const Edit &) const = default;
};

// A new category takes the palette entry at the library's current size.
Edit newCategory(const QString &name, qsizetype librarySize);
Edit renamed(const Category &category, const QString &name);
// An empty tag and one equal to an existing tag, compared without case, change nothing.
Edit withTag(const Category &category, const QString &tag);
Category withoutTag(const Category &category, qsizetype index);
// The copy's name gains " Copy", which may take it past the longest name allowed.
Edit duplicate(const Category &category);

} // namespace CategoryEditing
