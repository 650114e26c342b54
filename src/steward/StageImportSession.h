#pragma once

#include "foundation/Session.h"
#include "steward/StageImport.h"

#include <QDate>
#include <QMap>
#include <QPointer>

#include <functional>
#include <variant>

class RecentProjectsStore;

// Stage & Import: the selected files brought into a project the user picks, each into the subfolder
// the project's kind expects for it or one the user types, never into a folder the project's tool owns.
class StageImportSession : public Session {
    Q_OBJECT
public:
    using Plan = StageImport::Plan;
    using Entry = StageImport::Entry;
    using Progress = StageImport::Progress;
    using Result = StageImport::Result;

    struct picking {
        bool operator==(const picking &) const = default;
    };
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
    using Phase = std::variant<picking, planning, executing, done, failed>;

    StageImportSession(SessionHost &host, QStringList sources, RecentProjectsStore *recentProjects,
                       QObject *parent = nullptr);
    ~StageImportSession() override;

    const QStringList &sources() const { return targets(); }
    const Phase &phase() const { return current; }
    bool moveMode() const { return move; }
    void setMoveMode(bool on) { setField(move, on); }
    // On unless the user turns it off: the copy then says where it came from.
    bool addFinderComment() const { return comment; }
    void setAddFinderComment(bool on) { setField(comment, on); }
    // "Today" for the comments; tests set it.
    void setClock(std::function<QDate()> clock);

    // Plans the import into the project `projectRoot` holds, or fails saying which markers were looked for.
    void choose(const QString &projectRoot);
    // The row's own subfolder; an empty or missing one goes back to the suggestion.
    void updateOverride(qsizetype entry, const std::optional<QString> &subpath);
    // The refusal the row editor shows for `subpath` in the chosen project, as the user types.
    std::optional<QString> refusal(const QString &subpath) const;
    // Refuses the whole plan before anything is copied, or starts copying.
    void execute();
    // From a refusal back to the plan it refused; from the plan back to picking a project.
    void back();
    // While copying: stops before the next file, keeping what was done. Otherwise the sheet closes.
    void cancel() override;

    QString title() const override;
    // project (a folder), moveMode, addFinderComment and override (N:SUBPATH, N counting from 1).
    QList<Field> fields() override;
    std::optional<QString> missingFields(const QStringList &set) override;
    std::optional<QString> perform() override;
    PhaseKind phaseKind() const override;
    bool anyItemFailed() const override;
    QJsonObject toJson() const override;
    QStringList describe() const override;

signals:
    void phaseChanged();

private:
    void setPhase(Phase phase);
    std::optional<QString> setOverrideField(const QString &value);

    QPointer<RecentProjectsStore> recent;
    Phase current = picking{};
    // The plan a refusal came from, for "Back".
    std::optional<Plan> refused;
    bool move = false;
    bool comment = true;
    // Overrides a script set before the project was chosen, by entry.
    QMap<qsizetype, QString> pendingOverrides;
    std::function<QDate()> today = [] { return QDate::currentDate(); };
};
