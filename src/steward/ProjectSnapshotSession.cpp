#include "steward/ProjectSnapshotSession.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "foundation/Plural.h"
#include "foundation/SessionHost.h"
#include "platform/NativeNames.h"
#include "steward/RecentProjectsStore.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QLocale>
#include <QSet>

#include <array>
#include <filesystem>
#include <system_error>

namespace {

QString bytes(quint64 count)
{
    return ByteCountFormatter::format(count);
}

QString fileCount(qsizetype n)
{
    return counted(n, QStringLiteral("file"));
}

std::filesystem::path nativePath(const QString &path)
{
    return {NativeNames::encode(path).toStdString()};
}

QString fromNative(const std::filesystem::path &path)
{
    const std::string &text = path.native();
    return NativeNames::decode(QByteArrayView(text.data(), qsizetype(text.size())));
}

ArchiveFormat formatFromWord(const QString &word, bool *ok)
{
    // Scripts write the extension ("tar.gz") as often as the stored name ("tarGz").
    *ok = true;
    if (word == QLatin1String("tar.gz"))
        return ArchiveFormat::tarGz;
    if (const auto format = archiveFormatFromString(word))
        return *format;
    *ok = false;
    return ArchiveFormat::zip;
}

} // namespace

QString ProjectSnapshotSession::text(const DestinationIssue &issue)
{
    if (const auto *network = std::get_if<networkVolume>(&issue))
        return QStringLiteral("Vantrel Steward doesn't support backups to network drives yet (%1). Network drives — "
                              "NAS, SMB, AFP — have edge cases we'll handle in v1.1. For now, pick a local or USB "
                              "drive.")
            .arg(network->volumeName);
    if (const auto *room = std::get_if<insufficientFreeSpace>(&issue))
        return QStringLiteral("Not enough free space at the destination. The snapshot needs ~%1 but only %2 is "
                              "available.")
            .arg(bytes(room->required), bytes(room->available));
    if (std::holds_alternative<sameVolumeAsSource>(issue))
        return QStringLiteral("The destination is on the same volume as the project. A backup is more useful on a "
                              "different drive — pick an external or another internal volume to protect against drive "
                              "failure.");
    return QStringLiteral("Vantrel can't write to the chosen destination. Check the folder's permissions and try "
                          "again.");
}

bool ProjectSnapshotSession::blocks(const DestinationIssue &issue)
{
    return !std::holds_alternative<sameVolumeAsSource>(issue);
}

QString ProjectSnapshotSession::caseName(const DestinationIssue &issue)
{
    static const std::array<const char *, 4> names{"networkVolume", "insufficientFreeSpace", "sameVolumeAsSource",
                                                   "unwritable"};
    return QString::fromLatin1(names[issue.index()]);
}

std::optional<ProjectSnapshotSession::DestinationIssue>
ProjectSnapshotSession::check(const QString &destination, const Volumes::Facts &destinationFacts,
                              const Volumes::Facts &sourceFacts, quint64 estimatedSourceBytes)
{
    if (!destinationFacts.isLocal) {
        const QString name = !destinationFacts.volumeName.isEmpty()
                                 ? destinationFacts.volumeName
                                 : QFileInfo(QDir::cleanPath(destination)).fileName();
        return networkVolume{name};
    }
    if (!destinationFacts.writable)
        return unwritable{};
    // Six tenths of the source, truncated, in whole numbers so that no size loses its last digits.
    const quint64 required = estimatedSourceBytes / 10 * 6 + estimatedSourceBytes % 10 * 6 / 10;
    // 0 is a volume that wouldn't say: the run is let through rather than refused on a guess.
    const quint64 available = quint64(std::max<qint64>(0, destinationFacts.availableBytes));
    if (available >= 1 && available < required)
        return insufficientFreeSpace{required, available};
    if (destinationFacts.volumeID && sourceFacts.volumeID && *destinationFacts.volumeID == *sourceFacts.volumeID)
        return sameVolumeAsSource{};
    return std::nullopt;
}

