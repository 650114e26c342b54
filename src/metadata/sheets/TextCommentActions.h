#pragma once

#include <QString>

#include <optional>
#include <variant>

// The pieces of a file name that the rename operations work on.
namespace TextCommentActions {

// The six operations of Text & Comment Tools.
struct prependFilename {
    QString text;
    bool operator==(const prependFilename &) const = default;
};
struct appendFilename {
    QString text;
    bool operator==(const appendFilename &) const = default;
};
struct replaceInFilename {
    QString find;
    QString replace;
    bool operator==(const replaceInFilename &) const = default;
};
struct addToComment {
    QString text;
    bool operator==(const addToComment &) const = default;
};
struct removeFromComment {
    QString text;
    bool operator==(const removeFromComment &) const = default;
};
struct clearComment {
    bool operator==(const clearComment &) const = default;
};
using TextCommentAction =
    std::variant<prependFilename, appendFilename, replaceInFilename, addToComment, removeFromComment, clearComment>;

struct NameParts {
    QString folder;
    QString stem;
    QString extension; // without its point; empty when there is none
    bool operator==(const NameParts &) const = default;
};

// "archive.tar.gz" → stem "archive.tar", extension "gz"; ".profile" has no
// extension, nor has "notes.".
NameParts split(const QString &path);

// The comment `addToComment` writes: the text on a new line behind a comment.
QString addedComment(const std::optional<QString> &existing, const QString &text);
// The comment `removeFromComment` writes: every occurrence of the text gone.
QString removedComment(const std::optional<QString> &existing, const QString &text);

// The name `parts` take with `stem` in place of their own stem.
QString joined(const NameParts &parts, const QString &stem);

// The stem a rename action gives the file `parts` were split from; nothing for
// the comment actions.
std::optional<QString> renamedStem(const TextCommentAction &action, const NameParts &parts);

// Why the text a rename action puts into names can't be in a name ("/", NUL).
std::optional<QString> textProblem(const TextCommentAction &action);
// Why `path` can't take the name the action gives it (empty, "..", too long,
// nothing left before the extension). Nothing for a name that is fine, and for
// the comment actions.
std::optional<QString> nameProblem(const TextCommentAction &action, const QString &path);

// Renames `path` to `newStem` keeping its extension. A taken name gets " (1)",
// " (2)"… up to 999; when all are taken the file stays. Throws the system's
// error when the move fails, and the reason when the name can't be a name.
void renameStem(const QString &path, const QString &newStem);

} // namespace TextCommentActions
