#pragma once

#include "foundation/ItemFailure.h"
#include "foundation/SessionHost.h"
#include "foundation/Workflow.h"
#include "foundation/diagnostics/DiagnosticLog.h"
#include "metadata/CategoryStore.h"
#include "metadata/CommentTemplateStore.h"
#include "metadata/sheets/CategoryTaggingSheet.h"
#include "metadata/sheets/CommentTemplatePickerSheet.h"
#include "metadata/sheets/SingleTagSelectorSheet.h"
#include "metadata/sheets/TextCommentToolsSheet.h"
#include "quickactions/IntegrityReport.h"
#include "quickactions/WorkflowInstaller.h"
#include "scan/ScanState.h"
#include "steward/ProjectDetectorSession.h"
#include "steward/ProjectOrganizerSession.h"
#include "steward/ProjectSnapshotSession.h"
#include "steward/RecentProjectsStore.h"
#include "steward/StageImportSession.h"
#include "steward/git/GitInitSession.h"
#include "transfer/archive/ArchiveSession.h"
#include "transfer/route/RouteByConfigSession.h"
#include "transfer/rules/TransferProfileStore.h"
#include "transfer/stitch/StitchSession.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <variant>

class Defaults;
class Interaction;
class Session;
class WorkflowRunner;

// The one observable application object: every window, sheet and handler reads
// and changes this instance, on the main thread. It owns every sheet model and
// session: setting a context shows its sheet, setting the banner shows the banner.
class AppState : public QObject, public SessionHost {
    Q_OBJECT
    Q_PROPERTY(QString statusLine READ statusLine NOTIFY workflowsChanged)
    Q_PROPERTY(int installedCount READ installedCount NOTIFY workflowsChanged)
    Q_PROPERTY(QString healthSummary READ healthSummary NOTIFY healthChanged)
    Q_PROPERTY(QString healthCount READ healthCount NOTIFY healthChanged)

public:
    enum class Destination { dashboard, quickActions, categories, automationPacks, transferProfiles, settings };
    static QList<Destination> allDestinations();
    static QString toString(Destination destination);
    static std::optional<Destination> destinationFromString(const QString &raw);

    // The health of the installed Quick Actions, as last checked.
    struct issues {
        int count = 0;
        bool operator==(const issues &) const = default;
    };
    struct unknown {
        bool operator==(const unknown &) const = default;
    };
    struct healthy {
        bool operator==(const healthy &) const = default;
    };
    using HealthStatus = std::variant<issues, unknown, healthy>;

    struct PackBanner {
        enum class Tone { success, failure };
        Tone tone = Tone::success;
        QString message;
        // Each file the run couldn't change, with the system's reason.
        QList<ItemFailure> failures = {};
        bool operator==(const PackBanner &) const = default;
        static QString toString(Tone tone);
    };

    AppState(Defaults &defaults, Interaction &interaction, QObject *parent = nullptr);
    ~AppState() override;

    Defaults &defaults() const { return userDefaults; }
    Interaction &interaction() const override { return asker; }
    WorkflowRunner &workflowRunner();
    DiagnosticLog &diagnosticLog() override { return *log; }
    CategoryStore &categoryStore() { return *categoryLibrary; }
    CommentTemplateStore &commentTemplateStore() { return *templateLibrary; }
    TransferProfileStore &transferProfileStore() { return *profileLibrary; }
    // A copy of the store's list, kept in step with it.
    const QList<Category> &categories() const { return categoryList; }
    std::optional<QUuid> categoryEditorSelection() const { return editorSelection; }
    void setCategoryEditorSelection(std::optional<QUuid> id);
    // Reports, progress, the running scan and the thresholds.
    ScanState &scanState() { return *scans; }
    const ScanState &scanState() const { return *scans; }
    const std::optional<ScanReport> &activeReport() const { return scans->activeReport(); }
    void resetScan() { scans->resetScan(); }
    void presentReport(const ScanReport &report) { scans->presentReport(report); }
    // Carries out the planned moves of `report` on the scan task; the report comes back without the files
    // moved and the banner gives the result.
    void executePlan(const ScanReport &report);
    // Asks "Move {n} files?" about the report on show and carries out its plan when the answer is yes.
    // False when there was nothing to move or the user said no.
    bool confirmAndExecutePlan();

    // Navigation and catalogue.
    std::optional<Destination> selection() const { return selectedDestination; }
    void setSelection(std::optional<Destination> destination);
    const QList<Workflow> &workflows() const { return coreRows; }
    void setWorkflows(const QList<Workflow> &rows);
    const QSet<QString> &installedPackIDs() const { return packIDs; }
    const QSet<QString> &installedPackWorkflowIDs() const { return packWorkflowIDs; }

