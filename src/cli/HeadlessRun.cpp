#include "cli/HeadlessRun.h"

#include "app/AppState.h"
#include "cli/FollowOnSessions.h"
#include "foundation/Concurrency.h"
#include "foundation/Defaults.h"
#include "foundation/RunURL.h"
#include "foundation/ScriptedInteraction.h"
#include "foundation/Session.h"
#include "platform/NativeNames.h"
#include "platform/Paths.h"
#include "platform/RegularFile.h"
#include "steward/ProjectDetectorSession.h"
#include "transfer/mover/SmartMoverHandler.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>

#include <unistd.h>

namespace {

QJsonObject outcomeObject(const WorkflowRunner::Outcome &outcome)
{
    if (const auto *r = std::get_if<WorkflowRunner::ran>(&outcome))
        return {{QStringLiteral("case"), QStringLiteral("ran")},
                {QStringLiteral("workflowID"), r->workflowID},
                {QStringLiteral("fileCount"), r->fileCount}};
    if (const auto *u = std::get_if<WorkflowRunner::unknownWorkflow>(&outcome))
        return {{QStringLiteral("case"), QStringLiteral("unknownWorkflow")}, {QStringLiteral("id"), u->id}};
    return {{QStringLiteral("case"), QStringLiteral("malformed")},
            {QStringLiteral("reason"), std::get<WorkflowRunner::malformed>(outcome).reason}};
}

bool hasScheme(const QString &target)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*:"));
    return scheme.match(target).hasMatch();
}

// Reads the answers file into `interaction`; false with a message on `err` when it can't.
bool loadAnswers(const QString &path, ScriptedInteraction &interaction, QTextStream &err)
{
    if (path.isEmpty())
        return true;
    // A regular file of sensible size: a FIFO or /dev/zero given by mistake must not hang or exhaust memory.
    constexpr qint64 limit = qint64(4) * 1024 * 1024;
    const RegularFile::Read read = RegularFile::read(path, limit);
    if (!read.ok()) {
        err << QStringLiteral("Couldn't read the answers file %1: %2")
                   .arg(path, read.failure == RegularFile::Failure::tooLarge ? QStringLiteral("it is larger than 4 MB")
                                                                             : read.reason)
            << Qt::endl;
        return false;
    }
    QString error;
    const auto answers = ScriptedInteraction::parseAnswers(read.bytes, &error);
    if (!answers) {
        err << error << Qt::endl;
        return false;
    }
    for (const auto &answer : *answers)
        interaction.addAnswer(answer.match, answer.answer);
    return true;
}

QJsonValue bannerJson(const AppState &state)
{
    const auto &banner = state.packBanner();
    if (!banner)
        return QJsonValue::Null;
    // Every failed file with its reason, not only the first one the message names.
    return QJsonObject{{QStringLiteral("tone"), AppState::PackBanner::toString(banner->tone)},
                       {QStringLiteral("message"), banner->message},
                       {QStringLiteral("failures"), ItemFailures::toJson(banner->failures)}};
}

// A report of tens of thousands of rows is megabytes of JSON. Its items are written one at a time into
// the place the rest of the result leaves for them, so that neither a tree of every item nor the whole
// text is ever held; the bytes are those QJsonDocument writes for the whole result.
void writeJsonResult(QTextStream &out, const WorkflowRunner::Outcome &outcome, const AppState &state,
                     const QJsonArray &asked)
{
    static const QByteArray marker = "\"vantrel:report-items\"";
    QJsonObject result = HeadlessRun::resultObject(outcome, state, false);
    result.insert(QStringLiteral("asked"), asked);
    const auto &report = state.activeReport();
    if (report) {
        QJsonObject reportObject = result.value(QStringLiteral("report")).toObject();
        reportObject.insert(QStringLiteral("items"), QString::fromLatin1(marker.mid(1, marker.size() - 2)));
        result.insert(QStringLiteral("report"), reportObject);
    }
    const QByteArray text = QJsonDocument(result).toJson(QJsonDocument::Indented);
    result = {};
    out.flush();
    QIODevice *device = out.device();
    const qsizetype at = report ? text.indexOf(marker) : -1;
    if (!device || at < 0) {
        out << QString::fromUtf8(text); // a stream on a string, in tests
        return;
    }
    const qsizetype lineStart = text.lastIndexOf('\n', at) + 1;
    qsizetype depth = 0;
    while (lineStart + depth < at && text.at(lineStart + depth) == ' ')
        ++depth;
    const QByteArray indent(depth, ' ');
    const QByteArray inner(depth + 4, ' ');
    device->write(text.constData(), at);
    device->write("[\n");
    for (qsizetype i = 0; i < report->items.size(); ++i) {
        const QByteArray item = QJsonDocument(ScanReport::toJson(report->items[i])).toJson(QJsonDocument::Indented);
        QByteArray lines;
        for (const QByteArray &line : item.chopped(1).split('\n'))
            lines += inner + line + '\n';
        lines.chop(1);
        lines += i + 1 < report->items.size() ? ",\n" : "\n";
        device->write(lines);
    }
    device->write(indent + ']');
    device->write(text.constData() + at + marker.size(), text.size() - at - marker.size());
}

