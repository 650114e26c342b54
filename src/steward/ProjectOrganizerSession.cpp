#include "steward/ProjectOrganizerSession.h"

#include "platform/NativeNames.h"
#include "platform/Paths.h"

#include <QDir>
#include <QJsonArray>

#include <algorithm>

namespace {

using namespace ProjectOrganizing;

QString nameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QJsonObject planJson(const Plan &plan, const QSet<QString> &selected)
{
    QJsonArray files;
    for (const PlannedFile &file : plan.files) {
        files.append(QJsonObject{{QStringLiteral("source"), file.source},
                                 {QStringLiteral("sizeBytes"), double(file.sizeBytes)},
                                 {QStringLiteral("category"), toString(file.category)}});
    }
    QJsonArray groups;
    for (const Group &group : whatGoesWhere(plan, selected)) {
        groups.append(QJsonObject{{QStringLiteral("category"), toString(group.category)},
                                  {QStringLiteral("folder"), group.folder},
                                  {QStringLiteral("count"), group.count}});
    }
    return {{QStringLiteral("projectRoot"), plan.projectRoot},
            {QStringLiteral("projectKind"), ProjectKinds::toString(plan.projectKind)},
            {QStringLiteral("containerURL"), plan.containerURL},
            {QStringLiteral("containerWasCreated"), plan.containerWasCreated},
            {QStringLiteral("files"), files},
            {QStringLiteral("whatGoesWhere"), groups}};
}

QJsonObject resultJson(const Result &result)
{
    QJsonArray failures;
    for (const FailedItem &item : result.failedItems) {
        failures.append(QJsonObject{{QStringLiteral("source"), item.source}, {QStringLiteral("reason"), item.reason}});
    }
    return {{QStringLiteral("containerURL"), result.containerURL},
            {QStringLiteral("copiedCount"), result.copiedCount},
            {QStringLiteral("movedCount"), result.movedCount},
            {QStringLiteral("skippedCount"), result.skippedCount},
            {QStringLiteral("renamedCount"), result.renamedCount},
            {QStringLiteral("failedItems"), failures},
            {QStringLiteral("elapsed"), result.elapsed}};
}

} // namespace

ProjectOrganizerSession::ProjectOrganizerSession(SessionHost &host, DetectedProject project,
                                                 const QList<LooseFile> &looseFiles, QObject *parent)
    : Session(host, {project.structure.projectRoot}, parent), detected(std::move(project)),
      planned(ProjectOrganizing::plan(detected.structure, looseFiles)), current(planning{planned})
{
    for (const PlannedFile &file : planned.files)
        selected.insert(file.source);
}

ProjectOrganizerSession::~ProjectOrganizerSession() = default;

std::variant<ProjectOrganizerSession::DetectedProject, QString>
ProjectOrganizerSession::findProject(const ProjectDetection::ScanResults &results, const QString &rootOrName)
{
    const QString root = QDir::cleanPath(rootOrName);
    QList<DetectedProject> named;
    for (const DetectedProject &project : results.projects) {
        if (project.structure.projectRoot == root)
            return project;
        if (nameOf(project.structure.projectRoot) == rootOrName)
            named.append(project);
    }
    if (named.size() == 1)
        return named.first();
    if (named.isEmpty())
        return QStringLiteral("Project Detector found no project “%1”.").arg(rootOrName);
    QStringList roots;
    for (const DetectedProject &project : named)
        roots.append(Paths::displayPath(project.structure.projectRoot));
    return QStringLiteral("“%1” names %2 projects: %3. Give the project's root path instead.")
        .arg(rootOrName)
        .arg(named.size())
        .arg(roots.join(QStringLiteral(", ")));
}

void ProjectOrganizerSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
    emit changed();
}

void ProjectOrganizerSession::setMoveMode(bool move)
{
    if (!std::holds_alternative<planning>(current))
        return;
    setField(moving, move);
}

void ProjectOrganizerSession::setSelectedSources(const QSet<QString> &sources)
{
    // Only the plan's own files can be ticked, and only before the run.
    QSet<QString> kept;
    for (const PlannedFile &file : planned.files) {
        if (sources.contains(file.source))
            kept.insert(file.source);
    }
    if (!std::holds_alternative<planning>(current) || kept == selected)
        return;
    selected = kept;
    emit selectionChanged();
    emit changed();
}

void ProjectOrganizerSession::setTicked(const QString &source, bool ticked)
{
    QSet<QString> next = selected;
    if (ticked)
        next.insert(source);
    else
        next.remove(source);
    setSelectedSources(next);
}

void ProjectOrganizerSession::execute()
{
    if (!std::holds_alternative<planning>(current) || isRunning())
        return;
    // The task works from copies: the sheet may be dismissed while it runs.
    const Plan plan = planned;
    const QSet<QString> ticked = selected;
    const bool move = moving;
    const auto total = std::count_if(plan.files.cbegin(), plan.files.cend(),
                                     [&ticked](const PlannedFile &file) { return ticked.contains(file.source); });
    setPhase(executing{{0, int(total), std::nullopt}});
    using Outcome = std::variant<Result, QString>;
    runTask<Outcome>(
        [this, plan, ticked, move](std::stop_token stop) {
            const auto publish = [this](const Progress &progress) {
                post([this, progress] {
                    if (std::holds_alternative<executing>(current))
                        setPhase(executing{progress});
                });
            };
            return ProjectOrganizing::run(plan, ticked, move, publish, stop);
        },
        [this](const Outcome &outcome) {
            if (const auto *result = std::get_if<Result>(&outcome))
                setPhase(done{*result});
            else
                setPhase(failed{std::get<QString>(outcome)});
        });
}

