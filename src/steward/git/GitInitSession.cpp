#include "steward/git/GitInitSession.h"

#include "foundation/diagnostics/Redaction.h"
#include "platform/AtomicFile.h"
#include "platform/NativeNames.h"
#include "platform/RegularFile.h"
#include "steward/git/GitRunner.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>

#include <sys/stat.h>

namespace {

using Kind = LogEntry::Kind;

// Editor and desktop scratch that no project wants in its history, whatever its kind.
const char *const baseTemplate = "# macOS + common editor scratch\n.DS_Store\n.AppleDouble\n.LSOverride\nIcon?\n._*\n"
                                 ".Spotlight-V100\n.Trashes\n.vscode/\n.idea/\n*.swp\n*.swo\n*.bak\n*.tmp\n*.log";

const char *kindTemplate(ProjectKind kind)
{
    switch (kind) {
    case ProjectKind::unity:
        return "# Unity\n[Ll]ibrary/\n[Tt]emp/\n[Oo]bj/\n[Bb]uild/\n[Bb]uilds/\n[Ll]ogs/\n[Mm]emoryCaptures/\n"
               "[Rr]ecordings/\n[Uu]ser[Ss]ettings/\nsysinfo.txt\n*.csproj\n*.unityproj\n*.sln\n*.suo\n*.user\n"
               "*.userprefs\n*.pidb\n*.booproj\n*.svd\n*.pdb\n*.mdb\n*.opendb\n*.VC.db\n*.apk\n*.aab\n"
               "*.unitypackage\n*.app\ncrashlytics-build.properties\n/[Aa]ssets/[Aa]ssetStoreTools*\n"
               "/[Aa]ssets/Plugins/Editor/JetBrains*\n.vsconfig";
    case ProjectKind::xcode:
        return "# Xcode\nbuild/\nDerivedData/\n*.pbxuser\n!default.pbxuser\n*.mode1v3\n!default.mode1v3\n*.mode2v3\n"
               "!default.mode2v3\n*.perspectivev3\n!default.perspectivev3\nxcuserdata/\n*.moved-aside\n"
               "*.xccheckout\n*.xcscmblueprint\n*.hmap\n*.ipa\n*.dSYM.zip\n*.dSYM\n*.app\n*.xcuserstate\n"
               "*.xcworkspace/xcuserdata/";
    case ProjectKind::swiftPackage:
        return "# Swift Package Manager\n.build/\nPackages/\nPackage.resolved\n*.xcodeproj\n.swiftpm/";
    case ProjectKind::node:
        return "# Node\nnode_modules/\n.npm\n.yarn-integrity\n.pnp.*\nnpm-debug.log*\nyarn-debug.log*\n"
               "yarn-error.log*\n.env\n.env.*\ndist/\nbuild/\ncoverage/\n.next/\n.nuxt/\n.cache/";
    case ProjectKind::rust:
        return "# Rust\ntarget/\n**/*.rs.bk\n# Cargo.lock is committed for binaries, ignored for libraries;\n"
               "# left in — delete this line if you're building a library.";
    case ProjectKind::python:
        return "# Python\n__pycache__/\n*.py[cod]\n*$py.class\n*.so\n.Python\nenv/\nvenv/\n.venv/\nENV/\n.env\n"
               "*.egg-info/\ndist/\nbuild/\n.pytest_cache/\n.coverage\nhtmlcov/\n.mypy_cache/\n.ruff_cache/";
    case ProjectKind::godot:
        return "# Godot\n.import/\nexport.cfg\nexport_presets.cfg\n.godot/";
    case ProjectKind::gitRepo:
        break;
    }
    return "";
}

// Whether anything is at `path`, a dangling link included: a .git of any sort means a repository.
bool present(const QString &path)
{
    struct stat status {};
    return ::lstat(NativeNames::encode(path).constData(), &status) == 0;
}

qsizetype nonEmptyLines(const QString &text)
{
    qsizetype count = 0;
    for (const QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        if (!line.isEmpty())
            ++count;
    }
    return count;
}

QString commitLine(const QString &message)
{
    return QStringLiteral("git commit -m \"%1\"").arg(message);
}

QString remoteLine(const QString &url)
{
    return QStringLiteral("git remote add origin %1").arg(url);
}

QJsonArray logJson(const GitLog &log)
{
    QJsonArray entries;
    for (const LogEntry &entry : log)
        entries.append(entry.toJson());
    return entries;
}

QStringList shownLines(const GitLog &log)
{
    QStringList lines;
    for (const LogEntry &entry : log)
        lines.append(entry.shown());
    return lines;
}

// A failure the runner threw: its text, masked like every other line the user reads.
template <typename Error> QString describeError(const Error &error)
{
    return Redaction::hideCredentials(error.description());
}

} // namespace

