#include "transfer/mover/SmartMoverHandler.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Plural.h"
#include "foundation/SessionHost.h"
#include "platform/NativeNames.h"
#include "scan/ScanState.h"
#include "transfer/engine/TransferPlanner.h"
#include "transfer/engine/TransferRunner.h"

#include <QDate>
#include <QElapsedTimer>
#include <QJsonArray>

#include <memory>
#include <mutex>

using namespace TransferEngine;

namespace {

const QString copySuffix = QStringLiteral(" -copy");
const QString commentsValue = QStringLiteral("annotateSourceComments");
const QString formatValue = QStringLiteral("annotationFormat");

QString lastComponent(const QString &path)
{
    return NativeNames::display(path.mid(path.lastIndexOf(QLatin1Char('/')) + 1));
}

// The answers of one run, carried from stage to stage.
struct RunState {
    SessionHost *host = nullptr;
    ScanState *scans = nullptr;
    Plan plan;
    std::optional<ConflictPolicy> policy;
    std::optional<Result> result;
    std::optional<SourceAnnotator::Options> options;
};
using Shared = std::shared_ptr<RunState>;

ScanState::Result next(std::function<void()> then)
{
    return ScanState::Result{std::nullopt, std::nullopt, nullptr, std::move(then), false};
}

void finishWithReport(const Shared &run, const SourceAnnotator::Summary &summary, ScanState::Result &out)
{
    out.report = SmartMoverHandler::report(*run->result, run->options, summary);
    // On the main thread, once the report is on show.
    out.then = [run, summary] {
        run->host->recordDetail(QStringLiteral("annotation"), SourceAnnotator::toJson(summary));
        if (!summary.errors.isEmpty())
            run->host->showFailure(SmartMoverHandler::errorsMessage(summary.errors), {});
    };
}

void annotate(const Shared &run)
{
    run->scans->runFollowUp([run](std::stop_token stop,
                                  const ScanState::PublishProgress &publish) -> std::optional<ScanState::Result> {
        const QString title = SmartMoverHandler::finalisingTitle(*run->options);
        QElapsedTimer clock;
        std::mutex guard;
        const SourceAnnotator::Progress progress = [&](int processed, int total) {
            const std::lock_guard lock(guard);
            // At most ten updates a second, but the last one always.
            if (clock.isValid() && clock.elapsed() < 100 && processed != total)
                return;
            clock.start();
            publish(ScanProgress{title, processed, total});
        };
        const SourceAnnotator::Summary summary = SourceAnnotator::apply(*run->options, *run->result, progress, stop);
        if (stop.stop_requested())
            return std::nullopt;
        ScanState::Result out = next(nullptr);
        finishWithReport(run, summary, out);
        return out;
    });
}

void askWhatNext(const Shared &run)
{
    Interaction &ask = run->host->interaction();
    const Result &result = *run->result;
    if (result.copiedCount() > 0) {
        const AlertAnswer answer = ask.alertWithValues(SmartMoverHandler::completionAlert(result));
        run->options = SmartMoverHandler::optionsFor(
            answer, [&] { return ask.alert(SmartMoverHandler::trashConfirmation(result)) == 0; });
    }
    if (run->options) {
        annotate(run);
        return;
    }
    // Nothing to do to the originals: the report straight away, as a stage of its own so that it
    // comes the one way every report comes.
    run->scans->runFollowUp([run](std::stop_token, const ScanState::PublishProgress &) {
        ScanState::Result out = next(nullptr);
        finishWithReport(run, {}, out);
        return std::optional<ScanState::Result>(std::move(out));
    });
}

void copy(const Shared &run)
{
    run->scans->runFollowUp(
        [run](std::stop_token stop, const ScanState::PublishProgress &publish) -> std::optional<ScanState::Result> {
            Result result = TransferRunner::execute(run->plan, *run->policy, publish, stop);
            if (result.wasCancelled || stop.stop_requested())
                return std::nullopt;
            run->result = std::move(result);
            return next([run] { askWhatNext(run); });
        });
}

void decide(const Shared &run)
{
    if (const auto blocked = SmartMoverHandler::blockedMessage(run->plan)) {
        run->host->showFailure(*blocked, {});
        return;
    }
    const int button = run->host->interaction().alert(SmartMoverHandler::planAlert(run->plan));
    run->policy = SmartMoverHandler::policyFor(run->plan, button);
    if (run->policy)
        copy(run);
}

} // namespace

