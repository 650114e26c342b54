// Stitches generated 12 MP photos into one PDF and one vertical PNG, and compares
// time and peak memory with img2pdf and ImageMagick's convert -append.
//
//   bench_stitch [COUNT]      (default 100)
#include "Peers.h"
#include "transfer/stitch/StitchRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Measure {
    double seconds = 0;
    long peakKiB = 0;
    int status = -1;
};

// Runs a program and reports its wall time and its own peak resident memory.
Measure measure(const QStringList &command)
{
    QElapsedTimer timer;
    timer.start();
    const pid_t child = fork();
    if (child == 0) {
        std::vector<QByteArray> words;
        for (const QString &word : command)
            words.push_back(word.toLocal8Bit());
        std::vector<char *> argv;
        for (QByteArray &word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    return {double(timer.nsecsElapsed()) / 1e9, usage.ru_maxrss, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

QStringList photos(const QString &folder, int count)
{
    QStringList paths;
    QImage photo(4000, 3000, QImage::Format_RGB32);
    for (int i = 0; i < count; ++i) {
        // Noise so the JPEGs are the size real photos are.
        auto *random = QRandomGenerator::global();
        for (int y = 0; y < photo.height(); ++y) {
            auto *line = reinterpret_cast<quint32 *>(photo.scanLine(y));
            for (int x = 0; x < photo.width(); ++x)
                line[x] = 0xFF000000u | (random->generate() & 0x3F3F3Fu) | quint32((x + y + i * 40) & 0xC0) << 8;
        }
        paths.append(QDir(folder).filePath(QStringLiteral("photo-%1.jpg").arg(i, 3, 10, QLatin1Char('0'))));
        photo.save(paths.last(), "JPEG", 85);
    }
    return paths;
}

// The pages of a PDF: its page objects, "/Type /Page" but not "/Type /Pages". Both writers here put
// them in the open (no object streams); a file that has none counts 0, which no run asks for. The
// file is mapped, not read: a hundred embedded photos are hundreds of megabytes.
int pdfPages(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() == 0)
        return 0;
    const uchar *bytes = file.map(0, file.size());
    if (!bytes)
        return 0;
    const std::string_view text(reinterpret_cast<const char *>(bytes), size_t(file.size()));
    int pages = 0;
    for (size_t at = text.find("/Type"); at != std::string_view::npos; at = text.find("/Type", at + 1)) {
        size_t next = at + 5;
        while (next < text.size() && std::isspace(static_cast<unsigned char>(text[next])))
            ++next;
        const std::string_view word = text.substr(next, 6);
        if (word.substr(0, 5) == "/Page" && (word.size() < 6 || !std::isalpha(static_cast<unsigned char>(word[5]))))
            ++pages;
    }
    return pages;
}

// Why the PDF a run wrote isn't one page per photo; nothing when it is.
std::optional<QString> wrongPDF(const QString &path, int count)
{
    if (QFileInfo(path).size() <= 0)
        return QStringLiteral("wrote no PDF at %1").arg(path);
    if (const int pages = pdfPages(path); pages != count)
        return QStringLiteral("wrote %1 pages where %2 photos went in").arg(pages).arg(count);
    return std::nullopt;
}

// Lifts ImageMagick's resource limits for the run. The distribution's policy.xml caps the pixel cache
// (256 MiB of memory, 1 GiB of disk) far below what 100 decoded 12 MP photos take, and its caps are
// maximums that neither -limit nor MAGICK_*_LIMIT may pass; a policy of the bench's own, found first
// through MAGICK_CONFIGURE_PATH, raises them. A convert that gives up proves nothing.
QStringList convertLimits(const QString &folder)
{
    const QByteArray policy = R"(<policymap>
  <policy domain="resource" name="memory" value="8GiB"/>
  <policy domain="resource" name="map" value="16GiB"/>
  <policy domain="resource" name="disk" value="64GiB"/>
  <policy domain="resource" name="area" value="64GP"/>
  <policy domain="resource" name="width" value="1MP"/>
  <policy domain="resource" name="height" value="1MP"/>
</policymap>
)";
    QFile file(folder + QStringLiteral("/policy.xml"));
    if (file.open(QIODevice::WriteOnly))
        file.write(policy);
    qputenv("MAGICK_CONFIGURE_PATH", QFile::encodeName(folder));
    return {"-limit", "memory", "8GiB", "-limit", "map",   "16GiB", "-limit", "disk",   "64GiB",
            "-limit", "area",   "64GP", "-limit", "width", "1MP",   "-limit", "height", "1MP"};
}

int runInside(const QStringList &arguments)
{
    // bench_stitch --run pdf|image OUTPUT SOURCES…
    const QString mode = arguments.value(2);
    const QString output = arguments.value(3);
    const QStringList sources = arguments.mid(4);
    const auto result =
        mode == QLatin1String("pdf")
            ? StitchRunner::runPDF(sources, output, {}, {})
            : StitchRunner::runImage(sources, output, StitchRunner::Layout::vertical, 0, false, 10000, {}, {});
    return result.failed ? 1 : 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.value(1) == QLatin1String("--run"))
        return runInside(arguments);

    const int count = arguments.size() > 1 ? arguments[1].toInt() : 100;
    if (count < 1) {
        std::fprintf(stderr, "Usage: bench_stitch [COUNT]\n");
        return 2;
    }
    if (!Peers::installed("bench_stitch", {QStringLiteral("img2pdf"), QStringLiteral("convert")}))
        return Peers::peerFailed;
    QTemporaryDir dir;
    std::printf("generating %d photos of 4000 × 3000…\n", count);
    std::fflush(stdout);
    const QStringList sources = photos(dir.path(), count);
    const QString self = QCoreApplication::applicationFilePath();

    const Measure ours = measure(QStringList{self, "--run", "pdf", dir.filePath("ours.pdf")} + sources);
    if (const auto wrong = ours.status == 0 ? wrongPDF(dir.filePath("ours.pdf"), count)
                                            : QStringLiteral("failed (exit %1)").arg(ours.status)) {
        std::fprintf(stderr, "bench_stitch: Vantrel's PDF run %s.\n", qPrintable(*wrong));
        return 1;
    }
    const Measure img2pdf = measure(QStringList{"img2pdf", "-o", dir.filePath("ref.pdf")} + sources);
    if (img2pdf.status != 0)
        return Peers::failed("bench_stitch", QStringLiteral("img2pdf failed (exit %1)").arg(img2pdf.status));
    if (const auto wrong = wrongPDF(dir.filePath("ref.pdf"), count))
        return Peers::failed("bench_stitch", QStringLiteral("img2pdf %1").arg(*wrong));
    std::printf("PDF    vantrel %.2f s, %ld MiB peak · img2pdf %.2f s, %ld MiB peak · time ratio %.2f (goal ≤ 1.5)\n",
                ours.seconds, ours.peakKiB / 1024, img2pdf.seconds, img2pdf.peakKiB / 1024,
                ours.seconds / img2pdf.seconds);
    std::fflush(stdout);

    // The full layout (4000 × 300,000) is over the pixel limit, so both sides
    // make the 10,000-pixel-long image the Large size gives.
    // A few photos stack to less than that; neither side makes them larger.
    const double percent = std::min(100.0, 10000.0 / (3000.0 * count) * 100.0);
    const Measure image = measure(QStringList{self, "--run", "image", dir.filePath("ours.png")} + sources);
    // The size from the header: decoding a tall canvas here would only measure this bench.
    const QSize made = QImageReader(dir.filePath("ours.png")).size();
    if (image.status != 0 || !made.isValid()) {
        std::fprintf(stderr, "bench_stitch: Vantrel's PNG run failed (exit %d).\n", image.status);
        return 1;
    }
    const Measure convert =
        measure(QStringList{"convert"} + convertLimits(dir.path()) + sources +
                QStringList{"-resize", QString::number(percent, 'f', 4) + "%", "-append", dir.filePath("ref.png")});
    if (convert.status != 0)
        return Peers::failed("bench_stitch", QStringLiteral("convert failed (exit %1)").arg(convert.status));
    // Each photo is scaled on its own and rounded, then they are stacked: one pixel of slack a photo.
    const QSize wrote = QImageReader(dir.filePath("ref.png")).size();
    const QSize scaled(qRound(4000 * percent / 100), qRound(3000 * percent / 100));
    if (!wrote.isValid() || std::abs(wrote.width() - scaled.width()) > 1 ||
        std::abs(wrote.height() - scaled.height() * count) > count)
        return Peers::failed("bench_stitch", QStringLiteral("convert wrote a %1 × %2 image where about %3 × %4 was "
                                                            "asked")
                                                 .arg(wrote.width())
                                                 .arg(wrote.height())
                                                 .arg(scaled.width())
                                                 .arg(scaled.height() * count));
    const double canvasMiB = double(made.width()) * made.height() * 4 / 1048576.0;
    const double decodedMiB = 4000.0 * 3000.0 * 4 / 1048576.0;
    std::printf("PNG    vantrel %.2f s, %ld MiB peak · convert %.2f s, %ld MiB peak · time ratio %.2f (goal ≤ 1.0)\n",
                image.seconds, image.peakKiB / 1024, convert.seconds, convert.peakKiB / 1024,
                image.seconds / convert.seconds);
    std::printf("       memory bound: canvas %.1f MiB + one decoded photo %.1f MiB + 64 MiB = %.1f MiB; peak %s it\n",
                canvasMiB, decodedMiB, canvasMiB + decodedMiB + 64,
                double(image.peakKiB) / 1024 <= canvasMiB + decodedMiB + 64 ? "within" : "OVER");
    return 0;
}
