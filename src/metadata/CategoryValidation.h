#pragma once

#include "metadata/Category.h"

#include <QString>

// The one set of rules a category meets to enter the library, whichever way it comes: the Categories
// screen's form, the tagging sheet's new category, an imported file or a pack. What the library holds
// can then always be exported and imported again. Each check gives the reason as the user reads it, or
// nothing when the input passes.
namespace CategoryValidation {

constexpr qsizetype maxNameLength = 80;
constexpr qsizetype maxTags = 200;
constexpr qsizetype maxTagLength = 80;
constexpr qsizetype maxSystemImageLength = 64;

// Characters as a reader sees them: "é" written as "e" and a combining accent is one, and so is a
// family emoji joined from several. Counted in grapheme clusters, not code points or UTF-16 units.
qsizetype characterCount(const QString &text);

// Control characters other than tab and line ends, and the bidirectional marks that can make a
// name read differently from what it holds.
bool holdsUnsupportedCharacters(const QString &text);

// A category's name, untrimmed as entered; the checks trim it first where the rules say so.
QString checkName(const QString &name);
// How many tags the category called `categoryName` may hold.
QString checkTagCount(const QString &categoryName, qsizetype count);
// One tag of the category called `categoryName`.
QString checkTag(const QString &categoryName, const QString &tag);
// Every field, in order: name, colour, symbol, the number of tags, then each tag.
QString check(const Category &category);

} // namespace CategoryValidation