ProjectSnapshotSession::Estimate
ProjectSnapshotSession::walk(const QString &root, const ArchiveRunner::Exclusions &excluded, std::stop_token stop)
{
    // By the names' bytes, so a file whose name isn't UTF-8 is counted like the others.
    namespace fs = std::filesystem;
    QSet<QString> roots;
    for (const QString &path : excluded.roots)
        roots.insert(QDir::cleanPath(path));
    const QSet<QString> names(excluded.names.cbegin(), excluded.names.cend());
    Estimate estimate;
    std::error_code error;
    for (auto it =
             fs::recursive_directory_iterator(nativePath(root), fs::directory_options::skip_permission_denied, error);
         !error && it != fs::recursive_directory_iterator() && !stop.stop_requested(); it.increment(error)) {
        if (roots.contains(fromNative(it->path()))) {
            it.disable_recursion_pending();
            continue;
        }
        std::error_code fileError;
        if (names.contains(fromNative(it->path().filename())) || !it->is_regular_file(fileError))
            continue;
        const auto size = it->file_size(fileError);
        estimate.bytes += fileError ? 0 : quint64(size);
        ++estimate.fileCount;
    }
    return estimate;
}

QString ProjectSnapshotSession::defaultName(const QString &projectRoot, const QDateTime &now)
{
    return QStringLiteral("%1-snapshot-%2")
        .arg(QFileInfo(QDir::cleanPath(projectRoot)).fileName(),
             QLocale::c().toString(now.toLocalTime(), QStringLiteral("yyyy-MM-dd-HHmm")));
}

QStringList ProjectSnapshotSession::excludedNames()
{
    return {QStringLiteral(".DS_Store")};
}

QString ProjectSnapshotSession::plainFolderNote()
{
    return QStringLiteral("Plain folder — no project markers detected. Smart excludes won't apply.");
}

ProjectSnapshotSession::ProjectSnapshotSession(SessionHost &host, QString projectRoot, QList<ProjectStructure> detected,
                                               RecentProjectsStore *recentProjects, QObject *parent)
    : Session(host, {QDir::cleanPath(projectRoot)}, parent), structures(std::move(detected)), recent(recentProjects),
      baseName(defaultName(this->projectRoot(), QDateTime::currentDateTime())),
      volumeFacts([](const QString &path) { return Volumes::facts(path); })
{
    measure();
}

ProjectSnapshotSession::~ProjectSnapshotSession() = default;

void ProjectSnapshotSession::setVolumeFacts(VolumeFacts facts)
{
    volumeFacts = std::move(facts);
    recheck();
}

QStringList ProjectSnapshotSession::excludedRoots() const
{
    QStringList roots;
    for (const ProjectStructure &structure : structures) {
        for (const QString &path : structure.derivedPaths) {
            if (!roots.contains(path))
                roots.append(path);
        }
    }
    const QString git = projectRoot() + QStringLiteral("/.git");
    if (!withGit && !roots.contains(git))
        roots.append(git);
    return roots;
}

ArchiveRunner::Exclusions ProjectSnapshotSession::exclusions() const
{
    return {excludedRoots(), excludedNames()};
}

void ProjectSnapshotSession::measure()
{
    // A project with its dependencies in place takes a while to walk; the sheet shows at once.
    measuring = true;
    const int walkNumber = ++generation;
    const QString root = projectRoot();
    const ArchiveRunner::Exclusions excluded = exclusions();
    runTask<Estimate>([root, excluded](std::stop_token stop) { return walk(root, excluded, stop); },
                      [this, walkNumber](const Estimate &estimate) {
                          if (walkNumber != generation)
                              return;
                          estimated = estimate;
                          measuring = false;
                          recheck();
                          emit changed();
                          if (std::exchange(startWhenMeasured, false))
                              start();
                      });
}