// The id of the workflow a run names, whether by id or by URL.
QString workflowIDOf(const HeadlessRun::Options &options)
{
    return hasScheme(options.target) ? RunURL::split(options.target).id : options.target;
}

// A long scan from a terminal shows how far it is on one line of standard error, rewritten in place;
// piped or redirected, standard error gets nothing.
class TerminalProgress {
public:
    TerminalProgress(ScanState &scans, QTextStream &err) : err(err)
    {
        if (::isatty(STDERR_FILENO) == 0)
            return;
        connection = QObject::connect(&scans, &ScanState::scanProgressChanged, &scans, [this, &scans] {
            if (const auto &progress = scans.scanProgress()) {
                const QString amount = progress->total > 0
                                           ? QStringLiteral(" %1 of %2").arg(progress->processed).arg(progress->total)
                                           : QString();
                const QString bytes = progress->byteDetail();
                this->err << "\r\x1b[K" << progress->title << amount << "…"
                          << (bytes.isEmpty() ? QString() : QStringLiteral(" (") + bytes + QLatin1Char(')'));
                this->err.flush();
                shown = true;
            }
        });
    }
    // Project Detector walks in its session rather than as a scan: its count goes on the same line.
    void follow(ProjectDetectorSession *session)
    {
        if (!session || ::isatty(STDERR_FILENO) == 0)
            return;
        sessionConnection = QObject::connect(session, &ProjectDetectorSession::phaseChanged, session, [this, session] {
            if (const auto *walking = std::get_if<ProjectDetectorSession::scanning>(&session->phase())) {
                err << "\r\x1b[K" << session->title() << "… "
                    << QStringLiteral("%1 folders · %2 projects")
                           .arg(walking->progress.foldersWalked)
                           .arg(walking->progress.projectsFound);
                err.flush();
                shown = true;
            }
        });
    }
    ~TerminalProgress()
    {
        QObject::disconnect(connection);
        QObject::disconnect(sessionConnection);
    }
    TerminalProgress(const TerminalProgress &) = delete;
    TerminalProgress &operator=(const TerminalProgress &) = delete;

    // Clears the line before the result is printed.
    void finish() const
    {
        if (!shown)
            return;
        err << "\r\x1b[K";
        err.flush();
    }

private:
    QTextStream &err;
    QMetaObject::Connection connection;
    QMetaObject::Connection sessionConnection;
    bool shown = false;
};

} // namespace

std::optional<HeadlessRun::Options> HeadlessRun::parse(const QStringList &arguments, QString *error)
{
    Options options;
    bool positionalOnly = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &word = arguments[i];
        const auto valueOf = [&](const QString &flag) -> std::optional<QString> {
            if (i + 1 >= arguments.size()) {
                *error = QStringLiteral("%1 needs a value.").arg(flag);
                return std::nullopt;
            }
            return arguments[++i];
        };
        if (!positionalOnly && word == QLatin1String("--")) {
            positionalOnly = true;
        } else if (!positionalOnly && word == QLatin1String("--json")) {
            options.json = true;
        } else if (!positionalOnly && word == QLatin1String("--yes")) {
            options.assumeYes = true;
        } else if (!positionalOnly && word == QLatin1String("--dry-run")) {
            options.dryRun = true;
        } else if (!positionalOnly && (word == QLatin1String("--answers") || word == QLatin1String("--dest"))) {
            const auto value = valueOf(word);
            if (!value)
                return std::nullopt;
            (word == QLatin1String("--answers") ? options.answersFile : options.destination) = *value;
        } else if (!positionalOnly && word == QLatin1String("--threshold")) {
            const auto value = valueOf(word);
            if (!value)
                return std::nullopt;
            bool ok = false;
            const int number = value->toInt(&ok);
            if (!ok || number <= 0) {
                *error = QStringLiteral("--threshold takes a whole number above 0, not “%1”.").arg(*value);
                return std::nullopt;
            }
            options.threshold = number;
        } else if (!positionalOnly && word == QLatin1String("--set")) {
            const auto value = valueOf(word);
            if (!value)
                return std::nullopt;
            const auto setting = HeadlessSheets::parseSetting(*value);
            if (!setting) {
                *error = QStringLiteral("--set takes NAME=VALUE, not “%1”.").arg(*value);
                return std::nullopt;
            }
            options.settings.append(*setting);
        } else if (!positionalOnly && word.startsWith(QLatin1String("--"))) {
            *error = QStringLiteral("Unknown option %1.").arg(word);
            return std::nullopt;
        } else if (options.target.isEmpty()) {
            options.target = word;
        } else {
            options.paths.append(NativeNames::absolutePath(word));
        }
    }
    if (options.target.isEmpty()) {
        *error = QStringLiteral("Name a workflow id or a vantrel:// URL to run.");
        return std::nullopt;
    }
    if (hasScheme(options.target) && !options.paths.isEmpty()) {
        *error = QStringLiteral("A URL carries its own files; give paths only after a workflow id.");
        return std::nullopt;
    }
    return options;
}