namespace SmartMoverHandler {

void run(const QStringList &sources, SessionHost &host, ScanState &scans)
{
    scans.resetScan();
    if (sources.isEmpty()) {
        host.showFailure(QStringLiteral("Smart Mover needs at least one selected file or folder."), {});
        return;
    }
    PanelRequest panel;
    panel.title = QStringLiteral("Choose destination folder");
    panel.message = QStringLiteral("Files will be copied into this folder.");
    panel.prompt = QStringLiteral("Choose");
    panel.canChooseFiles = false;
    panel.canChooseDirectories = true;
    panel.canCreateDirectories = true;
    const QStringList chosen = host.interaction().panel(panel);
    if (chosen.isEmpty())
        return;

    auto state = std::make_shared<RunState>();
    state->host = &host;
    state->scans = &scans;
    const QString &destination = chosen.first();
    scans.runFollowUp(
        [state, sources, destination](std::stop_token stop,
                                      const ScanState::PublishProgress &publish) -> std::optional<ScanState::Result> {
            publish(ScanProgress{QStringLiteral("Planning the copy"), 0, 0});
            state->plan = TransferPlanner::plan(sources, destination, Volumes::facts, stop);
            if (stop.stop_requested())
                return std::nullopt;
            const QJsonObject detail = state->host->keepsDetails() ? toJson(state->plan) : QJsonObject();
            return next([state, detail] {
                if (!detail.isEmpty())
                    state->host->recordDetail(QStringLiteral("plan"), detail);
                decide(state);
            });
        });
}

std::optional<QString> blockedMessage(const Plan &plan)
{
    const QList<SafetyIssue> blocking = plan.blockingIssues();
    if (blocking.isEmpty())
        return std::nullopt;
    QStringList texts;
    for (SafetyIssue issue : blocking)
        texts.append(text(issue));
    return QStringLiteral("Transfer blocked: ") + texts.join(QStringLiteral(" · "));
}

AlertRequest planAlert(const Plan &plan)
{
    const QString size = ByteCountFormatter::format(quint64(std::max<qint64>(plan.totalSizeBytes, 0)));
    const QString name = lastComponent(plan.destinationRoot);
    const int n = plan.topLevelItemCount;
    const int m = plan.totalFileCount;
    AlertRequest alert;
    alert.message = n == m ? QStringLiteral("Copy %1 item%2 (%3) to %4?").arg(n).arg(pluralSuffix(n), size, name)
                           : QStringLiteral("Copy %1 item%2 — %3 file%4 total (%5) — to %6?")
                                 .arg(n)
                                 .arg(pluralSuffix(n))
                                 .arg(m)
                                 .arg(pluralSuffix(m), size, name);
    QStringList lines{QStringLiteral("Destination: %1").arg(SourceAnnotator::withHomeAsTilde(plan.destinationRoot))};
    if (plan.destinationFreeSpaceBytes >= 1)
        lines.append(QStringLiteral("%1 free at destination")
                         .arg(ByteCountFormatter::format(quint64(plan.destinationFreeSpaceBytes))));
    lines.append(QString());
    if (!plan.conflicts.isEmpty()) {
        const qsizetype k = plan.conflicts.size();
        lines.append(QStringLiteral("⚠ %1 name conflict%2 at the destination.").arg(k).arg(pluralSuffix(k)));
        lines.append(QStringLiteral("Pick how to handle the conflicting items — your choice applies to all of them."));
        alert.style = AlertRequest::Style::warning;
        alert.buttons = {QStringLiteral("Rename with -copy"), QStringLiteral("Skip conflicts"),
                         QStringLiteral("Overwrite"), QStringLiteral("Cancel")};
    } else {
        lines.append(QStringLiteral("No name conflicts at the destination."));
        alert.style = AlertRequest::Style::informational;
        alert.buttons = {QStringLiteral("Copy"), QStringLiteral("Cancel")};
    }
    if (plan.safetyIssues.contains(SafetyIssue::destinationVolumeAlmostFull))
        lines.append(QStringLiteral("ℹ︎ Destination volume is nearly full."));
    alert.informativeText = lines.join(QLatin1Char('\n'));
    return alert;
}

std::optional<ConflictPolicy> policyFor(const Plan &plan, int button)
{
    if (plan.conflicts.isEmpty())
        return button == 0 ? std::optional<ConflictPolicy>(renameWithSuffix{copySuffix}) : std::nullopt;
    switch (button) {
    case 0:
        return renameWithSuffix{copySuffix};
    case 1:
        return skip{};
    case 2:
        return overwrite{};
    default:
        return std::nullopt;
    }
}

AlertRequest completionAlert(const Result &result)
{
    const int n = result.copiedCount();
    QStringList sentences{QStringLiteral("%1 item%2 now at %3.")
                              .arg(n)
                              .arg(pluralSuffix(n), SourceAnnotator::withHomeAsTilde(result.plan.destinationRoot))};
    if (const int failed = result.failedCount(); failed >= 1)
        sentences.append(QStringLiteral("%1 failed and remain only at the source.").arg(failed));
    if (const int skipped = result.skippedCount(); skipped >= 1)
        sentences.append(QStringLiteral("%1 skipped (already existed).").arg(skipped));
    sentences.append(QStringLiteral("Originals are still in place. What should happen to them?"));

    AlertRequest alert;
    alert.style = AlertRequest::Style::informational;
    alert.message = QStringLiteral("Transfer complete");
    alert.informativeText = sentences.join(QLatin1Char(' '));
    alert.buttons = {QStringLiteral("Keep originals (copy)"), QStringLiteral("Move originals to Trash"),
                     QStringLiteral("Done — no further action")};
    AlertAccessory accessory;
    accessory.checkboxName = commentsValue;
    accessory.checkboxLabel = QStringLiteral("Add a Finder Comment to source files");
    accessory.checked = true;
    accessory.fieldName = formatValue;
    accessory.fieldText = SourceAnnotator::defaultFormat();
    accessory.hint = QStringLiteral("Tokens: {dest} {date}");
    accessory.previewPrefix = QStringLiteral("Preview: ");
    const QString root = result.plan.destinationRoot;
    accessory.preview = [root](const QString &format) {
        return SourceAnnotator::render(format, root, QDate::currentDate());
    };
    alert.accessory = accessory;
    return alert;
}

AlertRequest trashConfirmation(const Result &result)
{
    const int n = result.copiedCount();
    AlertRequest alert;
    alert.style = AlertRequest::Style::warning;
    alert.message = QStringLiteral("Move %1 original%2 to Trash?").arg(n).arg(pluralSuffix(n));
    alert.informativeText =
        QStringLiteral("The copies at the destination will remain. You can restore the originals from the Trash.");
    alert.buttons = {QStringLiteral("Move to Trash"), QStringLiteral("Cancel")};
    alert.needsExplicitAnswer = true;
    return alert;
}

std::optional<SourceAnnotator::Options> optionsFor(const AlertAnswer &answer, const std::function<bool()> &confirmTrash)
{
    SourceAnnotator::Options options;
    options.annotationFormat = answer.fieldText.isEmpty() ? SourceAnnotator::defaultFormat() : answer.fieldText;
    options.annotateSourceComments = answer.checked;
    switch (answer.button) {
    case 0:
        return options;
    case 1:
        options.deleteOriginals = confirmTrash();
        return options;
    default:
        if (!answer.checked)
            return std::nullopt;
        return options;
    }
}

QString finalisingTitle(const SourceAnnotator::Options &options)
{
    if (options.annotateSourceComments)
        return QStringLiteral("Updating Finder Comments");
    if (options.evictICloudSources)
        return QStringLiteral("Removing iCloud downloads");
    if (options.deleteOriginals)
        return QStringLiteral("Moving originals to Trash");
    return QStringLiteral("Finalising sources");
}

ScanReport report(const Result &result, const std::optional<SourceAnnotator::Options> &options,
                  const SourceAnnotator::Summary &summary)
{
    const bool moved = options && options->deleteOriginals;
    ScanReport report =
        ScanReport::begin(QStringLiteral("smart-mover"),
                          moved ? QStringLiteral("Smart Mover — Moved") : QStringLiteral("Smart Mover — Copied"),
                          moved ? ScanReport::Kind::transferMove : ScanReport::Kind::transferCopy);
    report.groups = QList<ScanGroup>{};
    report.plannedMoves = QList<PlannedMove>{};
    QStringList parts{QStringLiteral("%1 copied").arg(result.copiedCount())};
    if (const int skipped = result.skippedCount(); skipped > 0)
        parts.append(QStringLiteral("%1 skipped").arg(skipped));
    if (const int failed = result.failedCount(); failed > 0)
        parts.append(QStringLiteral("%1 failed").arg(failed));
    if (summary.annotated > 0)
        parts.append(QStringLiteral("%1 annotated").arg(summary.annotated));
    if (summary.deleted > 0)
        parts.append(QStringLiteral("%1 original%2 trashed").arg(summary.deleted).arg(pluralSuffix(summary.deleted)));
    report.summary = parts.join(QStringLiteral(" · ")) + QStringLiteral(" — ") +
                     SourceAnnotator::withHomeAsTilde(result.plan.destinationRoot) + QLatin1Char('.');
    for (const ResolvedItem &item : result.items) {
        QString badge;
        QString url = item.source;
        if (const auto *c = std::get_if<copied>(&item.outcome)) {
            badge = QStringLiteral("copied");
            url = c->url;
        } else if (const auto *o = std::get_if<overwrote>(&item.outcome)) {
            badge = QStringLiteral("overwrote");
            url = o->url;
        } else if (const auto *r = std::get_if<renamed>(&item.outcome)) {
            badge = QStringLiteral("renamed");
            url = r->url;
        } else if (const auto *s = std::get_if<skipped>(&item.outcome)) {
            badge = QStringLiteral("skipped · ") + s->reason;
        } else {
            const QString error = std::get<failed>(item.outcome).error;
            badge = QStringLiteral("failed · ") + error;
            report.failures.append({item.source, error});
        }
        report.items.append(ScanReport::itemFor(url, badge));
    }
    return report;
}

bool answersAlert(const QString &name)
{
    return name == commentsValue || name == formatValue;
}

std::optional<QString> checkAlertValue(const QString &name, const QString &value)
{
    if (name == commentsValue && value != QLatin1String("true") && value != QLatin1String("false"))
        return QStringLiteral("%1 takes true or false, not “%2”.").arg(name, value);
    return std::nullopt;
}

QString errorsMessage(const QStringList &errors)
{
    if (errors.size() <= 1)
        return errors.value(0);
    const qsizetype more = errors.size() - 1;
    return QStringLiteral("%1 (and %2 more)").arg(errors.first()).arg(more);
}

} // namespace SmartMoverHandler
