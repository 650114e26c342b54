#include "transfer/stitch/StitchSession.h"

#include "foundation/Interaction.h"
#include "foundation/SessionHost.h"
#include "transfer/stitch/ImageSource.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>

namespace {

struct ResolutionInfo {
    StitchSession::Resolution resolution;
    const char *raw;
    const char *label;
    int cap; // 0: none
};

constexpr std::array<ResolutionInfo, 4> resolutions{{
    {StitchSession::Resolution::full, "full", "Full", 0},
    {StitchSession::Resolution::large, "large", "Large", 10000},
    {StitchSession::Resolution::medium, "medium", "Medium", 6000},
    {StitchSession::Resolution::small, "small", "Small", 3000},
}};

const ResolutionInfo &info(StitchSession::Resolution resolution)
{
    return resolutions[std::size_t(resolution)];
}

QString imageCount(qsizetype n)
{
    return QStringLiteral("%1 image%2").arg(n).arg(n == 1 ? "" : "s");
}

} // namespace

QList<StitchSession::Resolution> StitchSession::allResolutions()
{
    return {Resolution::full, Resolution::large, Resolution::medium, Resolution::small};
}

QString StitchSession::toString(Resolution resolution)
{
    return QString::fromLatin1(info(resolution).raw);
}

std::optional<StitchSession::Resolution> StitchSession::resolutionFromString(const QString &raw)
{
    for (const auto &entry : resolutions) {
        if (raw == QLatin1String(entry.raw))
            return entry.resolution;
    }
    return std::nullopt;
}

QString StitchSession::label(Resolution resolution)
{
    return QString::fromLatin1(info(resolution).label);
}

std::optional<int> StitchSession::cap(Resolution resolution)
{
    const int value = info(resolution).cap;
    return value > 0 ? std::optional<int>(value) : std::nullopt;
}

StitchSession::StitchSession(SessionHost &host, QStringList sources, QObject *parent)
    : Session(host, std::move(sources), parent),
      baseName(QStringLiteral("stitched-") +
               QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("yyyy-MM-dd-HHmm")))
{
    readSizes();
}

StitchSession::~StitchSession() = default;

void StitchSession::readSizes()
{
    // Headers only: the estimate never decodes an image.
    sizes.clear();
    for (const QString &source : sources())
        sizes.append(ImageSource::pixelSize(source));
}

void StitchSession::setMode(StitchRunner::Mode value)
{
    setField(chosenMode, value);
}

void StitchSession::setLayout(StitchRunner::Layout value)
{
    setField(chosenLayout, value);
}

void StitchSession::setOutputBaseName(const QString &value)
{
    setField(baseName, value);
}

void StitchSession::setDestinationURL(const std::optional<QString> &value)
{
    setField(destination, value);
}

void StitchSession::setSpacing(double value)
{
    setField(gap, value);
}

void StitchSession::setBackgroundIsWhite(bool value)
{
    setField(white, value);
}

void StitchSession::setResolution(Resolution value)
{
    setField(chosenResolution, value);
}

QSize StitchSession::combinedSize() const
{
    QList<QSize> known;
    for (const auto &size : sizes) {
        if (size && !size->isEmpty())
            known.append(*size);
    }
    const QSizeF canvas = StitchRunner::plan(known, chosenLayout, gap).canvas;
    return StitchRunner::scaledCanvas(canvas, 1.0);
}

QSize StitchSession::scaledSize() const
{
    const QSize full = combinedSize();
    return StitchRunner::scaledCanvas(QSizeF(full), StitchRunner::scaleFor(QSizeF(full), cap(chosenResolution)));
}

bool StitchSession::isTooLarge() const
{
    return chosenMode == StitchRunner::Mode::image && chosenResolution == Resolution::full &&
           StitchRunner::exceedsPixelLimit(combinedSize());
}

bool StitchSession::willDownscale() const
{
    return scaledSize() != combinedSize();
}

int StitchSession::unreadableCount() const
{
    return int(std::count_if(sizes.cbegin(), sizes.cend(),
                             [](const std::optional<QSize> &size) { return !size || size->isEmpty(); }));
}

QString StitchSession::estimateText() const
{
    const QSize full = combinedSize();
    if (!willDownscale())
        return QStringLiteral("Combined size · ≈ %1 × %2 px").arg(full.width()).arg(full.height());
    const QSize scaled = scaledSize();
    return QStringLiteral("%1 × %2 px  →  downscaled to ≈ %3 × %4 px")
        .arg(full.width())
        .arg(full.height())
        .arg(scaled.width())
        .arg(scaled.height());
}