QString HeadlessRun::urlFor(const Options &options)
{
    if (hasScheme(options.target))
        return options.target;
    return RunURL::makeWithOptionalFiles(options.target, options.paths);
}

QJsonObject HeadlessRun::resultObject(const WorkflowRunner::Outcome &outcome, const AppState &state, bool includeItems)
{
    QJsonObject result;
    result.insert(QStringLiteral("outcome"), outcomeObject(outcome));
    result.insert(QStringLiteral("banner"), bannerJson(state));
    if (const auto selection = state.selection())
        result.insert(QStringLiteral("selection"), AppState::toString(*selection));
    else
        result.insert(QStringLiteral("selection"), QJsonValue::Null);
    if (const auto &report = state.activeReport())
        result.insert(QStringLiteral("report"), report->toJson(includeItems));
    else
        result.insert(QStringLiteral("report"), QJsonValue::Null);
    if (const QList<Session *> open = state.sessions(); !open.isEmpty())
        result.insert(QStringLiteral("session"), open.first()->toJson());
    else
        result.insert(QStringLiteral("session"), QJsonValue::Null);
    // A transfer's plan and what it did to each file, beside the report.
    const QJsonObject &details = state.runDetails();
    for (auto it = details.begin(); it != details.end(); ++it)
        result.insert(it.key(), it.value());
    return result;
}

QString HeadlessRun::resultText(const WorkflowRunner::Outcome &outcome, const AppState &state)
{
    QStringList lines{WorkflowRunner::describe(outcome)};
    if (const auto &banner = state.packBanner()) {
        lines.append(QStringLiteral("%1: %2").arg(
            banner->tone == AppState::PackBanner::Tone::failure ? QStringLiteral("Failed") : QStringLiteral("Done"),
            banner->message));
        for (const ItemFailure &failure : banner->failures)
            lines.append(QStringLiteral("  %1  %2").arg(Paths::displayPath(failure.path), failure.reason));
    }
    if (const auto selection = state.selection())
        lines.append(QStringLiteral("Screen: %1").arg(AppState::toString(*selection)));
    for (const Session *session : state.sessions())
        lines.append(session->describe());
    if (const auto &report = state.activeReport()) {
        lines.append(QString());
        lines.append(report->title);
        lines.append(report->summary);
        for (const ScanItem &item : report->items)
            lines.append(QStringLiteral("  %1  %2").arg(Paths::displayPath(item.url), item.badge.value_or(QString())));
    }
    return lines.join(QLatin1Char('\n'));
}

