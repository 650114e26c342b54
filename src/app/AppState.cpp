#include "app/AppState.h"

#include "app/WorkflowRunner.h"
#include "foundation/Defaults.h"
#include "foundation/EnumNames.h"
#include "foundation/Plural.h"
#include "foundation/RunURL.h"
#include "foundation/WorkflowCatalog.h"
#include "metadata/sheets/CommentWrites.h"
#include "platform/Paths.h"
#include "platform/ServicesRegistry.h"
#include "quickactions/InstalledBundles.h"
#include "scan/TidyPlan.h"
#include "transfer/archive/ArchiveSession.h"
#include "transfer/stitch/StitchSession.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

using D = AppState::Destination;
constexpr EnumNameTable<D, 6> destinationNames{{
    {D::dashboard, "dashboard"},
    {D::quickActions, "quickActions"},
    {D::categories, "categories"},
    {D::automationPacks, "automationPacks"},
    {D::transferProfiles, "transferProfiles"},
    {D::settings, "settings"},
}};

QSet<QString> toSet(const QStringList &list)
{
    return {list.begin(), list.end()};
}

template <typename T> bool assign(std::optional<T> &field, const std::optional<T> &value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

} // namespace

QList<AppState::Destination> AppState::allDestinations()
{
    QList<Destination> list;
    for (const auto &entry : destinationNames)
        list.append(entry.first);
    return list;
}

QString AppState::toString(Destination destination)
{
    return enumName(destinationNames, destination);
}

std::optional<AppState::Destination> AppState::destinationFromString(const QString &raw)
{
    return enumFromName(destinationNames, raw);
}

QString AppState::PackBanner::toString(Tone tone)
{
    return tone == Tone::success ? QStringLiteral("success") : QStringLiteral("failure");
}

AppState::AppState(Defaults &defaults, Interaction &interaction, QObject *parent)
    : QObject(parent), userDefaults(defaults), asker(interaction), coreRows(WorkflowCatalog::coreWorkflows()),
      packIDs(toSet(defaults.value(DefaultsKeys::installedPackIDs))),
      packWorkflowIDs(toSet(defaults.value(DefaultsKeys::installedPackWorkflowIDs))),
      scans(std::make_unique<ScanState>(defaults)), templateLibrary(std::make_unique<CommentTemplateStore>()),
      categoryLibrary(std::make_unique<CategoryStore>()), log(std::make_unique<DiagnosticLog>(defaults)),
      categoryList(categoryLibrary->categories())
{
    connect(categoryLibrary.get(), &CategoryStore::categoriesChanged, this, [this] {
        categoryList = categoryLibrary->categories();
        // The editor can't stay on a category that is gone.
        if (editorSelection && std::none_of(categoryList.cbegin(), categoryList.cend(),
                                            [this](const Category &c) { return c.id == *editorSelection; }))
            setCategoryEditorSelection(std::nullopt);
        emit categoriesChanged();
    });
    // Another Vantrel (a `vantrel run` beside the window) may change the libraries; the window follows.
    categoryLibrary->watch();
    templateLibrary->watch();
    categoryLibrary->setDiagnosticLog(log.get());
    templateLibrary->setDiagnosticLog(log.get());
    profileLibrary = std::make_unique<TransferProfileStore>(log.get());
    followTransferProfiles();
    recentProjectList = std::make_unique<RecentProjectsStore>(userDefaults);
    log->record(
        ActionReceipt::Kind::state, QStringLiteral("AppState.launch"), std::nullopt,
        QStringLiteral("categories=%1 templates=%2").arg(categoryList.size()).arg(templateLibrary->templates().size()));
}

AppState::~AppState()
{
    // The sheets write through the stores and the log, so they go before them.
    for (Session *session : sessions())
        delete session;
}

WorkflowRunner &AppState::workflowRunner()
{
    if (!runner)
        runner = std::make_unique<WorkflowRunner>(this);
    return *runner;
}

void AppState::setSelection(std::optional<Destination> destination)
{
    if (assign(selectedDestination, destination))
        emit selectionChanged();
}

void AppState::setCategoryEditorSelection(std::optional<QUuid> id)
{
    if (assign(editorSelection, id))
        emit categoryEditorSelectionChanged();
}

void AppState::setWorkflows(const QList<Workflow> &rows)
{
    if (coreRows == rows)
        return;
    coreRows = rows;
    emit workflowsChanged();
}

void AppState::setIntegrityReport(const std::optional<IntegrityReport> &report)
{
    if (!assign(integrity, report))
        return;
    emit integrityChanged();
    emit healthChanged();
}

