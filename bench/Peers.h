#pragma once

// What every bench needs of the reference tools it compares with: a ratio against a peer that is
// missing, failed, or wrote something else than was asked of it means nothing, so the bench stops
// there, says which peer and why, and exits with `peerFailed` instead of printing a number.
#include <QStandardPaths>
#include <QString>
#include <QStringList>

#include <cstdio>

namespace Peers {

// The exit status of a bench whose peer couldn't be compared with; 1 stays "a goal was missed".
constexpr int peerFailed = 3;

// Prints one line per tool that isn't on PATH; true when all are there.
inline bool installed(const char *bench, const QStringList &tools)
{
    bool all = true;
    for (const QString &tool : tools) {
        if (QStandardPaths::findExecutable(tool).isEmpty()) {
            std::fprintf(stderr,
                         "%s: the reference tool %s isn't installed (WITH_BENCH=1 scripts/install-deps.sh "
                         "installs it); no comparison without it.\n",
                         bench, qPrintable(tool));
            all = false;
        }
    }
    return all;
}

// One clear line on standard error; returns `peerFailed` for the bench to exit with.
inline int failed(const char *bench, const QString &what)
{
    std::fprintf(stderr, "%s: %s; no ratio is given against it.\n", bench, qPrintable(what));
    return peerFailed;
}

} // namespace Peers
