// Stitches generated 12 MP photos into one PDF and one vertical PNG, and compares
// time and peak memory with img2pdf and ImageMagick's convert -append.
//
//   bench_stitch [COUNT]      (default 100)
#include "transfer/StitchRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cstdio>
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
    QTemporaryDir dir;
    std::printf("generating %d photos of 4000 × 3000…\n", count);
    const QStringList sources = photos(dir.path(), count);
    const QString self = QCoreApplication::applicationFilePath();

    const Measure ours = measure(QStringList{self, "--run", "pdf", dir.filePath("ours.pdf")} + sources);
    const Measure img2pdf = measure(QStringList{"img2pdf", "-o", dir.filePath("ref.pdf")} + sources);
    std::printf("PDF    vantrel %.2f s, %ld MiB peak · img2pdf %.2f s, %ld MiB peak · time ratio %.2f (goal ≤ 1.5)\n",
                ours.seconds, ours.peakKiB / 1024, img2pdf.seconds, img2pdf.peakKiB / 1024,
                ours.seconds / img2pdf.seconds);

    // The full layout (4000 × 300,000) is over the pixel limit, so both sides
    // make the 10,000-pixel-long image the Large size gives.
    const double percent = 10000.0 / (3000.0 * count) * 100.0;
    const Measure image = measure(QStringList{self, "--run", "image", dir.filePath("ours.png")} + sources);
    const Measure convert =
        measure(QStringList{"convert"} + sources +
                QStringList{"-resize", QString::number(percent, 'f', 4) + "%", "-append", dir.filePath("ref.png")});
    const QImage made(dir.filePath("ours.png"));
    const double canvasMiB = double(made.width()) * made.height() * 4 / 1048576.0;
    const double decodedMiB = 4000.0 * 3000.0 * 4 / 1048576.0;
    std::printf("PNG    vantrel %.2f s, %ld MiB peak · convert %.2f s, %ld MiB peak · time ratio %.2f (goal ≤ 1.0)\n",
                image.seconds, image.peakKiB / 1024, convert.seconds, convert.peakKiB / 1024,
                image.seconds / convert.seconds);
    std::printf("       memory bound: canvas %.1f MiB + one decoded photo %.1f MiB + 64 MiB = %.1f MiB; peak %s it\n",
                canvasMiB, decodedMiB, canvasMiB + decodedMiB + 64,
                double(image.peakKiB) / 1024 <= canvasMiB + decodedMiB + 64 ? "within" : "OVER");
    return ours.status == 0 && image.status == 0 ? 0 : 1;
}
