#include "metadata/sheets/CategoryTaggingSheet.h"
#include "metadata/sheets/SingleTagSelectorSheet.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"
#include "metadata/CategoryStore.h"
#include "metadata/sheets/CommentWrites.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using MetadataTestSupport::rawComment;
using Banner = RecordingSessionHost::Banner;

namespace {

struct TagCase {
    const char *name;
    QByteArray existing; // empty: no comment at all
    QStringList tags;
    QByteArray expected;
};

void PrintTo(const TagCase &c, std::ostream *os)
{
    *os << c.name;
}

class ApplyTags : public testing::TestWithParam<TagCase> {};

} // namespace

TEST_P(ApplyTags, JoinsTheTagsToTheCommentsTokens)
{
    const TagCase &c = GetParam();
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    if (!c.existing.isEmpty()) {
        ASSERT_TRUE(MetadataTestSupport::setAttribute(file, "user.xdg.comment", c.existing));
    }

    EXPECT_TRUE(CommentWrites::applyTags(env.host(), c.tags, {file}));

    EXPECT_EQ(rawComment(file), c.expected);
    ASSERT_TRUE(env.host().banner().has_value());
    EXPECT_FALSE(env.host().banner()->failure);
}

INSTANTIATE_TEST_SUITE_P(
    Comments, ApplyTags,
    testing::Values(TagCase{"OldSeparatorsGo", "alpha; beta", {"gamma"}, "alpha, beta, gamma"},
                    TagCase{"ExistingSpellingWins", "Draft", {"draft"}, "Draft"},
                    TagCase{"NoCommentTakesTheTagsAlone", {}, {" Acme ", "\nBlocked\n", "  "}, "Acme, Blocked"},
                    TagCase{"UnchangedTokensAreRewritten", "a|b", {"b"}, "a, b"},
                    TagCase{"NewTagsDedupeAmongThemselves", "x", {"Y", "y", "z"}, "x, Y, z"}),
    [](const testing::TestParamInfo<TagCase> &info) { return std::string(info.param.name); });

TEST(ApplyTags, BannersCountTagsFilesAndFailures)
{
    TestEnvironment env;
    const QString one = env.makeFile(QStringLiteral("one.txt"));
    const QString two = env.makeFile(QStringLiteral("two.txt"));
    const QString locked = env.makeFile(QStringLiteral("locked.txt"));
    RecordingSessionHost &host = env.host();

    CommentWrites::applyTags(host, {QStringLiteral("Raw")}, {one});
    EXPECT_EQ(host.banner(), (Banner{false, QStringLiteral("Applied 1 tag to 1 file."), {}}));
    CommentWrites::applyTags(host, {QStringLiteral("Raw"), QStringLiteral("Edited")}, {one, two});
    EXPECT_EQ(host.banner(), (Banner{false, QStringLiteral("Applied 2 tags to 2 files."), {}}));

    MetadataTestSupport::LockedFile lock(locked);
    ASSERT_TRUE(lock.isLocked());
    CommentWrites::applyTags(host, {QStringLiteral("Raw")}, {one, locked});
    EXPECT_EQ(host.banner(), (Banner{true,
                                     QStringLiteral("Applied to 1 · 1 failed: Operation not permitted."),
                                     {{locked, QStringLiteral("Operation not permitted")}}}));
    const QString missing = env.path(QStringLiteral("missing.txt"));
    CommentWrites::applyTags(host, {QStringLiteral("Raw")}, {locked, missing});
    ASSERT_EQ(host.banners().size(), 4);
    EXPECT_TRUE(host.banner()->failure);
    // The first failure's reason is the one the message gives; each file keeps its own.
    EXPECT_EQ(host.banner()->message, QStringLiteral("All 2 writes failed: Operation not permitted."));
    EXPECT_EQ(host.banner()->failures, (QList<ItemFailure>{{locked, QStringLiteral("Operation not permitted")},
                                                           {missing, QStringLiteral("No such file or directory")}}));
    EXPECT_EQ(rawComment(locked), QByteArray("(none)"));
}

