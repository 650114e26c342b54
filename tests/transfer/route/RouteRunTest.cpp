#include "transfer/route/RouteByConfigSession.h"
#include "transfer/route/RouteRunner.h"
#include "transfer/rules/TransferProfileStore.h"

#include "TestEnvironment.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace Route;
using M = RuleMatch;
using Item = RouteResult::ItemResult;
using Session_ = RouteByConfigSession;

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

TransferRule rule(RuleMatch match, RuleAction action)
{
    return {QUuid::createUuid(), std::move(match), std::move(action)};
}

QString trashed(const TestEnvironment &env, const QString &name)
{
    return env.path(QStringLiteral(".local/share/Trash/files/") + name);
}

// One conflict answered by each of the preview's run buttons: "report.pdf" is in the folder already.
struct ButtonCase {
    const char *name;
    Session_::RunChoice choice;
    bool copyRule; // copyTo rather than moveTo
    Item expected; // urls relative to the destination folder
    QByteArray atName;
    bool sourceStays;
    bool oldInTrash;
};

void PrintTo(const ButtonCase &c, std::ostream *os)
{
    *os << c.name;
}

class RunButtons : public testing::TestWithParam<ButtonCase> {};

Item relativeTo(const Item &item, const QString &root)
{
    if (const auto *moved = std::get_if<Item::moved>(&item.value))
        return {Item::moved{moved->url.mid(root.size() + 1)}};
    if (const auto *copied = std::get_if<Item::copied>(&item.value))
        return {Item::copied{copied->url.mid(root.size() + 1)}};
    return item;
}

} // namespace

TEST_P(RunButtons, AnswerAConflictAsTheButtonSays)
{
    TestEnvironment env;
    const ButtonCase &c = GetParam();
    const QString source = env.makeFile(QStringLiteral("Downloads/report.pdf"), "new");
    const QString folder = env.makeFolder(QStringLiteral("Documents/Invoices"));
    env.makeFile(QStringLiteral("Documents/Invoices/report.pdf"), "old");

    TransferProfile profile;
    profile.name = QStringLiteral("Invoices");
    profile.rules = {rule({M::extensionEquals{{"pdf"}}}, c.copyRule
                                                             ? RuleAction{RuleAction::copyTo{"~/Documents/Invoices"}}
                                                             : RuleAction{RuleAction::moveTo{"~/Documents/Invoices"}})};
    RouteByConfigSession session(env.host(), {env.path(QStringLiteral("Downloads"))}, nullptr);
    session.pickProfile(profile);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(std::holds_alternative<Session_::previewingPlan>(session.phase()));
    session.run(c.choice);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());

    const auto *finished = std::get_if<Session_::done>(&session.phase());
    ASSERT_NE(finished, nullptr);
    ASSERT_EQ(finished->result.outcomes.size(), 1);
    EXPECT_EQ(relativeTo(finished->result.outcomes[0].result, folder), c.expected);
    EXPECT_EQ(contents(folder + QStringLiteral("/report.pdf")), c.atName);
    EXPECT_EQ(QFile::exists(source), c.sourceStays);
    EXPECT_EQ(QFile::exists(trashed(env, QStringLiteral("report.pdf"))), c.oldInTrash);
    EXPECT_EQ(finished->result.conflictPolicy, Session_::policyFor(c.choice));
}

INSTANTIATE_TEST_SUITE_P(Conflicts, RunButtons,
                         testing::Values(ButtonCase{"SkipConflictsLeavesBoth",
                                                    Session_::RunChoice::skipConflicts,
                                                    false,
                                                    {Item::skipped{"Conflict: target already exists"}},
                                                    "old",
                                                    true,
                                                    false},
                                         ButtonCase{"OverwriteSendsTheOldToTheTrash",
                                                    Session_::RunChoice::overwrite,
                                                    false,
                                                    {Item::moved{"report.pdf"}},
                                                    "new",
                                                    false,
                                                    true},
                                         ButtonCase{"CopyTakesASuffixedName",
                                                    Session_::RunChoice::copy,
                                                    true,
                                                    {Item::copied{"report -copy.pdf"}},
                                                    "old",
                                                    true,
                                                    false},
                                         ButtonCase{"MoveRunsAMoveRuleAsAMove",
                                                    Session_::RunChoice::move,
                                                    false,
                                                    {Item::moved{"report -copy.pdf"}},
                                                    "old",
                                                    false,
                                                    false},
                                         ButtonCase{"MoveTrashesTheSourceOfACopyRule",
                                                    Session_::RunChoice::move,
                                                    true,
                                                    {Item::copied{"report -copy.pdf"}},
                                                    "old",
                                                    false,
                                                    true}),
                         [](const testing::TestParamInfo<ButtonCase> &info) { return std::string(info.param.name); });

