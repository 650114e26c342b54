// File names whose bytes aren't UTF-8, as an old disk, a zip from another system or a Latin-1 locale
// leaves them: every workflow must act on the file itself and report paths that lead back to it.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "RemovedByBytes.h"

#include "platform/FileMoves.h"
#include "platform/MetadataBackend.h"
#include "platform/NativeNames.h"
#include "platform/Trash.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

// The test's folders have ASCII names, so their bytes are their UTF-8.
QByteArray bytes(const QString &path)
{
    return path.toUtf8();
}

bool exists(const QByteArray &path)
{
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0;
}

// Whether a path taken from a report names a file that is there.
bool reportedPathExists(const QString &path)
{
    return !path.isEmpty() && exists(NativeNames::encode(path));
}

QByteArray contentOf(const QByteArray &path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return "<missing>";
    QByteArray content;
    std::array<char, 4096> buffer{};
    ssize_t count = 0;
    while ((count = ::read(fd, buffer.data(), buffer.size())) > 0)
        content.append(buffer.data(), count);
    ::close(fd);
    return content;
}

void makeFolders(const QByteArray &path)
{
    for (qsizetype slash = path.indexOf('/', 1); slash > 0; slash = path.indexOf('/', slash + 1))
        ::mkdir(path.left(slash).constData(), 0700);
    ::mkdir(path.constData(), 0700);
}

// Writes a file by its bytes (QFile would write the name as UTF-8), its folders first, and dates it
// `daysOld` days back.
void writeRaw(const QByteArray &path, const QByteArray &content, int daysOld = 0)
{
    makeFolders(path.left(path.lastIndexOf('/')));
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path.toStdString();
    ASSERT_EQ(::write(fd, content.constData(), std::size_t(content.size())), content.size());
    ::close(fd);
    if (daysOld > 0) {
        const timespec when{::time(nullptr) - time_t(daysOld) * 86400, 0};
        const std::array<timespec, 2> times{when, when};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.constData(), times.data(), 0), 0);
    }
}

// The names in a folder as the bytes they are.
QList<QByteArray> namesIn(const QByteArray &folder)
{
    QList<QByteArray> names;
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..")
            names.append(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

struct VantrelRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QJsonObject json;
};

// Runs vantrel with arguments that are bytes, in `workingFolder` when one is given. QProcess writes
// arguments as UTF-8, so they travel in the environment instead, and the shell hands them on as they are.
VantrelRun vantrel(const QList<QByteArray> &arguments, const QByteArray &workingFolder = {})
{
    QString script = QStringLiteral("exec \"$0\"");
    if (!workingFolder.isEmpty()) {
        qputenv("VANTREL_TEST_FOLDER", workingFolder);
        script.prepend(QStringLiteral("cd \"$VANTREL_TEST_FOLDER\" && "));
    }
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QByteArray variable = "VANTREL_TEST_ARGUMENT_" + QByteArray::number(i);
        qputenv(variable.constData(), arguments[i]);
        script += QStringLiteral(" \"$%1\"").arg(QString::fromLatin1(variable));
    }
    const Faults::ProcessResult result =
        Faults::run(QStringLiteral("/bin/sh"),
                    {QStringLiteral("-c"), script, AppTestEnvironment::executable(QStringLiteral("vantrel"))});
    for (qsizetype i = 0; i < arguments.size(); ++i)
        qunsetenv(QByteArray("VANTREL_TEST_ARGUMENT_" + QByteArray::number(i)).constData());
    qunsetenv("VANTREL_TEST_FOLDER");
    VantrelRun run{result.exitCode, result.out, result.err, {}};
    run.json = QJsonDocument::fromJson(result.out).object();
    return run;
}

QJsonObject reportOf(const VantrelRun &run)
{
    return run.json.value(QStringLiteral("report")).toObject();
}

QJsonArray itemsOf(const VantrelRun &run)
{
    return reportOf(run).value(QStringLiteral("items")).toArray();
}

// Another file system for a destination: a folder in shared memory, when it is one.
std::unique_ptr<QTemporaryDir> otherDisk(const QString &home)
{
    auto folder = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/vantrel-test-XXXXXX"));
    struct stat there {};
    struct stat here {};
    if (!folder->isValid() || ::stat(bytes(folder->path()).constData(), &there) != 0 ||
        ::stat(bytes(home).constData(), &here) != 0 || there.st_dev == here.st_dev)
        return nullptr;
    return folder;
}

