#include "app/AppState.h"
#include "foundation/Plural.h"

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

void AppState::applyTags(const QStringList &tags, const QStringList &targets)
{
    QStringList cleaned;
    for (const QString &tag : tags) {
        const QString trimmed = tag.trimmed();
        if (!trimmed.isEmpty())
            cleaned.append(trimmed);
    }
    if (cleaned.isEmpty() || targets.isEmpty()) {
        setSingleTagSelectorContext(std::nullopt);
        setCategoryTaggingContext(std::nullopt);
        return;
    }

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
    setSingleTagSelectorContext(std::nullopt);
    setCategoryTaggingContext(std::nullopt);
    if (failures.isEmpty())
        showSuccess(QStringLiteral("Applied %1 to %2.")
                        .arg(counted(cleaned.size(), QStringLiteral("tag")), counted(applied, QStringLiteral("file"))));
    else
        showFailure(failureText(applied, failures), failures);
}

void AppState::applyComment(const QString &text, FinderMetadata::ApplyMode mode, const QStringList &targets)
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
    setCommentTemplateContext(std::nullopt);
    if (failures.isEmpty())
        showSuccess(QStringLiteral("Applied comment to %1.").arg(counted(applied, QStringLiteral("file"))));
    else
        showFailure(failureText(applied, failures), failures);
}
