#include "metadata/sheets/TextCommentActions.h"

#include "platform/FileMoves.h"
#include "platform/FileNames.h"

#include <QFileInfo>

#include <stdexcept>

namespace {

constexpr int maxCounter = 999;

QString candidate(const TextCommentActions::NameParts &parts, const QString &stem)
{
    return parts.folder + QLatin1Char('/') + TextCommentActions::joined(parts, stem);
}

// Why `stem` can't be the new stem of the file `parts` come from.
std::optional<QString> stemProblem(const TextCommentActions::NameParts &parts, const QString &stem)
{
    const QString name = TextCommentActions::joined(parts, stem);
    const QString oldName = TextCommentActions::joined(parts, parts.stem);
    // "report.pdf" made ".pdf" would vanish from sight as a hidden file with no name of its own.
    if (stem.isEmpty() && !parts.extension.isEmpty())
        return QStringLiteral("“%1” would be renamed to “%2”, with nothing before its extension.").arg(oldName, name);
    if (const auto problem = FileNames::problem(name))
        return QStringLiteral("“%1” would be renamed to “%2”. %3").arg(oldName, name, *problem);
    return std::nullopt;
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

QString TextCommentActions::joined(const NameParts &parts, const QString &stem)
{
    return parts.extension.isEmpty() ? stem : stem + QLatin1Char('.') + parts.extension;
}

std::optional<QString> TextCommentActions::renamedStem(const TextCommentAction &action, const NameParts &parts)
{
    if (const auto *prepend = std::get_if<prependFilename>(&action))
        return prepend->text + parts.stem;
    if (const auto *append = std::get_if<appendFilename>(&action))
        return parts.stem + append->text;
    if (const auto *replace = std::get_if<replaceInFilename>(&action)) {
        QString stem = parts.stem;
        if (!replace->find.isEmpty())
            stem.replace(replace->find, replace->replace, Qt::CaseSensitive);
        return stem;
    }
    return std::nullopt;
}

std::optional<QString> TextCommentActions::textProblem(const TextCommentAction &action)
{
    if (const auto *prepend = std::get_if<prependFilename>(&action))
        return FileNames::partProblem(prepend->text);
    if (const auto *append = std::get_if<appendFilename>(&action))
        return FileNames::partProblem(append->text);
    // The text to find may hold anything: it only ever matches what a name already has.
    if (const auto *replace = std::get_if<replaceInFilename>(&action))
        return FileNames::partProblem(replace->replace);
    return std::nullopt;
}

std::optional<QString> TextCommentActions::nameProblem(const TextCommentAction &action, const QString &path)
{
    const NameParts parts = split(path);
    const auto stem = renamedStem(action, parts);
    if (!stem || *stem == parts.stem)
        return std::nullopt;
    return stemProblem(parts, *stem);
}

void TextCommentActions::renameStem(const QString &path, const QString &newStem)
{
    const NameParts parts = split(path);
    if (newStem == parts.stem)
        return;
    // The last guard before the move: whoever called, a stem with "/" never reaches another folder.
    if (const auto problem = stemProblem(parts, newStem))
        throw std::runtime_error(problem->toStdString());
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
