#include "transfer/archive/ArchiveRunner.h"
#include "transfer/archive/ArchiveSession.h"

#include "TestEnvironment.h"
#include "platform/AtomicFile.h"
#include "platform/NativeNames.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

constexpr qint64 MB = qint64(1000) * 1000;

QByteArray noise(qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator random(7);
    random.fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return bytes;
}

struct Listed {
    int exitCode = -1;
    QStringList entries;
    QString out;
};

Listed runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    QStringList lines = out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    return {process.exitCode(), lines, out};
}

// What the archive holds, as the other side's tools read it: folders end in "/".
QStringList entriesOf(ArchiveFormat format, const QString &archive)
{
    const Listed listed = format == ArchiveFormat::zip
                              ? runTool(QStringLiteral("unzip"), {QStringLiteral("-Z1"), archive})
                              : runTool(QStringLiteral("tar"), {QStringLiteral("-tzf"), archive});
    EXPECT_EQ(listed.exitCode, 0) << archive.toStdString();
    return listed.entries;
}

// Anything a run left in the folder: its partials and zip's own "zi…" temporaries.
QStringList leftovers(const QString &folder)
{
    QStringList found;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString name = QFileInfo(it.next()).fileName();
        if (name.startsWith(PartialFiles::prefix()) || name.startsWith(QLatin1String("zi")))
            found.append(name);
    }
    return found;
}

// A tool in the test's place: a script that says what it is given to say and ends as told.
QString fakeTool(TestEnvironment &env, const QString &name, const QByteArray &script)
{
    const QString path = env.makeFile(QStringLiteral("tools/") + name, "#!/bin/sh\n" + script + "\n");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

struct ToolSwap {
    ArchiveFormat format;
    explicit ToolSwap(ArchiveFormat f, const QString &path) : format(f) { ArchiveRunner::setToolPath(f, path); }
    ~ToolSwap() { ArchiveRunner::setToolPath(format, {}); }
    ToolSwap(const ToolSwap &) = delete;
    ToolSwap &operator=(const ToolSwap &) = delete;
};

} // namespace

void PrintTo(ArchiveFormat format, std::ostream *os)
{
    *os << toString(format).toStdString();
}

namespace {

class EachFormat : public testing::TestWithParam<ArchiveFormat> {};

std::string formatName(const testing::TestParamInfo<ArchiveFormat> &info)
{
    return toString(info.param).toStdString();
}

} // namespace

// ---- The command lines -------------------------------------------------------------------------

struct CommandCase {
    const char *name;
    ArchiveFormat format;
    QStringList sources;
    QString archive;
    QStringList arguments;
    QString parent;
};

void PrintTo(const CommandCase &c, std::ostream *os)
{
    *os << c.name;
}

class Commands : public testing::TestWithParam<CommandCase> {};

TEST_P(Commands, NameEntriesFromTheCommonParent)
{
    const CommandCase &c = GetParam();
    EXPECT_EQ(ArchiveRunner::arguments(c.format, c.sources, c.archive), c.arguments);
    EXPECT_EQ(ArchiveRunner::commonParent(c.sources), c.parent);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Commands,
    testing::Values(
        CommandCase{"zipInSelectionOrder",
                    ArchiveFormat::zip,
                    {"/home/ann/Docs/b.txt", "/home/ann/Docs/Photos/"},
                    "/home/ann/Out/x.zip",
                    {"-r", "-q", "/home/ann/Out/x.zip", "b.txt", "Photos"},
                    "/home/ann/Docs"},
        CommandCase{"tarTakesTheParentWithC",
                    ArchiveFormat::tarGz,
                    {"/home/ann/Docs/Photos", "/home/ann/Docs/a.txt"},
                    "/srv/x.tar.gz",
                    {"-czf", "/srv/x.tar.gz", "-C", "/home/ann/Docs", "Photos", "a.txt"},
                    "/home/ann/Docs"},
        CommandCase{"differentFoldersMeetHigherUp",
                    ArchiveFormat::tarGz,
                    {"/home/ann/Docs/a.txt", "/home/ann/Music/Live/b.mp3", "/home/annex/c"},
                    "/tmp/x.tar.gz",
                    {"-czf", "/tmp/x.tar.gz", "-C", "/home", "ann/Docs/a.txt", "ann/Music/Live/b.mp3", "annex/c"},
                    "/home"},
        CommandCase{
            "aDashNameIsNoOption", ArchiveFormat::zip, {"/d/-rf"}, "/o/x.zip", {"-r", "-q", "/o/x.zip", "./-rf"}, "/d"},
        CommandCase{"theHoldingFolderInsideASourceIsLeftOut",
                    ArchiveFormat::zip,
                    {"/d/Project"},
                    "/d/Project/.vantrel-partial-abc/archive.zip",
                    {"-r", "-q", "/d/Project/.vantrel-partial-abc/archive.zip", "Project", "-x",
                     "Project/.vantrel-partial-abc/*"},
                    "/d"},
        CommandCase{"andSoForTar",
                    ArchiveFormat::tarGz,
                    {"/d/Project"},
                    "/d/Project/.vantrel-partial-abc/archive.tar.gz",
                    {"-czf", "/d/Project/.vantrel-partial-abc/archive.tar.gz", "-C", "/d",
                     "--exclude=Project/.vantrel-partial-abc", "Project"},
                    "/d"}),
    [](const testing::TestParamInfo<CommandCase> &info) { return std::string(info.param.name); });