void AppState::setIntegrityBannerDismissed(bool dismissed)
{
    if (integrityDismissed == dismissed)
        return;
    integrityDismissed = dismissed;
    emit integrityChanged();
}

void AppState::setPackBanner(const std::optional<PackBanner> &value)
{
    if (assign(banner, value))
        emit packBannerChanged();
}

void AppState::executePlan(const ScanReport &report)
{
    TidyPlan::run(report, *scans, [this](const QString &text, const QList<ItemFailure> &failures) {
        // A single failed move makes the run a failure: the user has files left to see to.
        if (failures.isEmpty())
            showSuccess(text);
        else
            showFailure(text, failures);
    });
}

bool AppState::confirmAndExecutePlan()
{
    const auto &report = scans->activeReport();
    if (!report || !report->plannedMoves || report->plannedMoves->isEmpty())
        return false;
    if (asker.alert(TidyPlan::confirmation(*report)) != 0)
        return false;
    executePlan(*report);
    return true;
}

void AppState::showFailure(const QString &message, const QList<ItemFailure> &failures)
{
    setPackBanner(PackBanner{PackBanner::Tone::failure, message, failures});
}

void AppState::showSuccess(const QString &message)
{
    setPackBanner(PackBanner{PackBanner::Tone::success, message});
}

void AppState::setFirstLaunchMessage(const std::optional<QString> &message)
{
    if (assign(firstLaunch, message))
        emit firstLaunchMessageChanged();
}

template <typename S> void AppState::install(QPointer<S> &slot, S *next)
{
    if (slot == next)
        return;
    if (S *old = slot) {
        slot = nullptr;
        old->disconnect(this);
        // Later, not now: the call may come from inside the old session's own slot.
        old->deleteLater();
    }
    slot = next;
    if (next) {
        next->setParent(this);
        connect(next, &Session::closed, this, [this, &slot, next] {
            if (slot == next)
                install<S>(slot, nullptr);
        });
    }
    emit contextsChanged();
}

template <typename Context, typename S> std::optional<Context> contextOf(const QPointer<S> &slot)
{
    return slot ? std::optional<Context>(slot->context()) : std::nullopt;
}

std::optional<SingleTagSelectorContext> AppState::singleTagSelectorContext() const
{
    return contextOf<SingleTagSelectorContext>(singleTag);
}

void AppState::setSingleTagSelectorContext(const std::optional<SingleTagSelectorContext> &context)
{
    if (context == singleTagSelectorContext())
        return;
    install(singleTag, context ? new SingleTagSelectorSheet(*this, *categoryLibrary, *context) : nullptr);
    if (singleTag)
        connect(singleTag, &SingleTagSelectorSheet::applied, this, &AppState::closeTaggingSheets);
}

std::optional<CategoryTaggingContext> AppState::categoryTaggingContext() const
{
    return contextOf<CategoryTaggingContext>(categoryTagging);
}

void AppState::setCategoryTaggingContext(const std::optional<CategoryTaggingContext> &context)
{
    if (context == categoryTaggingContext())
        return;
    install(categoryTagging, context ? new CategoryTaggingSheet(*this, *categoryLibrary, *context) : nullptr);
    if (categoryTagging)
        connect(categoryTagging, &CategoryTaggingSheet::applied, this, &AppState::closeTaggingSheets);
}

std::optional<TextCommentToolsContext> AppState::textCommentToolsContext() const
{
    return contextOf<TextCommentToolsContext>(textTools);
}

void AppState::setTextCommentToolsContext(const std::optional<TextCommentToolsContext> &context)
{
    if (context == textCommentToolsContext())
        return;
    install(textTools, context ? new TextCommentToolsSheet(*this, *context) : nullptr);
}

std::optional<CommentTemplateContext> AppState::commentTemplateContext() const
{
    return contextOf<CommentTemplateContext>(templatePicker);
}

void AppState::setCommentTemplateContext(const std::optional<CommentTemplateContext> &context)
{
    if (context == commentTemplateContext())
        return;
    install(templatePicker, context ? new CommentTemplatePickerSheet(*this, *templateLibrary, *context) : nullptr);
}

void AppState::setStitchSession(StitchSession *session)
{
    install(stitch, session);
}

void AppState::setRouteByConfigSession(RouteByConfigSession *session)
{
    install(routeByConfig, session);
}

void AppState::setArchiveSession(ArchiveSession *session)
{
    install(archive, session);
}

void AppState::setProjectDetectorSession(ProjectDetectorSession *session)
{
    install(projectDetector, session);
}

