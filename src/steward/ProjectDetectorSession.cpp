#include "steward/ProjectDetectorSession.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Plural.h"
#include "platform/NativeNames.h"
#include "steward/RecentProjectsStore.h"

#include <QFileInfo>
#include <QJsonArray>

#include <chrono>

#include <sys/stat.h>

namespace {

QJsonArray pathsJson(const QStringList &paths)
{
    return QJsonArray::fromStringList(paths);
}

QString isoDate(const QDateTime &date)
{
    return date.toUTC().toString(Qt::ISODate);
}

QJsonObject structureJson(const ProjectStructure &structure)
{
    return {{QStringLiteral("kind"), ProjectKinds::toString(structure.kind)},
            {QStringLiteral("projectRoot"), structure.projectRoot},
            {QStringLiteral("managedPaths"), pathsJson(structure.managedPaths)},
            {QStringLiteral("safeAdditivePaths"), pathsJson(structure.safeAdditivePaths)},
            {QStringLiteral("derivedPaths"), pathsJson(structure.derivedPaths)}};
}

QJsonObject progressJson(const ProjectDetection::ScanProgress &progress)
{
    return {{QStringLiteral("foldersWalked"), progress.foldersWalked},
            {QStringLiteral("projectsFound"), progress.projectsFound},
            {QStringLiteral("currentPath"),
             progress.currentPath ? QJsonValue(*progress.currentPath) : QJsonValue(QJsonValue::Null)}};
}

enum class Kind { folder, file, missing };

Kind kindOf(const QString &path)
{
    struct stat status {};
    if (::stat(NativeNames::encode(path).constData(), &status) != 0)
        return Kind::missing;
    return S_ISDIR(status.st_mode) ? Kind::folder : Kind::file;
}

} // namespace

ProjectDetectorSession::ProjectDetectorSession(SessionHost &host, QStringList roots,
                                               RecentProjectsStore *recentProjects, QObject *parent)
    : Session(host, std::move(roots), parent), recent(recentProjects), current(configuring{targets()})
{
}

ProjectDetectorSession::~ProjectDetectorSession() = default;

void ProjectDetectorSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
    emit changed();
}

void ProjectDetectorSession::start()
{
    if (std::holds_alternative<scanning>(current))
        return;
    // A chosen root itself may be a link: the user picked it, so it is where the walk starts. Below it,
    // links are never followed.
    QStringList folders;
    QStringList files;
    for (const QString &root : roots()) {
        const Kind kind = kindOf(root);
        if (kind == Kind::folder)
            folders.append(NativeNames::absolutePath(root));
        else if (kind == Kind::file)
            files.append(root);
    }
    if (folders.isEmpty()) {
        if (files.size() == 1) {
            setPhase(failed{QStringLiteral("Project Detector scans folders. %1 is a file.")
                                .arg(NativeNames::display(QFileInfo(files.first()).fileName()))});
        } else {
            setPhase(failed{QStringLiteral("Project Detector needs a folder to scan. Pick one and try again.")});
        }
        return;
    }
    const int run = ++generation;
    setPhase(scanning{ScanProgress{0, 0, std::nullopt}});
    runTask<ScanResults>(
        [this, folders, run](std::stop_token stop) {
            using Clock = std::chrono::steady_clock;
            auto last = Clock::time_point{};
            const auto publish = [this, run, &last](const ScanProgress &progress) {
                const auto instant = Clock::now();
                if (instant - last < std::chrono::milliseconds(progressIntervalMs))
                    return;
                last = instant;
                post([this, run, progress] {
                    if (run == generation && std::holds_alternative<scanning>(current))
                        setPhase(scanning{progress});
                });
            };
            return ProjectDetection::scan(folders, publish, stop);
        },
        [this, run](const ScanResults &results) {
            if (run == generation && std::holds_alternative<scanning>(current))
                finish(results);
        });
}

void ProjectDetectorSession::finish(const ScanResults &results)
{
    // The largest go to Recent Projects, the largest last so that it heads the list.
    if (recent) {
        const qsizetype count = std::min<qsizetype>(results.projects.size(), recordedProjects);
        for (qsizetype i = count - 1; i >= 0; --i)
            recent->record(results.projects[i].structure);
    }
    setPhase(done{results});
}