// ---- Real runs ---------------------------------------------------------------------------------

TEST_P(EachFormat, EntriesAreRelativeAndCarryNoHomePath)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Docs/Report/one.txt"), "one");
    env.makeFile(QStringLiteral("Docs/Report/.hidden"), "h");
    const QStringList sources{env.path(QStringLiteral("Docs/Report")),
                              env.makeFile(QStringLiteral("Docs/notes.md"), "notes")};
    const QString archive = env.path(QStringLiteral("Out/deep/r.") + fileExtension(GetParam()));
    const auto result = ArchiveRunner::run(GetParam(), sources, archive, 9, 3, {});
    ASSERT_FALSE(result.failed) << result.errorMessage.value_or(QString()).toStdString();
    EXPECT_EQ(result.archiveURL, archive);
    EXPECT_EQ(result.archiveSizeBytes, QFileInfo(archive).size());
    EXPECT_GT(result.archiveSizeBytes, 0);
    EXPECT_EQ(entriesOf(GetParam(), archive), (QStringList{"Report/", "Report/.hidden", "Report/one.txt", "notes.md"}));
    QFile file(archive);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_FALSE(file.readAll().contains(QFile::encodeName(env.home())));
    EXPECT_TRUE(leftovers(env.path(QStringLiteral("Out"))).isEmpty());
}

TEST_P(EachFormat, AnOldArchiveIsReplacedNotAddedTo)
{
    TestEnvironment env;
    const QString archive = env.path(QStringLiteral("out.") + fileExtension(GetParam()));
    const QString first = env.makeFile(QStringLiteral("in/first.txt"), "first");
    ASSERT_FALSE(ArchiveRunner::run(GetParam(), {first}, archive, 5, 1, {}).failed);
    const QString second = env.makeFile(QStringLiteral("in/second.txt"), "second");

    // Unasked, the old one stays and the run says why.
    const auto kept = ArchiveRunner::run(GetParam(), {second}, archive, 6, 1, {}, ArchiveRunner::Existing::keep);
    EXPECT_TRUE(kept.failed);
    EXPECT_EQ(kept.errorMessage, QStringLiteral("Couldn't save the archive: “out.%1” appeared in that folder "
                                                "meanwhile, and it was left as it is.")
                                     .arg(fileExtension(GetParam())));
    EXPECT_EQ(entriesOf(GetParam(), archive), QStringList{"first.txt"});

    const auto replaced = ArchiveRunner::run(GetParam(), {second}, archive, 6, 1, {}, ArchiveRunner::Existing::replace);
    ASSERT_FALSE(replaced.failed) << replaced.errorMessage.value_or(QString()).toStdString();
    EXPECT_EQ(entriesOf(GetParam(), archive), QStringList{"second.txt"});
    EXPECT_TRUE(leftovers(env.home()).isEmpty());
}