    // Status.
    const HealthStatus &healthStatus() const { return health; }
    std::optional<QDateTime> lastHealthCheck() const { return lastCheck; }
    const std::optional<IntegrityReport> &integrityReport() const { return integrity; }
    void setIntegrityReport(const std::optional<IntegrityReport> &report);
    bool integrityBannerDismissed() const { return integrityDismissed; }
    void setIntegrityBannerDismissed(bool dismissed);
    const std::optional<PackBanner> &packBanner() const { return banner; }
    void setPackBanner(const std::optional<PackBanner> &value);
    void showFailure(const QString &message, const QList<ItemFailure> &failures) override;
    void showFailure(const QString &message) { showFailure(message, {}); }
    void showSuccess(const QString &message) override;
    void recordDetail(const QString &key, const QJsonValue &value) override { details.insert(key, value); }
    bool keepsDetails() const override { return detailsWanted; }
    void setKeepsDetails(bool keep) { detailsWanted = keep; }
    // Every detail recorded this run, by key.
    const QJsonObject &runDetails() const { return details; }
    // The last status check or installation of the Quick Actions.
    const WorkflowInstaller::Status &installerStatus() const { return installer; }
    void setInstallerStatus(const WorkflowInstaller::Status &status);
    const std::optional<QString> &firstLaunchMessage() const { return firstLaunch; }
    void setFirstLaunchMessage(const std::optional<QString> &message);

    // Sheet contexts: a value presents the sheet, closing the sheet empties it. Each sheet's model
    // is made here and lives until the sheet closes; the same context again keeps the one on show.
    std::optional<SingleTagSelectorContext> singleTagSelectorContext() const;
    void setSingleTagSelectorContext(const std::optional<SingleTagSelectorContext> &context);
    SingleTagSelectorSheet *singleTagSelectorSheet() const { return singleTag; }
    std::optional<CategoryTaggingContext> categoryTaggingContext() const;
    void setCategoryTaggingContext(const std::optional<CategoryTaggingContext> &context);
    CategoryTaggingSheet *categoryTaggingSheet() const { return categoryTagging; }
    std::optional<TextCommentToolsContext> textCommentToolsContext() const;
    void setTextCommentToolsContext(const std::optional<TextCommentToolsContext> &context);
    TextCommentToolsSheet *textCommentToolsSheet() const { return textTools; }
    std::optional<CommentTemplateContext> commentTemplateContext() const;
    void setCommentTemplateContext(const std::optional<CommentTemplateContext> &context);
    CommentTemplatePickerSheet *commentTemplateSheet() const { return templatePicker; }

    // Sessions: the state owns the one on show; a new one replaces it, none closes the sheet.
    StitchSession *stitchSession() const { return stitch; }
    void setStitchSession(StitchSession *session);
    RouteByConfigSession *routeByConfigSession() const { return routeByConfig; }
    void setRouteByConfigSession(RouteByConfigSession *session);
    ArchiveSession *archiveSession() const { return archive; }
    void setArchiveSession(ArchiveSession *session);
    ProjectDetectorSession *projectDetectorSession() const { return projectDetector; }
    void setProjectDetectorSession(ProjectDetectorSession *session);
    StageImportSession *stageImportSession() const { return stageImport; }
    void setStageImportSession(StageImportSession *session);
    ProjectSnapshotSession *projectSnapshotSession() const { return projectSnapshot; }
    void setProjectSnapshotSession(ProjectSnapshotSession *session);
    // Opens the snapshot sheet on `projectRoot` with every kind found there, and the destination checked
    // when one is given: the Run panel's folder and any flow that snapshots a project it found.
    ProjectSnapshotSession *openProjectSnapshot(const QString &projectRoot,
                                                const std::optional<QString> &destination = std::nullopt);
    ProjectOrganizerSession *projectOrganizerSession() const { return projectOrganizer; }
    void setProjectOrganizerSession(ProjectOrganizerSession *session);
    GitInitSession *gitInitSession() const { return gitInit; }
    void setGitInitSession(GitInitSession *session);
    // The projects worked on lately, newest first.
    RecentProjectsStore &recentProjects() { return *recentProjectList; }

    // Every sheet model and session on show, in the order of the slots above.
    QList<Session *> sessions() const;

    // Derived values, computed when read.
    QList<Workflow> allWorkflows() const;
    int installedCount() const;
    QString statusLine() const;
    int integrityMissingCount() const;
    QString healthSummary() const;
    QString healthCount() const;