QString ProjectOrganizerSession::headline() const
{
    return QStringLiteral("Group loose files into typed folders next to %1.")
        .arg(NativeNames::display(nameOf(detected.structure.projectRoot)));
}

QString ProjectOrganizerSession::containerNote() const
{
    if (planned.containerWasCreated)
        return QStringLiteral("The container folder will be created next to your project so the editor's managed "
                              "folders are never touched.");
    return QStringLiteral("Reusing the loose files' shared parent folder — no extra nesting needed.");
}

QString ProjectOrganizerSession::emptyGroupsHint()
{
    return QStringLiteral("Tick files above to see them grouped here.");
}

QString ProjectOrganizerSession::countsLine(const Result &result)
{
    return QStringLiteral("%1 copied · %2 moved · %3 skipped · %4 renamed · %5 failed")
        .arg(result.copiedCount)
        .arg(result.movedCount)
        .arg(result.skippedCount)
        .arg(result.renamedCount)
        .arg(result.failedItems.size());
}

QString ProjectOrganizerSession::title() const
{
    return QStringLiteral("Project Organizer");
}

std::optional<QString> ProjectOrganizerSession::selectByName(const QString &value)
{
    QSet<QString> chosen;
    for (const QString &name : listValue(value)) {
        const auto file = std::find_if(planned.files.cbegin(), planned.files.cend(), [&name](const PlannedFile &f) {
            return nameOf(f.source) == name || NativeNames::display(nameOf(f.source)) == name;
        });
        if (file == planned.files.cend()) {
            QStringList names;
            for (const PlannedFile &f : planned.files)
                names.append(NativeNames::display(nameOf(f.source)));
            return QStringLiteral("“%1” isn't one of the loose files of %2: %3.")
                .arg(name, NativeNames::display(nameOf(detected.structure.projectRoot)),
                     names.isEmpty() ? QStringLiteral("it has none") : names.join(QStringLiteral(", ")));
        }
        chosen.insert(file->source);
    }
    setSelectedSources(chosen);
    return std::nullopt;
}

QList<Session::Field> ProjectOrganizerSession::fields()
{
    return {
        {QStringLiteral("moveMode"), QStringLiteral("true or false"),
         [this](const QString &value) -> std::optional<QString> {
             if (value != QLatin1String("true") && value != QLatin1String("false"))
                 return QStringLiteral("moveMode is true or false, not “%1”.").arg(value);
             setMoveMode(value == QLatin1String("true"));
             return std::nullopt;
         }},
        {QStringLiteral("selectedSources"), QStringLiteral("NAME,…"),
         [this](const QString &value) { return selectByName(value); }},
    };
}

std::optional<QString> ProjectOrganizerSession::missingFields(const QStringList &)
{
    // The project named to organize is the run's content; every related file is ticked unless told otherwise.
    return std::nullopt;
}

std::optional<QString> ProjectOrganizerSession::perform()
{
    if (selected.isEmpty())
        return QStringLiteral("Project Organizer has no ticked files for %1; nothing was changed.")
            .arg(NativeNames::display(nameOf(detected.structure.projectRoot)));
    execute();
    return std::nullopt;
}

Session::PhaseKind ProjectOrganizerSession::phaseKind() const
{
    if (std::holds_alternative<executing>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

bool ProjectOrganizerSession::anyItemFailed() const
{
    const auto *finished = std::get_if<done>(&current);
    return finished && !finished->result.failedItems.isEmpty();
}

QJsonObject ProjectOrganizerSession::toJson() const
{
    QStringList ticked;
    for (const PlannedFile &file : planned.files) {
        if (selected.contains(file.source))
            ticked.append(file.source);
    }
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("project-organizer")},
                       {QStringLiteral("plan"), planJson(planned, selected)},
                       {QStringLiteral("moveMode"), moving},
                       {QStringLiteral("selectedSources"), QJsonArray::fromStringList(ticked)}};
    if (const auto *running = std::get_if<executing>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("executing"));
        object.insert(QStringLiteral("progress"),
                      QJsonObject{{QStringLiteral("processed"), running->progress.processed},
                                  {QStringLiteral("total"), running->progress.total},
                                  {QStringLiteral("currentFile"), running->progress.currentFile
                                                                      ? QJsonValue(*running->progress.currentFile)
                                                                      : QJsonValue(QJsonValue::Null)}});
    } else if (const auto *finished = std::get_if<done>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("result"), resultJson(finished->result));
    } else if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
    } else {
        object.insert(QStringLiteral("phase"), QStringLiteral("planning"));
    }
    return object;
}

QStringList ProjectOrganizerSession::describe() const
{
    if (const auto *finished = std::get_if<done>(&current)) {
        QStringList lines{countsLine(finished->result),
                          QStringLiteral("Into %1").arg(Paths::displayPath(finished->result.containerURL))};
        for (const FailedItem &item : finished->result.failedItems)
            lines.append(QStringLiteral("Failed: %1: %2").arg(Paths::displayPath(item.source), item.reason));
        return lines;
    }
    if (const auto *failure = std::get_if<failed>(&current))
        return {failure->message};
    QStringList lines{headline(), containerNote(), QStringLiteral("What goes where")};
    const QList<Group> groups = whatGoesWhere();
    if (groups.isEmpty())
        lines.append(emptyGroupsHint());
    for (const Group &group : groups)
        lines.append(QStringLiteral("  %1  %2").arg(Paths::displayPath(group.folder)).arg(group.count));
    lines.append(moving ? QStringLiteral("Move") : QStringLiteral("Copy"));
    return lines;
}
