#pragma once

#include "transfer/rules/TransferProfile.h"

#include <QDateTime>
#include <QHash>
#include <QMutex>
#include <QRegularExpression>

#include <optional>

// Tests routing rules against files. What can't be read counts as no match; tags and comments, the slow
// reads, are read only when a condition reaches them, and once per file.
namespace RuleEvaluator {

// "Now" is read once for a whole plan, so every file is judged against the same instant.
std::optional<TransferRule> firstMatch(const TransferProfile &profile, const QString &path, const QDateTime &now);
bool matches(const RuleMatch &match, const QString &path, const QDateTime &now);

// The extension the rules compare: what follows the last point of the name ("archive.tar.gz" → "gz"), empty
// for a name without one, a hidden name (".profile") or a name ending in a point.
QString extensionOf(const QString &path);

// The compiled expressions of the process, shared by every evaluation. The lock covers looking up and
// compiling, never matching; a pattern that doesn't compile is never kept and never matches.
class RegexCache {
public:
    static RegexCache &shared();
    // The compiled pattern; nothing when it doesn't compile.
    std::optional<QRegularExpression> expression(const QString &pattern);
    bool matches(const QString &pattern, const QString &subject);
    qsizetype size() const;

private:
    mutable QMutex lock;
    QHash<QString, QRegularExpression> cache;
};

} // namespace RuleEvaluator