int HeadlessRun::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QString error;
    const auto options = parse(arguments, &error);
    if (!options) {
        err << error << Qt::endl;
        return 2;
    }

    ScriptedInteraction interaction;
    if (!loadAnswers(options->answersFile, interaction, err))
        return 2;
    interaction.setDestination(options->destination);
    interaction.setAssumeYes(options->assumeYes);
    interaction.setDryRun(options->dryRun);
    // The values of an alert's controls are answered by the interaction; the rest fill a sheet.
    QList<HeadlessSheets::Setting> sheetSettings;
    for (const HeadlessSheets::Setting &setting : options->settings) {
        if (!SmartMoverHandler::answersAlert(setting.name)) {
            sheetSettings.append(setting);
            continue;
        }
        if (const auto refusal = SmartMoverHandler::checkAlertValue(setting.name, setting.value)) {
            err << *refusal << Qt::endl;
            return 2;
        }
        interaction.setValue(setting.name, setting.value);
    }

    // A session the workflow leads on to (`--set organize=` after the detector) takes its settings aside.
    const auto followOn = FollowOnSessions::take(workflowIDOf(*options), sheetSettings);

    Defaults defaults(Paths::defaultsFile());
    AppState state(defaults, interaction);
    state.setKeepsDetails(options->json);
    if (options->threshold) {
        const QString id = workflowIDOf(*options);
        if (!state.scanState().useThresholdForThisRun(id, *options->threshold)) {
            err << QStringLiteral("--threshold applies to old-stale-files, large-file-finder and downloads-tidy, "
                                  "not %1.")
                       .arg(id)
                << Qt::endl;
            return 2;
        }
    }
    TerminalProgress progress(state.scanState(), err);
    const WorkflowRunner::Outcome outcome = state.workflowRunner().handle(urlFor(*options));
    progress.follow(state.projectDetectorSession());
    if (std::holds_alternative<WorkflowRunner::ran>(outcome)) {
        if (const auto problem = HeadlessSheets::complete(state, sheetSettings, !options->dryRun)) {
            err << *problem << Qt::endl;
            return 2;
        }
    }
    runUntilIdle(-1);
    if (followOn && std::holds_alternative<WorkflowRunner::ran>(outcome)) {
        if (const auto problem = FollowOnSessions::open(state, *followOn, !options->dryRun)) {
            err << *problem << Qt::endl;
            return 2;
        }
        runUntilIdle(-1);
    }
    // A plan of moves is put to the question the window asks; only a yes carries it out.
    if (const auto &report = state.activeReport(); report && report->kind == ScanReport::Kind::tidy) {
        if (state.confirmAndExecutePlan())
            runUntilIdle(-1);
    }
    progress.finish();

    if (options->json)
        writeJsonResult(out, outcome, state, interaction.asked());
    else
        out << resultText(outcome, state) << Qt::endl;
    out.flush();

    if (!std::holds_alternative<WorkflowRunner::ran>(outcome))
        return 2;
    // A session that didn't reach its result ended the run on a failure; a dry run never asks it to.
    for (const Session *session : state.sessions()) {
        if (!options->dryRun && (session->phaseKind() != Session::PhaseKind::done || session->anyItemFailed()))
            return 1;
    }
    // Any file that failed makes the run a failure, whether a banner or a report says so.
    if (const auto &report = state.activeReport(); report && !report->failures.isEmpty())
        return 1;
    const auto &banner = state.packBanner();
    return banner && banner->tone == AppState::PackBanner::Tone::failure ? 1 : 0;
}

int HeadlessRun::categories(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const QString usage =
        QStringLiteral("Usage: vantrel categories (export|import) FILE [--answers FILE] [--yes] [--json]");
    const QString action = arguments.value(0);
    QString file;
    QString answersFile;
    bool json = false;
    bool yes = false;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &word = arguments[i];
        if (word == QLatin1String("--json")) {
            json = true;
        } else if (word == QLatin1String("--yes")) {
            yes = true;
        } else if (word == QLatin1String("--answers") && i + 1 < arguments.size()) {
            answersFile = arguments[++i];
        } else if (file.isEmpty() && !word.startsWith(QLatin1String("--"))) {
            file = QFileInfo(word).absoluteFilePath();
        } else {
            err << usage << Qt::endl;
            return 2;
        }
    }
    if ((action != QLatin1String("export") && action != QLatin1String("import")) || file.isEmpty()) {
        err << usage << Qt::endl;
        return 2;
    }

    ScriptedInteraction interaction;
    // The file named on the command line answers the flow's own panel, ahead of
    // any entry in the answers file that happens to match its title too.
    interaction.addAnswer(action == QLatin1String("export") ? QStringLiteral("Export Categories")
                                                            : QStringLiteral("Import Categories"),
                          file);
    if (!loadAnswers(answersFile, interaction, err))
        return 2;
    interaction.setAssumeYes(yes);
    Defaults defaults(Paths::defaultsFile());
    AppState state(defaults, interaction);
    if (action == QLatin1String("export"))
        state.exportCategoriesToDisk();
    else
        state.importCategoriesFromDisk();

    const auto &banner = state.packBanner();
    if (json)
        out << QJsonDocument(QJsonObject{{QStringLiteral("banner"), bannerJson(state)}})
                   .toJson(QJsonDocument::Indented);
    else
        out << (banner ? banner->message : QStringLiteral("Cancelled.")) << Qt::endl;
    out.flush();
    return banner && banner->tone == AppState::PackBanner::Tone::success ? 0 : 1;
}
