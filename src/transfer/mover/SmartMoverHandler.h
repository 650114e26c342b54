#pragma once

#include "foundation/Interaction.h"
#include "scan/ScanReport.h"
#include "transfer/engine/TransferEngine.h"
#include "transfer/mover/SourceAnnotator.h"

#include <QStringList>

#include <optional>

class ScanState;
class SessionHost;

// A copy of the selection into a chosen folder: the plan is shown before anything is written, one
// answer covers every name conflict, and the originals stay unless the user sends them to the Trash.
// Each stage (plan, copy, annotate) is the scan task in turn; the questions come between them.
namespace SmartMoverHandler {

void run(const QStringList &sources, SessionHost &host, ScanState &scans);

// The questions and the report, apart from the run, so that each text can be checked.
AlertRequest planAlert(const TransferEngine::Plan &plan);
// The policy the plan alert's button stands for; nothing for Cancel.
std::optional<TransferEngine::ConflictPolicy> policyFor(const TransferEngine::Plan &plan, int button);
// "Transfer blocked: …"; nothing when the plan may run.
std::optional<QString> blockedMessage(const TransferEngine::Plan &plan);
AlertRequest completionAlert(const TransferEngine::Result &result);
AlertRequest trashConfirmation(const TransferEngine::Result &result);
// What the completion alert's answer asks of the originals; `confirmTrash` asks the Trash confirmation
// and says whether it was given. Nothing when nothing is to be done.
std::optional<SourceAnnotator::Options> optionsFor(const AlertAnswer &answer,
                                                   const std::function<bool()> &confirmTrash);
// The annotator's progress title for these options.
QString finalisingTitle(const SourceAnnotator::Options &options);
ScanReport report(const TransferEngine::Result &result, const std::optional<SourceAnnotator::Options> &options,
                  const SourceAnnotator::Summary &summary);
// Whether `name` is one of the completion alert's values a script may set, and why `value` doesn't fit it.
bool answersAlert(const QString &name);
std::optional<QString> checkAlertValue(const QString &name, const QString &value);

// The annotator's errors as one banner: the first, and how many more.
QString errorsMessage(const QStringList &errors);

} // namespace SmartMoverHandler
