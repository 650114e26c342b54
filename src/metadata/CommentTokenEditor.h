#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// A comment read as a list of tokens, separated by ",", ";", "|", line feeds and
// carriage returns.
namespace CommentTokenEditor {

struct CleanupResult {
    QStringList before;
    QStringList after;
    bool operator==(const CleanupResult &) const = default;
};

// Trimmed, non-empty pieces in order.
QStringList tokens(const std::optional<QString> &text);
// Keeps the first spelling of each token, compared without regard to case.
QStringList dedupe(const QStringList &tokens);

} // namespace CommentTokenEditor
