#pragma once

#include "metadata/Category.h"

#include <QList>
#include <QString>

// What an accepted export file does to the library, Merge or Replace, and the
// words that report it.
namespace CategoryImport {

// "1 category", "3 categories".
QString countOf(qsizetype count);

// The file's own list without repeats: a category goes when its id or its
// lower-cased name was seen earlier in the file.
struct Cleaned {
    QList<Category> categories;
    qsizetype dropped = 0;
};
Cleaned clean(const QList<Category> &fromFile);

// Merge keeps the library and adds what it doesn't have by name; an imported
// id the library already uses gets a new one.
struct Merge {
    QList<Category> appended;
    qsizetype skipped = 0;
    qsizetype rekeyed = 0;
};
Merge merge(const QList<Category> &library, const QList<Category> &cleaned);

QString replaceBanner(qsizetype count, qsizetype dropped);
QString replaceReceipt(qsizetype count, qsizetype previous, qsizetype dropped);
QString mergeBanner(const Merge &merge, qsizetype dropped);
QString mergeReceipt(const Merge &merge, qsizetype dropped, qsizetype originalInFile);

} // namespace CategoryImport