void ProjectDetectorSession::cancel()
{
    if (!std::holds_alternative<scanning>(current)) {
        Session::cancel();
        return;
    }
    if (isRunning())
        Session::cancel();
    ++generation;
    setPhase(configuring{roots()});
}

QString ProjectDetectorSession::emptyTitle()
{
    return QStringLiteral("No projects detected.");
}

QString ProjectDetectorSession::emptyHint()
{
    return QStringLiteral("Try scanning a different folder, or check that the folders you picked actually contain "
                          "Unity / Xcode / Node / etc. project roots.");
}

QString ProjectDetectorSession::title() const
{
    return QStringLiteral("Project Detector");
}

std::optional<QString> ProjectDetectorSession::perform()
{
    start();
    return std::nullopt;
}

Session::PhaseKind ProjectDetectorSession::phaseKind() const
{
    if (std::holds_alternative<scanning>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

QJsonObject ProjectDetectorSession::toJson() const
{
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("project-detector")}};
    if (const auto *finished = std::get_if<done>(&current)) {
        QJsonArray projects;
        for (const DetectedProject &project : finished->results.projects) {
            projects.append(QJsonObject{{QStringLiteral("structure"), structureJson(project.structure)},
                                        {QStringLiteral("totalSizeBytes"), double(project.totalSizeBytes)},
                                        {QStringLiteral("lastModified"), isoDate(project.lastModified)}});
        }
        QJsonArray loose;
        for (const LooseFile &file : finished->results.looseFiles) {
            loose.append(QJsonObject{
                {QStringLiteral("url"), file.url},
                {QStringLiteral("sizeBytes"), double(file.sizeBytes)},
                {QStringLiteral("modified"), isoDate(file.modified)},
                {QStringLiteral("relatedTo"), file.relatedTo ? QJsonValue(*file.relatedTo) : QJsonValue::Null}});
        }
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("projects"), projects);
        object.insert(QStringLiteral("looseFiles"), loose);
        object.insert(QStringLiteral("foldersWalked"), finished->results.foldersWalked);
        object.insert(QStringLiteral("elapsed"), finished->results.elapsed);
    } else if (const auto *walking = std::get_if<scanning>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("scanning"));
        object.insert(QStringLiteral("progress"), progressJson(walking->progress));
    } else if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
    } else {
        object.insert(QStringLiteral("phase"), QStringLiteral("configuring"));
        object.insert(QStringLiteral("roots"), QJsonArray::fromStringList(roots()));
    }
    return object;
}

QString ProjectDetectorSession::summary(const ScanResults &results)
{
    return QStringLiteral("%1 · %2 · %3")
        .arg(counted(results.projects.size(), QStringLiteral("project")),
             counted(results.looseFiles.size(), QStringLiteral("loose file")),
             counted(results.foldersWalked, QStringLiteral("folder")) + QStringLiteral(" walked"));
}

QStringList ProjectDetectorSession::describe() const
{
    if (const auto *finished = std::get_if<done>(&current)) {
        const ScanResults &results = finished->results;
        if (results.projects.isEmpty())
            return {emptyTitle(), emptyHint()};
        QStringList lines{summary(results)};
        for (const DetectedProject &project : results.projects) {
            lines.append(QStringLiteral("%1  %2  %3")
                             .arg(ProjectKinds::toString(project.structure.kind),
                                  NativeNames::display(project.structure.projectRoot),
                                  ByteCountFormatter::format(project.totalSizeBytes)));
        }
        for (const LooseFile &file : results.looseFiles) {
            lines.append(QStringLiteral("Loose: %1 → %2")
                             .arg(NativeNames::display(file.url),
                                  file.relatedTo ? NativeNames::display(*file.relatedTo) : QStringLiteral("none")));
        }
        return lines;
    }
    if (const auto *failure = std::get_if<failed>(&current))
        return {failure->message};
    if (std::holds_alternative<scanning>(current))
        return {QStringLiteral("Scanning…")};
    return {QStringLiteral("Not started.")};
}