const QByteArray latin1Name = "Caf\xE9";

} // namespace

// Three copies under Latin-1 names were once "No duplicates": their paths named no file, so none could
// be read. They are one group, the name-first is the original, and every reported path is a real file.
TEST(NonUtf8Names, IdenticalFilesAreOneDuplicateGroupAndEveryReportedPathExists)
{
    AppTestEnvironment env;
    const RemovedByBytes cleanup{bytes(env.home())};
    const QByteArray folder = bytes(env.path(QStringLiteral("Fotos")));
    // Made last-first, so that the file system's own order is unlikely to be the names'.
    writeRaw(folder + "/\xC9t\xE9 3.jpg", "same picture");
    writeRaw(folder + "/" + latin1Name + " 2.jpg", "same picture");
    writeRaw(folder + "/" + latin1Name + " 1.jpg", "same picture");
    writeRaw(folder + "/" + latin1Name + " other.jpg", "another picture");
    if (::testing::Test::HasFatalFailure())
        return;

    const VantrelRun run = vantrel({"run", "duplicate-reports", folder, "--json"});

    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonArray groups = reportOf(run).value(QStringLiteral("groups")).toArray();
    ASSERT_EQ(groups.size(), 1) << run.out.toStdString();
    EXPECT_EQ(groups.first().toObject().value(QStringLiteral("label")).toString(),
              QStringLiteral("3 copies · Caf\\xE9 1.jpg"));
    QList<QByteArray> reported;
    QStringList badges;
    for (const QJsonValue item : itemsOf(run)) {
        const QString url = item.toObject().value(QStringLiteral("url")).toString();
        EXPECT_TRUE(reportedPathExists(url)) << NativeNames::display(url).toStdString();
        reported.append(NativeNames::encode(url));
        badges.append(item.toObject().value(QStringLiteral("badge")).toString());
    }
    EXPECT_EQ(reported, (QList<QByteArray>{folder + "/" + latin1Name + " 1.jpg", folder + "/" + latin1Name + " 2.jpg",
                                           folder + "/\xC9t\xE9 3.jpg"}));
    EXPECT_EQ(badges, (QStringList{"original", "duplicate", "duplicate"}));
    // In the JSON text a raw byte is a surrogate escape, which JSON readers (Python's os.fsencode too)
    // turn back into the byte.
    EXPECT_TRUE(run.out.contains("/Fotos/Caf\\udce9 1.jpg\"")) << run.out.toStdString();

    // Printed for people, the bytes show escaped, never as a replacement character.
    const VantrelRun text = vantrel({"run", "duplicate-reports", folder});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_TRUE(text.out.contains("~/Fotos/Caf\\xE9 1.jpg  original")) << text.out.toStdString();
    EXPECT_TRUE(text.out.contains("~/Fotos/\\xC9t\\xE9 3.jpg  duplicate")) << text.out.toStdString();
    EXPECT_FALSE(text.out.contains("\xEF\xBF\xBD")) << text.out.toStdString();
}

// A comment reaches the file's own attribute whichever way the file was named to Vantrel. The file lies
// in a folder whose name isn't UTF-8 either.
struct CommentCase {
    const char *name;
    std::function<QList<QByteArray>(const QByteArray &file)> arguments;
    QString expected;
    bool relative = false; // the file named relative to its folder, vantrel run from there
};

void PrintTo(const CommentCase &c, std::ostream *os)
{
    *os << c.name;
}

class CommentOnRawName : public ::testing::TestWithParam<CommentCase> {};

TEST_P(CommentOnRawName, IsWrittenOnTheFileAndReadBack)
{
    AppTestEnvironment env;
    const RemovedByBytes cleanup{bytes(env.home())};
    const QByteArray folder = bytes(env.home()) + "/Ablage \xE4";
    const QByteArray name = "Rechnung " + latin1Name + ".pdf";
    const QByteArray file = folder + "/" + name;
    writeRaw(file, "%PDF");
    if (::testing::Test::HasFatalFailure())
        return;

    const VantrelRun run = GetParam().relative ? vantrel(QList<QByteArray>{"run"} + GetParam().arguments(name), folder)
                                               : vantrel(QList<QByteArray>{"run"} + GetParam().arguments(file));

    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString() << run.out.toStdString();
    QByteArray value(256, '\0');
    const ssize_t size = ::getxattr(file.constData(), "user.xdg.comment", value.data(), std::size_t(value.size()));
    ASSERT_GE(size, 0) << "no comment on the file";
    EXPECT_EQ(QString::fromUtf8(value.left(size)), GetParam().expected);
    EXPECT_EQ(MetadataBackend::system().readComment(NativeNames::decode(file)), GetParam().expected);
    // No second file was made under a mangled name.
    QList<QByteArray> invoices;
    for (const QByteArray &found : namesIn(folder)) {
        if (found.startsWith("Rechnung"))
            invoices.append(found);
    }
    EXPECT_EQ(invoices, QList<QByteArray>{name});
}

