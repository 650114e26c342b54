#include "metadata/CommentTokenEditor.h"

#include <QRegularExpression>
#include <QSet>

QStringList CommentTokenEditor::tokens(const std::optional<QString> &text)
{
    QStringList result;
    if (!text || text->isEmpty())
        return result;
    static const QRegularExpression separators(QStringLiteral("[,;|\\n\\r]"));
    for (const QString &piece : text->split(separators)) {
        const QString token = piece.trimmed();
        if (!token.isEmpty())
            result.append(token);
    }
    return result;
}

QStringList CommentTokenEditor::dedupe(const QStringList &tokens)
{
    QStringList kept;
    QSet<QString> seen;
    for (const QString &token : tokens) {
        const QString key = token.toLower();
        if (seen.contains(key))
            continue;
        seen.insert(key);
        kept.append(token);
    }
    return kept;
}
