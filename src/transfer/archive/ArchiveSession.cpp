#include "transfer/archive/ArchiveSession.h"

#include "foundation/ByteCountFormatter.h"
#include "foundation/Interaction.h"
#include "foundation/SessionHost.h"
#include "metadata/FinderMetadata.h"
#include "platform/NativeNames.h"
#include "platform/Trash.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QLocale>
#include <QSet>

#include <cmath>
#include <filesystem>
#include <system_error>

namespace {

enum class Pile { text, compressed, other };

Pile pileOf(const QString &fileName)
{
    static const QSet<QString> text{QStringLiteral("txt"),   QStringLiteral("md"),   QStringLiteral("log"),
                                    QStringLiteral("csv"),   QStringLiteral("json"), QStringLiteral("xml"),
                                    QStringLiteral("html"),  QStringLiteral("css"),  QStringLiteral("js"),
                                    QStringLiteral("swift"), QStringLiteral("py"),   QStringLiteral("rb"),
                                    QStringLiteral("c"),     QStringLiteral("h"),    QStringLiteral("cpp"),
                                    QStringLiteral("yaml"),  QStringLiteral("yml"),  QStringLiteral("rtf")};
    static const QSet<QString> compressed{QStringLiteral("jpg"),  QStringLiteral("jpeg"), QStringLiteral("png"),
                                          QStringLiteral("heic"), QStringLiteral("gif"),  QStringLiteral("mp4"),
                                          QStringLiteral("mov"),  QStringLiteral("m4v"),  QStringLiteral("mp3"),
                                          QStringLiteral("m4a"),  QStringLiteral("aac"),  QStringLiteral("webp"),
                                          QStringLiteral("pdf")};
    // A name's extension is what follows its last dot; a leading dot (".profile") starts no extension.
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0)
        return Pile::other;
    const QString extension = fileName.mid(dot + 1).toLower();
    if (text.contains(extension))
        return Pile::text;
    if (compressed.contains(extension))
        return Pile::compressed;
    return Pile::other;
}

void add(ArchiveSession::Totals &totals, const QString &fileName, qint64 size)
{
    ++totals.fileCount;
    switch (pileOf(fileName)) {
    case Pile::text:
        totals.textBytes += size;
        break;
    case Pile::compressed:
        totals.compressedBytes += size;
        break;
    case Pile::other:
        totals.otherBytes += size;
        break;
    }
}

QString fileCount(qsizetype n)
{
    return QStringLiteral("%1 file%2").arg(n).arg(n == 1 ? "" : "s");
}

QString bytes(qint64 count)
{
    return ByteCountFormatter::format(quint64(std::max<qint64>(0, count)));
}

} // namespace

QString ArchiveSession::defaultCommentTemplate()
{
    return QStringLiteral("[{name} — {count} items, {source-size} → {archive-size}, {date} {time}]");
}

ArchiveSession::ArchiveSession(SessionHost &host, QStringList sources, QObject *parent)
    : Session(host, std::move(sources), parent), templateText(defaultCommentTemplate())
{
    if (this->sources().size() == 1)
        baseName = QFileInfo(QDir::cleanPath(this->sources().first())).completeBaseName();
    else
        baseName = QStringLiteral("archive-") +
                   QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("yyyy-MM-dd-HHmm"));
    // A large folder takes a while to walk; the sheet shows at once and the estimate follows.
    const QStringList files = this->sources();
    runTask<Totals>([files](std::stop_token stop) { return walk(files, stop); },
                    [this](const Totals &totals) {
                        walked = totals;
                        measuring = false;
                        emit changed();
                        if (std::exchange(startWhenMeasured, false))
                            start();
                    });
}

ArchiveSession::~ArchiveSession() = default;

ArchiveSession::Totals ArchiveSession::walk(const QStringList &sources, std::stop_token stop)
{
    // A folder has no size of its own to estimate from, so its files are walked, hidden ones too since
    // the tools pack them. The walk goes by the names' bytes, so a name that isn't UTF-8 counts as well.
    namespace fs = std::filesystem;
    Totals totals;
    for (const QString &source : sources) {
        const QByteArray encoded = NativeNames::encode(source);
        const fs::path root(encoded.toStdString());
        std::error_code error;
        if (fs::is_directory(root, error)) {
            for (auto it = fs::recursive_directory_iterator(root, fs::directory_options::skip_permission_denied, error);
                 !error && it != fs::recursive_directory_iterator() && !stop.stop_requested(); it.increment(error)) {
                std::error_code sizeError;
                if (!it->is_regular_file(sizeError))
                    continue;
                const auto size = it->file_size(sizeError);
                const std::string name = it->path().filename().string();
                add(totals, NativeNames::decode(QByteArrayView(name.data(), qsizetype(name.size()))),
                    sizeError ? 0 : qint64(size));
            }
        } else if (fs::is_regular_file(root, error)) {
            const auto size = fs::file_size(root, error);
            add(totals, QFileInfo(source).fileName(), error ? 0 : qint64(size));
        }
    }
    return totals;
}

