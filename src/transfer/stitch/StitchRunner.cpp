#include "transfer/stitch/StitchRunner.h"

#include "platform/AtomicFile.h"
#include "platform/RegularFile.h"
#include "transfer/stitch/ImageSource.h"
#include "transfer/stitch/PdfWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QPainter>
#include <QUuid>

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace {

using namespace StitchRunner;

const QString noImages = QStringLiteral("None of the selected files could be read as images.");
const QString cancelled = QStringLiteral("Cancelled.");

Result failure(Mode mode, const QString &message, int imageCount = 0, int skipped = 0)
{
    Result result;
    result.modeLabel = mode == Mode::pdf ? QStringLiteral("PDF") : QStringLiteral("Image");
    result.failed = true;
    result.errorMessage = message;
    result.imageCount = imageCount;
    result.skippedCount = skipped;
    return result;
}

// The runner's texts ask the user to check permissions; that is the right advice only when the system
// refused for that reason. A full disk or a failing share says what it is.
QString writeFailure(const char *verb, const char *what, const AtomicFile &file)
{
    const int code = file.errorCode();
    if (code == EACCES || code == EPERM || code == EROFS || code == 0)
        return QStringLiteral("Couldn't %1 the %2 to that folder. Check you have permission to write there.")
            .arg(QLatin1String(verb), QLatin1String(what));
    return QStringLiteral("Couldn't %1 the %2 to that folder: %3.")
        .arg(QLatin1String(verb), QLatin1String(what), file.errorString());
}

QString saveFailure(const char *what, const AtomicFile &file)
{
    if (file.destinationExists())
        return QStringLiteral("Couldn't save the %1: “%2” appeared in that folder meanwhile, and it was left as it is.")
            .arg(QLatin1String(what), QFileInfo(file.path()).fileName());
    return writeFailure("save", what, file);
}

AtomicFile::Mode commitMode(Existing existing)
{
    return existing == Existing::replace ? AtomicFile::Mode::replace : AtomicFile::Mode::noReplace;
}

Result success(Mode mode, const QString &output, int images, int skipped)
{
    Result result;
    result.outputURL = output;
    result.imageCount = images;
    result.skippedCount = skipped;
    result.outputSizeBytes = QFileInfo(output).size();
    result.modeLabel = mode == Mode::pdf ? QStringLiteral("PDF") : QStringLiteral("Image");
    return result;
}

QString imageCountText(qsizetype n)
{
    return QStringLiteral("%1 image%2").arg(n).arg(n == 1 ? "" : "s");
}

} // namespace

QString StitchRunner::toString(Mode mode)
{
    return mode == Mode::pdf ? QStringLiteral("pdf") : QStringLiteral("image");
}

std::optional<Mode> StitchRunner::modeFromString(const QString &raw)
{
    if (raw == QLatin1String("pdf"))
        return Mode::pdf;
    if (raw == QLatin1String("image"))
        return Mode::image;
    return std::nullopt;
}

QString StitchRunner::label(Mode mode)
{
    return mode == Mode::pdf ? QStringLiteral("One PDF") : QStringLiteral("One image");
}

QString StitchRunner::description(Mode mode)
{
    return mode == Mode::pdf ? QStringLiteral("One image per page. Best for documents & sharing.")
                             : QStringLiteral("Stitch into a single PNG. Best for screenshots.");
}

QString StitchRunner::toString(Layout layout)
{
    switch (layout) {
    case Layout::vertical:
        return QStringLiteral("vertical");
    case Layout::horizontal:
        return QStringLiteral("horizontal");
    case Layout::grid:
        break;
    }
    return QStringLiteral("grid");
}

std::optional<Layout> StitchRunner::layoutFromString(const QString &raw)
{
    for (const Layout layout : {Layout::vertical, Layout::horizontal, Layout::grid}) {
        if (raw == toString(layout))
            return layout;
    }
    return std::nullopt;
}

QString StitchRunner::label(Layout layout)
{
    const QString raw = toString(layout);
    return raw.left(1).toUpper() + raw.mid(1);
}

