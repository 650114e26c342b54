#pragma once

#include "foundation/Session.h"
#include "platform/Volumes.h"
#include "scan/ScanReport.h"
#include "steward/ProjectStructure.h"
#include "transfer/archive/ArchiveRunner.h"

#include <QDateTime>
#include <QPointer>

#include <functional>
#include <variant>

class RecentProjectsStore;

// Project Snapshot: one archive of a project in another place, without what the project's tools rebuild.
// It is a backup, so the destination is checked before anything is written: a network share or too little
// room blocks the run, a folder on the project's own disk is only warned about.
class ProjectSnapshotSession : public Session {
    Q_OBJECT
public:
    struct RunProgress {
        // No member initialisers: GCC can't use them in a variant inside the class.
        QString currentStep;
        int sourceFileCount;
        quint64 sourceTotalBytes;
        QDateTime startedAt;
        // The archive's bytes so far, as the tool writes them.
        qint64 bytesWritten;
        bool operator==(const RunProgress &) const = default;
    };
    struct configuring {
        bool operator==(const configuring &) const = default;
    };
    struct running {
        RunProgress progress;
        bool operator==(const running &) const = default;
    };
    struct done {
        ScanReport result;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    using Phase = std::variant<configuring, running, done, failed>;

    struct networkVolume {
        QString volumeName;
        bool operator==(const networkVolume &) const = default;
    };
    struct insufficientFreeSpace {
        quint64 required;
        quint64 available;
        bool operator==(const insufficientFreeSpace &) const = default;
    };
    struct sameVolumeAsSource {
        bool operator==(const sameVolumeAsSource &) const = default;
    };
    struct unwritable {
        bool operator==(const unwritable &) const = default;
    };
    using DestinationIssue = std::variant<networkVolume, insufficientFreeSpace, sameVolumeAsSource, unwritable>;

    static QString text(const DestinationIssue &issue);
    // All but sameVolumeAsSource keep "Create snapshot" from being pressed.
    static bool blocks(const DestinationIssue &issue);
    // The case's name, as scripts read it.
    static QString caseName(const DestinationIssue &issue);

    // Where the facts of a volume come from: the system, or a test's mount table.
    using VolumeFacts = std::function<Volumes::Facts(const QString &path)>;

    // The destination's problem, in order: a network share, no write access, too little room for the
    // archive (six tenths of the source, when the room is known at all), the project's own volume.
    static std::optional<DestinationIssue> check(const QString &destination, const Volumes::Facts &destinationFacts,
                                                 const Volumes::Facts &sourceFacts, quint64 estimatedSourceBytes);

    // The totals of the files that go into the archive.
    struct Estimate {
        quint64 bytes = 0;
        int fileCount = 0;
        bool operator==(const Estimate &) const = default;
    };
    // Walks `root`, never entering an excluded root and passing over the excluded names.
    static Estimate walk(const QString &root, const ArchiveRunner::Exclusions &excluded, std::stop_token stop = {});

    // "{folder}-snapshot-{yyyy-MM-dd-HHmm}" at `now`, local time.
    static QString defaultName(const QString &projectRoot, const QDateTime &now);
    // The files left out wherever they lie.
    static QStringList excludedNames();
    static QString plainFolderNote();

    ProjectSnapshotSession(SessionHost &host, QString projectRoot, QList<ProjectStructure> detected,
                           RecentProjectsStore *recentProjects, QObject *parent = nullptr);
    ~ProjectSnapshotSession() override;

    const QString &projectRoot() const { return targets().first(); }
    const QList<ProjectStructure> &detected() const { return structures; }
    const Phase &phase() const { return current; }

    ArchiveFormat format() const { return chosenFormat; }
    void setFormat(ArchiveFormat value);
    QString archiveBaseName() const { return baseName; }
    void setArchiveBaseName(const QString &value);
    std::optional<QString> destinationURL() const { return destination; }
    // Sets the folder and checks it at once.
    void setDestination(const QString &url);
    bool includeGitHistory() const { return withGit; }
    void setIncludeGitHistory(bool value);
    const std::optional<DestinationIssue> &destinationWarning() const { return warning; }

    // The derived paths of every kind found, and .git unless its history goes along; no duplicates.
    QStringList excludedRoots() const;
    ArchiveRunner::Exclusions exclusions() const;

    bool isMeasuring() const { return measuring; }
    quint64 estimatedSourceBytes() const { return estimated.bytes; }
    int estimatedFileCount() const { return estimated.fileCount; }

    // "{destination}/{name}.{extension}" once a folder is chosen.
    std::optional<QString> archiveURL() const;
    // A folder, a name, an estimate and no blocking issue.
    bool canStart() const;
    // Why start() refused the last time, for the sheet; cleared by the next change.
    const std::optional<QString> &refusal() const { return refused; }

    // The walk of the excluded roots, the destination check and the run go through these; tests feed them.
    void setVolumeFacts(VolumeFacts facts);

    void start();
    void cancel() override;

    QString title() const override;
    // format, name, includeGitHistory, destinationURL.
    QList<Field> fields() override;
    // Asks for the folder when none is set, then starts unless the destination is blocked.
    std::optional<QString> perform() override;
    std::optional<QString> planOnly() override;
    PhaseKind phaseKind() const override;
    QJsonObject toJson() const override;
    QStringList describe() const override;

signals:
    void phaseChanged();

private:
    void setPhase(Phase phase);
    void measure();
    void recheck();
    void chooseDestinationIfNone();
    ScanReport reportFor(const ArchiveRunner::Result &result) const;

    QList<ProjectStructure> structures;
    QPointer<RecentProjectsStore> recent;
    Phase current = configuring{};
    ArchiveFormat chosenFormat = ArchiveFormat::zip;
    QString baseName;
    std::optional<QString> destination;
    bool withGit = false;
    std::optional<DestinationIssue> warning;
    std::optional<QString> refused;
    Estimate estimated;
    bool measuring = true;
    bool startWhenMeasured = false;
    // Bumped by each new walk, so the result of one overtaken by a change is dropped.
    int generation = 0;
    VolumeFacts volumeFacts;
};
