#include "AppTestEnvironment.h"
#include "app/AppState.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

QString bannerOf(const AppState &state)
{
    return state.packBanner() ? state.packBanner()->message : QString();
}

} // namespace

TEST(CategoryFlows, ExportWipeAndImportBackWithMerge)
{
    AppTestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    auto state = env.makeAppState();
    const QList<Category> library = state->categories();
    const QString target = env.makeFolder(QStringLiteral("Backups")) + QStringLiteral("/mine");

    env.interaction().addAnswer(QStringLiteral("Export Categories"), target);
    state->exportCategoriesToDisk();
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Exported 4 categories to Backups/mine.vantrelcategories."));
    EXPECT_EQ(env.interaction().askedPanels().last().suggestedName,
              QStringLiteral("Vantrel-Categories-%1.vantrelcategories")
                  .arg(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))));
    EXPECT_EQ(state->diagnosticLog().rows().last().after,
              QStringLiteral("ok count=4 path=~/Backups/mine.vantrelcategories"));

    ASSERT_FALSE(state->categoryStore().replaceAll({}));
    env.interaction().addAnswer(QStringLiteral("Import Categories"), target + QStringLiteral(".vantrelcategories"));
    env.interaction().addAnswer(QStringLiteral("Import 4 categories?"), QStringLiteral("Import"));
    state->importCategoriesFromDisk();
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Merged 4 categories."));
    EXPECT_EQ(state->categories(), library);
    EXPECT_EQ(env.interaction().askedAlerts().last().informativeText,
              QStringLiteral("You don't have any categories yet. The imported set will become your library."));
}

TEST(CategoryFlows, ReplaceAndMergeIntoAnExistingLibrary)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QString file = env.path(QStringLiteral("set.vantrelcategories"));
    env.interaction().addAnswer(QStringLiteral("Export Categories"), file);
    state->exportCategoriesToDisk();
    ASSERT_FALSE(state->categoryStore().remove(state->categories().first().id));

    env.interaction().addAnswer(QStringLiteral("Import Categories"), file);
    env.interaction().addAnswer(QStringLiteral("Import 4 categories?"), QStringLiteral("Merge"));
    state->importCategoriesFromDisk();
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Merged 1 category, 3 skipped (already exists)."));
    EXPECT_EQ(env.interaction().askedAlerts().last().informativeText,
              QStringLiteral("You currently have 3 categories. Merge keeps your existing ones and adds the imported "
                             "set; Replace wipes yours first."));
    EXPECT_EQ(state->categories().size(), 4);

    env.interaction().addAnswer(QStringLiteral("Import Categories"), file);
    env.interaction().addAnswer(QStringLiteral("Import 4 categories?"), QStringLiteral("Replace"));
    state->importCategoriesFromDisk();
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Replaced with 4 categories."));
    EXPECT_EQ(state->categories().first().name, QStringLiteral("Projects"));
}

struct RefusedCase {
    const char *label;
    QByteArray content;
    const char *banner;
};

void PrintTo(const RefusedCase &c, std::ostream *os)
{
    *os << c.label;
}

class RefusedImport : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedImport, ShowsTheExactTextAndChangesNothing)
{
    AppTestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    auto state = env.makeAppState();
    ASSERT_FALSE(state->categoryStore().remove(state->categories().last().id));
    const QList<Category> before = state->categories();
    QFile stored(state->categoryStore().filePath());
    ASSERT_TRUE(stored.open(QIODevice::ReadOnly));
    const QByteArray bytesBefore = stored.readAll();
    stored.close();

    env.interaction().addAnswer(QStringLiteral("Import Categories"),
                                env.makeFile(QStringLiteral("bad.vantrelcategories"), GetParam().content));
    env.interaction().setAssumeYes(true);
    state->importCategoriesFromDisk();
    EXPECT_EQ(bannerOf(*state), QString::fromUtf8(GetParam().banner));
    EXPECT_EQ(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
    EXPECT_TRUE(env.interaction().askedAlerts().isEmpty());
    EXPECT_EQ(state->categories(), before);
    ASSERT_TRUE(stored.open(QIODevice::ReadOnly));
    EXPECT_EQ(stored.readAll(), bytesBefore);
    EXPECT_EQ(state->diagnosticLog().rows().last().kind, ActionReceipt::Kind::errorSwallow);
    EXPECT_EQ(state->diagnosticLog().rows().last().after, QString::fromUtf8(GetParam().banner));
}

INSTANTIATE_TEST_SUITE_P(
    Files, RefusedImport,
    ::testing::Values(RefusedCase{"Oversized", QByteArray(5000001, ' '),
                                  "File too large (5.0 MB). Categories files should be well under 5 MB."},
                      RefusedCase{
                          "Future", R"({"formatVersion": 3, "exportedAt": "2026-01-01T00:00:00Z", "appVersion": "9",
                                  "categories": []})",
                          "This file was exported from a newer Vantrel (format v3). Update Vantrel, then try again."},
                      RefusedCase{"BadColour",
                                  R"({"formatVersion": 1, "exportedAt": "2026-01-01T00:00:00Z", "appVersion": "1",
                        "categories": [{"id": "6F9619FF-8B86-D011-B42D-00C04FC964FF", "name": "X",
                                        "colorHex": "red", "tags": [], "systemImage": "tag"}]})",
                                  "File contains invalid content (invalid colour value \"red\" on category \"X\")."}));

TEST(CategoryFlows, CancellingLeavesNoTraceAndResetAsksFirst)
{
    AppTestEnvironment env;
    env.defaults().setValue(DefaultsKeys::diagnosticsEnabled, true);
    auto state = env.makeAppState();
    const qsizetype receipts = state->diagnosticLog().rows().size();
    state->exportCategoriesToDisk();
    state->importCategoriesFromDisk();
    state->resetCategoriesConfirmed();
    EXPECT_FALSE(state->packBanner().has_value());
    EXPECT_EQ(state->diagnosticLog().rows().size(), receipts);
    EXPECT_EQ(env.interaction().askedAlerts().last().informativeText,
              QStringLiteral("This deletes your 4 current categories and restores Vantrel's bundled defaults. Cannot "
                             "be undone."));

    ASSERT_FALSE(state->categoryStore().replaceAll({}));
    env.interaction().addAnswer(QStringLiteral("Reset categories"), QStringLiteral("Reset"));
    state->resetCategoriesConfirmed();
    EXPECT_EQ(env.interaction().askedAlerts().last().informativeText,
              QStringLiteral("Restores Vantrel's bundled default categories. Cannot be undone."));
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Categories reset to the default seed."));
    EXPECT_EQ(state->categories().size(), 4);
    EXPECT_EQ(state->diagnosticLog().rows().last().after, QStringLiteral("reset prev=0 now=4"));
}
