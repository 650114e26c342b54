#include "metadata/CategoryStore.h"

#include "TestEnvironment.h"
#include "foundation/diagnostics/DiagnosticLog.h"
#include "platform/Paths.h"
#include "platform/PropertyList.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

QStringList names(const QList<Category> &list)
{
    QStringList result;
    for (const Category &category : list)
        result.append(category.name);
    return result;
}

QList<Category> onDisk(const QString &path)
{
    QFile file(path);
    QList<Category> list;
    if (!file.open(QIODevice::ReadOnly))
        return list;
    for (const auto &value : QJsonDocument::fromJson(file.readAll()).array())
        list.append(Category::fromJson(value).value_or(Category{}));
    return list;
}

} // namespace

TEST(CategoryStore, ANewLibraryStartsFromTheSeedAndSavesIt)
{
    TestEnvironment env;
    CategoryStore store;
    EXPECT_EQ(names(store.categories()), (QStringList{"Projects", "Clients", "Status", "Media"}));
    EXPECT_EQ(store.filePath(), Paths::applicationSupport() + QStringLiteral("/categories.json"));
    EXPECT_EQ(onDisk(store.filePath()), store.categories());
    // The seed's ids stay the same for the whole run.
    CategoryStore again(env.makeFolder(QStringLiteral("other")));
    EXPECT_EQ(again.categories(), store.categories());
}

TEST(CategoryStore, MigratesTheOlderPropertyListInNameOrderWithThePaletteInTurn)
{
    TestEnvironment env;
    QVariantMap older;
    for (const char *name : {"i", "b", "a", "h", "c", "g", "d", "f", "e"})
        older.insert(QString::fromLatin1(name), QVariantList{QVariant(QStringLiteral("tag-") + QLatin1String(name))});
    const QString folder = Paths::applicationSupport();
    QDir().mkpath(folder);
    QFile plist(folder + QStringLiteral("/tags.plist"));
    ASSERT_TRUE(plist.open(QIODevice::WriteOnly));
    plist.write(PropertyList::toXml(older));
    plist.close();

    CategoryStore store;
    ASSERT_EQ(store.categories().size(), 9);
    EXPECT_EQ(names(store.categories()), (QStringList{"a", "b", "c", "d", "e", "f", "g", "h", "i"}));
    EXPECT_EQ(store.categories()[0].tags, QStringList{"tag-a"});
    EXPECT_EQ(store.categories()[1].colorHex, QStringLiteral("#38BDF8"));
    // The ninth takes the first palette entry again.
    EXPECT_EQ(store.categories()[8].colorHex, QStringLiteral("#8B5CF6"));
    EXPECT_EQ(store.categories()[8].systemImage, QStringLiteral("folder.fill"));
    EXPECT_EQ(onDisk(store.filePath()).size(), 9);
}

TEST(CategoryStore, MigratesOnlyWhatTheLibraryWouldTake)
{
    TestEnvironment env;
    const QVariantMap older{
        {QStringLiteral("Fine"), QVariantList{QStringLiteral("ok")}},
        {QString(81, QLatin1Char('x')), QVariantList{QStringLiteral("ok")}},
        {QStringLiteral("Mirrored"), QVariantList{QStringLiteral("evil\u202Etxt.exe")}},
        {QStringLiteral("Zed"), QVariantList{}},
    };
    const QString folder = Paths::applicationSupport();
    QDir().mkpath(folder);
    QFile plist(folder + QStringLiteral("/tags.plist"));
    ASSERT_TRUE(plist.open(QIODevice::WriteOnly));
    plist.write(PropertyList::toXml(older));
    plist.close();

    const CategoryStore store;
    EXPECT_EQ(names(store.categories()), (QStringList{"Fine", "Zed"}));
    // Each keeps the palette entry of its place among all the older names.
    EXPECT_EQ(store.categories()[1].colorHex, Category::paletteColor(2));
}