namespace {

// The run URL a Quick Action builds: the path's bytes percent-encoded, then the query's own encoding.
QByteArray runURL(const QByteArray &id, const QByteArray &file)
{
    return "vantrel://run/" + id + "?files=" + file.toPercentEncoding("/").toPercentEncoding("/");
}

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Ways, CommentOnRawName,
    ::testing::Values(CommentCase{"CommentTemplateOnAPathArgument",
                                  [](const QByteArray &file) {
                                      return QList<QByteArray>{"comment-templates",  file,    "--set",
                                                               "customBody=Bezahlt", "--set", "mode=replace"};
                                  },
                                  QStringLiteral("Bezahlt")},
                      CommentCase{"TagOnAPathArgument",
                                  [](const QByteArray &file) {
                                      return QList<QByteArray>{"single-tag-selector", file, "--set", "selected=Done"};
                                  },
                                  QStringLiteral("Done")},
                      CommentCase{"CommentTemplateOnARelativePath",
                                  [](const QByteArray &file) {
                                      return QList<QByteArray>{"comment-templates",   file,    "--set",
                                                               "customBody=Abgelegt", "--set", "mode=replace"};
                                  },
                                  QStringLiteral("Abgelegt"), true},
                      CommentCase{"CommentTemplateThroughARunURL",
                                  [](const QByteArray &file) {
                                      return QList<QByteArray>{runURL("comment-templates", file), "--set",
                                                               "customBody=Gepr\xC3\xBC"
                                                               "ft",
                                                               "--set", "mode=replace"};
                                  },
                                  QString::fromUtf8("Geprüft")}),
    [](const auto &info) { return std::string(info.param.name); });

// Downloads Tidy moves a file under a Latin-1 name to its folder under the same bytes, on the same disk
// by a rename and onto another disk by a copy whose original goes to the Trash.
struct TidyCase {
    const char *name;
    bool otherDisk;
    QByteArray downloadsBelowHome;
    bool nameTaken;
};

void PrintTo(const TidyCase &c, std::ostream *os)
{
    *os << c.name;
}

class TidyRawName : public ::testing::TestWithParam<TidyCase> {};

TEST_P(TidyRawName, MovesTheFileItself)
{
    const TidyCase &c = GetParam();
    AppTestEnvironment env;
    const RemovedByBytes cleanup{bytes(env.home())};
    const QByteArray home = bytes(env.home());
    std::unique_ptr<QTemporaryDir> disk;
    RemovedByBytes diskCleanup;
    QByteArray documents = home + "/Documents";
    if (c.otherDisk) {
        disk = otherDisk(env.home());
        if (!disk)
            GTEST_SKIP() << "no second file system in /dev/shm";
        documents = bytes(disk->path()) + "/Dokumente";
        diskCleanup.path = bytes(disk->path());
    }
    writeRaw(home + "/.config/user-dirs.dirs",
             "XDG_DOWNLOAD_DIR=\"$HOME/" + c.downloadsBelowHome + "\"\nXDG_DOCUMENTS_DIR=\"" + documents + "\"\n");
    const QByteArray name = "Rechnung " + latin1Name + ".pdf";
    const QByteArray source = home + "/" + c.downloadsBelowHome + "/" + name;
    writeRaw(source, "%PDF invoice", 400);
    const QByteArray folder = documents + "/Vantrel Tidy/Old PDFs";
    if (c.nameTaken)
        writeRaw(folder + "/" + name, "already there");
    if (::testing::Test::HasFatalFailure())
        return;

    const VantrelRun plan = vantrel({"run", "downloads-tidy", "--json"});
    ASSERT_EQ(plan.exitCode, 0) << plan.err.toStdString();
    const QJsonArray moves = reportOf(plan).value(QStringLiteral("plannedMoves")).toArray();
    ASSERT_EQ(moves.size(), 1) << plan.out.toStdString();
    EXPECT_EQ(NativeNames::encode(moves.first().toObject().value(QStringLiteral("source")).toString()), source);
    for (const QJsonValue item : itemsOf(plan))
        EXPECT_TRUE(reportedPathExists(item.toObject().value(QStringLiteral("url")).toString()));

    const VantrelRun moved = vantrel({"run", "downloads-tidy", "--yes", "--json"});

    ASSERT_EQ(moved.exitCode, 0) << moved.err.toStdString() << moved.out.toStdString();
    EXPECT_TRUE(moved.json.value(QStringLiteral("banner"))
                    .toObject()
                    .value(QStringLiteral("message"))
                    .toString()
                    .startsWith(QStringLiteral("Moved 1 file into ")))
        << moved.out.toStdString();
    EXPECT_FALSE(exists(source));
    const QByteArray arrived =
        c.nameTaken ? QByteArray(folder + "/Rechnung " + latin1Name + " (1).pdf") : QByteArray(folder + "/" + name);
    EXPECT_EQ(contentOf(arrived), "%PDF invoice");
    EXPECT_EQ(namesIn(folder).size(), c.nameTaken ? 2 : 1) << "a stray copy under another name";
    const QByteArray trashed = home + "/.local/share/Trash/files/" + name;
    EXPECT_EQ(contentOf(trashed), c.otherDisk ? QByteArray("%PDF invoice") : QByteArray("<missing>"));
}

