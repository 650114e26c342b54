#include "steward/git/GitParsing.h"

using GitRunner::DirtyFile;

namespace {

QStringList lines(const QString &output)
{
    return output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

int decimal(const QString &text)
{
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    return ok ? value : 0;
}

QString trimmed(QString text, QChar mark)
{
    while (text.startsWith(mark))
        text.remove(0, 1);
    while (text.endsWith(mark))
        text.chop(1);
    return text;
}

// What follows the first `fields` space-separated fields of `line`, empty fields counting; nothing when the
// line has fewer. A path is that remainder whole, spaces and all.
std::optional<QString> remainder(const QString &line, int fields)
{
    qsizetype at = 0;
    for (int i = 0; i < fields; ++i) {
        const qsizetype space = line.indexOf(QLatin1Char(' '), at);
        if (space < 0)
            return std::nullopt;
        at = space + 1;
    }
    return line.mid(at);
}

DirtyFile::Kind ordinaryKind(const QString &xy)
{
    if (xy.contains(QLatin1Char('U')))
        return DirtyFile::Kind::conflict;
    switch (xy.isEmpty() ? QChar().unicode() : xy.front().unicode()) {
    case 'A':
    case 'C':
        return DirtyFile::Kind::added;
    case 'D':
        return DirtyFile::Kind::deleted;
    case 'R':
        return DirtyFile::Kind::renamed;
    default:
        // "M", and "." for a change not yet staged: the work tree differs either way.
        return DirtyFile::Kind::modified;
    }
}

bool containsAny(const QString &text, std::initializer_list<const char *> words)
{
    return std::any_of(words.begin(), words.end(),
                       [&text](const char *word) { return text.contains(QLatin1String(word)); });
}

} // namespace

GitParsing::Header GitParsing::header(const QString &output)
{
    Header parsed;
    for (const QString &line : lines(output)) {
        const QStringList pieces = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (pieces.size() < 3 || pieces[0] != QLatin1String("#"))
            continue;
        if (pieces[1] == QLatin1String("branch.head")) {
            parsed.branch = pieces[2] == QLatin1String("(detached)") ? std::nullopt : std::optional(pieces[2]);
        } else if (pieces[1] == QLatin1String("branch.upstream")) {
            parsed.upstream = pieces[2];
        } else if (pieces[1] == QLatin1String("branch.ab") && pieces.size() >= 4) {
            parsed.ahead = decimal(trimmed(pieces[2], QLatin1Char('+')));
            parsed.behind = decimal(trimmed(pieces[3], QLatin1Char('-')));
        }
    }
    return parsed;
}

QList<DirtyFile> GitParsing::entries(const QString &output)
{
    QList<DirtyFile> files;
    for (const QString &line : lines(output)) {
        const QString type = line.section(QLatin1Char(' '), 0, 0);
        if (type == QLatin1String("1")) {
            if (const auto path = remainder(line, 8); path && !path->isEmpty())
                files.append({*path, ordinaryKind(line.section(QLatin1Char(' '), 1, 1))});
        } else if (type == QLatin1String("2")) {
            // The new name, then a tab and the old one.
            if (const auto path = remainder(line, 9); path && !path->isEmpty())
                files.append({path->section(QLatin1Char('\t'), 0, 0), DirtyFile::Kind::renamed});
        } else if (type == QLatin1String("u")) {
            if (const auto path = remainder(line, 10); path && !path->isEmpty())
                files.append({*path, DirtyFile::Kind::conflict});
        } else if (type == QLatin1String("?")) {
            if (const auto path = remainder(line, 1); path && !path->isEmpty())
                files.append({*path, DirtyFile::Kind::untracked});
        }
    }
    return files;
}

std::optional<GitRunner::Commit> GitParsing::commit(const QString &output)
{
    const QStringList pieces = output.split(QLatin1Char('\t'));
    if (pieces.size() < 5)
        return std::nullopt;
    // A subject can't hold a tab or a line feed, but a trailing line feed may follow the date.
    return GitRunner::Commit{pieces[0], pieces[1], pieces[2], pieces[3], pieces[4].trimmed()};
}

GitRunner::Verdict GitParsing::verdict(const QString &stderr, int exitCode)
{
    using Verdict = GitRunner::FetchVerdict;
    const QString said = stderr.trimmed();
    const QString lower = said.toLower();
    if (containsAny(lower, {"repository not found", "could not read from remote repository"}) ||
        (lower.contains(QLatin1String("not found")) && lower.contains(QLatin1String("github"))))
        return Verdict::remoteMissing{said};
    if (containsAny(lower, {"authentication failed", "permission denied", "could not read username",
                            "terminal prompts disabled", "invalid credentials"}))
        return Verdict::authRequired{said};
    if (containsAny(lower, {"could not resolve host", "network is unreachable", "operation timed out", "ssl", "tls"}))
        return Verdict::networkError{said};
    return Verdict::otherFailure{said, exitCode};
}