QString StitchSession::estimateNote() const
{
    if (isTooLarge())
        return QStringLiteral("Too large at Full resolution. Pick a smaller size above, switch to PDF (no limit), or "
                              "select fewer images.");
    if (willDownscale())
        return QStringLiteral("Images will be reduced in quality to fit one image. Pick a larger size for more "
                              "detail — or PDF mode for full resolution, one page each.");
    return QStringLiteral("One combined PNG at full resolution. Lots of images? PDF mode has no size limit.");
}

QString StitchSession::outputFileName() const
{
    const QString name = baseName.trimmed().isEmpty() ? QStringLiteral("stitched") : baseName.trimmed();
    return name + (chosenMode == StitchRunner::Mode::pdf ? QStringLiteral(".pdf") : QStringLiteral(".png"));
}

QString StitchSession::imagesLine(const StitchRunner::Result &result)
{
    return imageCount(result.imageCount);
}

QString StitchSession::skippedLine(const StitchRunner::Result &result)
{
    if (result.skippedCount == 0)
        return {};
    return QStringLiteral("%1 selected file%2 were skipped — couldn't be read as images.")
        .arg(result.skippedCount)
        .arg(result.skippedCount == 1 ? "" : "s");
}

QJsonObject StitchSession::toJson() const
{
    QJsonObject object{{QStringLiteral("workflowID"), QStringLiteral("stitch-files")}};
    if (const auto *finished = std::get_if<done>(&current)) {
        const StitchRunner::Result &result = finished->result;
        object.insert(QStringLiteral("phase"), QStringLiteral("done"));
        object.insert(QStringLiteral("result"),
                      QJsonObject{{QStringLiteral("outputURL"), result.outputURL},
                                  {QStringLiteral("imageCount"), result.imageCount},
                                  {QStringLiteral("skippedCount"), result.skippedCount},
                                  {QStringLiteral("outputSizeBytes"), double(result.outputSizeBytes)},
                                  {QStringLiteral("modeLabel"), result.modeLabel}});
    } else if (const auto *failure = std::get_if<failed>(&current)) {
        object.insert(QStringLiteral("phase"), QStringLiteral("failed"));
        object.insert(QStringLiteral("message"), failure->message);
    } else {
        object.insert(QStringLiteral("phase"), std::holds_alternative<running>(current)
                                                   ? QStringLiteral("running")
                                                   : QStringLiteral("configuring"));
    }
    return object;
}

QStringList StitchSession::describe() const
{
    if (const auto *finished = std::get_if<done>(&current)) {
        QStringList lines{QStringLiteral("Done: %1 · %2 · %3 bytes")
                              .arg(finished->result.outputURL, imagesLine(finished->result))
                              .arg(finished->result.outputSizeBytes)};
        if (const QString skipped = skippedLine(finished->result); !skipped.isEmpty())
            lines.append(skipped);
        return lines;
    }
    if (const auto *failure = std::get_if<failed>(&current))
        return {QStringLiteral("Failed: %1").arg(failure->message)};
    return {QStringLiteral("Not started.")};
}

void StitchSession::setPhase(Phase phase)
{
    if (current == phase)
        return;
    current = std::move(phase);
    emit phaseChanged();
}

