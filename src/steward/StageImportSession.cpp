#include "steward/StageImportSession.h"

#include "foundation/ByteCountFormatter.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "steward/RecentProjectsStore.h"

#include <QDir>
#include <QJsonArray>

using namespace StageImport;

namespace {

QJsonValue optionalJson(const std::optional<QString> &text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

QJsonObject planJson(const Plan &plan)
{
    QJsonArray entries;
    for (const Entry &entry : plan.entries) {
        entries.append(QJsonObject{{QStringLiteral("source"), entry.source},
                                   {QStringLiteral("sizeBytes"), double(entry.sizeBytes)},
                                   {QStringLiteral("category"), StageRouting::toString(entry.category)},
                                   {QStringLiteral("suggested"),
                                    QJsonObject{{QStringLiteral("relativeSubpath"), entry.suggested.relativeSubpath},
                                                {QStringLiteral("label"), entry.suggested.label}}},
                                   {QStringLiteral("overrideSubpath"), optionalJson(entry.overrideSubpath)},
                                   {QStringLiteral("effectiveSubpath"), entry.effectiveSubpath()}});
    }
    return {{QStringLiteral("project"), QJsonObject{{QStringLiteral("kind"), ProjectKinds::toString(plan.project.kind)},
                                                    {QStringLiteral("projectRoot"), plan.project.projectRoot}}},
            {QStringLiteral("entries"), entries}};
}

QJsonObject resultJson(const Result &result)
{
    QJsonArray failures;
    for (const FailedItem &item : result.failedItems)
        failures.append(QJsonObject{{QStringLiteral("source"), item.source}, {QStringLiteral("reason"), item.reason}});
    return {{QStringLiteral("projectRoot"), result.projectRoot},
            {QStringLiteral("stagedCount"), result.stagedCount},
            {QStringLiteral("trashedCount"), result.trashedCount},
            {QStringLiteral("renamedCount"), result.renamedCount},
            {QStringLiteral("failedItems"), failures},
            {QStringLiteral("elapsed"), result.elapsed},
            {QStringLiteral("firstDestination"), optionalJson(result.firstDestination)}};
}

std::optional<bool> truth(const QString &value)
{
    if (value != QLatin1String("true") && value != QLatin1String("false"))
        return std::nullopt;
    return value == QLatin1String("true");
}

} // namespace

StageImportSession::StageImportSession(SessionHost &host, QStringList sources, RecentProjectsStore *recentProjects,
                                       QObject *parent)
    : Session(host, std::move(sources), parent), recent(recentProjects)
{
}

StageImportSession::~StageImportSession() = default;

void StageImportSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
    emit changed();
}

void StageImportSession::setClock(std::function<QDate()> clock)
{
    today = std::move(clock);
}

void StageImportSession::choose(const QString &projectRoot)
{
    if (isRunning())
        return;
    const QString folder = QDir::cleanPath(NativeNames::absolutePath(projectRoot));
    const std::optional<ProjectStructure> structure = ProjectStructure::detect(folder);
    refused.reset();
    if (!structure) {
        setPhase(failed{noProjectMessage(folder)});
        return;
    }
    Plan made = plan(sources(), *structure);
    for (auto pending = pendingOverrides.cbegin(); pending != pendingOverrides.cend(); ++pending) {
        if (pending.key() < made.entries.size())
            made.entries[pending.key()].overrideSubpath = pending.value();
    }
    pendingOverrides.clear();
    if (recent)
        recent->record(*structure);
    setPhase(planning{made});
}

void StageImportSession::updateOverride(qsizetype entry, const std::optional<QString> &subpath)
{
    const auto *shown = std::get_if<planning>(&current);
    if (!shown || entry < 0 || entry >= shown->plan.entries.size())
        return;
    Plan edited = shown->plan;
    // Typing the suggestion back, or clearing the field, is the suggestion again.
    const bool own = subpath && !subpath->isEmpty() && *subpath != edited.entries[entry].suggested.relativeSubpath;
    edited.entries[entry].overrideSubpath = own ? subpath : std::nullopt;
    setPhase(planning{edited});
}

std::optional<QString> StageImportSession::refusal(const QString &subpath) const
{
    if (const auto *shown = std::get_if<planning>(&current))
        return StageImport::refusal(subpath, shown->plan.project);
    return std::nullopt;
}

void StageImportSession::execute()
{
    const auto *shown = std::get_if<planning>(&current);
    if (!shown || isRunning())
        return;
    const Plan planned = shown->plan; // the phase holding it is replaced below
    if (auto refusedText = StageImport::refusal(planned)) {
        refused = planned;
        setPhase(failed{*refusedText});
        return;
    }
    const Options options{move, comment, today()};
    setPhase(executing{{0, int(planned.entries.size()), std::nullopt}});
    runTask<Result>(
        [this, planned, options](std::stop_token stop) {
            const auto publish = [this](const Progress &progress) {
                post([this, progress] {
                    if (std::holds_alternative<executing>(current))
                        setPhase(executing{progress});
                });
            };
            return StageImport::run(planned, options, publish, stop);
        },
        [this](const Result &result) { setPhase(done{result}); });
}

void StageImportSession::back()
{
    if (isRunning())
        return;
    if (std::holds_alternative<failed>(current) && refused) {
        const Plan plan = *std::exchange(refused, std::nullopt);
        setPhase(planning{plan});
    } else if (std::holds_alternative<planning>(current) || std::holds_alternative<failed>(current)) {
        setPhase(picking{});
    }
}

