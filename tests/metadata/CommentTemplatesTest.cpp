#include "metadata/CommentTemplateStore.h"
#include "metadata/sheets/CommentTemplatePickerSheet.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"
#include "metadata/sheets/CommentWrites.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using MetadataTestSupport::rawComment;

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
    auto state = env.makeAppState();
    CommentTemplateStore &store = state->commentTemplateStore();
    const CommentTemplate extra{QUuid::createUuid(), QStringLiteral("Extra"), QStringLiteral("x")};
    ASSERT_FALSE(store.add(extra));
    ASSERT_FALSE(store.add(extra));
    ASSERT_FALSE(store.remove(extra.id));
    EXPECT_EQ(store.templates().size(), 3);

    QStringList trail;
    for (const ActionReceipt &receipt : state->diagnosticLog().rows()) {
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

TEST(CommentTemplatePicker, TicksRebuildTheBodyInTheStoresOrder)
{
    TestEnvironment env;
    auto state = env.makeAppState();
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    CommentTemplatePickerSheet sheet(*state, state->commentTemplateStore(), CommentTemplateContext{{file}});
    const QList<CommentTemplate> defaults = sheet.templates();
    EXPECT_EQ(sheet.subtitle(), QStringLiteral("1 file selected"));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply to 1 file"));
    EXPECT_EQ(sheet.modeExplanation(), QStringLiteral("Existing comments are overwritten."));

    sheet.setTicked(defaults[2].id, true);
    sheet.setTicked(defaults[0].id, true);
    EXPECT_EQ(sheet.customBody(), defaults[0].body + QLatin1Char('\n') + defaults[2].body);

    // A hand edit stands until the ticks change again.
    sheet.setCustomBody(QStringLiteral("typed"));
    EXPECT_EQ(sheet.customBody(), QStringLiteral("typed"));
    sheet.setTicked(defaults[0].id, false);
    EXPECT_EQ(sheet.customBody(), defaults[2].body);

    sheet.deleteTemplate(defaults[2].id);
    EXPECT_TRUE(sheet.selectedTemplateIDs().isEmpty());
    EXPECT_EQ(state->commentTemplateStore().templates().size(), 2);

    sheet.setAddingTemplate(true);
    sheet.setNewTemplateName(QStringLiteral("  "));
    sheet.setNewTemplateBody(QStringLiteral("Signed copy"));
    sheet.saveNewTemplate();
    const CommentTemplate made = state->commentTemplateStore().templates().last();
    EXPECT_EQ(made.name, QStringLiteral("Untitled"));
    EXPECT_TRUE(sheet.selectedTemplateIDs().contains(made.id));
    EXPECT_EQ(sheet.customBody(), QStringLiteral("Signed copy"));
    EXPECT_FALSE(sheet.addingTemplate());
    EXPECT_TRUE(sheet.newTemplateBody().isEmpty());
}

namespace {

struct CommentCase {
    const char *name;
    QByteArray existing; // empty: no comment at all
    FinderMetadata::ApplyMode mode;
    QString text;
    QByteArray expected;
};

void PrintTo(const CommentCase &c, std::ostream *os)
{
    *os << c.name;
}

class ApplyComment : public testing::TestWithParam<CommentCase> {};

} // namespace

TEST_P(ApplyComment, ReplacesOrAppends)
{
    const CommentCase &c = GetParam();
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    if (!c.existing.isEmpty()) {
        ASSERT_TRUE(MetadataTestSupport::setAttribute(file, "user.xdg.comment", c.existing));
    }
    ASSERT_TRUE(MetadataTestSupport::setAttribute(file, "user.vantrel.label", "3"));
    auto state = env.makeAppState();
    state->setCommentTemplateContext(CommentTemplateContext{{file}});
    CommentTemplatePickerSheet &sheet = *state->commentTemplateSheet();
    sheet.setCustomBody(c.text);
    sheet.setMode(c.mode);

    sheet.apply();

    EXPECT_EQ(rawComment(file), c.expected);
    EXPECT_EQ(FinderMetadata::readLabel(file), 3);
    EXPECT_FALSE(state->commentTemplateContext().has_value());
    EXPECT_EQ(*state->packBanner(), (AppState::PackBanner{AppState::PackBanner::Tone::success,
                                                          QStringLiteral("Applied comment to 1 file.")}));
}

INSTANTIATE_TEST_SUITE_P(
    Modes, ApplyComment,
    testing::Values(
        CommentCase{"ReplaceOverwrites", "old", FinderMetadata::ApplyMode::replace, "Receipt", "Receipt"},
        CommentCase{"ReplaceWithNothingClears", "old", FinderMetadata::ApplyMode::replace, "", "(none)"},
        CommentCase{"AppendGoesOnANewLine", "old", FinderMetadata::ApplyMode::append, "Receipt", "old\nReceipt"},
        CommentCase{"AppendToNothingHasNoLeadingLine", {}, FinderMetadata::ApplyMode::append, "Receipt", "Receipt"},
        CommentCase{"AppendingNothingChangesNothing", "old", FinderMetadata::ApplyMode::append, "", "old"}),
    [](const testing::TestParamInfo<CommentCase> &info) { return std::string(info.param.name); });

TEST(ApplyComment, FailuresCountInTheBanner)
{
    TestEnvironment env;
    const QString good = env.makeFile(QStringLiteral("good.txt"));
    const QString locked = env.makeFile(QStringLiteral("locked.txt"));
    auto state = env.makeAppState();
    MetadataTestSupport::LockedFile lock(locked);
    ASSERT_TRUE(lock.isLocked());

    CommentTemplatePickerSheet sheet(*state, state->commentTemplateStore(), CommentTemplateContext{{good, locked}});
    sheet.setMode(FinderMetadata::ApplyMode::append);
    EXPECT_EQ(sheet.modeExplanation(),
              QStringLiteral("New text is appended on a new line, existing comments are kept."));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply to 2 files"));
    sheet.setCustomBody(QStringLiteral("Checked"));
    sheet.apply();
    EXPECT_EQ(*state->packBanner(),
              (AppState::PackBanner{AppState::PackBanner::Tone::failure,
                                    QStringLiteral("Applied to 1 · 1 failed: Operation not permitted."),
                                    {{locked, QStringLiteral("Operation not permitted")}}}));
    EXPECT_EQ(rawComment(good), QByteArray("Checked"));

    CommentWrites::applyComment(*state, QStringLiteral("x"), FinderMetadata::ApplyMode::replace, {locked});
    EXPECT_EQ(state->packBanner()->message, QStringLiteral("All 1 writes failed: Operation not permitted."));
}
