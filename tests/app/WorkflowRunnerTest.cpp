#include "app/WorkflowRunner.h"

#include "AppTestEnvironment.h"
#include "foundation/WorkflowCatalog.h"

#include <QSignalSpy>
#include <QUrl>

#include <gtest/gtest.h>

using Outcome = WorkflowRunner::Outcome;
using ran = WorkflowRunner::ran;
using malformed = WorkflowRunner::malformed;
using unknownWorkflow = WorkflowRunner::unknownWorkflow;

struct OutcomeCase {
    const char *url;
    Outcome expected;
};

void PrintTo(const OutcomeCase &c, std::ostream *os)
{
    *os << c.url;
}

class RunnerOutcomes : public ::testing::TestWithParam<OutcomeCase> {};

TEST_P(RunnerOutcomes, MatchTheGrammar)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    EXPECT_EQ(state->workflowRunner().handle(QString::fromUtf8(GetParam().url)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, RunnerOutcomes,
    ::testing::Values(OutcomeCase{"vantrel://run/tag-audit", ran{"tag-audit", 0}},
                      OutcomeCase{"VANTREL://run/tag-audit", ran{"tag-audit", 0}},
                      OutcomeCase{"vantrel://RUN/tag-audit", malformed{"expected host 'run', got RUN"}},
                      OutcomeCase{"vantrel:///git-init", malformed{"expected host 'run', got (none)"}},
                      OutcomeCase{"vantrel://run/", malformed{"missing workflow id in path"}},
                      OutcomeCase{"vantrel://run//git-init/?files=/a", ran{"git-init", 1}},
                      OutcomeCase{"vantrel://run/duplicate-reports?files=a||b", ran{"duplicate-reports", 2}},
                      OutcomeCase{"vantrel://run/duplicate-reports?files=|", ran{"duplicate-reports", 0}},
                      OutcomeCase{"vantrel://run/category-tagging?files=/a", ran{"category-tagging", 1}},
                      OutcomeCase{"vantrel://run/no-such-thing", unknownWorkflow{"no-such-thing"}},
                      OutcomeCase{"vantrel://run/tag-audit/extra", unknownWorkflow{"tag-audit/extra"}},
                      OutcomeCase{"https://example.org/x", malformed{"unsupported scheme https"}},
                      OutcomeCase{"just-text", malformed{"unsupported scheme (none)"}},
                      OutcomeCase{"file:///tmp/Pack.VANTRELPACK", ran{"import-pack", 1}},
                      OutcomeCase{"file:///tmp/notes.txt", malformed{"unsupported file extension txt"}},
                      OutcomeCase{"file:///tmp/README", malformed{"unsupported file extension "}}));

struct ContextCase {
    const char *id;
    const char *refusal;
};

void PrintTo(const ContextCase &c, std::ostream *os)
{
    *os << c.id;
}

class ContextRows : public ::testing::TestWithParam<ContextCase> {};

TEST_P(ContextRows, SetTheirContextOrRefuseAnEmptySelection)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QString id = QString::fromUtf8(GetParam().id);

    EXPECT_EQ(state->workflowRunner().handle(QStringLiteral("vantrel://run/") + id), Outcome(ran{id, 0}));
    ASSERT_TRUE(state->packBanner().has_value());
    EXPECT_EQ(state->packBanner()->tone, AppState::PackBanner::Tone::failure);
    EXPECT_EQ(state->packBanner()->message, QString::fromUtf8(GetParam().refusal));

    state->setPackBanner(std::nullopt);
    const QStringList paths{"/tmp/one", "/tmp/two|three"};
    state->runWorkflow(id, paths);
    EXPECT_FALSE(state->packBanner().has_value());
    QStringList targets;
    if (id == QLatin1String("single-tag-selector") && state->singleTagSelectorContext())
        targets = state->singleTagSelectorContext()->targets;
    if (id == QLatin1String("tag-category-selector") && state->categoryTaggingContext())
        targets = state->categoryTaggingContext()->targets;
    if (id == QLatin1String("text-comment-tools") && state->textCommentToolsContext())
        targets = state->textCommentToolsContext()->targets;
    if (id == QLatin1String("comment-templates") && state->commentTemplateContext())
        targets = state->commentTemplateContext()->targets;
    EXPECT_EQ(targets, paths);
}