// Blank tags or no files: nothing is written and no banner says otherwise.
TEST(ApplyTags, NothingToWriteIsSilent)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));

    EXPECT_FALSE(CommentWrites::applyTags(env.host(), {QStringLiteral(" "), QStringLiteral("\n")}, {file}));
    EXPECT_TRUE(env.host().banners().isEmpty());
    EXPECT_EQ(rawComment(file), QByteArray("(none)"));

    EXPECT_FALSE(CommentWrites::applyTags(env.host(), {QStringLiteral("Raw")}, {}));
    EXPECT_TRUE(env.host().banners().isEmpty());
}

TEST(CategoryTaggingSheet, CountsPreviewsAndLabels)
{
    TestEnvironment env;
    CategoryStore store;
    const QString a = env.makeFile(QStringLiteral("a.txt"));
    const QString b = env.makeFile(QStringLiteral("b.txt"));
    CategoryTaggingSheet sheet(env.host(), store, CategoryTaggingContext{{a}});
    EXPECT_EQ(sheet.subtitle(), QStringLiteral("1 file selected · 4 categories"));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply"));
    EXPECT_TRUE(sheet.summary().isEmpty());

    Category five{QUuid::createUuid(), QStringLiteral("Five"), {}, {"1", "2", "3", "4", "5"}, {}};
    Category six = five;
    six.tags.append(QStringLiteral("6"));
    six.tags.append(QStringLiteral("7"));
    EXPECT_EQ(CategoryTaggingSheet::preview(five), QStringLiteral("1, 2, 3, 4, 5"));
    EXPECT_EQ(CategoryTaggingSheet::preview(six), QStringLiteral("1, 2, 3, 4, 5, +2 more"));
    EXPECT_EQ(CategoryTaggingSheet::preview(Category{}), QStringLiteral("No tags yet"));

    ASSERT_FALSE(store.replaceAll({store.categories().first()}));
    CategoryTaggingSheet two(env.host(), store, CategoryTaggingContext{{a, b}});
    EXPECT_EQ(two.subtitle(), QStringLiteral("2 files selected · 1 category"));
    two.setSelectedCategoryID(store.categories().first().id);
    EXPECT_EQ(two.summary(), QStringLiteral("Will apply 3 tags from Projects to 2 files."));
    EXPECT_EQ(two.applyLabel(), QStringLiteral("Apply 3 tags to 2 files"));

    // A stale id is no choice: Apply does nothing and the sheet stays.
    QSignalSpy closed(&two, &Session::closed);
    QSignalSpy applied(&two, &CategoryTaggingSheet::applied);
    two.setSelectedCategoryID(QUuid::createUuid());
    EXPECT_EQ(two.applyLabel(), QStringLiteral("Apply"));
    two.apply();
    EXPECT_FALSE(two.isClosed());
    EXPECT_EQ(closed.count(), 0);
    EXPECT_EQ(applied.count(), 0);
    EXPECT_TRUE(env.host().banners().isEmpty());
    EXPECT_EQ(rawComment(a), QByteArray("(none)"));
}

