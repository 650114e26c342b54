#include "steward/RecentProjectsStore.h"
#include "TestEnvironment.h"
#include "foundation/Defaults.h"
#include "platform/NativeNames.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

ProjectStructure project(const QString &root, ProjectKind kind = ProjectKind::node)
{
    return ProjectStructure{kind, root, {}, {}, {}};
}

// A clock that moves a minute on at each reading.
std::function<QDateTime()> ticking()
{
    auto instant = std::make_shared<QDateTime>(QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC));
    return [instant] {
        *instant = instant->addSecs(60);
        return *instant;
    };
}

QStringList roots(const RecentProjectsStore &store)
{
    QStringList list;
    for (const RecentProjectsStore::Entry &entry : store.entries())
        list.append(entry.rootURL);
    return list;
}

} // namespace

TEST(RecentProjects, RecordingPutsTheProjectFirstAndWritesTheListAsJson)
{
    TestEnvironment env;
    RecentProjectsStore store(env.defaults());
    store.setClock(ticking());
    QSignalSpy changed(&store, &RecentProjectsStore::entriesChanged);
    store.record(project(QStringLiteral("/work/site")));
    store.record(project(QStringLiteral("/work/My Game"), ProjectKind::unity));
    EXPECT_EQ(roots(store), (QStringList{"/work/My Game", "/work/site"}));
    EXPECT_EQ(changed.count(), 2);

    const QJsonArray stored =
        QJsonDocument::fromJson(env.defaults().value(DefaultsKeys::recentProjects).toUtf8()).array();
    ASSERT_EQ(stored.size(), 2);
    EXPECT_EQ(stored[0].toObject(),
              (QJsonObject{
                  {"rootURL", "file:///work/My%20Game"}, {"kindRaw", "unity"}, {"lastUsed", "2026-03-01T09:02:00Z"}}));
}

TEST(RecentProjects, RecordingAgainRefreshesTheOneEntry)
{
    TestEnvironment env;
    RecentProjectsStore store(env.defaults());
    store.setClock(ticking());
    for (const char *root : {"/a", "/b", "/c", "/a"})
        store.record(project(QString::fromLatin1(root)));
    EXPECT_EQ(roots(store), (QStringList{"/a", "/c", "/b"}));
    EXPECT_EQ(store.entries().first().lastUsed, QDateTime(QDate(2026, 3, 1), QTime(9, 4), Qt::UTC));
}

TEST(RecentProjects, AThirteenthProjectDropsTheOldest)
{
    TestEnvironment env;
    RecentProjectsStore store(env.defaults());
    store.setClock(ticking());
    for (int i = 1; i <= 13; ++i)
        store.record(project(QStringLiteral("/p%1").arg(i)));
    EXPECT_EQ(store.entries().size(), RecentProjectsStore::maxEntries);
    EXPECT_EQ(store.entries().first().rootURL, QStringLiteral("/p13"));
    EXPECT_EQ(store.entries().last().rootURL, QStringLiteral("/p2"));
}

TEST(RecentProjects, AStoreReadsBackNewestFirstWithOddNamesWhole)
{
    TestEnvironment env;
    const QString odd = NativeNames::decode("/work/caf\xe9 #1");
    {
        RecentProjectsStore store(env.defaults());
        store.setClock(ticking());
        store.record(project(QStringLiteral("/older")));
        store.record(project(odd, ProjectKind::rust));
    }
    // Written out of order by another hand, the list is still read newest first.
    const QJsonArray written =
        QJsonDocument::fromJson(env.defaults().value(DefaultsKeys::recentProjects).toUtf8()).array();
    const QJsonArray shuffled{written[1], written[0]};
    env.defaults().setValue(DefaultsKeys::recentProjects,
                            QString::fromUtf8(QJsonDocument(shuffled).toJson(QJsonDocument::Compact)));
    const RecentProjectsStore reread(env.defaults());
    ASSERT_EQ(reread.entries().size(), 2);
    EXPECT_EQ(NativeNames::encode(reread.entries()[0].rootURL), NativeNames::encode(odd));
    EXPECT_EQ(reread.entries()[0].kindRaw, QStringLiteral("rust"));
    EXPECT_EQ(reread.entries()[1].rootURL, QStringLiteral("/older"));
}

TEST(RecentProjects, AValueThatDoesNotDecodeIsAnEmptyList)
{
    const QList<std::pair<const char *, const char *>> rows{
        {"NotJson", "{{{"},
        {"NotAList", R"({"rootURL":"file:///a"})"},
        {"MissingKey", R"([{"rootURL":"file:///a","kindRaw":"node"}])"},
        {"BadDate", R"([{"rootURL":"file:///a","kindRaw":"node","lastUsed":"yesterday"}])"},
        {"NotAFileURL", R"([{"rootURL":"https://a","kindRaw":"node","lastUsed":"2026-01-01T00:00:00Z"}])"},
        {"OneBadSpoilsAll",
         R"([{"rootURL":"file:///a","kindRaw":"node","lastUsed":"2026-01-01T00:00:00Z"},{"rootURL":7}])"},
    };
    for (const auto &[name, text] : rows) {
        TestEnvironment env;
        env.defaults().setValue(DefaultsKeys::recentProjects, QString::fromUtf8(text));
        RecentProjectsStore store(env.defaults());
        EXPECT_TRUE(store.entries().isEmpty()) << name;
        // The next record starts a fresh, readable list.
        store.record(project(QStringLiteral("/fresh")));
        EXPECT_EQ(RecentProjectsStore(env.defaults()).entries().size(), 1) << name;
    }
}