INSTANTIATE_TEST_SUITE_P(Moves, TidyRawName,
                         ::testing::Values(TidyCase{"SameDisk", false, "Downloads", false},
                                           TidyCase{"OtherDisk", true, "Downloads", false},
                                           TidyCase{"DownloadsFolderNamedInLatin1", false,
                                                    "T\xE9l\xE9"
                                                    "chargements",
                                                    false},
                                           TidyCase{"TakenNameGetsACounter", false, "Downloads", true},
                                           TidyCase{"TakenNameOnAnotherDisk", true, "Downloads", true}),
                         [](const auto &info) { return std::string(info.param.name); });

// Qt's own Trash writes names as UTF-8; a name it can't carry keeps its bytes in the Trash, and its
// info says where it came from in the percent-encoded bytes a file manager puts it back by.
TEST(NonUtf8Names, TheTrashKeepsTheNameAndWhereItCameFrom)
{
    AppTestEnvironment env;
    const RemovedByBytes cleanup{bytes(env.home())};
    const QByteArray home = bytes(env.home());
    const QByteArray first = home + "/A/" + latin1Name + ".txt";
    const QByteArray second = home + "/B/" + latin1Name + ".txt";
    writeRaw(first, "first");
    writeRaw(second, "second");
    if (::testing::Test::HasFatalFailure())
        return;

    ASSERT_TRUE(Trash::moveToTrash(NativeNames::decode(first)));
    ASSERT_TRUE(Trash::moveToTrash(NativeNames::decode(second)));

    EXPECT_FALSE(exists(first));
    EXPECT_FALSE(exists(second));
    const QByteArray trash = home + "/.local/share/Trash";
    EXPECT_EQ(namesIn(trash + "/files"), (QList<QByteArray>{latin1Name + ".txt", latin1Name + ".txt.2"}));
    EXPECT_EQ(contentOf(trash + "/files/" + latin1Name + ".txt"), "first");
    EXPECT_EQ(contentOf(trash + "/files/" + latin1Name + ".txt.2"), "second");
    for (const auto &[stored, original] :
         {std::pair{QByteArray(latin1Name + ".txt"), first}, std::pair{QByteArray(latin1Name + ".txt.2"), second}}) {
        const QList<QByteArray> lines = contentOf(trash + "/info/" + stored + ".trashinfo").split('\n');
        ASSERT_GE(lines.size(), 3) << stored.toStdString();
        EXPECT_EQ(lines[0], "[Trash Info]");
        ASSERT_TRUE(lines[1].startsWith("Path=")) << lines[1].toStdString();
        EXPECT_EQ(QByteArray::fromPercentEncoding(lines[1].mid(5)), original);
        EXPECT_TRUE(lines[1].contains("%E9")) << lines[1].toStdString();
        EXPECT_TRUE(lines[2].startsWith("DeletionDate=")) << lines[2].toStdString();
    }
}