TEST(CategoryTaggingSheet, InlineFormMakesSelectsAndAppliesANewCategory)
{
    TestEnvironment env;
    CategoryStore store;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    QList<Category> seven = store.categories();
    for (int i = 0; i < 3; ++i)
        seven.append({QUuid::createUuid(), QStringLiteral("Extra %1").arg(i), {}, {}, {}});
    ASSERT_FALSE(store.replaceAll(seven));
    CategoryTaggingSheet sheet(env.host(), store, CategoryTaggingContext{{file}});
    QSignalSpy closed(&sheet, &Session::closed);
    QSignalSpy applied(&sheet, &CategoryTaggingSheet::applied);

    sheet.setAddingCategory(true);
    sheet.setDraftName(QStringLiteral("   "));
    EXPECT_FALSE(sheet.saveDraft());
    EXPECT_EQ(store.categories().size(), 7);

    sheet.setDraftName(QStringLiteral("  Trips "));
    sheet.setDraftTags(QStringLiteral("Rome, ,Oslo\n\n Lima ,"));
    ASSERT_TRUE(sheet.saveDraft());
    const Category made = store.categories().last();
    EXPECT_EQ(made.name, QStringLiteral("Trips"));
    EXPECT_EQ(made.tags, (QStringList{"Rome", "Oslo", "Lima"}));
    // Seven categories: the sheet's six-pair palette comes round to its second pair.
    EXPECT_EQ(made.colorHex, QStringLiteral("#38BDF8"));
    EXPECT_EQ(made.systemImage, QStringLiteral("tag.fill"));
    EXPECT_NE(made.colorHex, Category::paletteColor(7));
    EXPECT_EQ(sheet.selectedCategoryID(), made.id);
    EXPECT_FALSE(sheet.addingCategory());
    EXPECT_TRUE(sheet.draftName().isEmpty());
    EXPECT_TRUE(sheet.draftTags().isEmpty());
    EXPECT_FALSE(sheet.isClosed());

    sheet.apply();
    EXPECT_EQ(rawComment(file), QByteArray("Rome, Oslo, Lima"));
    EXPECT_EQ(env.host().banner(), (Banner{false, QStringLiteral("Applied 3 tags to 1 file."), {}}));
    EXPECT_TRUE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(applied.count(), 1);
}

TEST(CategoryTaggingSheet, ACategoryOfEmptyTagsWritesNothingAndCloses)
{
    TestEnvironment env;
    CategoryStore store;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    const Category blank{QUuid::createUuid(), QStringLiteral("Blank"), {}, {QStringLiteral(" "), QString()}, {}};
    ASSERT_FALSE(store.add(blank));
    CategoryTaggingSheet sheet(env.host(), store, CategoryTaggingContext{{file}});
    QSignalSpy closed(&sheet, &Session::closed);
    sheet.setSelectedCategoryID(blank.id);
    sheet.apply();
    EXPECT_TRUE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 1);
    EXPECT_TRUE(env.host().banners().isEmpty());
    EXPECT_EQ(rawComment(file), QByteArray("(none)"));
}

TEST(SingleTagSelectorSheet, FiltersPicksAndWritesInTheLibrarysOrder)
{
    TestEnvironment env;
    CategoryStore store;
    const QString a = env.makeFile(QStringLiteral("a.txt"));
    const QString b = env.makeFile(QStringLiteral("b.txt"));
    SingleTagSelectorSheet sheet(env.host(), store, SingleTagSelectorContext{{a, b}});
    QSignalSpy closed(&sheet, &Session::closed);
    QSignalSpy applied(&sheet, &SingleTagSelectorSheet::applied);
    EXPECT_EQ(sheet.subtitle(), QStringLiteral("2 files selected · 14 tags available"));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply to 2 files"));

    sheet.setQuery(QStringLiteral("  IN\n"));
    EXPECT_EQ(sheet.visibleTags(), (QStringList{"In Progress", "Initech"}));
    sheet.setQuery(QStringLiteral("zebra"));
    EXPECT_EQ(sheet.emptyText(), QStringLiteral("No tags match \"zebra\"."));
    sheet.setQuery({});
    EXPECT_EQ(sheet.visibleTags().size(), 14);
    EXPECT_TRUE(sheet.emptyText().isEmpty());

    EXPECT_TRUE(sheet.footer().isEmpty());
    sheet.toggle(QStringLiteral("Raw"));
    sheet.toggle(QStringLiteral("Blocked"));
    sheet.toggle(QStringLiteral("Acme"));
    sheet.toggle(QStringLiteral("Raw"));
    EXPECT_EQ(sheet.footer(), QStringLiteral("2 selected"));
    sheet.apply();
    EXPECT_EQ(rawComment(a), QByteArray("Acme, Blocked"));
    EXPECT_EQ(rawComment(b), QByteArray("Acme, Blocked"));
    EXPECT_TRUE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(applied.count(), 1);
    EXPECT_EQ(env.host().banner(), (Banner{false, QStringLiteral("Applied 2 tags to 2 files."), {}}));
}