TEST_P(EachFormat, AnArchiveSavedInsideItsSourceLeavesItselfOut)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("Project/main.c"), "int main;");
    const QString project = env.path(QStringLiteral("Project"));
    const QString archive = project + QStringLiteral("/Project.") + fileExtension(GetParam());
    const auto result = ArchiveRunner::run(GetParam(), {project}, archive, 9, 1, {});
    ASSERT_FALSE(result.failed) << result.errorMessage.value_or(QString()).toStdString();
    EXPECT_EQ(entriesOf(GetParam(), archive), (QStringList{"Project/", "Project/main.c"}));
}

TEST_P(EachFormat, NamesThatArentUtf8ArePackedByTheirBytes)
{
    TestEnvironment env;
    // "café" in Latin-1, for the folder selected and for the folder it lies in.
    const QString latin = NativeNames::decode("caf\xe9");
    const QString folder = env.path(latin + QStringLiteral("/") + latin);
    ASSERT_EQ(::mkdir(NativeNames::encode(env.path(latin)).constData(), 0755), 0);
    ASSERT_EQ(::mkdir(NativeNames::encode(folder).constData(), 0755), 0);
    const QByteArray inside = NativeNames::encode(folder) + "/note.txt";
    const int fd = ::open(inside.constData(), O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, "hi", 2), 2);
    ::close(fd);
    const QString archive = env.path(latin + QStringLiteral("/out.") + fileExtension(GetParam()));
    const auto result = ArchiveRunner::run(GetParam(), {folder}, archive, 2, 1, {});
    ASSERT_FALSE(result.failed) << result.errorMessage.value_or(QString()).toStdString();
    // Read back from a plain name, which the listing tool can be given.
    const QString plain = env.path(QStringLiteral("plain.") + fileExtension(GetParam()));
    ASSERT_EQ(::rename(NativeNames::encode(archive).constData(), NativeNames::encode(plain).constData()), 0);
    // tar lists such a name escaped ("caf\351") unless told to print it as it is stored.
    QProcess list;
    if (GetParam() == ArchiveFormat::zip)
        list.start(QStringLiteral("unzip"), {QStringLiteral("-Z1"), plain});
    else
        list.start(QStringLiteral("tar"), {QStringLiteral("--quoting-style=literal"), QStringLiteral("-tzf"), plain});
    ASSERT_TRUE(list.waitForFinished(60000));
    QList<QByteArray> entries = list.readAllStandardOutput().split('\n');
    entries.removeAll(QByteArray());
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(entries, (QList<QByteArray>{"caf\xe9/", "caf\xe9/note.txt"}));
}

TEST_P(EachFormat, CancellingLeavesNothingAtThePathAndNoTemporary)
{
    TestEnvironment env;
    const QString big = env.makeFile(QStringLiteral("in/big.bin"), noise(96 * MB));
    const QString archive = env.path(QStringLiteral("out/big.") + fileExtension(GetParam()));
    std::stop_source stop;
    qint64 seen = -1;
    // The first look at the running tool cancels it; by then zip has its temporary open.
    const auto result = ArchiveRunner::run(GetParam(), {big}, archive, 96 * MB, 1, stop.get_token(),
                                           ArchiveRunner::Existing::keep, [&](qint64 written) {
                                               seen = written;
                                               stop.request_stop();
                                           });
    EXPECT_GE(seen, 0);
    EXPECT_TRUE(result.failed);
    EXPECT_EQ(result.errorMessage, QStringLiteral("Cancelled."));
    EXPECT_FALSE(QFileInfo::exists(archive));
    EXPECT_TRUE(leftovers(env.path(QStringLiteral("out"))).isEmpty());
    EXPECT_EQ(QDir(env.path(QStringLiteral("out"))).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{});
}

INSTANTIATE_TEST_SUITE_P(Formats, EachFormat, testing::Values(ArchiveFormat::zip, ArchiveFormat::tarGz), formatName);

// ---- Failures ----------------------------------------------------------------------------------

struct FailureCase {
    const char *name;
    ArchiveFormat format;
    // The tool's stand-in: empty keeps the real one; "missing" names a program that isn't there.
    QByteArray script;
    bool missingSource;
    // The message, or its beginning when `prefixOnly`.
    QString message;
    bool prefixOnly;
};

void PrintTo(const FailureCase &c, std::ostream *os)
{
    *os << c.name;
}

class Failures : public testing::TestWithParam<FailureCase> {};

