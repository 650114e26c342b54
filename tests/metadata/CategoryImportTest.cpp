#include "metadata/CategoryImport.h"
#include "metadata/CategoryExportEnvelope.h"

#include "TestEnvironment.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

Category category(const QString &name, QUuid id = QUuid::createUuid())
{
    return {id, name, QStringLiteral("#8B5CF6"), {QStringLiteral("One")}, QStringLiteral("tag.fill")};
}

QByteArray envelopeWith(const QList<Category> &list, int version = 1)
{
    CategoryExportEnvelope envelope;
    envelope.formatVersion = version;
    envelope.exportedAt = QDateTime::currentDateTime();
    envelope.appVersion = QStringLiteral("0.1.0");
    envelope.categories = list;
    return envelope.encode();
}

QString readError(TestEnvironment &env, const QByteArray &bytes)
{
    const QString path = env.makeFile(QStringLiteral("in.vantrelcategories"), bytes);
    const auto result = CategoryExportEnvelope::read(path);
    if (const auto *error = std::get_if<CategoryExportEnvelope::ImportError>(&result))
        return error->message();
    return {};
}

} // namespace

TEST(CategoryExportEnvelope, RoundTripsTheLibrary)
{
    TestEnvironment env;
    const QList<Category> library = Category::seed();
    const QByteArray bytes = envelopeWith(library);
    EXPECT_TRUE(bytes.contains("\n    \"appVersion\""));
    const auto result = CategoryExportEnvelope::read(env.makeFile(QStringLiteral("x.vantrelcategories"), bytes));
    ASSERT_TRUE(std::holds_alternative<CategoryExportEnvelope>(result));
    EXPECT_EQ(std::get<CategoryExportEnvelope>(result).categories, library);
    EXPECT_EQ(CategoryExportEnvelope::defaultFileName(QDate(2026, 3, 7)),
              QStringLiteral("Vantrel-Categories-2026-03-07.vantrelcategories"));
}

TEST(CategoryExportEnvelope, SizeCapIsFiveMillionBytes)
{
    TestEnvironment env;
    QByteArray exact = envelopeWith({category(QStringLiteral("A"))});
    exact.append(QByteArray(5000000 - exact.size(), ' ')); // trailing blanks still parse
    EXPECT_EQ(readError(env, exact), QString());
    exact.append(' ');
    EXPECT_EQ(readError(env, exact),
              QStringLiteral("File too large (5.0 MB). Categories files should be well under 5 MB."));
}

TEST(CategoryExportEnvelope, VersionsCountsAndDecoding)
{
    TestEnvironment env;
    EXPECT_EQ(
        readError(env, envelopeWith({}, 2)),
        QStringLiteral("This file was exported from a newer Vantrel (format v2). Update Vantrel, then try again."));
    EXPECT_EQ(readError(env, envelopeWith({}, 0)), QStringLiteral("Unrecognised format version 0. The file may be "
                                                                  "corrupt or from an unsupported source."));
    QList<Category> many;
    for (int i = 0; i < 500; ++i)
        many.append(category(QStringLiteral("C%1").arg(i)));
    EXPECT_EQ(readError(env, envelopeWith(many)), QString());
    many.append(category(QStringLiteral("one too many")));
    EXPECT_EQ(readError(env, envelopeWith(many)),
              QStringLiteral("File contains 501 categories — over the safety cap of 500."));
    EXPECT_TRUE(
        readError(env, "{not json").startsWith(QStringLiteral("That doesn't look like a Vantrel categories file (")));
    EXPECT_TRUE(readError(env, "[]").startsWith(QStringLiteral("That doesn't look like a Vantrel categories file (")));

    const auto missing = CategoryExportEnvelope::read(env.path(QStringLiteral("nothing-here")));
    ASSERT_TRUE(std::holds_alternative<CategoryExportEnvelope::ImportError>(missing));
    EXPECT_TRUE(std::get<CategoryExportEnvelope::ImportError>(missing).message().startsWith(
        QStringLiteral("Couldn't read the file (")));
}

Category with(QString name)
{
    return {QUuid::createUuid(),
            std::move(name),
            QStringLiteral("#abcDEF"),
            {QStringLiteral("t")},
            QStringLiteral("tag.fill")};
}

