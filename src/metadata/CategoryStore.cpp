#include "metadata/CategoryStore.h"

#include "app/diagnostics/DiagnosticLog.h"
#include "metadata/StoreFile.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"

#include <QCollator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>

CategoryStore::CategoryStore(QString where, QObject *parent)
    : QObject(parent), folder(where.isEmpty() ? Paths::applicationSupport() : std::move(where))
{
    if (loadLibrary())
        return;
    if (!migrateOlderList())
        library = Category::seed();
    save();
}

QString CategoryStore::filePath() const
{
    return folder + QStringLiteral("/categories.json");
}

bool CategoryStore::loadLibrary()
{
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    file.close();
    QList<Category> loaded;
    bool decoded = document.isArray();
    for (const auto &value : document.array()) {
        const auto category = Category::fromJson(value);
        decoded = decoded && category.has_value();
        if (category)
            loaded.append(*category);
    }
    if (decoded) {
        library = loaded;
        return true;
    }
    // Kept for repair rather than overwritten by what replaces it.
    StoreFile::moveAside(filePath());
    return false;
}

bool CategoryStore::migrateOlderList()
{
    const PropertyList::ReadResult read = PropertyList::readFile(folder + QStringLiteral("/tags.plist"));
    if (!read.ok() || read.value.typeId() != QMetaType::QVariantMap)
        return false;
    const QVariantMap map = read.value.toMap();
    if (map.isEmpty())
        return false;
    QList<Category> migrated;
    QStringList names = map.keys();
    std::sort(names.begin(), names.end());
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QVariant tags = map.value(names[i]);
        if (tags.typeId() != QMetaType::QVariantList)
            return false;
        QStringList tagList;
        for (const QVariant &tag : tags.toList()) {
            if (tag.typeId() != QMetaType::QString)
                return false;
            tagList.append(tag.toString());
        }
        migrated.append(
            {QUuid::createUuid(), names[i], Category::paletteColor(i), tagList, Category::paletteSymbol(i)});
    }
    library = migrated;
    return true;
}

void CategoryStore::record(ActionReceipt::Kind kind, const QString &source, std::optional<QString> before,
                           std::optional<QString> after, std::optional<QString> error)
{
    if (diagnosticLog)
        diagnosticLog->record(kind, source, std::move(before), std::move(after), std::move(error));
}

void CategoryStore::change(const char *operation, const std::function<void()> &edit)
{
    const QString before = QStringLiteral("count=%1").arg(library.size());
    edit();
    record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.") + QLatin1String(operation), before,
           QStringLiteral("count=%1").arg(library.size()));
    emit categoriesChanged();
    save();
}

void CategoryStore::add(const Category &category)
{
    change("add", [&] { library.append(category); });
}

void CategoryStore::update(const Category &category)
{
    const auto found =
        std::find_if(library.begin(), library.end(), [&](const Category &c) { return c.id == category.id; });
    const QString before = QStringLiteral("id=%1").arg(category.id.toString(QUuid::WithoutBraces).toUpper());
    if (found == library.end()) {
        record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.update"), before,
               QStringLiteral("no-op (not found)"));
        return;
    }
    *found = category;
    record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.update"), before,
           QStringLiteral("idx=%1").arg(found - library.begin()));
    emit categoriesChanged();
    save();
}

void CategoryStore::remove(const QUuid &id)
{
    change("remove", [&] { library.removeIf([&](const Category &c) { return c.id == id; }); });
}

void CategoryStore::append(const QList<Category> &list)
{
    change("append", [&] { library.append(list); });
}

void CategoryStore::replaceAll(const QList<Category> &list)
{
    change("replaceAll", [&] { library = list; });
}

void CategoryStore::resetToSeeded()
{
    change("resetToSeeded", [&] { library = Category::seed(); });
}

QStringList CategoryStore::allTags() const
{
    QSet<QString> seen;
    QStringList tags;
    for (const Category &category : library) {
        for (const QString &tag : category.tags) {
            if (!seen.contains(tag)) {
                seen.insert(tag);
                tags.append(tag);
            }
        }
    }
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::sort(tags.begin(), tags.end(), [&](const QString &a, const QString &b) { return collator.compare(a, b) < 0; });
    return tags;
}

void CategoryStore::save()
{
    QJsonArray array;
    for (const Category &category : library)
        array.append(category.toJson());
    const QByteArray bytes = QJsonDocument(array).toJson(QJsonDocument::Compact);
    const std::optional<QString> error = StoreFile::write(folder, QStringLiteral("categories.json"), bytes);
    if (!error) {
        record(ActionReceipt::Kind::persist, QStringLiteral("categories.json"), std::nullopt,
               QStringLiteral("bytes=%1").arg(bytes.size()));
        return;
    }
    // The change stays in memory and reaches the disk with the next save that works.
    qWarning().noquote() << "CategoryStore: save failed:" << *error;
    record(ActionReceipt::Kind::errorSwallow, QStringLiteral("CategoryStore.save"), std::nullopt, std::nullopt, error);
}
