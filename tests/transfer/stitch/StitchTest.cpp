#include "transfer/stitch/StitchRunner.h"
#include "transfer/stitch/StitchSession.h"

#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>

#include <gtest/gtest.h>

using StitchRunner::Layout;

namespace {

QString makeImage(TestEnvironment &env, const QString &name, QSize size, QColor color = Qt::red)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    const QString path = env.path(name);
    QDir().mkpath(QFileInfo(path).absolutePath());
    EXPECT_TRUE(image.save(path));
    return path;
}

QList<QSize> repeated(int n, QSize size)
{
    return QList<QSize>(n, size);
}

QStringList leftovers(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".vantrel-stitch-*")}, QDir::Files | QDir::Hidden);
}

struct GridCase {
    int images;
    QSizeF canvas;
};

void PrintTo(const GridCase &c, std::ostream *os)
{
    *os << c.images << " images";
}

class GridLayout : public testing::TestWithParam<GridCase> {};

} // namespace

TEST_P(GridLayout, ColumnsAreTheCeilingOfTheSquareRoot)
{
    const auto plan = StitchRunner::plan(repeated(GetParam().images, QSize(100, 50)), Layout::grid, 10);
    EXPECT_EQ(plan.canvas, GetParam().canvas);
    EXPECT_EQ(plan.frames.size(), GetParam().images);
}

INSTANTIATE_TEST_SUITE_P(Counts, GridLayout,
                         testing::Values(GridCase{1, {100, 50}}, GridCase{3, {210, 110}}, GridCase{4, {210, 110}},
                                         GridCase{5, {320, 110}}, GridCase{10, {430, 170}}));

TEST(StitchLayout, StacksAndCentresAlongTheOtherAxis)
{
    const QList<QSize> sizes{{100, 40}, {60, 20}};
    const auto vertical = StitchRunner::plan(sizes, Layout::vertical, 5);
    EXPECT_EQ(vertical.canvas, QSizeF(100, 65));
    EXPECT_EQ(vertical.frames[1], QRectF(20, 45, 60, 20));
    const auto horizontal = StitchRunner::plan(sizes, Layout::horizontal, -8);
    EXPECT_EQ(horizontal.canvas, QSizeF(160, 40));
    EXPECT_EQ(horizontal.frames[1], QRectF(100, 10, 60, 20));
    const auto grid = StitchRunner::plan({{100, 40}, {60, 20}, {10, 10}}, Layout::grid, 0);
    EXPECT_EQ(grid.frames[2], QRectF(45, 55, 10, 10));
}

TEST(StitchLayout, CapsScaleEverythingAlikeAndTheLimitIsStrict)
{
    // At medium a 12,000-pixel layout is drawn at half size, gap included.
    const auto plan = StitchRunner::plan(repeated(3, QSize(2000, 3960)), Layout::vertical, 60);
    EXPECT_EQ(plan.canvas, QSizeF(2000, 12000));
    EXPECT_DOUBLE_EQ(StitchRunner::scaleFor(plan.canvas, StitchSession::cap(StitchSession::Resolution::medium)), 0.5);
    EXPECT_EQ(StitchRunner::scaledCanvas(plan.canvas, 0.5), QSize(1000, 6000));
    EXPECT_DOUBLE_EQ(StitchRunner::scaleFor(QSizeF(6000, 10), 6000), 1.0);
    EXPECT_DOUBLE_EQ(StitchRunner::scaleFor(QSizeF(90000, 10), std::nullopt), 1.0);

    EXPECT_FALSE(StitchRunner::exceedsPixelLimit(QSize(12000, 10000)));
    EXPECT_TRUE(StitchRunner::exceedsPixelLimit(QSize(12000, 10001)));
    EXPECT_FALSE(StitchRunner::exceedsPixelLimit(QSize(120000000, 1)));
}