void ProjectSnapshotSession::recheck()
{
    std::optional<DestinationIssue> found;
    if (destination && !destination->isEmpty())
        found = check(*destination, volumeFacts(*destination), volumeFacts(projectRoot()), estimated.bytes);
    setField(warning, found);
}

void ProjectSnapshotSession::setFormat(ArchiveFormat value)
{
    setField(chosenFormat, value);
}

void ProjectSnapshotSession::setArchiveBaseName(const QString &value)
{
    refused.reset();
    setField(baseName, value);
}

void ProjectSnapshotSession::setDestination(const QString &url)
{
    refused.reset();
    setField(destination, std::optional<QString>(QDir::cleanPath(url)));
    recheck();
}

void ProjectSnapshotSession::setIncludeGitHistory(bool value)
{
    if (withGit == value || std::holds_alternative<running>(current))
        return;
    withGit = value;
    emit changed();
    measure();
}

std::optional<QString> ProjectSnapshotSession::archiveURL() const
{
    if (!destination || destination->isEmpty())
        return std::nullopt;
    return QDir(*destination).filePath(baseName.trimmed() + QLatin1Char('.') + fileExtension(chosenFormat));
}

bool ProjectSnapshotSession::canStart() const
{
    return !measuring && destination && !destination->isEmpty() && !baseName.trimmed().isEmpty() &&
           !(warning && blocks(*warning)) && !std::holds_alternative<running>(current);
}

void ProjectSnapshotSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
}

void ProjectSnapshotSession::start()
{
    if (std::holds_alternative<running>(current))
        return;
    const auto refuse = [this](const QString &why) {
        refused = why;
        emit changed();
    };
    if (!destination || destination->isEmpty())
        return refuse(QStringLiteral("Pick a destination folder before starting."));
    if (baseName.trimmed().isEmpty())
        return refuse(QStringLiteral("Give the snapshot a name before starting."));
    if (measuring) {
        // Started by a script before the project was measured: it goes on once it is, and once the
        // destination has been checked against the estimate.
        startWhenMeasured = true;
        return;
    }
    if (warning && blocks(*warning)) {
        // The sheet's button is off; a script that got this far ends on the destination's problem.
        setPhase(failed{text(*warning)});
        return;
    }
    const QString output = *archiveURL();
    // Nothing is replaced unasked, and an old snapshot only once the new one is complete.
    ArchiveRunner::Existing existing = ArchiveRunner::Existing::keep;
    if (QFileInfo::exists(output) || QFileInfo(output).isSymLink()) {
        const int answer = host()->interaction().alert(
            {QStringLiteral("“%1” already exists.").arg(QFileInfo(output).fileName()),
             QStringLiteral("Replacing it overwrites its current contents once the new snapshot is complete."),
             {QStringLiteral("Replace"), QStringLiteral("Cancel")}});
        if (answer != 0)
            return;
        existing = ArchiveRunner::Existing::replace;
    }
    refused.reset();
    if (recent && !structures.isEmpty())
        recent->record(structures.first());

    const QDateTime startedAt = QDateTime::currentDateTime();
    const auto progressFor = [startedAt](const Estimate &estimate, qint64 written) {
        return running{RunProgress{QStringLiteral("Compressing %1").arg(fileCount(estimate.fileCount)),
                                   estimate.fileCount, estimate.bytes, startedAt, written}};
    };
    setPhase(progressFor(estimated, 0));

    const ArchiveFormat format = chosenFormat;
    const QString root = projectRoot();
    const ArchiveRunner::Exclusions excluded = exclusions();
    ++generation;
    runTask<ArchiveRunner::Result>(
        [=, this](std::stop_token stop) {
            // Walked again as the run starts: the project may have changed since the sheet opened, and
            // the result counts what was packed.
            const Estimate fresh = walk(root, excluded, stop);
            post([this, fresh, progressFor] {
                estimated = fresh;
                if (std::holds_alternative<running>(current))
                    setPhase(progressFor(fresh, 0));
            });
            const auto written = [this, progressFor](qint64 bytesWritten) {
                post([this, bytesWritten, progressFor] {
                    if (std::holds_alternative<running>(current))
                        setPhase(progressFor(estimated, bytesWritten));
                });
            };
            return ArchiveRunner::run(format, {root}, output, qint64(fresh.bytes), fresh.fileCount, stop, existing,
                                      written, excluded);
        },
        [this](const ArchiveRunner::Result &result) {
            if (result.failed) {
                const QString message = result.errorMessage.value_or(QString()).trimmed();
                setPhase(failed{message.isEmpty() ? QStringLiteral("Unknown error.") : message});
                return;
            }
            setPhase(done{reportFor(result)});
        });
}

