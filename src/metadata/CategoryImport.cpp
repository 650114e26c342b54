#include "metadata/CategoryImport.h"

#include <QSet>

QString CategoryImport::countOf(qsizetype count)
{
    return QStringLiteral("%1 categor%2").arg(count).arg(count == 1 ? QStringLiteral("y") : QStringLiteral("ies"));
}

CategoryImport::Cleaned CategoryImport::clean(const QList<Category> &fromFile)
{
    Cleaned result;
    QSet<QUuid> ids;
    QSet<QString> names;
    for (const Category &category : fromFile) {
        const QString name = category.name.toLower();
        // An id seen first counts as seen, even when its category then goes for its name.
        const bool idSeen = ids.contains(category.id);
        ids.insert(category.id);
        if (idSeen || names.contains(name)) {
            ++result.dropped;
            continue;
        }
        names.insert(name);
        result.categories.append(category);
    }
    return result;
}

CategoryImport::Merge CategoryImport::merge(const QList<Category> &library, const QList<Category> &cleaned)
{
    QSet<QUuid> ids;
    QSet<QString> names;
    for (const Category &category : library) {
        ids.insert(category.id);
        names.insert(category.name.toLower());
    }
    Merge result;
    for (Category category : cleaned) {
        if (names.contains(category.name.toLower())) {
            ++result.skipped;
            continue;
        }
        if (ids.contains(category.id)) {
            category.id = QUuid::createUuid();
            ++result.rekeyed;
        }
        result.appended.append(category);
    }
    return result;
}

QString CategoryImport::replaceBanner(qsizetype count, qsizetype dropped)
{
    QString text = QStringLiteral("Replaced with ") + countOf(count);
    if (dropped > 0)
        text += QStringLiteral(" (%1 duplicate%2 in the file were dropped)")
                    .arg(dropped)
                    .arg(dropped == 1 ? QString() : QStringLiteral("s"));
    return text + QLatin1Char('.');
}

QString CategoryImport::replaceReceipt(qsizetype count, qsizetype previous, qsizetype dropped)
{
    return QStringLiteral("replaced count=%1 prev=%2 droppedInFile=%3").arg(count).arg(previous).arg(dropped);
}

QString CategoryImport::mergeBanner(const Merge &merge, qsizetype dropped)
{
    QStringList pieces{QStringLiteral("Merged ") + countOf(merge.appended.size())};
    if (merge.skipped > 0)
        pieces.append(QStringLiteral("%1 skipped (already exists)").arg(merge.skipped));
    if (merge.rekeyed > 0)
        pieces.append(QStringLiteral("%1 re-keyed (id collision)").arg(merge.rekeyed));
    if (dropped > 0)
        pieces.append(QStringLiteral("%1 duplicate-in-file dropped").arg(dropped));
    return pieces.join(QStringLiteral(", ")) + QLatin1Char('.');
}

QString CategoryImport::mergeReceipt(const Merge &merge, qsizetype dropped, qsizetype originalInFile)
{
    return QStringLiteral("merged appended=%1 skipped=%2 rekeyed=%3 droppedInFile=%4 originalInFile=%5")
        .arg(merge.appended.size())
        .arg(merge.skipped)
        .arg(merge.rekeyed)
        .arg(dropped)
        .arg(originalInFile);
}
