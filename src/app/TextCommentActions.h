#pragma once

#include <QString>

#include <optional>

// The pieces of a file name that the rename operations work on.
namespace TextCommentActions {

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

// Renames `path` to `newStem` keeping its extension. A taken name gets " (1)",
// " (2)"… up to 999; when all are taken the file stays. Throws the system's
// error when the move fails.
void renameStem(const QString &path, const QString &newStem);

} // namespace TextCommentActions
