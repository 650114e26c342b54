#include "transfer/route/RouteRunner.h"

#include "platform/FileMoves.h"
#include "platform/NativeNames.h"
#include "platform/Trash.h"
#include "transfer/engine/TransferRunner.h"

#include <sys/stat.h>

using namespace Route;
using Item = RouteResult::ItemResult;

namespace {

QString lastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// Whether the two paths are one file: the source already sits where its rule sends it.
bool sameFile(const QString &a, const QString &b)
{
    struct stat first {};
    struct stat second {};
    return ::lstat(NativeNames::encode(a).constData(), &first) == 0 &&
           ::lstat(NativeNames::encode(b).constData(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

// How many times a name taken between the look and the write is answered again before the file fails: a
// program filling the folder as fast as we pick names is not one to race forever.
constexpr int attempts = 16;

} // namespace

Item RouteRunner::fileStep(const QString &source, const QString &folder, const TransferEngine::ConflictPolicy &policy,
                           Verb verb)
{
    if (const auto error = FileMoves::makeFolders(folder))
        return {Item::failed{QStringLiteral("Could not create destination folder: %1").arg(*error)}};
    const QString intended = folder + QLatin1Char('/') + lastComponent(source);
    QString target = intended;
    if (sameFile(source, target)) {
        // Moving a file onto itself would do nothing, and overwriting it would send it to the Trash.
        if (verb == Verb::move || !std::holds_alternative<TransferEngine::renameWithSuffix>(policy))
            return {Item::skipped{QStringLiteral("Already in its destination folder")}};
    }
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (TransferRunner::isTaken(target)) {
            if (std::holds_alternative<TransferEngine::skip>(policy))
                return {Item::skipped{QStringLiteral("Conflict: target already exists")}};
            if (const auto *rename = std::get_if<TransferEngine::renameWithSuffix>(&policy)) {
                target = TransferRunner::uniqueURL(intended, rename->suffix);
            } else if (const auto refused = Trash::trashItem(target)) {
                // What is overwritten can be put back from the Trash.
                return {Item::failed{*refused}};
            }
        }
        const FileMoves::Result result =
            verb == Verb::move ? FileMoves::moveNoReplace(source, target) : FileMoves::copyNoReplace(source, target);
        if (result.outcome == FileMoves::Outcome::moved) {
            if (verb == Verb::move)
                return {Item::moved{target}};
            return {Item::copied{target}};
        }
        if (result.outcome == FileMoves::Outcome::failed)
            return {Item::failed{result.error}};
        // Taken between the look and the write: answered by the policy again, never replaced.
    }
    return {Item::failed{QStringLiteral("Conflict: target already exists")}};
}

RunProgress RouteRunner::tally(const QList<RouteResult::Outcome> &outcomes)
{
    RunProgress progress;
    for (const RouteResult::Outcome &outcome : outcomes) {
        std::visit(
            [&progress](const auto &result) {
                using T = std::decay_t<decltype(result)>;
                if constexpr (std::is_same_v<T, Item::moved>)
                    ++progress.moved;
                else if constexpr (std::is_same_v<T, Item::copied>)
                    ++progress.copied;
                else if constexpr (std::is_same_v<T, Item::skipped>)
                    ++progress.skipped;
                else
                    ++progress.failed;
            },
            outcome.result.value);
    }
    progress.processed = int(outcomes.size());
    return progress;
}

RouteResult RouteRunner::run(const RoutePlan &plan, const TransferEngine::ConflictPolicy &policy,
                             bool trashCopiedSources, const PublishProgress &publish, std::stop_token stop)
{
    RouteResult result{plan, {}, policy};
    const int total = int(plan.matches.size());
    RunProgress counts;
    const int stride = TransferRunner::progressStride(total);
    for (int i = 0; i < total; ++i) {
        if (stop.stop_requested())
            break;
        const RoutePlan::Match &match = plan.matches[i];
        if (publish && (i % stride == 0 || i == total - 1)) {
            RunProgress progress = counts;
            progress.processed = i;
            progress.total = total;
            progress.currentFile = match.source;
            publish(progress);
        }
        Item item{Item::skipped{QStringLiteral("Rule action: skip")}};
        if (const auto *move = std::get_if<ResolvedAction::moveTo>(&match.action.value))
            item = fileStep(match.source, move->url, policy, Verb::move);
        else if (const auto *copy = std::get_if<ResolvedAction::copyTo>(&match.action.value))
            item = fileStep(match.source, copy->url, policy, Verb::copy);
        result.outcomes.append({match.source, item});
        const RunProgress one = tally({result.outcomes.last()});
        counts.moved += one.moved;
        counts.copied += one.copied;
        counts.skipped += one.skipped;
        counts.failed += one.failed;
    }
    if (trashCopiedSources) {
        for (const RouteResult::Outcome &outcome : std::as_const(result.outcomes)) {
            // A refusal leaves the original in place; the copy stands either way.
            if (std::holds_alternative<Item::copied>(outcome.result.value))
                Trash::trashItem(outcome.source);
        }
    }
    return result;
}
