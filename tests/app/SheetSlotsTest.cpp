#include "app/AppState.h"
#include "app/WorkflowRunner.h"

#include "AppTestEnvironment.h"

#include <QFile>
#include <QImage>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <sys/xattr.h>

namespace {

QByteArray rawComment(const QString &path)
{
    char buffer[256];
    const ssize_t size = ::getxattr(QFile::encodeName(path).constData(), "user.xdg.comment", buffer, sizeof buffer);
    return size < 0 ? QByteArray("(none)") : QByteArray(buffer, size);
}

} // namespace

TEST(SheetSlots, AContextMakesTheSheetAndTheSameContextKeepsIt)
{
    AppTestEnvironment env;
    const QString a = env.makeFile(QStringLiteral("a.txt"));
    const QString b = env.makeFile(QStringLiteral("b.txt"));
    auto state = env.makeAppState();
    QSignalSpy changes(state.get(), &AppState::contextsChanged);

    state->setCommentTemplateContext(CommentTemplateContext{{a}});
    QPointer<CommentTemplatePickerSheet> first = state->commentTemplateSheet();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->targets(), QStringList{a});
    state->setCommentTemplateContext(CommentTemplateContext{{a}});
    EXPECT_EQ(state->commentTemplateSheet(), first);
    EXPECT_EQ(changes.count(), 1);

    // Another selection replaces the sheet; the old model goes once the loop turns.
    state->setCommentTemplateContext(CommentTemplateContext{{b}});
    EXPECT_NE(state->commentTemplateSheet(), first);
    EXPECT_EQ(state->commentTemplateContext()->targets, QStringList{b});
    EXPECT_EQ(state->sessions(), QList<Session *>{state->commentTemplateSheet()});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(first);

    state->setCommentTemplateContext(std::nullopt);
    EXPECT_TRUE(state->sessions().isEmpty());
    EXPECT_EQ(changes.count(), 3);
}

TEST(SheetSlots, ASheetThatClosesLeavesItsSlot)
{
    AppTestEnvironment env;
    const QString a = env.makeFile(QStringLiteral("a.txt"));
    auto state = env.makeAppState();
    state->setTextCommentToolsContext(TextCommentToolsContext{{a}});
    state->setStitchSession(new StitchSession(*state, {a}));
    ASSERT_EQ(state->sessions().size(), 2);
    EXPECT_EQ(state->sessions().last(), state->stitchSession());

    state->textCommentToolsSheet()->cancel();
    EXPECT_FALSE(state->textCommentToolsContext().has_value());
    state->stitchSession()->close();
    EXPECT_EQ(state->stitchSession(), nullptr);
    EXPECT_TRUE(state->sessions().isEmpty());
}

TEST(SheetSlots, WritingTagsFromEitherSheetClosesBoth)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    auto state = env.makeAppState();
    state->setSingleTagSelectorContext(SingleTagSelectorContext{{file}});
    state->setCategoryTaggingContext(CategoryTaggingContext{{file}});
    SingleTagSelectorSheet &sheet = *state->singleTagSelectorSheet();
    const QString tag = state->categoryStore().allTags().first();
    sheet.toggle(tag);
    sheet.apply();

    EXPECT_FALSE(state->singleTagSelectorContext().has_value());
    EXPECT_FALSE(state->categoryTaggingContext().has_value());
    EXPECT_EQ(rawComment(file), tag.toUtf8());
    ASSERT_TRUE(state->packBanner().has_value());
    EXPECT_EQ(state->packBanner()->message, QStringLiteral("Applied 1 tag to 1 file."));
}

