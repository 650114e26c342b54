#pragma once

#include <QList>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <stop_token>

// Turns images, in the order given, into one PDF with a page per image or one
// PNG with all of them laid out. Runs on a background thread; writes to a
// temporary file beside the output and moves it into place only on success.
namespace StitchRunner {

enum class Mode { pdf, image };
QString toString(Mode mode);
std::optional<Mode> modeFromString(const QString &raw);
QString label(Mode mode);
QString description(Mode mode);

enum class Layout { vertical, horizontal, grid };
QString toString(Layout layout);
std::optional<Layout> layoutFromString(const QString &raw);
QString label(Layout layout);

struct Result {
    QString outputURL;
    int imageCount = 0;
    int skippedCount = 0;
    qint64 outputSizeBytes = 0;
    QString modeLabel;
    bool failed = false;
    std::optional<QString> errorMessage;
    bool operator==(const Result &) const = default;
};

// Where each image goes on the canvas, at full size.
struct Plan {
    QSizeF canvas;
    QList<QRectF> frames;
    bool operator==(const Plan &) const = default;
};
Plan plan(const QList<QSize> &sizes, Layout layout, double spacing);
// The scale that brings the longer edge within `cap`; 1 without a cap or inside it.
double scaleFor(QSizeF canvas, std::optional<int> cap);
// The canvas in whole pixels after scaling.
QSize scaledCanvas(QSizeF canvas, double scale);
constexpr qint64 pixelLimit = 120000000;
bool exceedsPixelLimit(QSize size);

// Progress: the step, images done, images in all.
using Progress = std::function<void(const QString &step, int done, int total)>;

// What becomes of a file already at the output's name: replaced once the new one is complete (the
// user said Replace), or kept, the run then failing.
enum class Existing { replace, keep };

Result runPDF(const QStringList &sources, const QString &output, const Progress &progress, std::stop_token stop,
              Existing existing = Existing::replace);
Result runImage(const QStringList &sources, const QString &output, Layout layout, double spacing,
                bool backgroundIsWhite, std::optional<int> longestEdgeCap, const Progress &progress,
                std::stop_token stop, Existing existing = Existing::replace);

} // namespace StitchRunner
