#pragma once

#include <QString>
#include <QStringList>

#include <exception>
#include <functional>
#include <optional>
#include <stop_token>
#include <variant>

// The only code that starts git. Stateless: each call names the folder it works in, starts git, waits for
// it, and hands back what git printed or a value read from it. Blocking, so callers run it on a task.
namespace GitRunner {

enum class InProgressState { merge, rebase, cherryPick, revert, bisect };
QString toString(InProgressState state);
// The word users read: "cherry-pick" for a cherry pick, else the raw value.
QString label(InProgressState state);

struct Commit {
    QString sha;
    QString shortSha;
    QString subject;
    QString author;
    QString relativeDate;
    bool operator==(const Commit &) const = default;
};

struct DirtyFile {
    enum class Kind { modified, added, deleted, renamed, untracked, conflict };
    // Relative to the top level, exactly as git printed it: a quoted name stays quoted.
    QString path;
    Kind kind = Kind::modified;
    bool operator==(const DirtyFile &) const = default;
};
QString toString(DirtyFile::Kind kind);

struct Status {
    std::optional<QString> branch;
    std::optional<QString> upstream;
    int ahead = 0;
    int behind = 0;
    QList<DirtyFile> dirty;
    std::optional<InProgressState> inProgress;
    std::optional<Commit> lastCommit;
    bool operator==(const Status &) const = default;
};

struct RunOutput {
    QString stdout;
    QString stderr;
    int exitCode = 0;
    bool operator==(const RunOutput &) const = default;
};

// What reading the remote without changing anything said.
struct FetchVerdict {
    struct ok {
        bool operator==(const ok &) const = default;
    };
    struct noRemote {
        bool operator==(const noRemote &) const = default;
    };
    struct remoteMissing {
        QString stderr;
        bool operator==(const remoteMissing &) const = default;
    };
    struct authRequired {
        QString stderr;
        bool operator==(const authRequired &) const = default;
    };
    struct networkError {
        QString stderr;
        bool operator==(const networkError &) const = default;
    };
    struct otherFailure {
        QString stderr;
        int exitCode = 0;
        bool operator==(const otherFailure &) const = default;
    };
    using Value = std::variant<ok, noRemote, remoteMissing, authRequired, networkError, otherFailure>;
};
using Verdict = FetchVerdict::Value;

// The failures the operations throw; what() is the text the sheets show.
class GitError : public std::exception {
public:
    struct notARepo {
        QString folder;
        bool operator==(const notARepo &) const = default;
    };
    struct commandFailed {
        QString command;
        int exitCode = 0;
        QString stderr;
        bool operator==(const commandFailed &) const = default;
    };
    struct inProgress {
        InProgressState state = InProgressState::merge;
        bool operator==(const inProgress &) const = default;
    };
    struct parseFailed {
        QString text;
        bool operator==(const parseFailed &) const = default;
    };
    using Case = std::variant<notARepo, commandFailed, inProgress, parseFailed>;

    explicit GitError(Case value);
    const Case &value() const { return kind; }
    QString description() const { return text; }
    const char *what() const noexcept override { return utf8.constData(); }

private:
    Case kind;
    QString text;
    QByteArray utf8;
};

// git couldn't be started at all (not installed, not executable), or was asked for a command Vantrel
// never runs; what() carries the reason.
class LaunchError : public std::exception {
public:
    explicit LaunchError(QString reason) : reason(std::move(reason)), utf8(this->reason.toUtf8()) {}
    QString description() const { return reason; }
    const char *what() const noexcept override { return utf8.constData(); }

private:
    QString reason;
    QByteArray utf8;
};

// The first of the usual places that holds git, else /usr/bin/git, whose start then reports the failure.
QString executablePath();
// The program's environment with git held to English, a known PATH and no terminal prompt.
QStringList environment();

// Whether `arguments` is one of the command lines Vantrel issues. Nothing else ever reaches git: no
// reset, rebase, merge, checkout, clean, and no forcing option.
bool isTableCommand(const QStringList &arguments);

// Runs git with `arguments` in `folder` and waits for it, reading both streams as they fill. Its input is
// empty and it runs in a session of its own, so neither git nor ssh can ask on the terminal that started
// Vantrel: they fail instead. A stop request ends the child (its whole process group: TERM, then KILL
// after two seconds); pass one only for commands that may be cut short. Throws LaunchError.
RunOutput run(const QStringList &arguments, const QString &folder, std::stop_token stop = {});

// Tests see every command line the runner starts, as it starts it.
using CommandObserver = std::function<void(const QStringList &arguments, const QString &folder)>;
void setCommandObserver(CommandObserver observer);

std::optional<QString> repositoryRoot(const QString &folder);
void ensureRepository(const QString &folder);
void ensureFolder(const QString &folder);
std::optional<InProgressState> detectInProgress(const QString &folder);
Status status(const QString &folder);
std::optional<Commit> lastCommit(const QString &folder);
std::optional<QString> remoteURL(const QString &name, const QString &folder);
RunOutput initialize(const QString &folder);
RunOutput commit(const QString &message, const QStringList &paths, const QString &folder);
RunOutput stashPush(const QString &message, const QString &folder);
QString normalizeRemoteURL(const QString &text);
Verdict verifyRemote(const QString &folder, std::stop_token stop = {});

} // namespace GitRunner