TEST(SheetSlots, ApplyTagsWithNothingToWriteClosesBothSheetsSilently)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"));
    auto state = env.makeAppState();
    state->setSingleTagSelectorContext(SingleTagSelectorContext{{file}});
    state->setCategoryTaggingContext(CategoryTaggingContext{{file}});

    state->applyTags({QStringLiteral(" "), QStringLiteral("\n")}, {file});
    EXPECT_FALSE(state->singleTagSelectorContext().has_value());
    EXPECT_FALSE(state->categoryTaggingContext().has_value());
    EXPECT_FALSE(state->packBanner().has_value());
    EXPECT_EQ(rawComment(file), QByteArray("(none)"));

    state->applyTags({QStringLiteral("Raw")}, {});
    EXPECT_FALSE(state->packBanner().has_value());
}

TEST(SheetSlots, TheStateGoesWithItsSheetsOpenAndARunUnderWay)
{
    AppTestEnvironment env;
    QImage image(400, 300, QImage::Format_RGB32);
    image.fill(Qt::blue);
    const QString picture = env.path(QStringLiteral("a.png"));
    ASSERT_TRUE(image.save(picture));
    auto state = env.makeAppState();
    state->setCategoryTaggingContext(CategoryTaggingContext{{picture}});
    auto *stitch = new StitchSession(*state, QStringList(200, picture));
    stitch->setDestinationURL(env.makeFolder(QStringLiteral("out")));
    state->setStitchSession(stitch);
    stitch->start();
    state.reset();
    EXPECT_TRUE(AppTestEnvironment::runUntilIdle());
}

TEST(SheetSlots, ProjectDetectorOpensOnTheFoldersAndRemembersWhatItFinds)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("Code/site/package.json"), "{}");
    auto state = env.makeAppState();
    state->runWorkflow(QStringLiteral("project-detector"), {env.path(QStringLiteral("Code"))});
    ProjectDetectorSession *session = state->projectDetectorSession();
    ASSERT_TRUE(session);
    EXPECT_TRUE(state->sessions().contains(session));
    EXPECT_TRUE(std::holds_alternative<ProjectDetectorSession::configuring>(session->phase()));
    session->start();
    AppTestEnvironment::runUntilIdle();
    ASSERT_TRUE(std::holds_alternative<ProjectDetectorSession::done>(session->phase()));
    ASSERT_EQ(state->recentProjects().entries().size(), 1);
    // A later start of the application reads the same list back.
    EXPECT_EQ(env.makeAppState()->recentProjects().entries(), state->recentProjects().entries());

    // With nothing chosen the sheet says what it needs at once.
    state->workflowRunner().handle(QStringLiteral("vantrel://run/project-detector"));
    ASSERT_TRUE(state->projectDetectorSession());
    EXPECT_NE(state->projectDetectorSession(), session);
    EXPECT_EQ(state->projectDetectorSession()->phase(),
              ProjectDetectorSession::Phase(ProjectDetectorSession::failed{
                  QStringLiteral("Project Detector needs a folder to scan. Pick one and try again.")}));
}

TEST(SheetSlots, StageImportOpensOnTheSelectionAndPlansIntoARecentProject)
{
    AppTestEnvironment env;
    env.makeFile(QStringLiteral("Code/tool/Cargo.toml"), "[package]");
    const QString crate = env.path(QStringLiteral("Code/tool"));
    const QString notes = env.makeFile(QStringLiteral("Downloads/notes.md"), "md");
    auto state = env.makeAppState();
    state->runWorkflow(QStringLiteral("stage-import"), {notes});
    StageImportSession *session = state->stageImportSession();
    ASSERT_TRUE(session);
    EXPECT_TRUE(state->sessions().contains(session));
    EXPECT_EQ(session->sources(), QStringList{notes});
    session->choose(crate);
    ASSERT_TRUE(std::holds_alternative<StageImportSession::planning>(session->phase()));
    // Choosing the project puts it first in Recent Projects for the next time.
    ASSERT_EQ(state->recentProjects().entries().size(), 1);
    EXPECT_EQ(state->recentProjects().entries().first().rootURL, crate);
    EXPECT_EQ(std::get<StageImportSession::planning>(session->phase()).plan.entries.first().suggested.label,
              QStringLiteral("Documentation alongside crate"));
}