ScanReport ProjectSnapshotSession::reportFor(const ArchiveRunner::Result &result) const
{
    ScanReport report =
        ScanReport::begin(QStringLiteral("project-snapshot"), title(), ScanReport::Kind::projectSnapshot);
    ScanItem item = ScanReport::itemFor(result.archiveURL, std::nullopt);
    item.size = quint64(std::max<qint64>(0, result.archiveSizeBytes));
    report.items = {item};
    report.summary =
        QStringLiteral("%1 · %2 of source → %3 archive")
            .arg(fileCount(result.sourceFileCount), bytes(quint64(result.sourceTotalSizeBytes)), bytes(item.size));
    return report;
}

void ProjectSnapshotSession::cancel()
{
    if (std::holds_alternative<running>(current))
        Session::cancel();
    else
        close();
}

QString ProjectSnapshotSession::title() const
{
    return QStringLiteral("Project Snapshot");
}

Session::PhaseKind ProjectSnapshotSession::phaseKind() const
{
    if (std::holds_alternative<running>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

QList<Session::Field> ProjectSnapshotSession::fields()
{
    const auto field = [](const QString &name, const QString &accepts, auto set) -> Field {
        return {name, accepts, std::move(set)};
    };
    return {field(QStringLiteral("format"), QStringLiteral("zip or tar.gz"),
                  [this](const QString &value) -> std::optional<QString> {
                      bool ok = false;
                      const ArchiveFormat format = formatFromWord(value, &ok);
                      if (!ok)
                          return QStringLiteral("format is zip or tar.gz, not “%1”.").arg(value);
                      setFormat(format);
                      return std::nullopt;
                  }),
            field(QStringLiteral("name"), QStringLiteral("NAME"),
                  [this](const QString &value) -> std::optional<QString> {
                      setArchiveBaseName(value);
                      return std::nullopt;
                  }),
            field(QStringLiteral("includeGitHistory"), QStringLiteral("true or false"),
                  [this](const QString &value) -> std::optional<QString> {
                      if (value != QLatin1String("true") && value != QLatin1String("false"))
                          return QStringLiteral("includeGitHistory is true or false, not “%1”.").arg(value);
                      setIncludeGitHistory(value == QLatin1String("true"));
                      return std::nullopt;
                  }),
            field(QStringLiteral("destinationURL"), QStringLiteral("FOLDER"),
                  [this](const QString &value) -> std::optional<QString> {
                      setDestination(NativeNames::absolutePath(value));
                      return std::nullopt;
                  })};
}

void ProjectSnapshotSession::chooseDestinationIfNone()
{
    if (destination)
        return;
    // The sheet's own folder panel, which --dest answers.
    PanelRequest panel;
    panel.title = QStringLiteral("Where should the snapshot go?");
    panel.message = QStringLiteral("Pick a folder on another drive for the snapshot of %1.")
                        .arg(QFileInfo(projectRoot()).fileName());
    panel.prompt = QStringLiteral("Use Folder");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    panel.canCreateDirectories = true;
    const QStringList chosen = host()->interaction().panel(panel);
    if (!chosen.isEmpty())
        setDestination(NativeNames::absolutePath(chosen.first()));
}

std::optional<QString> ProjectSnapshotSession::perform()
{
    chooseDestinationIfNone();
    start();
    return refused;
}

std::optional<QString> ProjectSnapshotSession::planOnly()
{
    // The plan names the folder and its warning, so the panel is asked; nothing is written.
    chooseDestinationIfNone();
    return std::nullopt;
}

QJsonObject ProjectSnapshotSession::toJson() const
{
    QJsonArray kinds;
    for (const ProjectStructure &structure : structures)
        kinds.append(ProjectKinds::toString(structure.kind));
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("project-snapshot")},
                       {QStringLiteral("projectRoot"), projectRoot()},
                       {QStringLiteral("detected"), kinds},
                       {QStringLiteral("excludedRoots"), QJsonArray::fromStringList(excludedRoots())},
                       {QStringLiteral("format"), fileExtension(chosenFormat)},
                       {QStringLiteral("archiveBaseName"), baseName},
                       {QStringLiteral("includeGitHistory"), withGit},
                       {QStringLiteral("destinationURL"), destination ? QJsonValue(*destination) : QJsonValue()},
                       {QStringLiteral("archiveURL"), archiveURL() ? QJsonValue(*archiveURL()) : QJsonValue()},
                       {QStringLiteral("estimatedSourceBytes"), qint64(estimated.bytes)},
                       {QStringLiteral("estimatedFileCount"), estimated.fileCount}};
    if (warning)
        object.insert(QStringLiteral("destinationWarning"), QJsonObject{{QStringLiteral("case"), caseName(*warning)},
                                                                        {QStringLiteral("text"), text(*warning)},
                                                                        {QStringLiteral("blocks"), blocks(*warning)}});
    else
        object.insert(QStringLiteral("destinationWarning"), QJsonValue());
    if (const auto *finished = std::get_if<done>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("report"), finished->result.toJson());
    } else if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
    } else {
        object.insert(QStringLiteral("phase"), std::holds_alternative<running>(current)
                                                   ? QStringLiteral("running")
                                                   : QStringLiteral("configuring"));
    }
    return object;
}