TEST(StitchRunner, APdfHasAPagePerReadableImageAndSkipsTheRest)
{
    TestEnvironment env;
    const QStringList sources{
        makeImage(env, QStringLiteral("in/a.png"), {40, 30}),
        env.makeFile(QStringLiteral("in/notes.txt"), "not an image"),
        makeImage(env, QStringLiteral("in/b.jpg"), {20, 60}, Qt::blue),
        env.makeFile(QStringLiteral("in/broken.jpg"), QByteArray("\xFF\xD8\xFF\xE0garbage", 12)),
        makeImage(env, QStringLiteral("in/c.bmp"), {10, 10}),
    };
    const QString output = env.path(QStringLiteral("out.pdf"));
    QList<int> steps;
    const auto result =
        StitchRunner::runPDF(sources, output, [&](const QString &, int done, int) { steps.append(done); }, {});
    ASSERT_FALSE(result.failed) << result.errorMessage.value_or(QString()).toStdString();
    EXPECT_EQ(result.imageCount, 3);
    EXPECT_EQ(result.skippedCount, 2);
    EXPECT_EQ(result.modeLabel, QStringLiteral("PDF"));
    EXPECT_EQ(steps, (QList<int>{1, 2, 3, 4, 5}));
    QFile pdf(output);
    ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
    const QByteArray bytes = pdf.readAll();
    EXPECT_EQ(result.outputSizeBytes, bytes.size());
    EXPECT_TRUE(bytes.startsWith("%PDF-1.4"));
    EXPECT_TRUE(bytes.trimmed().endsWith("%%EOF"));
    // Each page is the size of its image; the JPEG goes in as it is.
    EXPECT_TRUE(bytes.contains("/MediaBox [0 0 40 30]"));
    EXPECT_TRUE(bytes.contains("/MediaBox [0 0 20 60]"));
    EXPECT_EQ(bytes.count("/DCTDecode"), 1);
    EXPECT_EQ(bytes.count("/Type /Page "), 3);
    EXPECT_TRUE(leftovers(env.home()).isEmpty());

    const auto none = StitchRunner::runPDF({sources[1]}, env.path(QStringLiteral("none.pdf")), {}, {});
    EXPECT_TRUE(none.failed);
    EXPECT_EQ(none.errorMessage, QStringLiteral("None of the selected files could be read as images."));
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("none.pdf"))));
}

TEST(StitchRunner, AnImageIsLaidOutScaledAndWrittenAsPNG)
{
    TestEnvironment env;
    const QStringList sources{makeImage(env, QStringLiteral("a.png"), {400, 300}, Qt::red),
                              makeImage(env, QStringLiteral("b.png"), {200, 100}, Qt::green),
                              env.makeFile(QStringLiteral("c.txt"), "text")};
    const QString output = env.path(QStringLiteral("out.png"));
    const auto result =
        StitchRunner::runImage(sources, output, Layout::vertical, 100, true, std::nullopt, {}, std::stop_token{});
    ASSERT_FALSE(result.failed) << result.errorMessage.value_or(QString()).toStdString();
    EXPECT_EQ(result.imageCount, 2);
    EXPECT_EQ(result.skippedCount, 1);
    const QImage made(output);
    ASSERT_EQ(made.size(), QSize(400, 500));
    EXPECT_EQ(made.pixelColor(10, 10), QColor(Qt::red));
    EXPECT_EQ(made.pixelColor(200, 350), QColor(Qt::white)); // the gap
    EXPECT_EQ(made.pixelColor(50, 450), QColor(Qt::white));  // beside the narrower image
    EXPECT_EQ(made.pixelColor(200, 450), QColor(Qt::green));

    const auto capped =
        StitchRunner::runImage(sources, output, Layout::vertical, 100, false, 250, {}, std::stop_token{});
    ASSERT_FALSE(capped.failed);
    EXPECT_EQ(QImageReader(output).size(), QSize(200, 250));

    const auto huge = StitchRunner::runImage(sources, env.path(QStringLiteral("huge.png")), Layout::vertical, 400000,
                                             false, std::nullopt, {}, std::stop_token{});
    EXPECT_EQ(huge.errorMessage, QStringLiteral("That combined image would be huge (400 × 400400 px). Choose a "
                                                "smaller size, switch to PDF, or pick fewer images."));
    EXPECT_FALSE(QFile::exists(env.path(QStringLiteral("huge.png"))));
}

