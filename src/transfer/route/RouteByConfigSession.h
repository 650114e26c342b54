#pragma once

#include "foundation/Session.h"
#include "transfer/route/RoutePlan.h"

#include <QDateTime>
#include <QPointer>

#include <functional>
#include <variant>

class TransferProfileStore;

// The Route by Config sheet: a profile picked or rules written on the spot, the plan of where each file
// goes, and the run that carries it out on the user's word.
class RouteByConfigSession : public Session {
    Q_OBJECT
public:
    using ResolvedAction = Route::ResolvedAction;
    using RoutePlan = Route::RoutePlan;
    using RouteResult = Route::RouteResult;
    using RunProgress = Route::RunProgress;

    struct previewingPlan {
        RoutePlan plan;
        bool operator==(const previewingPlan &) const = default;
    };
    struct running {
        RunProgress progress;
        bool operator==(const running &) const = default;
    };
    struct done {
        RouteResult result;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    struct pickingProfile {
        bool operator==(const pickingProfile &) const = default;
    };
    struct editingAdHoc {
        bool operator==(const editingAdHoc &) const = default;
    };
    using Phase = std::variant<previewingPlan, running, done, failed, pickingProfile, editingAdHoc>;

    // The preview's run buttons after "Back", in order.
    enum class RunChoice { skipConflicts, overwrite, copy, move };
    static QList<RunChoice> allRunChoices();
    static QString label(RunChoice choice);
    static QString toString(RunChoice choice);
    static std::optional<RunChoice> runChoiceFromString(const QString &raw);
    static TransferEngine::ConflictPolicy policyFor(RunChoice choice);

    RouteByConfigSession(SessionHost &host, QStringList sources, TransferProfileStore *store,
                         QObject *parent = nullptr);
    ~RouteByConfigSession() override;

    const QStringList &sources() const { return targets(); }
    const Phase &phase() const { return current; }
    const TransferProfile &workingProfile() const { return working; }
    // The rules as the ad-hoc editor leaves them.
    void setWorkingProfile(const TransferProfile &profile);
    // The saved profiles to pick from; empty when the store is gone.
    QList<TransferProfile> savedProfiles() const;
    // "Now", read once per plan; tests set it.
    void setClock(std::function<QDateTime()> clock);

    void pickProfile(const TransferProfile &profile);
    void startAdHoc();
    void removeRule(qsizetype at);
    void preview();
    void run(const RoutePlan &plan, const TransferEngine::ConflictPolicy &conflictPolicy, bool trashCopiedSources);
    void run(RunChoice choice);
    // "Back": from the preview to where it came from; from the ad-hoc rules to the profiles.
    void back();
    void cancel() override;
    // Whether a plan is being worked out.
    bool isPlanning() const { return planning; }

    // "Routing blocked", the failed phase's title.
    static QString failedTitle();
    // The done screen's counts: "2 moved · 1 copied · 0 skipped · 0 failed".
    static QString countsLine(const RunProgress &counts);

    QString title() const override;
    // profile (a saved profile's name or id), rules (a .vantreltransfer file of one-off rules) and run.
    QList<Field> fields() override;
    std::optional<QString> missingFields(const QStringList &set) override;
    // Plans, and with `run` set carries the plan out as that button would.
    std::optional<QString> perform() override;
    std::optional<QString> planOnly() override;
    PhaseKind phaseKind() const override;
    bool anyItemFailed() const override;
    QJsonObject toJson() const override;
    QStringList describe() const override;

signals:
    void phaseChanged();
    void workingProfileChanged();

private:
    void setPhase(Phase phase);
    std::optional<QString> chooseProfile(const QString &nameOrID);
    std::optional<QString> readRules(const QString &file);

    QPointer<TransferProfileStore> store;
    Phase current = pickingProfile{};
    // Where "Back" from the preview returns.
    Phase before = pickingProfile{};
    TransferProfile working;
    std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
    std::optional<RunChoice> pendingRun;
    bool planning = false;
    bool planCancelled = false;
};
