#pragma once

#include "foundation/Session.h"
#include "steward/ProjectDetection.h"

#include <QPointer>

#include <variant>

class RecentProjectsStore;

// Project Detector: walks the chosen folders for software projects, largest first, and lists the files
// lying loose in them with the project each most likely belongs to.
class ProjectDetectorSession : public Session {
    Q_OBJECT
public:
    using DetectedProject = ProjectDetection::DetectedProject;
    using LooseFile = ProjectDetection::LooseFile;
    using Candidate = ProjectDetection::Candidate;
    using ScanProgress = ProjectDetection::ScanProgress;
    using ScanResults = ProjectDetection::ScanResults;

    struct configuring {
        QStringList roots;
        bool operator==(const configuring &) const = default;
    };
    struct scanning {
        ScanProgress progress;
        bool operator==(const scanning &) const = default;
    };
    struct done {
        ScanResults results;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    using Phase = std::variant<configuring, scanning, done, failed>;

    // How many of the largest projects a finished scan puts into Recent Projects.
    static constexpr int recordedProjects = 12;
    // Progress is published at most this often, so a fast walk doesn't flood the main thread.
    static constexpr int progressIntervalMs = 100;

    ProjectDetectorSession(SessionHost &host, QStringList roots, RecentProjectsStore *recentProjects,
                           QObject *parent = nullptr);
    ~ProjectDetectorSession() override;

    const QStringList &roots() const { return targets(); }
    const Phase &phase() const { return current; }

    void start();
    // While scanning: stops the walk and goes back to configuring. Otherwise the sheet closes.
    void cancel() override;

    // "3 projects · 1 loose file · 40 folders walked".
    static QString summary(const ScanResults &results);
    // The empty results' texts.
    static QString emptyTitle();
    static QString emptyHint();

    QString title() const override;
    QList<Field> fields() override { return {}; }
    std::optional<QString> perform() override;
    // The walk changes no file, so a dry run walks too: what follows it plans on its results.
    std::optional<QString> planOnly() override { return perform(); }
    PhaseKind phaseKind() const override;
    QJsonObject toJson() const override;
    QStringList describe() const override;

signals:
    void phaseChanged();

private:
    void setPhase(Phase phase);
    void finish(const ScanResults &results);

    QPointer<RecentProjectsStore> recent;
    Phase current;
    // Bumped by each start and cancel, so a walk cancelled before its result arrived is ignored.
    int generation = 0;
};
