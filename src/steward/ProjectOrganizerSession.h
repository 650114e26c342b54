#pragma once

#include "foundation/Session.h"
#include "steward/ProjectOrganizing.h"

#include <QSet>

#include <variant>

// Project Organizer: the loose files that look like a project's, grouped by type into folders in a
// container beside the project, copied or moved on the user's word. The project's own tree is never
// touched.
class ProjectOrganizerSession : public Session {
    Q_OBJECT
public:
    using DetectedProject = ProjectDetection::DetectedProject;
    using LooseFile = ProjectDetection::LooseFile;
    using Category = ProjectOrganizing::Category;
    using Plan = ProjectOrganizing::Plan;
    using PlannedFile = ProjectOrganizing::PlannedFile;
    using Progress = ProjectOrganizing::Progress;
    using Result = ProjectOrganizing::Result;
    using FailedItem = ProjectOrganizing::FailedItem;
    using Group = ProjectOrganizing::Group;

    struct planning {
        Plan plan;
        bool operator==(const planning &) const = default;
    };
    struct executing {
        Progress progress;
        bool operator==(const executing &) const = default;
    };
    struct done {
        Result result;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    using Phase = std::variant<planning, executing, done, failed>;

    // Plans for the files of `looseFiles` related to `project`, all of them ticked, to be copied.
    ProjectOrganizerSession(SessionHost &host, DetectedProject project, const QList<LooseFile> &looseFiles,
                            QObject *parent = nullptr);
    ~ProjectOrganizerSession() override;

    static Category category(const QString &url) { return ProjectOrganizing::category(url); }
    // The project of a detector's results named by its root path or its folder's name, or why there is
    // none: the organizer opens on a project the detector found, never on an arbitrary folder.
    static std::variant<DetectedProject, QString> findProject(const ProjectDetection::ScanResults &results,
                                                              const QString &rootOrName);

    const DetectedProject &project() const { return detected; }
    const Phase &phase() const { return current; }
    const Plan &plan() const { return planned; }
    bool moveMode() const { return moving; }
    void setMoveMode(bool move);
    const QSet<QString> &selectedSources() const { return selected; }
    void setSelectedSources(const QSet<QString> &sources);
    void setTicked(const QString &source, bool ticked);
    // "What goes where": the ticked files by typed folder.
    QList<Group> whatGoesWhere() const { return ProjectOrganizing::whatGoesWhere(planned, selected); }

    // Copies or moves the ticked files; Cancel then stops after the file under way.
    void execute();

    // The sheet's texts.
    QString headline() const;
    QString containerNote() const;
    static QString emptyGroupsHint();
    static QString countsLine(const Result &result);

    QString title() const override;
    // moveMode (true or false) and selectedSources (loose files' names; all when left out).
    QList<Field> fields() override;
    std::optional<QString> missingFields(const QStringList &set) override;
    std::optional<QString> perform() override;
    PhaseKind phaseKind() const override;
    bool anyItemFailed() const override;
    QJsonObject toJson() const override;
    QStringList describe() const override;

signals:
    void phaseChanged();
    void selectionChanged();

private:
    void setPhase(Phase phase);
    std::optional<QString> selectByName(const QString &value);

    DetectedProject detected;
    Plan planned;
    Phase current;
    QSet<QString> selected;
    bool moving = false;
};