GitInitSession::GitInitSession(SessionHost &host, const QString &folder, QObject *parent)
    : Session(host, {NativeNames::absolutePath(folder)}, parent)
{
    const QString root = this->folder();
    if (present(root + QStringLiteral("/.git"))) {
        current = failed{QStringLiteral("%1 is already a git repository (.git/ exists). Use GitHub Sync to operate "
                                        "on it.")
                             .arg(NativeNames::display(QFileInfo(root).fileName()))};
        return;
    }
    std::optional<ProjectKind> kind;
    if (const auto structure = ProjectStructure::detect(root))
        kind = structure->kind;
    current = configuring{Plan{root, kind}};
    ignoreText = templateFor(kind);
}

GitInitSession::~GitInitSession() = default;

QString GitInitSession::templateFor(std::optional<ProjectKind> kind)
{
    QString text = QString::fromUtf8(baseTemplate);
    if (kind)
        text += QStringLiteral("\n\n") + QString::fromUtf8(kindTemplate(*kind));
    return text.trimmed() + QLatin1Char('\n');
}

QString GitInitSession::purpose()
{
    return QStringLiteral("Turn a folder into a git repository with a safe-by-default .gitignore.");
}

void GitInitSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
    emit changed();
}

void GitInitSession::setIgnoreTemplate(const QString &text)
{
    setField(ignoreText, text);
}

void GitInitSession::setCommitMessage(const QString &text)
{
    setField(message, text);
}

void GitInitSession::setRemoteURL(const QString &text)
{
    setField(remote, text);
}

QStringList GitInitSession::planLines() const
{
    const QString url = remote.trimmed();
    return {QStringLiteral("git init --initial-branch=main"),
            QStringLiteral("Write .gitignore (you can edit it below)"), QStringLiteral("git add ."),
            Redaction::hideCredentials(commitLine(message.trimmed())),
            url.isEmpty() ? QStringLiteral("(skip remote — no URL set)") : Redaction::hideCredentials(remoteLine(url))};
}

void GitInitSession::start()
{
    if (!std::holds_alternative<configuring>(current) || isRunning())
        return;
    if (message.trimmed().isEmpty()) {
        setPhase(failed{QStringLiteral("Commit message is empty. Add a one-line summary first.")});
        return;
    }
    // The task works from a copy: what the sheet shows may change, what runs may not.
    const Inputs inputs{folder(), ignoreText, message.trimmed(), remote.trimmed()};
    runLog.clear();
    setPhase(executing{Progress{QStringLiteral("Initializing repo…"), {}}});
    runTask<Outcome>(
        [this, inputs](std::stop_token) {
            return execute(inputs, [this](const Progress &progress) {
                post([this, progress] {
                    if (!std::holds_alternative<executing>(current))
                        return;
                    runLog = progress.log;
                    setPhase(executing{progress});
                });
            });
        },
        [this](const Outcome &outcome) {
            runLog = outcome.result.log;
            if (outcome.failure)
                setPhase(failed{*outcome.failure});
            else
                setPhase(done{outcome.result});
        });
}