TEST(RouteRun, MakesAMissingFolderAndKeepsSkippedFilesInPlace)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("in/a.pdf"), "a");
    const QString temp = env.makeFile(QStringLiteral("in/b.tmp"), "b");
    TransferProfile profile;
    profile.rules = {rule({M::extensionEquals{{"tmp"}}}, {RuleAction::skip{}}),
                     rule({M::all{}}, {RuleAction::moveTo{"~/Sorted/Deep/Down"}})};
    RouteByConfigSession session(env.host(), {env.path(QStringLiteral("in"))}, nullptr);
    session.pickProfile(profile);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    session.run(Session_::RunChoice::copy);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    const auto &outcomes = std::get<Session_::done>(session.phase()).result.outcomes;
    ASSERT_EQ(outcomes.size(), 2);
    EXPECT_EQ(outcomes[0].result, Item{Item::moved{env.path(QStringLiteral("Sorted/Deep/Down/a.pdf"))}});
    EXPECT_EQ(outcomes[1].result, Item{Item::skipped{"Rule action: skip"}});
    EXPECT_EQ(contents(temp), "b");
}

TEST(RouteRun, AStopEndsBeforeTheNextFileWithWhatWasDone)
{
    TestEnvironment env;
    RoutePlan plan;
    for (const char *name : {"1.txt", "2.txt", "3.txt", "4.txt"}) {
        const QString file = env.makeFile(QStringLiteral("in/") + QString::fromLatin1(name), "x");
        plan.matches.append({file, {}, {ResolvedAction::moveTo{env.path(QStringLiteral("out"))}}});
    }
    std::stop_source stop;
    const RouteResult result = RouteRunner::run(
        plan, TransferEngine::skip{}, false,
        [&stop](const RunProgress &progress) {
            if (progress.processed == 1)
                stop.request_stop();
        },
        stop.get_token());
    ASSERT_EQ(result.outcomes.size(), 2);
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral("out/2.txt"))));
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral("in/3.txt"))));
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("out/3.txt"))));
}

TEST(RouteRun, AFileAlreadyInItsFolderIsNeverSentToTheTrash)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Documents/a.pdf"), "keep");
    const QString folder = env.path(QStringLiteral("Documents"));
    EXPECT_EQ(RouteRunner::fileStep(file, folder, TransferEngine::overwrite{}, RouteRunner::Verb::move),
              Item{Item::skipped{"Already in its destination folder"}});
    EXPECT_EQ(RouteRunner::fileStep(file, folder, TransferEngine::overwrite{}, RouteRunner::Verb::copy),
              Item{Item::skipped{"Already in its destination folder"}});
    EXPECT_EQ(RouteRunner::fileStep(file, folder, TransferEngine::renameWithSuffix{" -copy"}, RouteRunner::Verb::copy),
              Item{Item::copied{env.path(QStringLiteral("Documents/a -copy.pdf"))}});
    EXPECT_EQ(contents(file), "keep");
}

TEST(RouteRun, AFolderThatCantBeMadeFailsTheFileWithTheReason)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.pdf"), "a");
    env.makeFile(QStringLiteral("blocker"), "not a folder");
    const Item item = RouteRunner::fileStep(file, env.path(QStringLiteral("blocker/inside")), TransferEngine::skip{},
                                            RouteRunner::Verb::move);
    const auto *failure = std::get_if<Item::failed>(&item.value);
    ASSERT_NE(failure, nullptr);
    EXPECT_TRUE(failure->message.startsWith(QStringLiteral("Could not create destination folder: ")))
        << failure->message.toStdString();
    EXPECT_EQ(contents(file), "a");
}