qint64 ArchiveSession::estimate(const Totals &totals)
{
    const qint64 total = totals.total();
    if (total <= 0)
        return 0;
    const double all = double(total);
    const double ratio = 0.3 * (double(totals.textBytes) / all) + 0.9 * (double(totals.compressedBytes) / all) +
                         0.55 * (double(totals.otherBytes) / all);
    return std::llround(all * ratio);
}

QString ArchiveSession::estimateText() const
{
    if (measuring)
        return QStringLiteral("Expected size · measuring…");
    return QStringLiteral("Expected size · ~%1").arg(bytes(estimatedArchiveBytes()));
}

QString ArchiveSession::estimateNote()
{
    return QStringLiteral("Rough estimate based on file types. Real compression ratio depends entirely on content.");
}

void ArchiveSession::setFormat(ArchiveFormat value)
{
    setField(chosenFormat, value);
}

void ArchiveSession::setArchiveBaseName(const QString &value)
{
    setField(baseName, value);
}

void ArchiveSession::setDestinationURL(const std::optional<QString> &value)
{
    setField(destination, value);
}

void ArchiveSession::setDeleteOriginalsAfter(bool value)
{
    setField(trashOriginals, value);
}

void ArchiveSession::setAnnotateArchiveComment(bool value)
{
    setField(annotate, value);
}

void ArchiveSession::setCommentTemplate(const QString &value)
{
    setField(templateText, value);
}

QString ArchiveSession::archiveFileName() const
{
    QString name = baseName.trimmed();
    const QString extension = QLatin1Char('.') + fileExtension(chosenFormat);
    if (name.endsWith(extension, Qt::CaseInsensitive))
        return name;
    return name + extension;
}

std::optional<QString> ArchiveSession::archiveURL() const
{
    if (!destination || destination->isEmpty())
        return std::nullopt;
    return QDir(*destination).filePath(archiveFileName());
}

bool ArchiveSession::canStart() const
{
    return !measuring && destination && !destination->isEmpty() && !baseName.trimmed().isEmpty() &&
           walked.fileCount > 0;
}

QString ArchiveSession::ratioText(const ArchiveRunner::Result &result)
{
    if (result.sourceTotalSizeBytes < 1)
        return QStringLiteral("—");
    // In long double the product is exact, so 40 of 100 saves 60, never 59.999….
    const long double saved = static_cast<long double>(result.sourceTotalSizeBytes - result.archiveSizeBytes) * 100 /
                              static_cast<long double>(result.sourceTotalSizeBytes);
    return QStringLiteral("%1%").arg(qint64(saved));
}

QString ArchiveSession::renderedComment(const QString &commentTemplate, const ArchiveRunner::Result &result,
                                        const QDateTime &now)
{
    QString text = commentTemplate;
    text.replace(QStringLiteral("{name}"), QFileInfo(result.archiveURL).fileName());
    text.replace(QStringLiteral("{count}"), QString::number(result.sourceFileCount));
    text.replace(QStringLiteral("{source-size}"), bytes(result.sourceTotalSizeBytes));
    text.replace(QStringLiteral("{archive-size}"), bytes(result.archiveSizeBytes));
    text.replace(QStringLiteral("{date}"), QLocale::c().toString(now, QStringLiteral("yyyy-MM-dd")));
    text.replace(QStringLiteral("{time}"), QLocale::c().toString(now, QStringLiteral("HH:mm")));
    text.replace(QStringLiteral("{ratio}"), ratioText(result));
    return text;
}

QString ArchiveSession::renderedComment(const ArchiveRunner::Result &result) const
{
    return renderedComment(templateText, result, QDateTime::currentDateTime());
}

QJsonObject ArchiveSession::command() const
{
    const auto url = archiveURL();
    if (!url)
        return {};
    return {{QStringLiteral("program"), ArchiveRunner::toolPath(chosenFormat)},
            {QStringLiteral("workingDirectory"), ArchiveRunner::commonParent(sources())},
            {QStringLiteral("arguments"),
             QJsonArray::fromStringList(ArchiveRunner::arguments(chosenFormat, sources(), *url))}};
}

