#pragma once

#include "steward/git/GitRunner.h"

// Reading git's output, apart from running it: pure, and never throwing on a line it doesn't know.
namespace GitParsing {

struct Header {
    std::optional<QString> branch;
    std::optional<QString> upstream;
    int ahead = 0;
    int behind = 0;
    bool operator==(const Header &) const = default;
};

// The "# branch.…" lines of `status --porcelain=v2 --branch`.
Header header(const QString &output);
// The change records of `status --porcelain=v2`, in git's order; lines it can't read are skipped.
QList<GitRunner::DirtyFile> entries(const QString &output);
// The one line of `log -1` with the five tab-separated fields; nothing with fewer.
std::optional<GitRunner::Commit> commit(const QString &output);
// How a failed `ls-remote` reads, from its standard error.
GitRunner::Verdict verdict(const QString &stderr, int exitCode);

} // namespace GitParsing