TEST(SingleTagSelectorSheet, AnEmptyLibraryAndAnEmptyPickWriteNothing)
{
    TestEnvironment env;
    CategoryStore store;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    ASSERT_FALSE(store.replaceAll({}));
    SingleTagSelectorSheet sheet(env.host(), store, SingleTagSelectorContext{{file}});
    QSignalSpy closed(&sheet, &Session::closed);
    EXPECT_EQ(sheet.subtitle(), QStringLiteral("1 file selected · 0 tags available"));
    EXPECT_EQ(sheet.emptyText(), QStringLiteral("No tags configured yet. Add categories first."));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply to 1 file"));
    sheet.apply();
    EXPECT_TRUE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 1);
    EXPECT_TRUE(env.host().banners().isEmpty());
    EXPECT_EQ(rawComment(file), QByteArray("(none)"));
}

namespace {

struct DraftCase {
    const char *label;
    QString name;
    QString tags;
    const char *refusal; // empty: the draft is saved
};

void PrintTo(const DraftCase &c, std::ostream *os)
{
    *os << c.label;
}

class CategoryDraft : public testing::TestWithParam<DraftCase> {};

QString manyTags(int count)
{
    QStringList tags;
    for (int i = 0; i < count; ++i)
        tags.append(QStringLiteral("t%1").arg(i));
    return tags.join(QLatin1Char(','));
}

QString accentedLetters(int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("e\u0301");
    return text;
}

} // namespace

TEST_P(CategoryDraft, MeetsTheLibrarysRulesOrStaysADraft)
{
    const DraftCase &c = GetParam();
    TestEnvironment env;
    CategoryStore store;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    CategoryTaggingSheet sheet(env.host(), store, CategoryTaggingContext{{file}});
    const QList<Category> before = store.categories();

    sheet.setAddingCategory(true);
    sheet.setDraftName(c.name);
    sheet.setDraftTags(c.tags);
    const bool saved = sheet.saveDraft();

    EXPECT_EQ(sheet.draftRefusal(), QString::fromUtf8(c.refusal));
    if (QByteArray(c.refusal).isEmpty()) {
        EXPECT_TRUE(saved);
        ASSERT_EQ(store.categories().size(), before.size() + 1);
        EXPECT_EQ(store.categories().last().name, c.name.trimmed());
    } else {
        // Refused: the library is as it was and the user's draft is still there to correct.
        EXPECT_FALSE(saved);
        EXPECT_EQ(store.categories(), before);
        EXPECT_TRUE(sheet.addingCategory());
        EXPECT_EQ(sheet.draftName(), c.name);
        EXPECT_FALSE(sheet.selectedCategoryID().has_value());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Drafts, CategoryDraft,
    testing::Values(DraftCase{"EightyAccentedLetters", accentedLetters(80), QStringLiteral("a, b"), ""},
                    DraftCase{"EightyOneAccentedLetters", accentedLetters(81), QStringLiteral("a"),
                              "a category name is too long (81 chars; max 80)"},
                    DraftCase{"TwoHundredCharacterName", QString(200, QLatin1Char('n')), QStringLiteral("a"),
                              "a category name is too long (200 chars; max 80)"},
                    DraftCase{"BidiOverrideInName", QStringLiteral("Trips\u202E"), QStringLiteral("a"),
                              "a category name contains unsupported characters"},
                    DraftCase{"TwoHundredTags", QStringLiteral("Big"), manyTags(200), ""},
                    DraftCase{"TwentyThousandTags", QStringLiteral("Big"), manyTags(20000),
                              "category \"Big\" has too many tags (20000; max 200)"},
                    DraftCase{"BidiOverrideInTag", QStringLiteral("Trips"), QStringLiteral("Rome, Os\u202Elo"),
                              "category \"Trips\" has a tag with unsupported characters"},
                    DraftCase{"TabInTag", QStringLiteral("Trips"), QStringLiteral("Rome\tOslo"), ""}),
    [](const auto &info) { return std::string(info.param.label); });
