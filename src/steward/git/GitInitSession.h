#pragma once

#include "foundation/Session.h"
#include "steward/ProjectStructure.h"
#include "steward/git/GitLog.h"

#include <optional>
#include <variant>

// Init Repo: turns a folder into a git repository on `main` with a .gitignore that suits the project's
// kind, makes the first commit and, when asked, names the origin remote. It never pushes: the user does
// that once the remote repository exists.
class GitInitSession : public Session {
    Q_OBJECT
public:
    struct Plan {
        QString folder;
        std::optional<ProjectKind> detectedKind;
        bool operator==(const Plan &) const = default;
    };
    struct Progress {
        QString step;
        GitLog log;
        bool operator==(const Progress &) const = default;
    };
    struct Result {
        QString folder;
        GitLog log;
        double elapsed = 0;
        bool remoteSet = false;
        bool operator==(const Result &) const = default;
    };

    struct configuring {
        Plan plan;
        bool operator==(const configuring &) const = default;
    };
    struct executing {
        Progress progress;
        bool operator==(const executing &) const = default;
    };
    struct done {
        Result result;
        bool operator==(const done &) const = default;
    };
    struct failed {
        QString message;
        bool operator==(const failed &) const = default;
    };
    using Phase = std::variant<configuring, executing, done, failed>;

    GitInitSession(SessionHost &host, const QString &folder, QObject *parent = nullptr);
    ~GitInitSession() override;

    // The .gitignore a project of `kind` starts from: the common lines, a blank line, the kind's own
    // lines, and one line feed at the end. A kind without lines of its own, or none, gets the common ones.
    static QString templateFor(std::optional<ProjectKind> kind);
    // The sheet's sentence under its title.
    static QString purpose();

    const QString &folder() const { return targets().first(); }
    const Phase &phase() const { return current; }
    // What the run has logged so far; it stays readable once the run has failed.
    const GitLog &log() const { return runLog; }

    const QString &ignoreTemplate() const { return ignoreText; }
    void setIgnoreTemplate(const QString &text);
    const QString &commitMessage() const { return message; }
    void setCommitMessage(const QString &text);
    const QString &remoteURL() const { return remote; }
    void setRemoteURL(const QString &text);

    // What Init will do, in order, with the current message and remote; credentials are masked.
    QStringList planLines() const;

    void start();
    // Closes the sheet, except while the run is under way: a repository left half made helps no one, and
    // the run takes seconds.
    void cancel() override;

    QString title() const override;
    // commitMessage, remoteURL and ignoreTemplate (the text, or @FILE to read it from a file).
    QList<Field> fields() override;
    std::optional<QString> perform() override;
    std::optional<QString> planOnly() override;
    PhaseKind phaseKind() const override;
    QJsonObject toJson() const override;
    QStringList describe() const override;

signals:
    void phaseChanged();

private:
    struct Outcome {
        Result result;
        std::optional<QString> failure;
    };
    struct Inputs {
        QString folder;
        QString ignoreTemplate;
        QString commitMessage;
        QString remoteURL;
    };

    void setPhase(Phase phase);
    std::optional<QString> readTemplate(const QString &value);
    Outcome execute(const Inputs &inputs, const std::function<void(const Progress &)> &publish);

    Phase current;
    GitLog runLog;
    QString ignoreText;
    QString message = QStringLiteral("Initial commit");
    QString remote;
};
