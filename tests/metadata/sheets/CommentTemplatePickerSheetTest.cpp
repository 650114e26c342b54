#include "metadata/sheets/CommentTemplatePickerSheet.h"

#include "MetadataTestSupport.h"
#include "TestEnvironment.h"
#include "metadata/CommentTemplateStore.h"
#include "metadata/sheets/CommentWrites.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using MetadataTestSupport::rawComment;
using Banner = RecordingSessionHost::Banner;

TEST(CommentTemplatePicker, TicksRebuildTheBodyInTheStoresOrder)
{
    TestEnvironment env;
    CommentTemplateStore store;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    CommentTemplatePickerSheet sheet(env.host(), store, CommentTemplateContext{{file}});
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
    EXPECT_EQ(store.templates().size(), 2);

    sheet.setAddingTemplate(true);
    sheet.setNewTemplateName(QStringLiteral("  "));
    sheet.setNewTemplateBody(QStringLiteral("Signed copy"));
    sheet.saveNewTemplate();
    const CommentTemplate made = store.templates().last();
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
    CommentTemplateStore store;
    CommentTemplatePickerSheet sheet(env.host(), store, CommentTemplateContext{{file}});
    QSignalSpy closed(&sheet, &Session::closed);
    sheet.setCustomBody(c.text);
    sheet.setMode(c.mode);

    sheet.apply();

    EXPECT_EQ(rawComment(file), c.expected);
    EXPECT_EQ(FinderMetadata::readLabel(file), 3);
    EXPECT_TRUE(sheet.isClosed());
    EXPECT_EQ(closed.count(), 1);
    EXPECT_EQ(env.host().banner(), (Banner{false, QStringLiteral("Applied comment to 1 file."), {}}));
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
    CommentTemplateStore store;
    MetadataTestSupport::LockedFile lock(locked);
    ASSERT_TRUE(lock.isLocked());

    CommentTemplatePickerSheet sheet(env.host(), store, CommentTemplateContext{{good, locked}});
    sheet.setMode(FinderMetadata::ApplyMode::append);
    EXPECT_EQ(sheet.modeExplanation(),
              QStringLiteral("New text is appended on a new line, existing comments are kept."));
    EXPECT_EQ(sheet.applyLabel(), QStringLiteral("Apply to 2 files"));
    sheet.setCustomBody(QStringLiteral("Checked"));
    sheet.apply();
    EXPECT_EQ(env.host().banner(), (Banner{true,
                                           QStringLiteral("Applied to 1 · 1 failed: Operation not permitted."),
                                           {{locked, QStringLiteral("Operation not permitted")}}}));
    EXPECT_EQ(rawComment(good), QByteArray("Checked"));

    CommentWrites::applyComment(env.host(), QStringLiteral("x"), FinderMetadata::ApplyMode::replace, {locked});
    ASSERT_EQ(env.host().banners().size(), 2);
    EXPECT_EQ(env.host().banner()->message, QStringLiteral("All 1 writes failed: Operation not permitted."));
}