void StitchSession::start()
{
    if (std::holds_alternative<running>(current))
        return;
    if (!destination || destination->isEmpty()) {
        setPhase(failed{QStringLiteral("Pick a destination folder before starting.")});
        return;
    }
    if (baseName.trimmed().isEmpty()) {
        setPhase(failed{QStringLiteral("Give the file a name before starting.")});
        return;
    }
    const QString output = QDir(*destination).filePath(outputFileName());
    // Nothing is replaced unasked: the old file goes only once the new one is complete, and only on the word.
    // A file that appears there while the run works is never replaced.
    StitchRunner::Existing existing = StitchRunner::Existing::keep;
    if (QFileInfo::exists(output)) {
        const int answer = host()->interaction().alert(
            {QStringLiteral("“%1” already exists.").arg(outputFileName()),
             QStringLiteral("Replacing it overwrites its current contents once the new file is complete."),
             {QStringLiteral("Replace"), QStringLiteral("Cancel")}});
        if (answer != 0)
            return;
        existing = StitchRunner::Existing::replace;
    }

    const qsizetype n = sources().size();
    const QString step = chosenMode == StitchRunner::Mode::pdf
                             ? QStringLiteral("Building PDF from %1").arg(imageCount(n))
                             : QStringLiteral("Stitching %1").arg(imageCount(n));
    const QDateTime startedAt = QDateTime::currentDateTime();
    setPhase(running{{step, 0, int(n), startedAt}});

    const StitchRunner::Mode mode = chosenMode;
    const StitchRunner::Layout layoutChoice = chosenLayout;
    const double spacingChoice = gap;
    const bool whiteChoice = white;
    const std::optional<int> capChoice = cap(chosenResolution);
    const QStringList files = sources();
    runTask<StitchRunner::Result>(
        [=, this](std::stop_token stop) {
            const auto progress = [this, startedAt](const QString &text, int doneCount, int total) {
                post([this, text, doneCount, total, startedAt] {
                    if (std::holds_alternative<running>(current))
                        setPhase(running{{text, doneCount, total, startedAt}});
                });
            };
            return mode == StitchRunner::Mode::pdf
                       ? StitchRunner::runPDF(files, output, progress, stop, existing)
                       : StitchRunner::runImage(files, output, layoutChoice, spacingChoice, whiteChoice, capChoice,
                                                progress, stop, existing);
        },
        [this](const StitchRunner::Result &result) {
            if (result.failed)
                setPhase(failed{result.errorMessage.value_or(QStringLiteral("Cancelled."))});
            else
                setPhase(done{result});
        });
}

void StitchSession::cancel()
{
    if (isRunning())
        Session::cancel();
}

QString StitchSession::title() const
{
    return QStringLiteral("Stitch to PDF or Image");
}

Session::PhaseKind StitchSession::phaseKind() const
{
    if (std::holds_alternative<running>(current))
        return PhaseKind::running;
    if (std::holds_alternative<done>(current))
        return PhaseKind::done;
    if (std::holds_alternative<failed>(current))
        return PhaseKind::failed;
    return PhaseKind::configuring;
}

QList<Session::Field> StitchSession::fields()
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
    const auto number = [](const QString &value) -> std::optional<double> {
        bool ok = false;
        const double parsed = value.toDouble(&ok);
        return ok ? std::optional<double>(parsed) : std::nullopt;
    };
    const auto truth = [](const QString &value) -> std::optional<bool> {
        if (value != QLatin1String("true") && value != QLatin1String("false"))
            return std::nullopt;
        return value == QLatin1String("true");
    };
    const auto text = [](const QString &value) -> std::optional<QString> { return value; };
    const auto folder = [](const QString &value) -> std::optional<std::optional<QString>> {
        return std::optional<QString>(QFileInfo(value).absoluteFilePath());
    };
    return {
        choice(QStringLiteral("mode"), QStringLiteral("pdf or image"), &StitchRunner::modeFromString,
               &StitchSession::setMode),
        choice(QStringLiteral("layout"), QStringLiteral("vertical, horizontal or grid"),
               &StitchRunner::layoutFromString, &StitchSession::setLayout),
        choice(QStringLiteral("resolution"), QStringLiteral("full, large, medium or small"),
               &StitchSession::resolutionFromString, &StitchSession::setResolution),
        choice(QStringLiteral("spacing"), QStringLiteral("a number of pixels"), number, &StitchSession::setSpacing),
        choice(QStringLiteral("backgroundIsWhite"), QStringLiteral("true or false"), truth,
               &StitchSession::setBackgroundIsWhite),
        choice(QStringLiteral("outputBaseName"), QStringLiteral("NAME"), text, &StitchSession::setOutputBaseName),
        choice(QStringLiteral("destinationURL"), QStringLiteral("FOLDER"), folder, &StitchSession::setDestinationURL)};
}

std::optional<QString> StitchSession::perform()
{
    if (!destination) {
        // The sheet's own folder panel, which --dest answers.
        PanelRequest panel;
        panel.title = QStringLiteral("Choose a destination folder");
        panel.canChooseFiles = false;
        panel.canChooseDirectories = true;
        const QStringList chosen = host()->interaction().panel(panel);
        if (!chosen.isEmpty())
            setDestinationURL(QFileInfo(chosen.first()).absoluteFilePath());
    }
    start();
    return std::nullopt;
}
