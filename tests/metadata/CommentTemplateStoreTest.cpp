#include "metadata/CommentTemplateStore.h"

#include "TestEnvironment.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

QStringList names(const QList<CommentTemplate> &templates)
{
    QStringList list;
    for (const CommentTemplate &t : templates)
        list.append(t.name);
    return list;
}

QString templatesFile()
{
    return Paths::applicationSupport() + QStringLiteral("/comment-templates.json");
}

} // namespace

TEST(CommentTemplateStore, StartsFromTheDefaultsAndSavesThem)
{
    TestEnvironment env;
    CommentTemplateStore store;
    EXPECT_EQ(names(store.templates()), (QStringList{"Receipt", "Reference", "Draft"}));
    EXPECT_EQ(store.templates().first().body, QStringLiteral("Receipt — keep for tax records."));
    ASSERT_TRUE(QFile::exists(templatesFile()));
    CommentTemplateStore again;
    EXPECT_EQ(again.templates(), store.templates());
}

TEST(CommentTemplateStore, AFileThatDoesntDecodeIsMovedAside)
{
    TestEnvironment env;
    QDir().mkpath(Paths::applicationSupport());
    const QByteArray broken = R"([{"id": "not-a-uuid", "name": "X", "body": ""}])";
    QFile file(templatesFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(broken);
    file.close();

    CommentTemplateStore store;
    EXPECT_EQ(store.templates().size(), 3);
    const QStringList aside = QDir(Paths::applicationSupport())
                                  .entryList({QStringLiteral("comment-templates.json.unreadable-*")}, QDir::Files);
    ASSERT_EQ(aside.size(), 1);
    QFile kept(Paths::applicationSupport() + QLatin1Char('/') + aside.first());
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), broken);
}

TEST(CommentTemplateStore, ChangesAreRecordedAndSaved)
{
    TestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    CommentTemplateStore store;
    store.setDiagnosticLog(&env.host().diagnosticLog());
    const CommentTemplate extra{QUuid::createUuid(), QStringLiteral("Extra"), QStringLiteral("x")};
    ASSERT_FALSE(store.add(extra));
    ASSERT_FALSE(store.add(extra));
    ASSERT_FALSE(store.remove(extra.id));
    EXPECT_EQ(store.templates().size(), 3);

    QStringList trail;
    for (const ActionReceipt &receipt : env.host().diagnosticLog().rows()) {
        if (receipt.source.startsWith(QLatin1String("CommentTemplateStore")) ||
            receipt.source == QLatin1String("comment-templates.json"))
            trail.append(receipt.source + QLatin1Char(' ') + receipt.before.value_or(QString()) + QLatin1Char(' ') +
                         receipt.after.value_or(QString()));
    }
    ASSERT_EQ(trail.size(), 6);
    EXPECT_EQ(trail[0], QStringLiteral("CommentTemplateStore.add count=3 count=4"));
    EXPECT_TRUE(trail[1].startsWith(QStringLiteral("comment-templates.json  bytes=")));
    EXPECT_EQ(trail[4], QStringLiteral("CommentTemplateStore.remove count=5 count=3"));

    QFile file(templatesFile());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(file.readAll()).array().size(), 3);
}
