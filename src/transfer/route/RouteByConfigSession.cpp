#include "transfer/route/RouteByConfigSession.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/SessionHost.h"
#include "platform/RegularFile.h"
#include "transfer/route/RoutePlanner.h"
#include "transfer/route/RouteRunner.h"
#include "transfer/rules/TransferProfileCodec.h"
#include "transfer/rules/TransferProfileStore.h"

#include <QFileInfo>
#include <QJsonArray>

using namespace Route;

namespace {

struct ChoiceInfo {
    RouteByConfigSession::RunChoice choice;
    const char *raw;
    const char *label;
};

constexpr std::array<ChoiceInfo, 4> choices{{
    {RouteByConfigSession::RunChoice::skipConflicts, "skipConflicts", "Skip conflicts"},
    {RouteByConfigSession::RunChoice::overwrite, "overwrite", "Overwrite"},
    {RouteByConfigSession::RunChoice::copy, "copy", "Run Rule – Copy"},
    {RouteByConfigSession::RunChoice::move, "move", "Run Rule – Move"},
}};

const QString runSuffix = QStringLiteral(" -copy");

TransferProfile blankProfile(const QString &name)
{
    TransferProfile profile;
    profile.id = QUuid::createUuid();
    profile.name = name;
    profile.createdAt = profile.updatedAt = QDateTime::currentDateTimeUtc();
    return profile;
}

QJsonObject actionJson(const ResolvedAction &action)
{
    if (const auto *move = std::get_if<ResolvedAction::moveTo>(&action.value))
        return {{QStringLiteral("case"), QStringLiteral("moveTo")}, {QStringLiteral("url"), move->url}};
    if (const auto *copy = std::get_if<ResolvedAction::copyTo>(&action.value))
        return {{QStringLiteral("case"), QStringLiteral("copyTo")}, {QStringLiteral("url"), copy->url}};
    return {{QStringLiteral("case"), QStringLiteral("skip")}};
}

QJsonObject resultJson(const RouteResult::ItemResult &item)
{
    using I = RouteResult::ItemResult;
    if (const auto *moved = std::get_if<I::moved>(&item.value))
        return {{QStringLiteral("case"), QStringLiteral("moved")}, {QStringLiteral("url"), moved->url}};
    if (const auto *copied = std::get_if<I::copied>(&item.value))
        return {{QStringLiteral("case"), QStringLiteral("copied")}, {QStringLiteral("url"), copied->url}};
    if (const auto *skipped = std::get_if<I::skipped>(&item.value))
        return {{QStringLiteral("case"), QStringLiteral("skipped")}, {QStringLiteral("reason"), skipped->reason}};
    return {{QStringLiteral("case"), QStringLiteral("failed")},
            {QStringLiteral("message"), std::get<I::failed>(item.value).message}};
}

QJsonObject planJson(const RoutePlan &plan)
{
    QJsonArray matches;
    for (const RoutePlan::Match &match : plan.matches) {
        matches.append(QJsonObject{{QStringLiteral("source"), match.source},
                                   {QStringLiteral("rule"), match.rule.id.toString(QUuid::WithoutBraces).toUpper()},
                                   {QStringLiteral("action"), actionJson(match.action)}});
    }
    return {{QStringLiteral("profile"), plan.profile.name},
            {QStringLiteral("matches"), matches},
            {QStringLiteral("unmatchedCount"), plan.unmatchedCount},
            {QStringLiteral("totalFileCount"), plan.totalFileCount},
            {QStringLiteral("totalMatchedBytes"), double(plan.totalMatchedBytes)}};
}

QJsonObject countsJson(const RunProgress &counts)
{
    return {{QStringLiteral("moved"), counts.moved},
            {QStringLiteral("copied"), counts.copied},
            {QStringLiteral("skipped"), counts.skipped},
            {QStringLiteral("failed"), counts.failed}};
}

QStringList previewLines(const RoutePlan &plan)
{
    QStringList lines{QStringLiteral("%1 of %2 files matched · %3 matched size")
                          .arg(plan.matches.size())
                          .arg(plan.totalFileCount)
                          .arg(ByteCountFormatter::format(quint64(std::max<qint64>(plan.totalMatchedBytes, 0))))};
    for (const RouteRow &row : RoutePlanner::routes(plan)) {
        lines.append(QStringLiteral("%1 · %2 · %3")
                         .arg(RoutePlanner::rowTitle(row), RoutePlanner::rowCount(row), RoutePlanner::rowNames(row)));
    }
    if (const QString unmatched = RoutePlanner::unmatchedLine(plan); !unmatched.isEmpty())
        lines.append(unmatched);
    return lines;
}

} // namespace