// Runs on the task: each step says what it is, logs the command as the user would type it, and logs what
// git printed.
GitInitSession::Outcome GitInitSession::execute(const Inputs &inputs,
                                                const std::function<void(const Progress &)> &publish)
{
    QElapsedTimer clock;
    clock.start();
    Outcome outcome{Result{inputs.folder, {}, 0, false}, std::nullopt};
    GitLog &log = outcome.result.log;
    QString step;
    const auto enter = [&](const QString &text) {
        step = text;
        publish(Progress{step, log});
    };
    const auto note = [&](Kind kind, const QString &line) {
        log.append(LogEntry::make(kind, line));
        publish(Progress{step, log});
    };
    const auto output = [&](const GitRunner::RunOutput &ran) {
        GitLogs::appendOutput(log, ran.stdout, ran.stderr);
        publish(Progress{step, log});
    };
    const auto fail = [&](const QString &text) {
        outcome.failure = text;
        outcome.result.elapsed = double(clock.elapsed()) / 1000.0;
        return outcome;
    };

    try {
        enter(QStringLiteral("Running git init…"));
        note(Kind::command, QStringLiteral("git init --initial-branch=main"));
        const GitRunner::RunOutput initialized = GitRunner::initialize(inputs.folder);
        output(initialized);
        if (initialized.exitCode != 0)
            return fail(QStringLiteral("git init failed — see log."));

        // The repository is there already; a .gitignore that can't be written costs the user a file to
        // add by hand, not the run.
        enter(QStringLiteral("Writing .gitignore…"));
        note(Kind::command, QStringLiteral("write .gitignore (%1 lines)").arg(nonEmptyLines(inputs.ignoreTemplate)));
        const QString ignorePath = inputs.folder + QStringLiteral("/.gitignore");
        if (const auto error = AtomicFile::writeWhole(ignorePath, inputs.ignoreTemplate.toUtf8()))
            note(Kind::warning, QStringLiteral("Couldn't write .gitignore: %1 — continuing.").arg(*error));
        else
            note(Kind::info, QStringLiteral("Wrote %1.").arg(NativeNames::display(ignorePath)));

        enter(QStringLiteral("Staging files…"));
        note(Kind::command, QStringLiteral("git add ."));
        GitRunner::ensureRepository(inputs.folder);
        output(GitRunner::run({QStringLiteral("add"), QStringLiteral(".")}, inputs.folder));

        note(Kind::command, commitLine(inputs.commitMessage));
        const GitRunner::RunOutput committed = GitRunner::commit(inputs.commitMessage, {}, inputs.folder);
        output(committed);
        if (committed.exitCode != 0)
            return fail(QStringLiteral("git commit failed — see log."));
    } catch (const GitRunner::GitError &error) {
        return fail(describeError(error));
    } catch (const GitRunner::LaunchError &error) {
        return fail(describeError(error));
    }

    if (!inputs.remoteURL.isEmpty()) {
        enter(QStringLiteral("Adding origin remote…"));
        note(Kind::command, remoteLine(inputs.remoteURL));
        std::optional<QString> problem;
        try {
            const GitRunner::RunOutput added = GitRunner::run(
                {QStringLiteral("remote"), QStringLiteral("add"), QStringLiteral("origin"), inputs.remoteURL},
                inputs.folder);
            output(added);
            if (added.exitCode != 0) {
                const QString said = added.stderr.trimmed();
                problem = said.isEmpty() ? QStringLiteral("git exited with status %1.").arg(added.exitCode) : said;
            }
        } catch (const GitRunner::GitError &error) {
            problem = error.description();
        } catch (const GitRunner::LaunchError &error) {
            problem = error.description();
        }
        if (problem) {
            note(Kind::warning, QStringLiteral("Couldn't add remote: %1").arg(*problem));
        } else {
            outcome.result.remoteSet = true;
            note(Kind::info, QStringLiteral("Remote set. Push with `git push -u origin main` in your terminal once "
                                            "you've created the GitHub repo."));
        }
    }
    outcome.result.elapsed = double(clock.elapsed()) / 1000.0;
    return outcome;
}

void GitInitSession::cancel()
{
    if (std::holds_alternative<executing>(current))
        return;
    Session::cancel();
}

