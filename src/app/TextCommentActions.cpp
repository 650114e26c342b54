#include "app/TextCommentActions.h"

#include "app/AppState.h"
#include "app/Plural.h"
#include "metadata/FinderMetadata.h"
#include "platform/FileMoves.h"

#include <QFileInfo>

#include <stdexcept>

namespace {

constexpr int maxCounter = 999;

QString candidate(const TextCommentActions::NameParts &parts, const QString &stem)
{
    const QString name = parts.extension.isEmpty() ? stem : stem + QLatin1Char('.') + parts.extension;
    return parts.folder + QLatin1Char('/') + name;
}

} // namespace

TextCommentActions::NameParts TextCommentActions::split(const QString &path)
{
    const QFileInfo info(path);
    const QString name = info.fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    NameParts parts{info.absolutePath(), name, {}};
    if (dot > 0 && dot < name.size() - 1) {
        parts.stem = name.left(dot);
        parts.extension = name.mid(dot + 1);
    }
    return parts;
}

QString TextCommentActions::addedComment(const std::optional<QString> &existing, const QString &text)
{
    if (existing && !existing->isEmpty())
        return *existing + QLatin1Char('\n') + text;
    return text;
}

QString TextCommentActions::removedComment(const std::optional<QString> &existing, const QString &text)
{
    QString comment = existing.value_or(QString());
    if (!text.isEmpty())
        comment.remove(text, Qt::CaseSensitive);
    return comment;
}

void TextCommentActions::renameStem(const QString &path, const QString &newStem)
{
    const NameParts parts = split(path);
    if (newStem == parts.stem)
        return;
    QString target = candidate(parts, newStem);
    for (int i = 1; i <= maxCounter; ++i) {
        const FileMoves::Result result = FileMoves::moveNoReplace(path, target);
        if (result.outcome == FileMoves::Outcome::moved)
            return;
        if (result.outcome == FileMoves::Outcome::failed)
            throw std::runtime_error(result.error.toStdString());
        target = candidate(parts, QStringLiteral("%1 (%2)").arg(newStem).arg(i));
    }
    // Every name is taken: the file keeps its own.
}

void AppState::applyTextCommentAction(const TextCommentAction &action, const QStringList &targets)
{
    using namespace TextCommentActions;
    int updated = 0;
    QList<ItemFailure> failures;
    for (const QString &target : targets) {
        try {
            const NameParts parts = split(target);
            if (const auto *prepend = std::get_if<prependFilename>(&action)) {
                renameStem(target, prepend->text + parts.stem);
            } else if (const auto *append = std::get_if<appendFilename>(&action)) {
                renameStem(target, parts.stem + append->text);
            } else if (const auto *replace = std::get_if<replaceInFilename>(&action)) {
                QString stem = parts.stem;
                if (!replace->find.isEmpty())
                    stem.replace(replace->find, replace->replace, Qt::CaseSensitive);
                renameStem(target, stem);
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
    setTextCommentToolsContext(std::nullopt);
    if (failures.isEmpty())
        showSuccess(QStringLiteral("Updated %1.").arg(counted(updated, QStringLiteral("file"))));
    else if (updated > 0)
        showFailure(ItemFailures::withFirstReason(
                        QStringLiteral("Updated %1 · %2 failed.").arg(updated).arg(failures.size()), failures),
                    failures);
    else
        showFailure(
            ItemFailures::withFirstReason(QStringLiteral("All %1 updates failed.").arg(failures.size()), failures),
            failures);
}