QList<RouteByConfigSession::RunChoice> RouteByConfigSession::allRunChoices()
{
    return {RunChoice::skipConflicts, RunChoice::overwrite, RunChoice::copy, RunChoice::move};
}

QString RouteByConfigSession::label(RunChoice choice)
{
    return QString::fromUtf8(choices[std::size_t(choice)].label);
}

QString RouteByConfigSession::toString(RunChoice choice)
{
    return QString::fromLatin1(choices[std::size_t(choice)].raw);
}

std::optional<RouteByConfigSession::RunChoice> RouteByConfigSession::runChoiceFromString(const QString &raw)
{
    for (const ChoiceInfo &info : choices) {
        if (raw == QLatin1String(info.raw))
            return info.choice;
    }
    return std::nullopt;
}

TransferEngine::ConflictPolicy RouteByConfigSession::policyFor(RunChoice choice)
{
    // The button decides, never the profile's defaults: what the user pressed is what happens.
    switch (choice) {
    case RunChoice::skipConflicts:
        return TransferEngine::skip{};
    case RunChoice::overwrite:
        return TransferEngine::overwrite{};
    case RunChoice::copy:
    case RunChoice::move:
        break;
    }
    return TransferEngine::renameWithSuffix{runSuffix};
}

RouteByConfigSession::RouteByConfigSession(SessionHost &host, QStringList sources, TransferProfileStore *store,
                                           QObject *parent)
    : Session(host, std::move(sources), parent), store(store), working(blankProfile(QStringLiteral("Untitled")))
{
}

RouteByConfigSession::~RouteByConfigSession() = default;

void RouteByConfigSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
    emit changed();
}

void RouteByConfigSession::setWorkingProfile(const TransferProfile &profile)
{
    if (working == profile)
        return;
    working = profile;
    emit workingProfileChanged();
}

QList<TransferProfile> RouteByConfigSession::savedProfiles() const
{
    return store ? store->profiles() : QList<TransferProfile>{};
}

void RouteByConfigSession::setClock(std::function<QDateTime()> clock)
{
    now = std::move(clock);
}

void RouteByConfigSession::pickProfile(const TransferProfile &profile)
{
    setWorkingProfile(profile);
    before = pickingProfile{};
    preview();
}

void RouteByConfigSession::startAdHoc()
{
    TransferProfile adHoc = blankProfile(QStringLiteral("Ad-hoc rules"));
    setWorkingProfile(adHoc);
    before = editingAdHoc{};
    setPhase(editingAdHoc{});
}

void RouteByConfigSession::removeRule(qsizetype at)
{
    if (at < 0 || at >= working.rules.size())
        return;
    TransferProfile edited = working;
    edited.rules.removeAt(at);
    setWorkingProfile(edited);
}

void RouteByConfigSession::preview()
{
    if (isRunning())
        return;
    if (std::holds_alternative<editingAdHoc>(current))
        before = editingAdHoc{};
    // Nothing to route, or nothing to route by: said at once rather than shown as an empty plan.
    if (working.rules.isEmpty()) {
        setPhase(failed{QStringLiteral("“%1” has no rules. Add a rule, then preview again.").arg(working.name)});
        return;
    }
    const TransferProfile profile = working;
    const QStringList files = sources();
    const QDateTime instant = now();
    planning = true;
    emit changed();
    runTask<RoutePlan>(
        [profile, files, instant](std::stop_token stop) { return RoutePlanner::plan(profile, files, instant, stop); },
        [this](const RoutePlan &plan) {
            planning = false;
            // A plan cut short by Cancel is no plan: the sheet stays where it was.
            if (std::exchange(planCancelled, false)) {
                emit changed();
                return;
            }
            if (plan.totalFileCount == 0) {
                pendingRun.reset();
                setPhase(failed{QStringLiteral("No files in the selection.")});
                return;
            }
            setPhase(previewingPlan{plan});
            if (const auto choice = std::exchange(pendingRun, std::nullopt))
                run(*choice);
        });
}