QString GitInitSession::title() const
{
    return QStringLiteral("Init Repo");
}

std::optional<QString> GitInitSession::readTemplate(const QString &value)
{
    if (!value.startsWith(QLatin1Char('@'))) {
        setIgnoreTemplate(value);
        return std::nullopt;
    }
    const QString file = NativeNames::absolutePath(value.mid(1));
    // A .gitignore is a few kilobytes; a megabyte is a mistake, not a template.
    constexpr qint64 limit = qint64(1024) * 1024;
    const RegularFile::Read read = RegularFile::read(file, limit);
    if (read.failure == RegularFile::Failure::tooLarge)
        return QStringLiteral("“%1” can't be read as a .gitignore: the file is larger than 1 MB.")
            .arg(NativeNames::display(file));
    if (!read.ok())
        return QStringLiteral("“%1” can't be read as a .gitignore: %2").arg(NativeNames::display(file), read.reason);
    setIgnoreTemplate(QString::fromUtf8(read.bytes));
    return std::nullopt;
}

QList<Session::Field> GitInitSession::fields()
{
    return {
        {QStringLiteral("commitMessage"), QStringLiteral("TEXT"),
         [this](const QString &value) -> std::optional<QString> {
             if (value.trimmed().isEmpty())
                 return QStringLiteral("Commit message is empty. Add a one-line summary first.");
             setCommitMessage(value);
             return std::nullopt;
         }},
        {QStringLiteral("remoteURL"), QStringLiteral("URL"),
         [this](const QString &value) -> std::optional<QString> {
             setRemoteURL(value);
             return std::nullopt;
         }},
        {QStringLiteral("ignoreTemplate"), QStringLiteral("TEXT|@FILE"),
         [this](const QString &value) { return readTemplate(value); }},
    };
}

std::optional<QString> GitInitSession::perform()
{
    start();
    return std::nullopt;
}

std::optional<QString> GitInitSession::planOnly()
{
    // The plan is worked out as the sheet opens; showing it changes nothing.
    return std::nullopt;
}

Session::PhaseKind GitInitSession::phaseKind() const
{
    if (std::holds_alternative<executing>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

QJsonObject GitInitSession::toJson() const
{
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("git-init")},
                       {QStringLiteral("folder"), folder()},
                       {QStringLiteral("log"), logJson(runLog)}};
    if (const auto *plan = std::get_if<configuring>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("configuring"));
        object.insert(QStringLiteral("detectedKind"), plan->plan.detectedKind
                                                          ? QJsonValue(ProjectKinds::toString(*plan->plan.detectedKind))
                                                          : QJsonValue(QJsonValue::Null));
        object.insert(QStringLiteral("plan"), QJsonArray::fromStringList(planLines()));
        object.insert(QStringLiteral("ignoreTemplate"), ignoreText);
        object.insert(QStringLiteral("commitMessage"), message);
        object.insert(QStringLiteral("remoteURL"), Redaction::hideCredentials(remote));
    } else if (const auto *running = std::get_if<executing>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("executing"));
        object.insert(QStringLiteral("step"), running->progress.step);
    } else if (const auto *finished = std::get_if<done>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("result"), QJsonObject{{QStringLiteral("folder"), finished->result.folder},
                                                            {QStringLiteral("elapsed"), finished->result.elapsed},
                                                            {QStringLiteral("remoteSet"), finished->result.remoteSet}});
    } else {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), std::get<failed>(current).message);
    }
    return object;
}

QStringList GitInitSession::describe() const
{
    if (std::holds_alternative<configuring>(current)) {
        QStringList lines = planLines();
        lines.append(QString());
        lines.append(ignoreText.endsWith(QLatin1Char('\n')) ? ignoreText.chopped(1) : ignoreText);
        return lines;
    }
    if (const auto *running = std::get_if<executing>(&current))
        return QStringList{running->progress.step} + shownLines(runLog);
    QStringList lines = shownLines(runLog);
    if (const auto *failure = std::get_if<failed>(&current))
        lines.append(failure->message);
    return lines;
}