TEST(RouteSession, StartsOnTheProfilesAndGoesBackWhereItCameFrom)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("in/a.pdf"), "a");
    RouteByConfigSession session(env.host(), {env.path(QStringLiteral("in"))}, nullptr);
    EXPECT_TRUE(std::holds_alternative<Session_::pickingProfile>(session.phase()));
    EXPECT_EQ(session.workingProfile().name, QStringLiteral("Untitled"));
    EXPECT_EQ(session.workingProfile().defaults, ProfileDefaults{});

    session.startAdHoc();
    EXPECT_TRUE(std::holds_alternative<Session_::editingAdHoc>(session.phase()));
    EXPECT_EQ(session.workingProfile().name, QStringLiteral("Ad-hoc rules"));
    TransferProfile rules = session.workingProfile();
    rules.rules = {rule({M::all{}}, {RuleAction::skip{}}), rule({M::any{}}, {RuleAction::skip{}})};
    session.setWorkingProfile(rules);
    session.removeRule(5);
    session.removeRule(1);
    EXPECT_EQ(session.workingProfile().rules.size(), 1);

    session.preview();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_TRUE(std::holds_alternative<Session_::previewingPlan>(session.phase()));
    session.back();
    EXPECT_TRUE(std::holds_alternative<Session_::editingAdHoc>(session.phase()));
    session.back();
    EXPECT_TRUE(std::holds_alternative<Session_::pickingProfile>(session.phase()));
}

TEST(RouteSession, IsBlockedWithoutRulesOrWithoutFiles)
{
    TestEnvironment env;
    env.makeFolder(QStringLiteral("empty"));
    RouteByConfigSession session(env.host(), {env.path(QStringLiteral("empty"))}, nullptr);
    session.startAdHoc();
    session.preview();
    ASSERT_TRUE(std::holds_alternative<Session_::failed>(session.phase()));
    EXPECT_EQ(std::get<Session_::failed>(session.phase()).message,
              QStringLiteral("“Ad-hoc rules” has no rules. Add a rule, then preview again."));

    TransferProfile profile;
    profile.rules = {rule({M::all{}}, {RuleAction::skip{}})};
    session.pickProfile(profile);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(std::holds_alternative<Session_::failed>(session.phase()));
    EXPECT_EQ(std::get<Session_::failed>(session.phase()).message, QStringLiteral("No files in the selection."));
    EXPECT_EQ(session.phaseKind(), Session::PhaseKind::failed);
}

TEST(RouteSession, CancelDuringARunStillEndsDone)
{
    TestEnvironment env;
    TransferProfile profile;
    profile.rules = {rule({M::all{}}, {RuleAction::copyTo{"~/out"}})};
    for (int i = 0; i < 400; ++i)
        env.makeFile(QStringLiteral("in/%1.bin").arg(i), QByteArray(4096, 'x'));
    RouteByConfigSession session(env.host(), {env.path(QStringLiteral("in"))}, nullptr);
    session.pickProfile(profile);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    session.run(Session_::RunChoice::copy);
    session.cancel();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    const auto *finished = std::get_if<Session_::done>(&session.phase());
    ASSERT_NE(finished, nullptr);
    EXPECT_LT(finished->result.outcomes.size(), 400);
    EXPECT_FALSE(session.isClosed()) << "a cancelled run shows what it did";
    EXPECT_EQ(QDir(env.path(QStringLiteral("out"))).entryList(QDir::Files).size(), finished->result.outcomes.size());
}

TEST(RouteSession, FindsSavedProfilesByNameOrId)
{
    TestEnvironment env;
    TransferProfileStore store;
    TransferProfile profile = TransferProfileStore::newProfile();
    profile.name = QStringLiteral("Invoices");
    ASSERT_FALSE(store.save(profile));
    RouteByConfigSession session(env.host(), {env.home()}, &store);
    const auto set = [&session](const QString &name, const QString &value) {
        for (const Session::Field &field : session.fields()) {
            if (field.name == name)
                return field.set(value);
        }
        return std::optional<QString>(QStringLiteral("no field"));
    };
    EXPECT_EQ(set(QStringLiteral("profile"), QStringLiteral("Nope")),
              QStringLiteral("No transfer profile has the id or name “Nope”."));
    EXPECT_EQ(set(QStringLiteral("profile"), profile.id.toString(QUuid::WithoutBraces).toUpper()), std::nullopt);
    EXPECT_EQ(session.workingProfile().id, profile.id);
    EXPECT_EQ(set(QStringLiteral("run"), QStringLiteral("later")),
              QStringLiteral("run is copy, move, skipConflicts or overwrite, not “later”."));
    EXPECT_EQ(session.missingFields({QStringLiteral("run")}),
              QStringLiteral("Route by Config needs --set profile=NAME|ID or --set rules=FILE; nothing was changed."));
    EXPECT_EQ(
        set(QStringLiteral("rules"), env.makeFile(QStringLiteral("bad.vantreltransfer"), "{}")).value_or("").left(20),
        QStringLiteral("“%1").arg(env.path(QStringLiteral("bad.vantreltransfer"))).left(20));
}