void RouteByConfigSession::run(const RoutePlan &plan, const TransferEngine::ConflictPolicy &conflictPolicy,
                               bool trashCopiedSources)
{
    if (isRunning())
        return;
    const RoutePlan planned = plan; // `plan` may live in the phase replaced below
    setPhase(running{{0, int(planned.matches.size()), std::nullopt, 0, 0, 0, 0}});
    runTask<RouteResult>(
        [this, plan = planned, conflictPolicy, trashCopiedSources](std::stop_token stop) {
            const auto publish = [this](const RunProgress &progress) {
                post([this, progress] {
                    if (std::holds_alternative<running>(current))
                        setPhase(running{progress});
                });
            };
            return RouteRunner::run(plan, conflictPolicy, trashCopiedSources, publish, stop);
        },
        [this](const RouteResult &result) { setPhase(done{result}); });
}

void RouteByConfigSession::run(RunChoice choice)
{
    const auto *shown = std::get_if<previewingPlan>(&current);
    if (!shown)
        return;
    // A copy: the phase that holds the plan is replaced as the run starts.
    const RoutePlan plan = shown->plan;
    run(plan, policyFor(choice), choice == RunChoice::move);
}

void RouteByConfigSession::back()
{
    if (std::holds_alternative<previewingPlan>(current) || std::holds_alternative<failed>(current))
        setPhase(before);
    else if (std::holds_alternative<editingAdHoc>(current))
        setPhase(pickingProfile{});
}

void RouteByConfigSession::cancel()
{
    // A run stops before its next file and still reaches `done` with what it did; with nothing running
    // the sheet closes.
    pendingRun.reset();
    if (planning)
        planCancelled = true;
    Session::cancel();
}

QString RouteByConfigSession::failedTitle()
{
    return QStringLiteral("Routing blocked");
}

QString RouteByConfigSession::countsLine(const RunProgress &counts)
{
    return QStringLiteral("%1 moved · %2 copied · %3 skipped · %4 failed")
        .arg(counts.moved)
        .arg(counts.copied)
        .arg(counts.skipped)
        .arg(counts.failed);
}

QString RouteByConfigSession::title() const
{
    return QStringLiteral("Route by Config");
}

std::optional<QString> RouteByConfigSession::chooseProfile(const QString &nameOrID)
{
    if (!store)
        return QStringLiteral("No transfer profile has the id or name “%1”.").arg(nameOrID);
    QString refusal;
    const std::optional<TransferProfile> found = store->find(nameOrID, &refusal);
    if (!found)
        return refusal;
    setWorkingProfile(*found);
    before = pickingProfile{};
    return std::nullopt;
}

std::optional<QString> RouteByConfigSession::readRules(const QString &file)
{
    const RegularFile::Read read = RegularFile::read(file, TransferProfileStore::importLimitBytes - 1);
    if (read.failure == RegularFile::Failure::tooLarge)
        return QStringLiteral("“%1” can't be read as rules: the file is larger than 5 MB.").arg(file);
    if (!read.ok())
        return QStringLiteral("“%1” can't be read as rules: %2").arg(file, read.reason);
    QString reason;
    const std::optional<TransferProfile> profile = TransferProfileCodec::decode(read.bytes, &reason);
    if (!profile)
        return QStringLiteral("“%1” can't be read as rules: %2").arg(file, reason);
    TransferProfile adHoc = blankProfile(QStringLiteral("Ad-hoc rules"));
    adHoc.rules = profile->rules;
    setWorkingProfile(adHoc);
    before = editingAdHoc{};
    return std::nullopt;
}