Plan StitchRunner::plan(const QList<QSize> &sizes, Layout layout, double spacing)
{
    Plan result;
    const qsizetype n = sizes.size();
    if (n == 0)
        return result;
    const double gap = std::max(0.0, spacing);
    double widest = 0;
    double tallest = 0;
    double sumWidths = 0;
    double sumHeights = 0;
    for (const QSize &size : sizes) {
        widest = std::max(widest, double(size.width()));
        tallest = std::max(tallest, double(size.height()));
        sumWidths += size.width();
        sumHeights += size.height();
    }
    switch (layout) {
    case Layout::vertical: {
        result.canvas = QSizeF(widest, sumHeights + gap * double(n - 1));
        double y = 0;
        for (const QSize &size : sizes) {
            result.frames.append(QRectF((widest - size.width()) / 2, y, size.width(), size.height()));
            y += size.height() + gap;
        }
        break;
    }
    case Layout::horizontal: {
        result.canvas = QSizeF(sumWidths + gap * double(n - 1), tallest);
        double x = 0;
        for (const QSize &size : sizes) {
            result.frames.append(QRectF(x, (tallest - size.height()) / 2, size.width(), size.height()));
            x += size.width() + gap;
        }
        break;
    }
    case Layout::grid: {
        const qsizetype columns = std::max<qsizetype>(1, qsizetype(std::ceil(std::sqrt(double(n)))));
        const qsizetype rows = (n + columns - 1) / columns;
        result.canvas = QSizeF(double(columns) * widest + gap * double(columns - 1),
                               double(rows) * tallest + gap * double(rows - 1));
        for (qsizetype i = 0; i < n; ++i) {
            const qsizetype row = i / columns; // whole rows: the division is meant to truncate
            const double cellX = double(i % columns) * (widest + gap);
            const double cellY = double(row) * (tallest + gap);
            result.frames.append(QRectF(cellX + (widest - sizes[i].width()) / 2,
                                        cellY + (tallest - sizes[i].height()) / 2, sizes[i].width(),
                                        sizes[i].height()));
        }
        break;
    }
    }
    return result;
}

double StitchRunner::scaleFor(QSizeF canvas, std::optional<int> cap)
{
    const double longer = std::max(canvas.width(), canvas.height());
    if (!cap || *cap <= 0 || longer <= *cap)
        return 1.0;
    return double(*cap) / longer;
}

QSize StitchRunner::scaledCanvas(QSizeF canvas, double scale)
{
    return {int(std::lround(canvas.width() * scale)), int(std::lround(canvas.height() * scale))};
}

bool StitchRunner::exceedsPixelLimit(QSize size)
{
    return qint64(size.width()) * qint64(size.height()) > pixelLimit;
}

Result StitchRunner::runPDF(const QStringList &sources, const QString &output, const Progress &progress,
                            std::stop_token stop, Existing existing)
{
    // The PDF has no name until it is complete: a run cut short, or killed, leaves nothing behind.
    AtomicFile file(output);
    if (!file.open())
        return failure(Mode::pdf, writeFailure("write", "PDF", file));
    PdfWriter writer(file.device());
    if (!writer.open())
        return failure(Mode::pdf, writeFailure("write", "PDF", file));
    int skipped = 0;
    const int total = int(sources.size());
    for (int i = 0; i < total; ++i) {
        if (stop.stop_requested())
            return failure(Mode::pdf, cancelled);
        const QString &source = sources[i];
        bool added = false;
        // Only a regular file, and no more than an image could be: a pipe or a device would never end.
        constexpr qint64 imageLimit = qint64(1) << 30;
        if (const RegularFile::Read read = RegularFile::read(source, imageLimit); read.ok()) {
            const QByteArray &bytes = read.bytes;
            if (const auto jpeg = ImageSource::embeddableJPEG(source, bytes)) {
                added = writer.addJPEGPage(bytes, jpeg->size, jpeg->components);
            } else {
                const QImage image = ImageSource::decode(source);
                added = !image.isNull() && writer.addImagePage(image);
            }
        }
        // A full disk is no unreadable image: the run stops there and says why.
        if (writer.hasFailed())
            return failure(Mode::pdf, writeFailure("write", "PDF", file), writer.pageCount(), skipped);
        if (!added)
            ++skipped;
        if (progress)
            progress(QStringLiteral("Building PDF from %1").arg(imageCountText(total)), i + 1, total);
    }
    if (stop.stop_requested())
        return failure(Mode::pdf, cancelled);
    if (writer.pageCount() == 0)
        return failure(Mode::pdf, noImages, 0, skipped);
    if (!writer.finish())
        return failure(Mode::pdf, writeFailure("write", "PDF", file), writer.pageCount(), skipped);
    if (!file.commit(commitMode(existing)))
        return failure(Mode::pdf, saveFailure("PDF", file), writer.pageCount(), skipped);
    return success(Mode::pdf, output, writer.pageCount(), skipped);
}

