#include "metadata/CategoryStore.h"

#include "foundation/diagnostics/DiagnosticLog.h"
#include "metadata/CategoryValidation.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"

#include <QCollator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>

CategoryStore::CategoryStore(QString where, QObject *parent)
    : QObject(parent), folder(where.isEmpty() ? Paths::applicationSupport() : std::move(where)),
      file(new StoreFile(
          folder, QStringLiteral("categories.json"), [this](const QByteArray &bytes) { return decodeLibrary(bytes); },
          this))
{
    connect(file, &StoreFile::changedElsewhere, this, &CategoryStore::categoriesChanged);
    const auto error = file->loadOrStart(
        [this] {
            if (!migrateOlderList())
                library = Category::seed();
        },
        [this] { return encode(); });
    if (error)
        qWarning().noquote() << "CategoryStore: save failed:" << *error;
}

QString CategoryStore::filePath() const
{
    return file->path();
}

void CategoryStore::watch()
{
    file->watch();
}

bool CategoryStore::decodeLibrary(const QByteArray &bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isArray())
        return false;
    QList<Category> loaded;
    for (const auto &value : document.array()) {
        const auto category = Category::fromJson(value);
        if (!category)
            return false;
        loaded.append(*category);
    }
    library = loaded;
    return true;
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
        const Category category{QUuid::createUuid(), names[i], Category::paletteColor(i), tagList,
                                Category::paletteSymbol(i)};
        // The older list had no rules; one the library wouldn't take stays behind in tags.plist, so
        // that everything the library holds can be exported and imported again.
        if (CategoryValidation::check(category).isEmpty())
            migrated.append(category);
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

std::optional<QString> CategoryStore::change(const char *operation, const std::function<bool()> &edit,
                                             const std::function<void()> &recordCommand)
{
    const QList<Category> shown = library;
    QList<Category> beforeEdit = library;
    qsizetype countBefore = library.size();
    bool edited = false;
    qsizetype written = 0;
    const auto error = file->update(
        [&](StoreFile::Loaded) {
            beforeEdit = library;
            countBefore = library.size();
            edited = edit();
            return edited;
        },
        [&] {
            QByteArray bytes = encode();
            written = bytes.size();
            return bytes;
        });
    if (edited && recordCommand)
        recordCommand();
    else if (edited)
        record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.") + QLatin1String(operation),
               QStringLiteral("count=%1").arg(countBefore), QStringLiteral("count=%1").arg(library.size()));
    if (error) {
        // What the user sees stays what is on disk: the change didn't happen.
        library = beforeEdit;
        qWarning().noquote() << "CategoryStore: save failed:" << *error;
        record(ActionReceipt::Kind::errorSwallow, QStringLiteral("CategoryStore.save"), std::nullopt, std::nullopt,
               error);
        if (library != shown)
            emit categoriesChanged();
        return QStringLiteral("Couldn't save categories: %1").arg(*error);
    }
    if (edited)
        record(ActionReceipt::Kind::persist, QStringLiteral("categories.json"), std::nullopt,
               QStringLiteral("bytes=%1").arg(written));
    if (library != shown)
        emit categoriesChanged();
    return std::nullopt;
}

std::optional<QString> CategoryStore::add(const Category &category)
{
    return change("add", [&] {
        library.append(category);
        return true;
    });
}

std::optional<QString> CategoryStore::update(const Category &category)
{
    const QString before = QStringLiteral("id=%1").arg(category.id.toString(QUuid::WithoutBraces).toUpper());
    bool found = false;
    qsizetype index = 0;
    auto error = change(
        "update",
        [&] {
            const auto at =
                std::find_if(library.begin(), library.end(), [&](const Category &c) { return c.id == category.id; });
            found = at != library.end();
            if (!found)
                return false;
            index = at - library.begin();
            *at = category;
            return true;
        },
        [&] {
            record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.update"), before,
                   QStringLiteral("idx=%1").arg(index));
        });
    if (!found && !error)
        record(ActionReceipt::Kind::cmd, QStringLiteral("CategoryStore.update"), before,
               QStringLiteral("no-op (not found)"));
    return error;
}

std::optional<QString> CategoryStore::remove(const QUuid &id)
{
    return change("remove", [&] {
        library.removeIf([&](const Category &c) { return c.id == id; });
        return true;
    });
}

std::optional<QString> CategoryStore::append(const QList<Category> &list)
{
    return change("append", [&] {
        library.append(list);
        return true;
    });
}

std::optional<QString> CategoryStore::replaceAll(const QList<Category> &list)
{
    return change("replaceAll", [&] {
        library = list;
        return true;
    });
}

std::optional<QString> CategoryStore::resetToSeeded()
{
    return change("resetToSeeded", [&] {
        library = Category::seed();
        return true;
    });
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

QByteArray CategoryStore::encode() const
{
    QJsonArray array;
    for (const Category &category : library)
        array.append(category.toJson());
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}
