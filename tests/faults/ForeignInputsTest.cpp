// Files handed to Vantrel that are no files: a FIFO with or without a writer, a device that never
// ends. Each is refused at once with a clear message; nothing hangs, nothing runs out of memory.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "metadata/CategoryStore.h"
#include "platform/RegularFile.h"
#include "transfer/stitch/StitchRunner.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include <sys/stat.h>

namespace {

// A FIFO, and with `fed` a process that keeps writing into it, as `<(yes)` would.
class Fifo {
public:
    Fifo(const QString &path, bool fed) : where(path)
    {
        ok = ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0;
        if (ok && fed) {
            writer = std::make_unique<QProcess>();
            writer->start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("exec yes > \"$0\""), path});
            writer->waitForStarted();
        }
    }
    ~Fifo()
    {
        if (writer) {
            writer->kill();
            writer->waitForFinished();
        }
    }
    Fifo(const Fifo &) = delete;
    Fifo &operator=(const Fifo &) = delete;
    bool made() const { return ok; }
    const QString &path() const { return where; }

private:
    QString where;
    bool ok = false;
    std::unique_ptr<QProcess> writer;
};

struct Input {
    const char *name;
    // The path to hand over; `fifo` is made first when the row wants one.
    QString path;
    bool fifo = false;
    bool fed = false;
};

class ForeignInput : public ::testing::TestWithParam<Input> {
protected:
    QString prepare(AppTestEnvironment &env, std::unique_ptr<Fifo> &fifo)
    {
        if (!GetParam().fifo)
            return GetParam().path;
        fifo = std::make_unique<Fifo>(env.path(QStringLiteral("pipe")), GetParam().fed);
        EXPECT_TRUE(fifo->made());
        return fifo->path();
    }
};

const auto inputs =
    ::testing::Values(Input{"devZero", QStringLiteral("/dev/zero")}, Input{"fifoWithoutWriter", {}, true, false},
                      Input{"fifoFedByYes", {}, true, true}, Input{"folder", QStringLiteral("/tmp")});

// Rows print as their names, so test names and logs stay the same from build to build.
void PrintTo(const Input &input, std::ostream *out)
{
    *out << input.name;
}

std::string rowName(const ::testing::TestParamInfo<Input> &info)
{
    return info.param.name;
}

Faults::ProcessResult vantrel(const QStringList &arguments)
{
    // Ten seconds is far beyond any refusal; a hang shows as a timeout, not a stuck suite.
    return Faults::run(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments, {}, 10000);
}

} // namespace

TEST_P(ForeignInput, IsRefusedAsACategoriesFile)
{
    AppTestEnvironment env;
    std::unique_ptr<Fifo> fifo;
    const QString path = prepare(env, fifo);
    const QByteArray before = [] {
        QFile file(CategoryStore().filePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();

    const auto run = vantrel({QStringLiteral("categories"), QStringLiteral("import"), path, QStringLiteral("--yes")});
    EXPECT_EQ(run.exitCode, 1) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith("Couldn't read the file (")) << run.out.toStdString();
    QFile library(CategoryStore().filePath());
    ASSERT_TRUE(library.open(QIODevice::ReadOnly));
    EXPECT_EQ(library.readAll(), before);
}

TEST_P(ForeignInput, IsRefusedAsAnAnswersFile)
{
    AppTestEnvironment env;
    std::unique_ptr<Fifo> fifo;
    const QString path = prepare(env, fifo);
    const QString file = env.makeFile(QStringLiteral("a.txt"), "a");
    const auto run =
        vantrel({QStringLiteral("run"), QStringLiteral("tag-audit"), file, QStringLiteral("--answers"), path});
    EXPECT_EQ(run.exitCode, 2) << run.out.toStdString();
    EXPECT_TRUE(run.err.startsWith("Couldn't read the answers file ")) << run.err.toStdString();
}

TEST_P(ForeignInput, IsNoImageToStitch)
{
    AppTestEnvironment env;
    std::unique_ptr<Fifo> fifo;
    // Named as an image, so only what it is, not its name, can tell it apart.
    const QString path = env.path(QStringLiteral("photo.png"));
    ASSERT_TRUE(QFile::link(prepare(env, fifo), path));
    const QString noImages = QStringLiteral("None of the selected files could be read as images.");
    const auto pdf = StitchRunner::runPDF({path}, env.path(QStringLiteral("out.pdf")), {}, {});
    EXPECT_EQ(pdf.errorMessage, noImages);
    const auto image = StitchRunner::runImage({path}, env.path(QStringLiteral("out.png")),
                                              StitchRunner::Layout::vertical, 0, true, std::nullopt, {}, {});
    EXPECT_EQ(image.errorMessage, noImages);

    const auto run = vantrel({QStringLiteral("run"), QStringLiteral("stitch-files"), path, QStringLiteral("--dest"),
                              env.makeFolder(QStringLiteral("out")), QStringLiteral("--yes")});
    EXPECT_EQ(run.exitCode, 1) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains("Select one or more images")) << run.out.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Inputs, ForeignInput, inputs, rowName);

// The limit holds on what is read, whatever size the file claims.
TEST(RegularFile, ReadsOnlyRegularFilesWithinTheLimit)
{
    AppTestEnvironment env;
    const QString small = env.makeFile(QStringLiteral("small"), QByteArray(100, 'x'));
    const RegularFile::Read whole = RegularFile::read(small, 100);
    EXPECT_TRUE(whole.ok());
    EXPECT_EQ(whole.bytes, QByteArray(100, 'x'));
    const RegularFile::Read over = RegularFile::read(small, 99);
    EXPECT_EQ(over.failure, RegularFile::Failure::tooLarge);
    EXPECT_EQ(over.size, 100);
    EXPECT_EQ(RegularFile::read(env.path(QStringLiteral("none")), 10).failure, RegularFile::Failure::missing);
    EXPECT_EQ(RegularFile::read(QStringLiteral("/dev/zero"), 10).failure, RegularFile::Failure::notRegular);
    // A file that claims nothing and gives more: /proc's files have no size.
    const RegularFile::Read proc = RegularFile::read(QStringLiteral("/proc/self/maps"), 16);
    EXPECT_EQ(proc.failure, RegularFile::Failure::tooLarge);
    EXPECT_TRUE(RegularFile::read(QStringLiteral("/proc/self/maps"), 1 << 20).ok());
}