Result StitchRunner::runImage(const QStringList &sources, const QString &output, Layout layout, double spacing,
                              bool backgroundIsWhite, std::optional<int> longestEdgeCap, const Progress &progress,
                              std::stop_token stop, Existing existing)
{
    // The sizes come from the headers, so the canvas is known and checked
    // before a single image is decoded; each image is then decoded, drawn and
    // dropped in turn, so no more than one is ever held beside the canvas.
    QStringList readable;
    QList<QSize> sizes;
    int skipped = 0;
    for (const QString &source : sources) {
        if (stop.stop_requested())
            return failure(Mode::image, cancelled);
        if (const auto size = ImageSource::pixelSize(source); size && !size->isEmpty()) {
            readable.append(source);
            sizes.append(*size);
        } else {
            ++skipped;
        }
    }
    if (readable.isEmpty())
        return failure(Mode::image, noImages, 0, skipped);

    const Plan layoutPlan = plan(sizes, layout, spacing);
    const double scale = scaleFor(layoutPlan.canvas, longestEdgeCap);
    const QSize canvasSize = scaledCanvas(layoutPlan.canvas, scale);
    if (canvasSize.width() < 1 || canvasSize.height() < 1)
        return failure(Mode::image, QStringLiteral("Couldn't size the combined image."), 0, skipped);
    if (exceedsPixelLimit(canvasSize))
        return failure(Mode::image,
                       QStringLiteral("That combined image would be huge (%1 × %2 px). Choose a smaller size, switch "
                                      "to PDF, or pick fewer images.")
                           .arg(canvasSize.width())
                           .arg(canvasSize.height()),
                       0, skipped);

    QImage canvas(canvasSize, QImage::Format_RGB32);
    if (canvas.isNull())
        return failure(Mode::image,
                       QStringLiteral("Couldn't allocate the image canvas — it may be too large. Try PDF mode or "
                                      "fewer images."),
                       0, skipped);
    canvas.fill(backgroundIsWhite ? Qt::white : Qt::black);
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const int total = int(readable.size());
    int drawn = 0;
    for (int i = 0; i < total; ++i) {
        if (stop.stop_requested())
            return failure(Mode::image, cancelled);
        const QRectF frame(layoutPlan.frames[i].topLeft() * scale, layoutPlan.frames[i].size() * scale);
        const QSize target(std::max(1, int(std::lround(frame.width()))), std::max(1, int(std::lround(frame.height()))));
        const QImage image = ImageSource::decode(readable[i], scale < 1.0 ? target : QSize());
        if (image.isNull()) {
            // Its header read but its pixels don't: its place stays background.
            ++skipped;
        } else {
            painter.drawImage(frame, image);
            ++drawn;
        }
        if (progress)
            progress(QStringLiteral("Stitching %1").arg(imageCountText(total)), i + 1, total);
    }
    painter.end();
    if (drawn == 0)
        return failure(Mode::image, noImages, 0, skipped);
    if (stop.stop_requested())
        return failure(Mode::image, cancelled);

    AtomicFile file(output);
    if (!file.open())
        return failure(Mode::image, writeFailure("write", "image", file), drawn, skipped);
    QImageWriter writer(file.device(), "png");
    if (!writer.canWrite())
        return failure(Mode::image, writeFailure("write", "image", file), drawn, skipped);
    if (!writer.write(canvas)) {
        const QString reason = file.device()->errorString();
        return failure(Mode::image,
                       reason.isEmpty() || reason == QLatin1String("Unknown error")
                           ? QStringLiteral("Couldn't finalise the image file.")
                           : QStringLiteral("Couldn't finalise the image file: %1.").arg(reason),
                       drawn, skipped);
    }
    if (!file.commit(commitMode(existing)))
        return failure(Mode::image, saveFailure("image", file), drawn, skipped);
    return success(Mode::image, output, drawn, skipped);
}