QJsonObject ArchiveSession::toJson() const
{
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("archive-handler")}};
    if (const auto *finished = std::get_if<done>(&current)) {
        const ArchiveRunner::Result &result = finished->result;
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("result"),
                      QJsonObject{{QStringLiteral("archiveURL"), result.archiveURL},
                                  {QStringLiteral("archiveSizeBytes"), double(result.archiveSizeBytes)},
                                  {QStringLiteral("sourceTotalSizeBytes"), double(result.sourceTotalSizeBytes)},
                                  {QStringLiteral("sourceFileCount"), result.sourceFileCount}});
        return object;
    }
    if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
        return object;
    }
    object.insert(QStringLiteral("phase"),
                  std::holds_alternative<running>(current) ? QStringLiteral("running") : QStringLiteral("configuring"));
    // What the primary button would do: a dry run prints it.
    object.insert(QStringLiteral("archiveName"), archiveFileName());
    object.insert(QStringLiteral("estimatedArchiveBytes"), double(estimatedArchiveBytes()));
    if (const QJsonObject line = command(); !line.isEmpty())
        object.insert(QStringLiteral("command"), line);
    else
        object.insert(QStringLiteral("command"), QJsonValue::Null);
    return object;
}

QStringList ArchiveSession::describe() const
{
    if (const auto *finished = std::get_if<done>(&current)) {
        const ArchiveRunner::Result &result = finished->result;
        return {QStringLiteral("Done: %1 · %2 · %3 → %4 (%5 saved)")
                    .arg(result.archiveURL, fileCount(result.sourceFileCount), bytes(result.sourceTotalSizeBytes),
                         bytes(result.archiveSizeBytes), ratioText(result))};
    }
    if (const auto *failure = std::get_if<failed>(&current))
        return {QStringLiteral("Failed: %1").arg(failure->message)};
    QStringList lines{QStringLiteral("Archive: %1").arg(archiveFileName()), estimateText()};
    if (const QJsonObject line = command(); !line.isEmpty()) {
        QStringList words{line.value(QStringLiteral("program")).toString()};
        for (const auto &word : line.value(QStringLiteral("arguments")).toArray())
            words.append(word.toString());
        lines.append(QStringLiteral("Command (in %1): %2")
                         .arg(line.value(QStringLiteral("workingDirectory")).toString(), words.join(QLatin1Char(' '))));
    } else {
        lines.append(QStringLiteral("No destination folder yet."));
    }
    return lines;
}

void ArchiveSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
}

void ArchiveSession::start()
{
    if (std::holds_alternative<running>(current))
        return;
    if (!destination || destination->isEmpty()) {
        setPhase(failed{QStringLiteral("Pick a destination folder before starting.")});
        return;
    }
    if (baseName.trimmed().isEmpty()) {
        setPhase(failed{QStringLiteral("Give the archive a name before starting.")});
        return;
    }
    if (measuring) {
        // Started by a script before the sources were measured: it goes on once they are.
        startWhenMeasured = true;
        return;
    }
    const QString output = *archiveURL();
    // Nothing is replaced unasked, and an old archive is replaced whole once the new one is complete,
    // never added to. An archive that appears there while the run works is never replaced.
    ArchiveRunner::Existing existing = ArchiveRunner::Existing::keep;
    if (QFileInfo::exists(output) || QFileInfo(output).isSymLink()) {
        const int answer = host()->interaction().alert(
            {QStringLiteral("“%1” already exists.").arg(archiveFileName()),
             QStringLiteral("Replacing it overwrites its current contents once the new archive is complete."),
             {QStringLiteral("Replace"), QStringLiteral("Cancel")}});
        if (answer != 0)
            return;
        existing = ArchiveRunner::Existing::replace;
    }

    const QDateTime startedAt = QDateTime::currentDateTime();
    setPhase(running{progressFor(walked, startedAt)});
    applied = false;

    const ArchiveFormat format = chosenFormat;
    const QStringList files = sources();
    runTask<ArchiveRunner::Result>(
        [=, this](std::stop_token stop) {
            // The sources are walked again as the run starts, away from the window: they may have
            // changed since the sheet opened, and the result counts what was packed.
            const Totals fresh = walk(files, stop);
            post([this, fresh, startedAt] {
                walked = fresh;
                if (std::holds_alternative<running>(current))
                    setPhase(running{progressFor(fresh, startedAt)});
            });
            const auto written = [this](qint64 bytesWritten) {
                post([this, bytesWritten] {
                    if (const auto *run = std::get_if<running>(&current)) {
                        RunProgress now = run->progress;
                        now.bytesWritten = bytesWritten;
                        setPhase(running{now});
                    }
                });
            };
            return ArchiveRunner::run(format, files, output, fresh.total(), fresh.fileCount, stop, existing, written);
        },
        [this](const ArchiveRunner::Result &result) {
            if (result.failed) {
                setPhase(failed{result.errorMessage.value_or(QStringLiteral("Cancelled."))});
                return;
            }
            setPhase(done{result});
            if (applyWhenDone)
                apply();
        });
}

