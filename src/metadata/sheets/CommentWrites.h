#pragma once

#include "metadata/FinderMetadata.h"
#include "metadata/sheets/TextCommentActions.h"

#include <QStringList>

class SessionHost;

// The writes the tagging, template and text-tool sheets end in: each goes over every target, one
// file's failure never stops the rest, and the banner says what happened.
namespace CommentWrites {

// The tags join each target's comment as tokens. False when there was nothing to write: no tag left
// after trimming, or no target; nothing is written then and no banner appears.
bool applyTags(SessionHost &host, const QStringList &tags, const QStringList &targets);
// The comment replaces each target's comment, or is appended to it.
void applyComment(SessionHost &host, const QString &text, FinderMetadata::ApplyMode mode, const QStringList &targets);
// Renames never replace a file, a taken name gets a counter.
void applyTextCommentAction(SessionHost &host, const TextCommentActions::TextCommentAction &action,
                            const QStringList &targets);

} // namespace CommentWrites