    // Operations.
    void refreshStatuses();
    void runHealthCheck();
    // The presence check of the installed Quick Actions; refreshes the installed state.
    void runIntegrityCheck();
    // What the main window does first: the first launch's installation, the installer's status check
    // and the installed state.
    void startUp();
    // Installs the Quick Actions once, at the first launch that can; a user who removed them all
    // doesn't get them back at the next start.
    void runFirstLaunchInstall();
    // Install / Update All and Repair: copies every bundle again.
    void repairInstallation();
    // Asks "Remove all Vantrel Quick Actions?" and removes them and their menu entries. False when
    // the answer was Cancel.
    bool removeAllQuickActions();
    // A row's Remove and Reinstall: that workflow's bundle alone.
    void removeQuickAction(const QString &workflowID);
    void reinstallQuickAction(const QString &workflowID);
    void runWorkflow(const QString &id, const QStringList &paths);
    // The category library's file flows: each asks through the interaction and
    // ends in a banner and a receipt.
    void exportCategoriesToDisk();
    void importCategoriesFromDisk();
    void resetCategoriesConfirmed();
    // The transfer profiles' flows: the selected profile, and the file flows, which end in a banner and a
    // receipt. A profile that comes in (new, duplicated, imported) is selected.
    std::optional<QUuid> transferProfileSelection() const { return profileSelection; }
    void setTransferProfileSelection(std::optional<QUuid> id);
    std::optional<TransferProfile> transferProfile(const QUuid &id) const;
    // Saves and selects a profile that isn't in the library yet; false, with the banner, when it couldn't.
    bool addTransferProfile(const TransferProfile &profile);
    std::optional<TransferProfile> importTransferProfile(const QString &path);
    void importTransferProfileFromDisk();
    bool exportTransferProfile(const QUuid &id, const QString &path);
    void exportTransferProfileToDisk(const QUuid &id);
    // Asks "Delete "{name}"?" first; false when the answer was Cancel or the file couldn't go.
    bool deleteTransferProfile(const QUuid &id);
    // The one write of both tagging sheets: the tags join each target's comment
    // as tokens. Clears both tagging contexts and sets the banner.
    void applyTags(const QStringList &tags, const QStringList &targets);

signals:
    void selectionChanged();
    void workflowsChanged();
    void healthChanged();
    void packBannerChanged();
    void firstLaunchMessageChanged();
    void installerStatusChanged();
    void integrityChanged();
    void contextsChanged();
    void categoriesChanged();
    void categoryEditorSelectionChanged();
    void transferProfileSelectionChanged();
    // A URL asked for the application to come to the front.
    void activationRequested();

private:
    // Puts `next` into `slot`: the session there before goes, and a session that closes leaves it.
    template <typename S> void install(QPointer<S> &slot, S *next);
    void closeTaggingSheets();
    void followTransferProfiles();

    Defaults &userDefaults;
    Interaction &asker;
    std::unique_ptr<WorkflowRunner> runner;

    std::optional<Destination> selectedDestination = Destination::dashboard;
    QList<Workflow> coreRows;
    QSet<QString> packIDs;
    QSet<QString> packWorkflowIDs;
    std::unique_ptr<ScanState> scans;
    std::unique_ptr<CommentTemplateStore> templateLibrary;
    std::unique_ptr<CategoryStore> categoryLibrary;
    std::unique_ptr<DiagnosticLog> log;
    std::unique_ptr<TransferProfileStore> profileLibrary;
    std::unique_ptr<RecentProjectsStore> recentProjectList;
    QList<Category> categoryList;
    std::optional<QUuid> editorSelection;
    std::optional<QUuid> profileSelection;

    HealthStatus health = unknown{};
    std::optional<QDateTime> lastCheck;
    std::optional<IntegrityReport> integrity;
    bool integrityDismissed = false;
    std::optional<PackBanner> banner;
    QJsonObject details;
    bool detailsWanted = false;
    std::optional<QString> firstLaunch;
    WorkflowInstaller::Status installer = WorkflowInstaller::idle{};

    QPointer<SingleTagSelectorSheet> singleTag;
    QPointer<CategoryTaggingSheet> categoryTagging;
    QPointer<TextCommentToolsSheet> textTools;
    QPointer<CommentTemplatePickerSheet> templatePicker;
    QPointer<StitchSession> stitch;
    QPointer<RouteByConfigSession> routeByConfig;
    QPointer<ArchiveSession> archive;
    QPointer<ProjectDetectorSession> projectDetector;
    QPointer<StageImportSession> stageImport;
    QPointer<ProjectSnapshotSession> projectSnapshot;
    QPointer<ProjectOrganizerSession> projectOrganizer;
    QPointer<GitInitSession> gitInit;
};