TEST(CategoryExportEnvelope, TheFirstInvalidCategoryRefusesTheWholeFile)
{
    TestEnvironment env;
    EXPECT_EQ(readError(env, envelopeWith({category(QStringLiteral("Good")), with(QStringLiteral("")),
                                           with(QString(90, QLatin1Char('x')))})),
              QStringLiteral("File contains invalid content (a category has an empty name)."));
}

TEST(CategoryExportEnvelope, ANameOfEightyAccentedLettersComesBackIn)
{
    // 80 letters, each an "e" and a combining acute accent: 160 code points, 80 characters read.
    TestEnvironment env;
    QString name;
    for (int i = 0; i < 80; ++i)
        name += QStringLiteral("e\u0301");
    const auto result =
        CategoryExportEnvelope::read(env.makeFile(QStringLiteral("e.vantrelcategories"), envelopeWith({with(name)})));
    ASSERT_TRUE(std::holds_alternative<CategoryExportEnvelope>(result));
    EXPECT_EQ(std::get<CategoryExportEnvelope>(result).categories.first().name, name);
    EXPECT_EQ(readError(env, envelopeWith({with(name + QStringLiteral("e\u0301"))})),
              QStringLiteral("File contains invalid content (a category name is too long (81 chars; max 80))."));
}

TEST(CategoryImport, CleaningDropsRepeatsByIdOrNameInTheFile)
{
    const QUuid shared = QUuid::createUuid();
    const auto cleaned =
        CategoryImport::clean({category(QStringLiteral("Work"), shared), category(QStringLiteral("work")),
                               category(QStringLiteral("Home"), shared), category(QStringLiteral("Other"))});
    QStringList kept;
    for (const Category &c : cleaned.categories)
        kept.append(c.name);
    EXPECT_EQ(kept, (QStringList{"Work", "Other"}));
    EXPECT_EQ(cleaned.dropped, 2);
}

TEST(CategoryImport, MergeSkipsKnownNamesAndRekeysKnownIds)
{
    const Category mine = category(QStringLiteral("Clients"));
    const Category sameIdOtherName = category(QStringLiteral("Suppliers"), mine.id);
    const Category sameNameOtherId = category(QStringLiteral("CLIENTS"));
    const Category fresh = category(QStringLiteral("Travel"));
    const auto merged = CategoryImport::merge({mine}, {sameIdOtherName, sameNameOtherId, fresh});
    ASSERT_EQ(merged.appended.size(), 2);
    EXPECT_EQ(merged.appended[0].name, QStringLiteral("Suppliers"));
    EXPECT_NE(merged.appended[0].id, mine.id);
    EXPECT_EQ(merged.appended[1], fresh);
    EXPECT_EQ(merged.skipped, 1);
    EXPECT_EQ(merged.rekeyed, 1);
    EXPECT_EQ(CategoryImport::mergeBanner(merged, 1),
              QStringLiteral("Merged 2 categories, 1 skipped (already exists), 1 re-keyed (id collision), 1 "
                             "duplicate-in-file dropped."));
    EXPECT_EQ(CategoryImport::mergeReceipt(merged, 1, 4),
              QStringLiteral("merged appended=2 skipped=1 rekeyed=1 droppedInFile=1 originalInFile=4"));

    const auto nothing = CategoryImport::merge({mine}, {sameNameOtherId});
    EXPECT_EQ(CategoryImport::mergeBanner(nothing, 0),
              QStringLiteral("Merged 0 categories, 1 skipped (already exists)."));
}

TEST(CategoryImport, ReplaceTexts)
{
    EXPECT_EQ(CategoryImport::replaceBanner(1, 0), QStringLiteral("Replaced with 1 category."));
    EXPECT_EQ(CategoryImport::replaceBanner(3, 1),
              QStringLiteral("Replaced with 3 categories (1 duplicate in the file were dropped)."));
    EXPECT_EQ(CategoryImport::replaceBanner(3, 2),
              QStringLiteral("Replaced with 3 categories (2 duplicates in the file were dropped)."));
    EXPECT_EQ(CategoryImport::replaceReceipt(3, 4, 2), QStringLiteral("replaced count=3 prev=4 droppedInFile=2"));
}