QList<Session::Field> RouteByConfigSession::fields()
{
    return {
        {QStringLiteral("profile"), QStringLiteral("NAME|ID"),
         [this](const QString &value) { return chooseProfile(value); }, true},
        {QStringLiteral("rules"), QStringLiteral("FILE"),
         [this](const QString &value) { return readRules(QFileInfo(value).absoluteFilePath()); }, true},
        {QStringLiteral("run"), QStringLiteral("copy, move, skipConflicts or overwrite"),
         [this](const QString &value) -> std::optional<QString> {
             const auto choice = runChoiceFromString(value);
             if (!choice)
                 return QStringLiteral("run is copy, move, skipConflicts or overwrite, not “%1”.").arg(value);
             pendingRun = choice;
             return std::nullopt;
         }},
    };
}

std::optional<QString> RouteByConfigSession::missingFields(const QStringList &set)
{
    if (set.contains(QStringLiteral("profile")) || set.contains(QStringLiteral("rules")))
        return std::nullopt;
    return QStringLiteral("Route by Config needs --set profile=NAME|ID or --set rules=FILE; nothing was changed.");
}

std::optional<QString> RouteByConfigSession::perform()
{
    preview();
    return std::nullopt;
}

std::optional<QString> RouteByConfigSession::planOnly()
{
    pendingRun.reset();
    preview();
    return std::nullopt;
}

Session::PhaseKind RouteByConfigSession::phaseKind() const
{
    if (std::holds_alternative<running>(current))
        return PhaseKind::running;
    // The plan is what a run without `run` asked for: it ends there.
    if (std::holds_alternative<done>(current) || std::holds_alternative<previewingPlan>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

bool RouteByConfigSession::anyItemFailed() const
{
    const auto *finished = std::get_if<done>(&current);
    return finished && RouteRunner::tally(finished->result.outcomes).failed > 0;
}

QJsonObject RouteByConfigSession::toJson() const
{
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("route-by-config")}};
    if (const auto *shown = std::get_if<previewingPlan>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("previewingPlan"));
        object.insert(QStringLiteral("plan"), planJson(shown->plan));
    } else if (const auto *finished = std::get_if<done>(&current)) {
        QJsonArray outcomes;
        for (const RouteResult::Outcome &outcome : finished->result.outcomes) {
            outcomes.append(QJsonObject{{QStringLiteral("source"), outcome.source},
                                        {QStringLiteral("result"), resultJson(outcome.result)}});
        }
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(
            QStringLiteral("result"),
            QJsonObject{{QStringLiteral("plan"), planJson(finished->result.plan)},
                        {QStringLiteral("outcomes"), outcomes},
                        {QStringLiteral("conflictPolicy"), TransferEngine::toString(finished->result.conflictPolicy)},
                        {QStringLiteral("counts"), countsJson(RouteRunner::tally(finished->result.outcomes))}});
    } else if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
    } else if (std::holds_alternative<running>(current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("running"));
    } else {
        object.insert(QStringLiteral("phase"), std::holds_alternative<editingAdHoc>(current)
                                                   ? QStringLiteral("editingAdHoc")
                                                   : QStringLiteral("pickingProfile"));
    }
    return object;
}

QStringList RouteByConfigSession::describe() const
{
    if (const auto *shown = std::get_if<previewingPlan>(&current))
        return previewLines(shown->plan);
    if (const auto *finished = std::get_if<done>(&current)) {
        QStringList lines{countsLine(RouteRunner::tally(finished->result.outcomes))};
        for (const RouteResult::Outcome &outcome : finished->result.outcomes) {
            const QJsonObject item = resultJson(outcome.result);
            if (item.value(QStringLiteral("case")) == QLatin1String("failed"))
                lines.append(QStringLiteral("Failed: %1: %2")
                                 .arg(outcome.source, item.value(QStringLiteral("message")).toString()));
        }
        return lines;
    }
    if (const auto *failure = std::get_if<failed>(&current))
        return {QStringLiteral("%1: %2").arg(failedTitle(), failure->message)};
    return {QStringLiteral("Not started.")};
}