TEST(StitchRunner, CancellingLeavesTheOldFileAndNoPartOfTheNewOne)
{
    TestEnvironment env;
    const QStringList sources{makeImage(env, QStringLiteral("a.png"), {40, 30}),
                              makeImage(env, QStringLiteral("b.png"), {40, 30})};
    const QString output = env.makeFile(QStringLiteral("out/result.pdf"), "the old file");
    std::stop_source stop;
    const auto result = StitchRunner::runPDF(
        sources, output,
        [&](const QString &, int done, int) {
            if (done == 1)
                stop.request_stop();
        },
        stop.get_token());
    EXPECT_TRUE(result.failed);
    EXPECT_EQ(result.errorMessage, QStringLiteral("Cancelled."));
    QFile old(output);
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_EQ(old.readAll(), QByteArray("the old file"));
    old.close();
    EXPECT_TRUE(leftovers(env.path(QStringLiteral("out"))).isEmpty());

    const auto replaced = StitchRunner::runPDF(sources, output, {}, {});
    ASSERT_FALSE(replaced.failed);
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_TRUE(old.readAll().startsWith("%PDF"));
    EXPECT_TRUE(leftovers(env.path(QStringLiteral("out"))).isEmpty());
}

TEST(StitchSession, EstimatesFromHeadersAndGuardsItsStart)
{
    TestEnvironment env;
    const QStringList sources{makeImage(env, QStringLiteral("a.png"), {4000, 3000}),
                              makeImage(env, QStringLiteral("b.png"), {4000, 3000}),
                              env.makeFile(QStringLiteral("c.txt"), "text")};
    StitchSession session(env.host(), sources);
    EXPECT_TRUE(session.outputBaseName().startsWith(QStringLiteral("stitched-20")));
    EXPECT_EQ(session.unreadableCount(), 1);
    EXPECT_EQ(session.combinedSize(), QSize(4000, 6000));
    session.setMode(StitchRunner::Mode::image);
    EXPECT_EQ(session.estimateText(), QStringLiteral("Combined size · ≈ 4000 × 6000 px"));
    EXPECT_EQ(session.estimateNote(), QStringLiteral("One combined PNG at full resolution. Lots of images? PDF mode "
                                                     "has no size limit."));
    session.setResolution(StitchSession::Resolution::small);
    EXPECT_TRUE(session.willDownscale());
    EXPECT_EQ(session.estimateText(), QStringLiteral("4000 × 6000 px  →  downscaled to ≈ 2000 × 3000 px"));

    session.setSpacing(120000000);
    session.setResolution(StitchSession::Resolution::full);
    EXPECT_TRUE(session.isTooLarge());
    session.setMode(StitchRunner::Mode::pdf);
    EXPECT_FALSE(session.isTooLarge());

    session.start();
    EXPECT_EQ(session.phase(),
              StitchSession::Phase{StitchSession::failed{"Pick a destination folder before starting."}});
    session.setDestinationURL(env.makeFolder(QStringLiteral("out")));
    session.setOutputBaseName(QStringLiteral("  "));
    EXPECT_EQ(session.outputFileName(), QStringLiteral("stitched.pdf"));
    session.start();
    EXPECT_EQ(session.phase(), StitchSession::Phase{StitchSession::failed{"Give the file a name before starting."}});

    // A file of that name is replaced only on the word.
    session.setOutputBaseName(QStringLiteral("set"));
    const QString existing = env.makeFile(QStringLiteral("out/set.pdf"), "keep me");
    session.start();
    EXPECT_EQ(env.interaction().askedAlerts().last().message, QStringLiteral("“set.pdf” already exists."));
    EXPECT_FALSE(std::holds_alternative<StitchSession::running>(session.phase()));
    env.interaction().addAnswer(QStringLiteral("“set.pdf”"), QStringLiteral("Replace"));
    session.start();
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    const auto *finished = std::get_if<StitchSession::done>(&session.phase());
    ASSERT_NE(finished, nullptr);
    EXPECT_EQ(finished->result.outputURL, existing);
    EXPECT_EQ(StitchSession::imagesLine(finished->result), QStringLiteral("2 images"));
    EXPECT_EQ(StitchSession::skippedLine(finished->result),
              QStringLiteral("1 selected file were skipped — couldn't be read as images."));
}