TEST_P(Failures, EndWithTheirTextAndNothingAtThePath)
{
    const FailureCase &c = GetParam();
    TestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("in/a.txt"), "text");
    std::optional<ToolSwap> swap;
    if (c.script == "missing")
        swap.emplace(c.format, env.path(QStringLiteral("tools/none")));
    else if (c.script == "false")
        swap.emplace(c.format, QStringLiteral("/bin/false"));
    else if (!c.script.isEmpty())
        swap.emplace(c.format, fakeTool(env, QStringLiteral("tool"), c.script));
    const QString archive = env.path(QStringLiteral("out/a.") + fileExtension(c.format));
    const QStringList sources =
        c.missingSource ? QStringList{env.path(QStringLiteral("in/gone.txt"))} : QStringList{source};
    const auto result = ArchiveRunner::run(c.format, sources, archive, 4, 1, {});
    ASSERT_TRUE(result.failed);
    const QString message = result.errorMessage.value_or(QString());
    if (c.prefixOnly)
        EXPECT_TRUE(message.startsWith(c.message)) << message.toStdString();
    else
        EXPECT_EQ(message, c.message);
    EXPECT_FALSE(QFileInfo::exists(archive));
    EXPECT_TRUE(leftovers(env.home()).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Failures,
    testing::Values(
        FailureCase{"missingTool", ArchiveFormat::zip, "missing", false, "Failed to launch ZIP: ", true},
        FailureCase{"silentFailure", ArchiveFormat::tarGz, "false", false, "TAR.GZ failed (exit 1): no output", false},
        FailureCase{"itsOwnWords", ArchiveFormat::zip, "echo '  disk on fire  ' >&2; exit 3", false,
                    "ZIP failed (exit 3): disk on fire", false},
        FailureCase{"wordsThatArentText", ArchiveFormat::zip, "printf '\\377\\376' >&2; exit 2", false,
                    "ZIP failed (exit 2): Unknown error.", false},
        // Quiet, zip says "nothing to do" on standard output only.
        FailureCase{"realZipMissingSource", ArchiveFormat::zip, "", true, "ZIP failed (exit 12): no output", false},
        FailureCase{"realTarMissingSource", ArchiveFormat::tarGz, "", true,
                    "TAR.GZ failed (exit 2): /usr/bin/tar: gone.txt: Cannot stat", true}),
    [](const testing::TestParamInfo<FailureCase> &info) { return std::string(info.param.name); });

TEST(ArchiveRunner, AFolderThatCantBeMadeIsSaid)
{
    TestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("in/a.txt"), "text");
    env.makeFile(QStringLiteral("blocker"), "a file where the folder would go");
    const auto result =
        ArchiveRunner::run(ArchiveFormat::zip, {source}, env.path(QStringLiteral("blocker/sub/a.zip")), 4, 1, {});
    EXPECT_TRUE(result.failed);
    EXPECT_TRUE(
        result.errorMessage.value_or(QString()).startsWith(QStringLiteral("Could not create destination folder: ")))
        << result.errorMessage.value_or(QString()).toStdString();
}

// ---- The estimate and the comment --------------------------------------------------------------

struct EstimateCase {
    const char *name;
    QList<QPair<QString, qint64>> files;
    qint64 expected;
};

void PrintTo(const EstimateCase &c, std::ostream *os)
{
    *os << c.name;
}

class Estimates : public testing::TestWithParam<EstimateCase> {};

