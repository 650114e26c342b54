#pragma once

#include <QStringList>

// What a Quick Action hands a tagging or comment sheet: the selected files.
struct SingleTagSelectorContext {
    QStringList targets;
    bool operator==(const SingleTagSelectorContext &) const = default;
};

struct CategoryTaggingContext {
    QStringList targets;
    bool operator==(const CategoryTaggingContext &) const = default;
};

struct TextCommentToolsContext {
    QStringList targets;
    bool operator==(const TextCommentToolsContext &) const = default;
};

struct CommentTemplateContext {
    QStringList targets;
    bool operator==(const CommentTemplateContext &) const = default;
};