QStringList ProjectSnapshotSession::describe() const
{
    QStringList lines{QStringLiteral("Project Snapshot of %1").arg(projectRoot())};
    if (structures.isEmpty()) {
        lines.append(plainFolderNote());
    } else {
        QStringList kinds;
        for (const ProjectStructure &structure : structures)
            kinds.append(ProjectKinds::toString(structure.kind));
        lines.append(QStringLiteral("Detected: %1").arg(kinds.join(QStringLiteral(", "))));
    }
    if (const auto *finished = std::get_if<done>(&current)) {
        // Only a warning can be left by a finished run: it is said again beside the result.
        if (warning)
            lines.append(QStringLiteral("Warning: %1").arg(text(*warning)));
        lines.append(QStringLiteral("Done: %1").arg(finished->result.items.value(0).url));
        lines.append(finished->result.summary);
        return lines;
    }
    lines.append(QStringLiteral("Name: %1.%2").arg(baseName.trimmed(), fileExtension(chosenFormat)));
    lines.append(QStringLiteral("Estimate: %1 · %2").arg(fileCount(estimated.fileCount), bytes(estimated.bytes)));
    for (const QString &root : excludedRoots())
        lines.append(QStringLiteral("Excluded: %1").arg(root));
    lines.append(destination ? QStringLiteral("Destination: %1").arg(*destination)
                             : QStringLiteral("No destination folder yet."));
    if (warning)
        lines.append(QStringLiteral("Warning: %1").arg(text(*warning)));
    if (const auto *failure = std::get_if<failed>(&current))
        lines.append(QStringLiteral("Failed: %1").arg(failure->message));
    return lines;
}