INSTANTIATE_TEST_SUITE_P(
    Sheets, ContextRows,
    ::testing::Values(
        ContextCase{"single-tag-selector", "Select one or more files in Finder before running Single Tag Selector."},
        ContextCase{"tag-category-selector",
                    "Select one or more files in Finder before running Tag Category Selector."},
        ContextCase{"text-comment-tools", "Select one or more files in Finder before running Text & Comment Tools."},
        ContextCase{"comment-templates", "Select one or more files in Finder before running Comment Templates."}));

struct BannerCase {
    const char *url;
    const char *message;
};

void PrintTo(const BannerCase &c, std::ostream *os)
{
    *os << c.url;
}

class InterimRows : public ::testing::TestWithParam<BannerCase> {};

TEST_P(InterimRows, SayWhatIsMissing)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const Outcome outcome = state->workflowRunner().handle(QString::fromUtf8(GetParam().url));
    EXPECT_TRUE(std::holds_alternative<ran>(outcome));
    ASSERT_TRUE(state->packBanner().has_value());
    EXPECT_EQ(state->packBanner()->message, QString::fromUtf8(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Banners, InterimRows,
    ::testing::Values(
        BannerCase{"vantrel://run/cloud-migrate", "Cloud Migrate needs at least one selected file or folder."},
        BannerCase{"vantrel://run/route-by-config?files=",
                   "Route by Config needs at least one selected file or folder."},
        BannerCase{"vantrel://run/multi-compress", "Multi-Compress needs at least one selected file or folder."},
        BannerCase{"vantrel://run/stage-import", "Stage & Import needs at least one selected file or folder."},
        BannerCase{"vantrel://run/cloud-migrate?files=/tmp", "Cloud Migrate isn't available yet."},
        BannerCase{"vantrel://run/project-snapshot", "Project Snapshot needs a folder. Drop a folder and try again."},
        BannerCase{"vantrel://run/project-snapshot?files=/etc/passwd",
                   "Project Snapshot needs a folder, not a file."}));

TEST(WorkflowRunner, LastResortSelectsQuickActionsOnlyForWorkflowsInUse)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    QSignalSpy activations(state.get(), &AppState::activationRequested);

    EXPECT_EQ(state->workflowRunner().handle(QStringLiteral("vantrel://run/category-tagging")),
              Outcome(ran{"category-tagging", 0}));
    EXPECT_EQ(state->selection(), AppState::Destination::quickActions);
    EXPECT_FALSE(state->categoryTaggingContext().has_value());

    // A pack row that isn't installed isn't in use, so its catalogue id is unknown.
    state->setSelection(AppState::Destination::dashboard);
    EXPECT_EQ(state->workflowRunner().handle(QStringLiteral("vantrel://run/no-such-workflow")),
              Outcome(unknownWorkflow{"no-such-workflow"}));
    EXPECT_EQ(state->selection(), AppState::Destination::dashboard);
    // Both were brought to the front, also the unknown one.
    EXPECT_EQ(activations.count(), 2);
}

TEST(WorkflowRunner, AGoneStateMakesEveryIDUnknown)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    WorkflowRunner runner(state.get());
    state.reset();
    EXPECT_EQ(runner.handle(QStringLiteral("vantrel://run/tag-audit")), Outcome(unknownWorkflow{"tag-audit"}));
    EXPECT_EQ(runner.handle(QStringLiteral("vantrel://run/")), Outcome(malformed{"missing workflow id in path"}));
}

TEST(WorkflowRunner, PackFileOpensThePacksScreen)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    const QString pack = env.makeFile(QStringLiteral("Downloads/Tools.vantrelpack"), "PK");
    EXPECT_EQ(state->workflowRunner().handle(QUrl::fromLocalFile(pack).toString()), Outcome(ran{"import-pack", 1}));
    EXPECT_EQ(state->selection(), AppState::Destination::automationPacks);
}

TEST(WorkflowRunner, StrayPercentPieceReachesTheHandlerAsItStands)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    state->workflowRunner().handle(QStringLiteral("vantrel://run/comment-templates?files=/tmp/50%25ZZoff"));
    ASSERT_TRUE(state->commentTemplateContext().has_value());
    EXPECT_EQ(state->commentTemplateContext()->targets, QStringList{"/tmp/50%ZZoff"});
}