void AppState::setStageImportSession(StageImportSession *session)
{
    install(stageImport, session);
}

void AppState::setProjectSnapshotSession(ProjectSnapshotSession *session)
{
    install(projectSnapshot, session);
}

ProjectSnapshotSession *AppState::openProjectSnapshot(const QString &projectRoot,
                                                      const std::optional<QString> &destination)
{
    auto *session =
        new ProjectSnapshotSession(*this, projectRoot, ProjectStructure::detectAll(projectRoot), &recentProjects());
    if (destination)
        session->setDestination(*destination);
    setProjectSnapshotSession(session);
    return session;
}

void AppState::setProjectOrganizerSession(ProjectOrganizerSession *session)
{
    install(projectOrganizer, session);
}

void AppState::setGitInitSession(GitInitSession *session)
{
    install(gitInit, session);
}

QList<Session *> AppState::sessions() const
{
    QList<Session *> open;
    for (Session *session : std::initializer_list<Session *>{singleTag, categoryTagging, textTools, templatePicker,
                                                             stitch, routeByConfig, archive, projectDetector,
                                                             stageImport, projectSnapshot, projectOrganizer, gitInit}) {
        if (session)
            open.append(session);
    }
    return open;
}

// Whichever tagging sheet wrote, both close: the tags are on the files.
void AppState::closeTaggingSheets()
{
    setSingleTagSelectorContext(std::nullopt);
    setCategoryTaggingContext(std::nullopt);
}

void AppState::applyTags(const QStringList &tags, const QStringList &targets)
{
    CommentWrites::applyTags(*this, tags, targets);
    closeTaggingSheets();
}

QList<Workflow> AppState::allWorkflows() const
{
    return WorkflowCatalog::combined(coreRows, packWorkflowIDs);
}

int AppState::installedCount() const
{
    int count = 0;
    for (const Workflow &workflow : allWorkflows()) {
        if (workflow.status == Workflow::Status::installed)
            ++count;
    }
    return count;
}

QString AppState::statusLine() const
{
    const int total = int(allWorkflows().size());
    const int installed = installedCount();
    if (installed == total)
        return QStringLiteral("All workflows installed");
    if (installed == 0)
        return QStringLiteral("Needs setup");
    return QStringLiteral("%1 not installed").arg(total - installed);
}

int AppState::integrityMissingCount() const
{
    return integrity ? int(integrity->missing.size()) : 0;
}

QString AppState::healthSummary() const
{
    if (const int missing = integrityMissingCount(); missing > 0)
        return counted(missing, QStringLiteral("Quick Action missing"), QStringLiteral("Quick Actions missing"));
    if (std::holds_alternative<healthy>(health))
        return QStringLiteral("Everything is in order");
    if (const auto *found = std::get_if<issues>(&health))
        return counted(found->count, QStringLiteral("item need attention"), QStringLiteral("items need attention"));
    return QStringLiteral("Not yet checked");
}

QString AppState::healthCount() const
{
    if (const int missing = integrityMissingCount(); missing > 0)
        return QString::number(missing);
    if (std::holds_alternative<healthy>(health))
        return QStringLiteral("0");
    if (const auto *found = std::get_if<issues>(&health))
        return QString::number(found->count);
    return QStringLiteral("—");
}

void AppState::refreshStatuses()
{
    const QSet<QString> present = InstalledBundles::ownBundleNames();
    QList<Workflow> rows = coreRows;
    for (Workflow &row : rows) {
        row.status = present.contains(row.bundleName) ? Workflow::Status::installed : Workflow::Status::missing;
        // A bundle that stands but that the file manager can't show needs Repair.
        if (row.status == Workflow::Status::installed) {
            const auto menuName = ServiceBundles::menuName(Paths::servicesFolder() + QLatin1Char('/') + row.bundleName);
            if (menuName && !ServicesRegistry::system().isIntact(*menuName))
                row.status = Workflow::Status::needsSetup;
        }
    }
    // Only a real change is written back, so the screens aren't told of nothing.
    setWorkflows(rows);
}

void AppState::runHealthCheck()
{
    int sum = 0;
    for (const Workflow &row : coreRows) {
        if (row.status == Workflow::Status::missing || row.status == Workflow::Status::needsSetup)
            ++sum;
    }
    health = sum == 0 ? HealthStatus{healthy{}} : HealthStatus{issues{sum}};
    lastCheck = QDateTime::currentDateTime();
    emit healthChanged();
}

void AppState::runWorkflow(const QString &id, const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    workflowRunner().handle(RunURL::make(id, paths));
}
