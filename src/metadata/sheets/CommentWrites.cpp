#include "metadata/sheets/CommentWrites.h"

#include "foundation/Plural.h"
#include "foundation/SessionHost.h"

#include "metadata/CommentTokenEditor.h"
#include "metadata/FinderMetadata.h"

#include <exception>

namespace {

// The banner text shared by the comment writes once some failed, with the first failure's reason.
QString failureText(int applied, const QList<ItemFailure> &failures)
{
    const QString counts = applied == 0
                               ? QStringLiteral("All %1 writes failed.").arg(failures.size())
                               : QStringLiteral("Applied to %1 · %2 failed.").arg(applied).arg(failures.size());
    return ItemFailures::withFirstReason(counts, failures);
}

} // namespace

bool CommentWrites::applyTags(SessionHost &host, const QStringList &tags, const QStringList &targets)
{
    QStringList cleaned;
    for (const QString &tag : tags) {
        const QString trimmed = tag.trimmed();
        if (!trimmed.isEmpty())
            cleaned.append(trimmed);
    }
    if (cleaned.isEmpty() || targets.isEmpty())
        return false;

    int applied = 0;
    QList<ItemFailure> failures;
    for (const QString &target : targets) {
        // An unreadable comment reads as none, so the tags become the whole comment.
        const QStringList merged =
            CommentTokenEditor::dedupe(CommentTokenEditor::tokens(FinderMetadata::readComment(target)) + cleaned);
        try {
            // Written even when nothing changed, so every comment comes out in one form.
            FinderMetadata::writeComment(merged.join(QStringLiteral(", ")), target);
            ++applied;
        } catch (const std::exception &error) {
            failures.append({target, FinderMetadata::reason(error)});
        }
    }
    if (failures.isEmpty())
        host.showSuccess(
            QStringLiteral("Applied %1 to %2.")
                .arg(counted(cleaned.size(), QStringLiteral("tag")), counted(applied, QStringLiteral("file"))));
    else
        host.showFailure(failureText(applied, failures), failures);
    return true;
}

void CommentWrites::applyComment(SessionHost &host, const QString &text, FinderMetadata::ApplyMode mode,
                                 const QStringList &targets)
{
    int applied = 0;
    QList<ItemFailure> failures;
    for (const QString &target : targets) {
        try {
            if (mode == FinderMetadata::ApplyMode::replace)
                FinderMetadata::writeComment(text, target);
            else
                FinderMetadata::apply({{}, text, std::nullopt}, target, FinderMetadata::ApplyMode::append);
            ++applied;
        } catch (const std::exception &error) {
            failures.append({target, FinderMetadata::reason(error)});
        }
    }
    if (failures.isEmpty())
        host.showSuccess(QStringLiteral("Applied comment to %1.").arg(counted(applied, QStringLiteral("file"))));
    else
        host.showFailure(failureText(applied, failures), failures);
}

void CommentWrites::applyTextCommentAction(SessionHost &host, const TextCommentActions::TextCommentAction &action,
                                           const QStringList &targets)
{
    using namespace TextCommentActions;
    int updated = 0;
    QList<ItemFailure> failures;
    for (const QString &target : targets) {
        try {
            if (const auto stem = renamedStem(action, split(target))) {
                renameStem(target, *stem);
            } else if (const auto *add = std::get_if<addToComment>(&action)) {
                FinderMetadata::writeComment(addedComment(FinderMetadata::readComment(target), add->text), target);
            } else if (const auto *remove = std::get_if<removeFromComment>(&action)) {
                FinderMetadata::writeComment(removedComment(FinderMetadata::readComment(target), remove->text), target);
            } else {
                FinderMetadata::writeComment(QString(), target);
            }
            ++updated;
        } catch (const std::exception &error) {
            failures.append({target, FinderMetadata::reason(error)});
        }
    }
    if (failures.isEmpty())
        host.showSuccess(QStringLiteral("Updated %1.").arg(counted(updated, QStringLiteral("file"))));
    else if (updated > 0)
        host.showFailure(ItemFailures::withFirstReason(
                             QStringLiteral("Updated %1 · %2 failed.").arg(updated).arg(failures.size()), failures),
                         failures);
    else
        host.showFailure(
            ItemFailures::withFirstReason(QStringLiteral("All %1 updates failed.").arg(failures.size()), failures),
            failures);
}