void StageImportSession::cancel()
{
    // A run stops before its next file and still reaches `done` with what it did.
    Session::cancel();
}

QString StageImportSession::title() const
{
    return QStringLiteral("Stage & Import");
}

std::optional<QString> StageImportSession::setOverrideField(const QString &value)
{
    const qsizetype colon = value.indexOf(QLatin1Char(':'));
    bool number = false;
    const qsizetype entry = colon > 0 ? value.left(colon).toLongLong(&number) : 0;
    if (!number || entry < 1 || entry > sources().size())
        return QStringLiteral("override is N:SUBPATH, N the number of a selected file from 1 to %1, not “%2”.")
            .arg(sources().size())
            .arg(value);
    const QString subpath = value.mid(colon + 1);
    if (std::holds_alternative<planning>(current))
        updateOverride(entry - 1, subpath);
    else
        pendingOverrides.insert(entry - 1, subpath);
    return std::nullopt;
}

QList<Session::Field> StageImportSession::fields()
{
    const auto toggle = [this](const QString &name, void (StageImportSession::*set)(bool)) -> Field {
        return {name, QStringLiteral("true or false"),
                [this, name, set](const QString &value) -> std::optional<QString> {
                    const auto on = truth(value);
                    if (!on)
                        return QStringLiteral("%1 is true or false, not “%2”.").arg(name, value);
                    (this->*set)(*on);
                    return std::nullopt;
                }};
    };
    return {
        {QStringLiteral("project"), QStringLiteral("DIR"),
         [this](const QString &value) -> std::optional<QString> {
             choose(value);
             return std::nullopt;
         },
         true},
        toggle(QStringLiteral("moveMode"), &StageImportSession::setMoveMode),
        toggle(QStringLiteral("addFinderComment"), &StageImportSession::setAddFinderComment),
        {QStringLiteral("override"), QStringLiteral("N:SUBPATH"),
         [this](const QString &value) { return setOverrideField(value); }},
    };
}

std::optional<QString> StageImportSession::missingFields(const QStringList &set)
{
    if (set.contains(QStringLiteral("project")))
        return std::nullopt;
    return QStringLiteral("Stage & Import needs --set project=DIR; nothing was changed.");
}

std::optional<QString> StageImportSession::perform()
{
    // A project without markers already failed with its own words; there is nothing to stage into.
    execute();
    return std::nullopt;
}

Session::PhaseKind StageImportSession::phaseKind() const
{
    if (std::holds_alternative<executing>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

bool StageImportSession::anyItemFailed() const
{
    const auto *finished = std::get_if<done>(&current);
    return finished && !finished->result.failedItems.isEmpty();
}

QJsonObject StageImportSession::toJson() const
{
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("stage-import")},
                       {QStringLiteral("sources"), QJsonArray::fromStringList(sources())},
                       {QStringLiteral("moveMode"), move},
                       {QStringLiteral("addFinderComment"), comment}};
    if (const auto *shown = std::get_if<planning>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("planning"));
        object.insert(QStringLiteral("plan"), planJson(shown->plan));
    } else if (const auto *copying = std::get_if<executing>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("executing"));
        object.insert(QStringLiteral("progress"),
                      QJsonObject{{QStringLiteral("processed"), copying->progress.processed},
                                  {QStringLiteral("total"), copying->progress.total},
                                  {QStringLiteral("currentFile"), optionalJson(copying->progress.currentFile)}});
    } else if (const auto *finished = std::get_if<done>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("result"), resultJson(finished->result));
    } else if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
        if (refused)
            object.insert(QStringLiteral("plan"), planJson(*refused));
    } else {
        object.insert(QStringLiteral("phase"), QStringLiteral("picking"));
    }
    return object;
}

QStringList StageImportSession::describe() const
{
    if (const auto *shown = std::get_if<planning>(&current)) {
        const Plan &plan = shown->plan;
        QStringList lines{
            QStringLiteral("Into %1 (%2):")
                .arg(Paths::displayPath(plan.project.projectRoot), ProjectKinds::toString(plan.project.kind))};
        for (const Entry &entry : plan.entries) {
            lines.append(
                QStringLiteral("%1 · %2 · %3 · %4 → %5/")
                    .arg(NativeNames::display(entry.source.mid(entry.source.lastIndexOf(QLatin1Char('/')) + 1)),
                         StageRouting::toString(entry.category), ByteCountFormatter::format(entry.sizeBytes),
                         entry.suggested.label, entry.effectiveSubpath()));
        }
        if (const auto refusedText = StageImport::refusal(plan))
            lines.append(*refusedText);
        return lines;
    }
    if (const auto *finished = std::get_if<done>(&current)) {
        const Result &result = finished->result;
        QStringList lines{QStringLiteral("%1 staged · %2 renamed · %3 trashed · %4 failed")
                              .arg(result.stagedCount)
                              .arg(result.renamedCount)
                              .arg(result.trashedCount)
                              .arg(result.failedItems.size())};
        for (const FailedItem &item : result.failedItems)
            lines.append(QStringLiteral("Failed: %1: %2").arg(NativeNames::display(item.source), item.reason));
        return lines;
    }
    if (const auto *failure = std::get_if<failed>(&current))
        return {failure->message};
    if (std::holds_alternative<executing>(current))
        return {QStringLiteral("Staging…")};
    return {QStringLiteral("No project chosen.")};
}