// On a disk other than the home's, the item goes to that disk's own Trash at its top folder, which the
// freedesktop shared "/.Trash/{uid}" is when an administrator made ".Trash" sticky, and
// "/.Trash-{uid}" otherwise; its path there is written relative to the top folder.
struct DiskTrashCase {
    const char *name;
    std::optional<mode_t> sharedTrash; // a ".Trash" folder made first, with this mode
    QByteArray expectedFolder;         // below the disk's top folder; "{uid}" stands for the user's id
};

void PrintTo(const DiskTrashCase &c, std::ostream *os)
{
    *os << c.name;
}

class DiskTrash : public ::testing::TestWithParam<DiskTrashCase> {};

TEST_P(DiskTrash, TakesARawNameOnAnotherDisk)
{
    const DiskTrashCase &c = GetParam();
    if (const auto reason = Faults::tmpfsUnavailable())
        GTEST_SKIP() << reason->toStdString();
    AppTestEnvironment env;
    const RemovedByBytes cleanup{bytes(env.home())};
    const Faults::TinyDisk disk(env.path(QStringLiteral("Stick")), 1 << 20);
    ASSERT_TRUE(disk.mounted());
    const QByteArray top = bytes(disk.path());
    if (c.sharedTrash) {
        ASSERT_EQ(::mkdir(QByteArray(top + "/.Trash").constData(), 0777), 0);
        ASSERT_EQ(::chmod(QByteArray(top + "/.Trash").constData(), *c.sharedTrash), 0);
    }
    const QByteArray item = top + "/Fotos/" + latin1Name + ".jpg";
    writeRaw(item, "pixels");
    if (::testing::Test::HasFatalFailure())
        return;

    ASSERT_TRUE(Trash::moveToTrash(NativeNames::decode(item)));

    const QByteArray trash = top + '/' + QByteArray(c.expectedFolder).replace("{uid}", QByteArray::number(::getuid()));
    EXPECT_FALSE(exists(item));
    EXPECT_EQ(contentOf(trash + "/files/" + latin1Name + ".jpg"), "pixels");
    const QList<QByteArray> lines = contentOf(trash + "/info/" + latin1Name + ".jpg.trashinfo").split('\n');
    ASSERT_GE(lines.size(), 2);
    EXPECT_EQ(lines[1], "Path=Fotos/Caf%E9.jpg");
    EXPECT_TRUE(namesIn(bytes(env.path(QStringLiteral(".local/share/Trash/files")))).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Folders, DiskTrash,
                         ::testing::Values(DiskTrashCase{"NoSharedTrash", std::nullopt, ".Trash-{uid}"},
                                           DiskTrashCase{"StickySharedTrash", 01777, ".Trash/{uid}"},
                                           DiskTrashCase{"SharedTrashThatIsNotStickyIsPassedOver", 0777,
                                                         ".Trash-{uid}"}),
                         [](const auto &info) { return std::string(info.param.name); });

// A package moved onto another disk is copied entry by entry; names inside it keep their bytes.
TEST(NonUtf8Names, AFolderCopiedOntoAnotherDiskKeepsTheNamesInside)
{
    AppTestEnvironment env;
    const RemovedByBytes cleanup{bytes(env.home())};
    const std::unique_ptr<QTemporaryDir> disk = otherDisk(env.home());
    if (!disk)
        GTEST_SKIP() << "no second file system in /dev/shm";
    const RemovedByBytes diskCleanup{bytes(disk->path())};
    const QByteArray package = bytes(env.home()) + "/Bericht " + latin1Name + ".pages";
    writeRaw(package + "/Notiz \xFC.xml", "note");
    writeRaw(package + "/Daten \xE0/Bild \xFF.png", "png");
    if (::testing::Test::HasFatalFailure())
        return;
    const QByteArray target = bytes(disk->path()) + "/Bericht " + latin1Name + ".pages";

    const FileMoves::Result result =
        FileMoves::moveNoReplace(NativeNames::decode(package), NativeNames::decode(target));

    ASSERT_EQ(result.outcome, FileMoves::Outcome::moved) << result.error.toStdString();
    EXPECT_EQ(namesIn(target), (QList<QByteArray>{"Daten \xE0", "Notiz \xFC.xml"}));
    EXPECT_EQ(contentOf(target + "/Daten \xE0/Bild \xFF.png"), "png");
    EXPECT_EQ(namesIn(bytes(disk->path())), QList<QByteArray>{"Bericht " + latin1Name + ".pages"});
    EXPECT_FALSE(exists(package));
}