TEST_P(Estimates, BlendThePilesByTheirShare)
{
    TestEnvironment env;
    QStringList sources;
    for (const auto &[name, size] : GetParam().files)
        sources.append(env.makeFile(QStringLiteral("in/") + name, QByteArray(size, 'x')));
    // Selected as one folder or file by file, the walk finds the same bytes.
    for (const QStringList &selection : {sources, QStringList{env.path(QStringLiteral("in"))}}) {
        if (sources.isEmpty() && selection == sources)
            continue;
        const ArchiveSession::Totals totals = ArchiveSession::walk(selection);
        EXPECT_EQ(totals.fileCount, GetParam().files.size());
        EXPECT_EQ(ArchiveSession::estimate(totals), GetParam().expected);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Estimates,
    testing::Values(EstimateCase{"onlyJpegs", {{"a.jpg", 6000}, {"b.JPG", 4000}}, 9000},
                    EstimateCase{"onlyText", {{"a.txt", 7000}, {"notes/b.txt", 3000}}, 3000},
                    EstimateCase{"aMix", {{"a.txt", 1000}, {"b.png", 1000}, {"c.bin", 2000}}, 2300},
                    EstimateCase{"hiddenFilesCountToo", {{".profile", 1000}, {"d/.cache.json", 1000}}, 850},
                    EstimateCase{"nothingAtAll", {}, 0}),
    [](const testing::TestParamInfo<EstimateCase> &info) { return std::string(info.param.name); });

struct RatioCase {
    const char *name;
    qint64 source;
    qint64 archive;
    QString ratio;
};

void PrintTo(const RatioCase &c, std::ostream *os)
{
    *os << c.name;
}

class Ratios : public testing::TestWithParam<RatioCase> {};

TEST_P(Ratios, DropTheFraction)
{
    ArchiveRunner::Result result;
    result.sourceTotalSizeBytes = GetParam().source;
    result.archiveSizeBytes = GetParam().archive;
    EXPECT_EQ(ArchiveSession::ratioText(result), GetParam().ratio);
}

INSTANTIATE_TEST_SUITE_P(Cases, Ratios,
                         testing::Values(RatioCase{"hundredIntoForty", 100 * MB, 40 * MB, "60%"},
                                         RatioCase{"fractionDropped", 3, 1, "66%"},
                                         RatioCase{"grewALittle", 100, 101, "-1%"}, RatioCase{"noSource", 0, 22, "—"}),
                         [](const testing::TestParamInfo<RatioCase> &info) { return std::string(info.param.name); });

TEST(ArchiveSession, RendersEveryTokenAtEachOccurrence)
{
    ArchiveRunner::Result result;
    result.archiveURL = QStringLiteral("/x/Trip.zip");
    result.sourceFileCount = 12;
    result.sourceTotalSizeBytes = 2500000;
    result.archiveSizeBytes = 1000000;
    const QDateTime at(QDate(2026, 3, 4), QTime(9, 5));
    EXPECT_EQ(ArchiveSession::renderedComment(ArchiveSession::defaultCommentTemplate(), result, at),
              QStringLiteral("[Trip.zip — 12 items, 2.5 MB → 1 MB, 2026-03-04 09:05]"));
    EXPECT_EQ(ArchiveSession::renderedComment(QStringLiteral("{ratio} {name} {ratio}"), result, at),
              QStringLiteral("60% Trip.zip 60%"));
}

// ---- The session -------------------------------------------------------------------------------

TEST(ArchiveSession, NamesTheArchiveAndRefusesToStartWithoutFolderOrName)
{
    TestEnvironment env;
    const QString photo = env.makeFile(QStringLiteral("in/Trip.photos.jpg"), "jpg");
    ArchiveSession one(env.host(), {photo});
    EXPECT_EQ(one.archiveBaseName(), QStringLiteral("Trip.photos"));
    EXPECT_EQ(one.archiveFileName(), QStringLiteral("Trip.photos.zip"));
    one.setFormat(ArchiveFormat::tarGz);
    one.setArchiveBaseName(QStringLiteral("backup.tar.gz"));
    EXPECT_EQ(one.archiveFileName(), QStringLiteral("backup.tar.gz"));
    one.setFormat(ArchiveFormat::zip);
    EXPECT_EQ(one.archiveFileName(), QStringLiteral("backup.tar.gz.zip"));

    ArchiveSession many(env.host(), {photo, env.makeFile(QStringLiteral("in/b.txt"), "b")});
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^archive-\\d{4}-\\d\\d-\\d\\d-\\d{4}$"))
                    .match(many.archiveBaseName())
                    .hasMatch())
        << many.archiveBaseName().toStdString();
    EXPECT_FALSE(many.canStart());
    many.start();
    EXPECT_EQ(many.phase(),
              ArchiveSession::Phase{ArchiveSession::failed{"Pick a destination folder before starting."}});
    many.setDestinationURL(env.makeFolder(QStringLiteral("out")));
    many.setArchiveBaseName(QStringLiteral("   "));
    many.start();
    EXPECT_EQ(many.phase(), ArchiveSession::Phase{ArchiveSession::failed{"Give the archive a name before starting."}});
    EXPECT_TRUE(QDir(env.path(QStringLiteral("out"))).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

TEST(ArchiveSession, AsksBeforeReplacingThenCommentsAndTrashesTheOriginals)
{
    TestEnvironment env;
    const QStringList sources{env.makeFile(QStringLiteral("in/a.txt"), QByteArray(5000, 'a')),
                              env.makeFile(QStringLiteral("in/sub/b.txt"), "b")};
    const QString sub = env.path(QStringLiteral("in/sub"));
    ArchiveSession session(env.host(), {sources[0], sub});
    // The sources are measured away from the window; the sheet says so meanwhile.
    EXPECT_EQ(session.estimateText(), QStringLiteral("Expected size · measuring…"));
    EXPECT_FALSE(session.canStart());
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_EQ(session.totals().fileCount, 2);
    session.setDestinationURL(env.makeFolder(QStringLiteral("out")));
    session.setArchiveBaseName(QStringLiteral("set"));
    const QString existing = env.makeFile(QStringLiteral("out/set.zip"), "keep me");

    session.start();
    EXPECT_EQ(env.interaction().askedAlerts().last().message, QStringLiteral("“set.zip” already exists."));
    EXPECT_EQ(env.interaction().askedAlerts().last().buttons, (QStringList{"Replace", "Cancel"}));
    EXPECT_TRUE(std::holds_alternative<ArchiveSession::configuring>(session.phase()));
    QFile old(existing);
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_EQ(old.readAll(), QByteArray("keep me"));
    old.close();

    env.interaction().addAnswer(QStringLiteral("“set.zip”"), QStringLiteral("Replace"));
    session.start();
    const auto *run = std::get_if<ArchiveSession::running>(&session.phase());
    ASSERT_NE(run, nullptr);
    EXPECT_EQ(run->progress.currentStep, QStringLiteral("Compressing 2 files"));
    EXPECT_EQ(run->progress.sourceTotalBytes, 5001);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    const auto *finished = std::get_if<ArchiveSession::done>(&session.phase());
    ASSERT_NE(finished, nullptr);
    EXPECT_EQ(entriesOf(ArchiveFormat::zip, existing), (QStringList{"a.txt", "sub/", "sub/b.txt"}));
    EXPECT_EQ(finished->result.sourceFileCount, 2);

    session.setCommentTemplate(QStringLiteral("{name} of {count}"));
    session.setDeleteOriginalsAfter(true);
    session.apply();
    char comment[256] = {};
    const ssize_t length =
        ::getxattr(QFile::encodeName(existing).constData(), "user.xdg.comment", comment, sizeof(comment) - 1);
    EXPECT_EQ(QString::fromUtf8(comment, length > 0 ? length : 0), QStringLiteral("set.zip of 2"));
    // The attribute on the file leaves the archive itself sound.
    EXPECT_EQ(runTool(QStringLiteral("unzip"), {QStringLiteral("-tq"), existing}).exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(sources[0]));
    EXPECT_FALSE(QFileInfo::exists(sub));
    const QString trash = env.path(QStringLiteral(".local/share/Trash/files"));
    EXPECT_TRUE(QFileInfo::exists(trash + QStringLiteral("/a.txt")));
    EXPECT_TRUE(QFileInfo::exists(trash + QStringLiteral("/sub/b.txt")));
}

TEST(ArchiveSession, WithoutTheTogglesTheArchiveAndOriginalsAreLeftAlone)
{
    TestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("in/a.txt"), "a");
    ArchiveSession session(env.host(), {source});
    session.setFormat(ArchiveFormat::tarGz);
    session.setDestinationURL(env.makeFolder(QStringLiteral("out")));
    session.setAnnotateArchiveComment(false);
    // Started before the sources were measured, as a script does: it goes on once they are.
    session.start();
    EXPECT_TRUE(std::holds_alternative<ArchiveSession::configuring>(session.phase()));
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(std::holds_alternative<ArchiveSession::done>(session.phase()));
    session.apply();
    const QString archive = env.path(QStringLiteral("out/a.tar.gz"));
    EXPECT_EQ(::getxattr(QFile::encodeName(archive).constData(), "user.xdg.comment", nullptr, 0), -1);
    EXPECT_TRUE(QFileInfo::exists(source));
}