TEST(CategoryStore, AnUnreadableLibraryIsMovedAsideNotLost)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral(".local/share/Vantrel/categories.json"), "[{\"id\": 1}]");
    CategoryStore store;
    EXPECT_EQ(store.categories().size(), 4);
    const QStringList aside =
        QDir(Paths::applicationSupport()).entryList({QStringLiteral("categories.json.unreadable-*")}, QDir::Files);
    ASSERT_EQ(aside.size(), 1);
    QFile kept(Paths::applicationSupport() + QLatin1Char('/') + aside.first());
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), QByteArray("[{\"id\": 1}]"));
    EXPECT_EQ(onDisk(file).size(), 4);
}

TEST(CategoryStore, ChangesAreRecordedSavedAndAnnounced)
{
    TestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    DiagnosticLog log(env.defaults());
    CategoryStore store;
    store.setDiagnosticLog(&log);
    QSignalSpy changes(&store, &CategoryStore::categoriesChanged);

    Category work{
        QUuid::createUuid(), QStringLiteral("Work"), QStringLiteral("#F59E0B"), {}, QStringLiteral("tag.fill")};
    const Category ghost{QUuid::createUuid(), QStringLiteral("Ghost"), {}, {}, {}};
    ASSERT_FALSE(store.add(work));
    work.tags = {QStringLiteral("Urgent")};
    ASSERT_FALSE(store.update(work));
    ASSERT_FALSE(store.update(ghost));
    ASSERT_FALSE(store.remove(work.id));
    ASSERT_FALSE(store.replaceAll({}));
    ASSERT_FALSE(store.resetToSeeded());
    // The update of a category that isn't there changes and saves nothing.
    EXPECT_EQ(changes.count(), 5);
    EXPECT_EQ(onDisk(store.filePath()), Category::seed());

    QStringList trail;
    int saves = 0;
    for (const ActionReceipt &receipt : log.rows()) {
        trail.append(receipt.source + QLatin1Char(' ') + receipt.before.value_or(QString()) + QStringLiteral(" → ") +
                     receipt.after.value_or(QString()));
        if (receipt.kind == ActionReceipt::Kind::persist && receipt.source == QLatin1String("categories.json") &&
            receipt.after->startsWith(QStringLiteral("bytes=")))
            ++saves;
    }
    const auto idText = [](const QUuid &id) { return id.toString(QUuid::WithoutBraces).toUpper(); };
    EXPECT_EQ(saves, 5);
    for (const QString &expected :
         {QStringLiteral("CategoryStore.add count=4 → count=5"),
          QStringLiteral("CategoryStore.update id=%1 → idx=4").arg(idText(work.id)),
          QStringLiteral("CategoryStore.update id=%1 → no-op (not found)").arg(idText(ghost.id)),
          QStringLiteral("CategoryStore.remove count=5 → count=4"),
          QStringLiteral("CategoryStore.replaceAll count=4 → count=0"),
          QStringLiteral("CategoryStore.resetToSeeded count=0 → count=4")})
        EXPECT_TRUE(trail.contains(expected)) << expected.toStdString();
}

TEST(CategoryStore, AllTagsOnceEachSortedWithoutCase)
{
    TestEnvironment env;
    CategoryStore store;
    ASSERT_FALSE(store.replaceAll({{QUuid::createUuid(),
                                    QStringLiteral("A"),
                                    QStringLiteral("#000000"),
                                    {QStringLiteral("beta"), QStringLiteral("Alpha"), QStringLiteral("beta")},
                                    QStringLiteral("x")},
                                   {QUuid::createUuid(),
                                    QStringLiteral("B"),
                                    QStringLiteral("#000000"),
                                    {QStringLiteral("Beta"), QStringLiteral("gamma")},
                                    QStringLiteral("x")}}));
    const QStringList tags = store.allTags();
    ASSERT_EQ(tags.size(), 4);
    EXPECT_EQ(tags.first(), QStringLiteral("Alpha"));
    EXPECT_EQ(tags.last(), QStringLiteral("gamma"));
}