ArchiveSession::RunProgress ArchiveSession::progressFor(const Totals &totals, const QDateTime &startedAt)
{
    return {QStringLiteral("Compressing %1").arg(fileCount(totals.fileCount)), totals.fileCount, totals.total(),
            startedAt, 0};
}

void ArchiveSession::cancel()
{
    if (isRunning())
        Session::cancel();
}

void ArchiveSession::apply()
{
    const auto *finished = std::get_if<done>(&current);
    if (!finished || applied)
        return;
    applied = true;
    const ArchiveRunner::Result result = finished->result;
    if (annotate && !templateText.trimmed().isEmpty()) {
        // The comment is a convenience on a finished archive: a volume without user attributes keeps
        // the archive, only without it.
        try {
            FinderMetadata::writeComment(renderedComment(result), result.archiveURL);
        } catch (const std::exception &) { // NOLINT(bugprone-empty-catch)
        }
    }
    if (trashOriginals) {
        // Each source on its own: one the Trash refuses stays where it is, and the rest still go.
        for (const QString &source : sources())
            Trash::trashItem(source);
    }
}

QString ArchiveSession::title() const
{
    return QStringLiteral("Archive Handler");
}

Session::PhaseKind ArchiveSession::phaseKind() const
{
    if (std::holds_alternative<running>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

QList<Session::Field> ArchiveSession::fields()
{
    const auto choice = [this](const QString &name, const QString &accepts, auto parse, auto set) -> Field {
        return {name, accepts, [this, name, accepts, parse, set](const QString &value) -> std::optional<QString> {
                    const auto parsed = parse(value);
                    if (!parsed)
                        return QStringLiteral("%1 is %2, not “%3”.").arg(name, accepts, value);
                    (this->*set)(*parsed);
                    return std::nullopt;
                }};
    };
    const auto truth = [](const QString &value) -> std::optional<bool> {
        if (value != QLatin1String("true") && value != QLatin1String("false"))
            return std::nullopt;
        return value == QLatin1String("true");
    };
    const auto text = [](const QString &value) -> std::optional<QString> { return value; };
    const auto folder = [](const QString &value) -> std::optional<std::optional<QString>> {
        return std::optional<QString>(NativeNames::absolutePath(value));
    };
    return {
        choice(QStringLiteral("format"), QStringLiteral("zip or tarGz"), &archiveFormatFromString,
               &ArchiveSession::setFormat),
        choice(QStringLiteral("archiveBaseName"), QStringLiteral("NAME"), text, &ArchiveSession::setArchiveBaseName),
        choice(QStringLiteral("commentTemplate"), QStringLiteral("TEXT"), text, &ArchiveSession::setCommentTemplate),
        choice(QStringLiteral("annotateArchiveComment"), QStringLiteral("true or false"), truth,
               &ArchiveSession::setAnnotateArchiveComment),
        choice(QStringLiteral("deleteOriginalsAfter"), QStringLiteral("true or false"), truth,
               &ArchiveSession::setDeleteOriginalsAfter),
        choice(QStringLiteral("destinationURL"), QStringLiteral("FOLDER"), folder, &ArchiveSession::setDestinationURL)};
}

std::optional<QString> ArchiveSession::perform()
{
    if (!destination) {
        // The sheet's own folder panel, which --dest answers.
        PanelRequest panel;
        panel.title = QStringLiteral("Where should the archive go?");
        panel.message = QStringLiteral("Pick a folder for the new %1 archive.").arg(displayName(chosenFormat));
        panel.prompt = QStringLiteral("Use Folder");
        panel.canChooseFiles = false;
        panel.canChooseDirectories = true;
        panel.canCreateDirectories = true;
        const QStringList chosen = host()->interaction().panel(panel);
        if (!chosen.isEmpty())
            setDestinationURL(NativeNames::absolutePath(chosen.first()));
    }
    // A script's whole run: the archive, then what "Apply & close" does with it.
    applyWhenDone = true;
    start();
    return std::nullopt;
}
