#include "scan/FileWalker.h"

#include "RemovedByBytes.h"
#include "TestEnvironment.h"
#include "platform/NativeNames.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using FileWalker::WalkedFile;

namespace {

// Small builders on real files, all relative to one folder.
struct Tree {
    TestEnvironment &env;

    QString file(const QString &relative, QByteArray content = {}) const { return env.makeFile(relative, content); }
    QString folder(const QString &relative) const { return env.makeFolder(relative); }
    void link(const QString &target, const QString &relative) const
    {
        ASSERT_EQ(::symlink(QFile::encodeName(target).constData(), QFile::encodeName(env.path(relative)).constData()),
                  0);
    }
    void pipe(const QString &relative) const
    {
        ASSERT_EQ(::mkfifo(QFile::encodeName(env.path(relative)).constData(), 0600), 0);
    }
    // Sets a path's modification time to the nanosecond, without following a link.
    void touch(const QString &relative, time_t seconds, long nanoseconds) const
    {
        const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(env.path(relative)).constData(), times, 0), 0);
    }
};

// "path size" for each file, the path relative to `base`, so that expectations read as a listing.
QStringList listing(const QList<WalkedFile> &files, const QString &base)
{
    QStringList lines;
    for (const WalkedFile &file : files) {
        const QString shown = file.url.startsWith(base + QLatin1Char('/')) ? file.url.mid(base.size() + 1) : file.url;
        lines.append(shown + QLatin1Char(' ') + QString::number(file.size));
    }
    return lines;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

// What a selected folder's tree contributes. These cases compare the listing without order; the order has
// tests of its own.
struct FolderCase {
    const char *name;
    std::function<void(const Tree &)> build; // inside the folder "Sel"
    QStringList expected;                    // "path size", relative to Sel
};

void PrintTo(const FolderCase &c, std::ostream *os)
{
    *os << c.name;
}

class SelectedFolder : public ::testing::TestWithParam<FolderCase> {};

TEST_P(SelectedFolder, ContributesItsVisibleFilesAndPackages)
{
    TestEnvironment env;
    const Tree tree{env};
    const QString root = tree.folder(QStringLiteral("Sel"));
    GetParam().build(tree);
    if (::testing::Test::HasFatalFailure())
        return;
    EXPECT_EQ(sorted(listing(FileWalker::walk({root}), root)), sorted(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Rules, SelectedFolder,
    ::testing::Values(FolderCase{"FilesAtEveryDepth",
                                 [](const Tree &t) {
                                     t.file(QStringLiteral("Sel/a.txt"), "12345");
                                     t.file(QStringLiteral("Sel/sub/b.txt"), "xy");
                                     t.file(QStringLiteral("Sel/sub/deeper/c.txt"));
                                     t.folder(QStringLiteral("Sel/empty"));
                                 },
                                 {"a.txt 5", "sub/b.txt 2", "sub/deeper/c.txt 0"}},
                      FolderCase{"HiddenNamesAndWhatIsBelowThemAreLeftOut",
                                 [](const Tree &t) {
                                     t.file(QStringLiteral("Sel/.hidden"), "x");
                                     t.file(QStringLiteral("Sel/.git/config"), "x");
                                     t.file(QStringLiteral("Sel/sub/.DS_Store"), "x");
                                     t.file(QStringLiteral("Sel/.Hidden.app/Contents/Info.plist"), "x");
                                     t.file(QStringLiteral("Sel/sub/shown.txt"), "abc");
                                 },
                                 {"sub/shown.txt 3"}},
                      FolderCase{"SymbolicLinksInsideAreNeverFollowed",
                                 [](const Tree &t) {
                                     const QString target = t.file(QStringLiteral("Sel/real.txt"), "1");
                                     t.file(QStringLiteral("Sel/sub/x.txt"), "22");
                                     t.file(QStringLiteral("Outside/far.txt"), "333");
                                     t.link(target, QStringLiteral("Sel/link-to-file"));
                                     t.link(t.env.path(QStringLiteral("Sel/sub")),
                                            QStringLiteral("Sel/link-to-folder"));
                                     t.link(t.env.path(QStringLiteral("Outside")), QStringLiteral("Sel/link-outside"));
                                     t.link(t.env.path(QStringLiteral("nowhere")), QStringLiteral("Sel/dangling"));
                                 },
                                 {"real.txt 1", "sub/x.txt 2"}},
                      FolderCase{"APackageIsOneFileOfSizeZeroAndItsContentsAreNeverListed",
                                 [](const Tree &t) {
                                     t.file(QStringLiteral("Sel/Tool.app/Contents/MacOS/tool"), "binary");
                                     t.file(QStringLiteral("Sel/Flow.WORKFLOW/Contents/document.wflow"), "plist");
                                     t.folder(QStringLiteral("Sel/Library.photoslibrary"));
                                     t.file(QStringLiteral("Sel/sub/Inner.bundle/Contents/Resources/a.png"), "png");
                                     t.file(QStringLiteral("Sel/notes.txt"), "n");
                                 },
                                 {"Tool.app 0", "Flow.WORKFLOW 0", "Library.photoslibrary 0", "sub/Inner.bundle 0",
                                  "notes.txt 1"}},
                      FolderCase{"APackageExtensionOnAFileOrAPlainFolderNameChangesNothing",
                                 [](const Tree &t) {
                                     t.file(QStringLiteral("Sel/Readme.app"), "abc");
                                     t.file(QStringLiteral("Sel/app/inside.txt"), "i");
                                     t.file(QStringLiteral("Sel/apps.d/inside.txt"), "ii");
                                 },
                                 {"Readme.app 3", "app/inside.txt 1", "apps.d/inside.txt 2"}},
                      FolderCase{"PipesAddNothing",
                                 [](const Tree &t) {
                                     t.pipe(QStringLiteral("Sel/pipe"));
                                     t.file(QStringLiteral("Sel/file.txt"), "f");
                                 },
                                 {"file.txt 1"}}),
    [](const auto &info) { return std::string(info.param.name); });

// What a selected path stands for, taken as it is given. Paths are relative to the test's home.
struct SelectionCase {
    const char *name;
    std::function<void(const Tree &)> build;
    QStringList selection;
    QStringList expected; // "path size" in this order
};

void PrintTo(const SelectionCase &c, std::ostream *os)
{
    *os << c.name;
}

class Selection : public ::testing::TestWithParam<SelectionCase> {};

TEST_P(Selection, IsWalkedInOrderAsGiven)
{
    TestEnvironment env;
    const Tree tree{env};
    GetParam().build(tree);
    if (::testing::Test::HasFatalFailure())
        return;
    QStringList urls;
    for (const QString &relative : GetParam().selection)
        urls.append(env.path(relative));
    EXPECT_EQ(listing(FileWalker::walk(urls), env.home()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, Selection,
    ::testing::Values(
        SelectionCase{"AHiddenFileChosenByNameCounts",
                      [](const Tree &t) { t.file(QStringLiteral(".secret"), "abc"); },
                      {".secret"},
                      {".secret 3"}},
        SelectionCase{"AHiddenFolderChosenByNameIsWalked",
                      [](const Tree &t) {
                          t.file(QStringLiteral(".stash/a.txt"), "a");
                          t.file(QStringLiteral(".stash/.b"), "b");
                      },
                      {".stash"},
                      {".stash/a.txt 1"}},
        SelectionCase{"ANameThatIsAllExtensionIsNoPackage",
                      [](const Tree &t) { t.file(QStringLiteral(".app/x.txt"), "x"); },
                      {".app"},
                      {".app/x.txt 1"}},
        SelectionCase{
            "ALinkToAFileIsOneFileUnderItsOwnPath",
            [](const Tree &t) { t.link(t.file(QStringLiteral("target.txt"), "four"), QStringLiteral("link.txt")); },
            {"link.txt"},
            {"link.txt 4"}},
        SelectionCase{"ALinkToAFolderIsWalkedUnderItsOwnPath",
                      [](const Tree &t) {
                          t.file(QStringLiteral("Real/x.txt"), "x");
                          t.link(t.env.path(QStringLiteral("Real")), QStringLiteral("Alias"));
                      },
                      {"Alias"},
                      {"Alias/x.txt 1"}},
        SelectionCase{"NothingThereIsSkipped",
                      [](const Tree &t) {
                          t.file(QStringLiteral("here.txt"), "h");
                          t.link(t.env.path(QStringLiteral("nowhere")), QStringLiteral("dangling"));
                      },
                      {"missing.txt", "dangling", "here.txt", "missing/deeper"},
                      {"here.txt 1"}},
        SelectionCase{"ASelectedPackageIsOneFileOfSizeZero",
                      [](const Tree &t) { t.file(QStringLiteral("Photos.photoslibrary/database/db"), "data"); },
                      {"Photos.photoslibrary", "Photos.photoslibrary/database"},
                      {"Photos.photoslibrary 0", "Photos.photoslibrary/database/db 4"}},
        SelectionCase{"ATrailingSlashAddsNoSecondOne",
                      [](const Tree &t) {
                          t.file(QStringLiteral("Folder/x.txt"), "x");
                          t.folder(QStringLiteral("Kit.framework"));
                      },
                      {"Folder/", "Kit.framework/"},
                      {"Folder/x.txt 1", "Kit.framework/ 0"}},
        SelectionCase{
            "ASelectedPipeIsOneFile", [](const Tree &t) { t.pipe(QStringLiteral("pipe")); }, {"pipe"}, {"pipe 0"}},
        SelectionCase{"SelectionOrderHoldsAndAFileReachedTwiceStandsTwice",
                      [](const Tree &t) {
                          t.file(QStringLiteral("B/one.txt"), "1");
                          t.file(QStringLiteral("A/two.txt"), "22");
                      },
                      {"B", "A/two.txt", "A", "B/one.txt"},
                      {"B/one.txt 1", "A/two.txt 2", "A/two.txt 2", "B/one.txt 1"}}),
    [](const auto &info) { return std::string(info.param.name); });

// Sizes and dates come from the file itself, to the millisecond, whether found in a folder or selected.
struct StampCase {
    const char *name;
    qsizetype size;
    time_t seconds;
    long nanoseconds;
    qint64 expectedMs;
};

void PrintTo(const StampCase &c, std::ostream *os)
{
    *os << c.name;
}

class Stamps : public ::testing::TestWithParam<StampCase> {};

TEST_P(Stamps, AreTheFilesOwnToTheMillisecond)
{
    const StampCase &c = GetParam();
    TestEnvironment env;
    const Tree tree{env};
    const QString file = tree.file(QStringLiteral("Folder/data.bin"), QByteArray(c.size, 'z'));
    tree.file(QStringLiteral("Folder/Old.app/Contents/x"), "not counted");
    tree.touch(QStringLiteral("Folder/data.bin"), c.seconds, c.nanoseconds);
    tree.touch(QStringLiteral("Folder/Old.app"), c.seconds, c.nanoseconds);
    if (::testing::Test::HasFatalFailure())
        return;
    const QDateTime expected = QDateTime::fromMSecsSinceEpoch(c.expectedMs, Qt::UTC);

    for (const QList<WalkedFile> &walked : {FileWalker::walk({env.path(QStringLiteral("Folder"))}),
                                            FileWalker::walk({file, env.path(QStringLiteral("Folder/Old.app"))})}) {
        ASSERT_EQ(walked.size(), 2);
        for (const WalkedFile &found : walked) {
            const bool isPackage = found.url.endsWith(QStringLiteral(".app"));
            EXPECT_EQ(found.size, isPackage ? 0u : quint64(c.size)) << qPrintable(found.url);
            ASSERT_TRUE(found.modificationDate.has_value()) << qPrintable(found.url);
            EXPECT_EQ(*found.modificationDate, expected) << qPrintable(found.url);
            EXPECT_EQ(found.modificationDate->toMSecsSinceEpoch(), c.expectedMs);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, Stamps,
    ::testing::Values(StampCase{"Empty", 0, 0, 0, 0},
                      StampCase{"MillisecondsTruncated", 1, 1'600'000'000, 123'999'999, 1'600'000'000'123},
                      StampCase{"LastMillisecondOfASecond", 70'000, 946'684'799, 999'999'999, 946'684'799'999},
                      StampCase{"Before1970", 3, -2, 500'000'000, -1'500}),
    [](const auto &info) { return std::string(info.param.name); });

// Makes a file by the bytes of its path, so that a name needn't be UTF-8.
void makeRaw(const QByteArray &path)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path.toStdString();
    ::close(fd);
}

// The visible names of a folder in the order the file system lists them.
QList<QByteArray> listedNames(const QString &folder)
{
    QList<QByteArray> names;
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.')
            names.append(QByteArray(entry->d_name));
    }
    ::closedir(dir);
    return names;
}

// Names made in an order that is neither theirs nor its reverse, so that neither a file system that
// lists by creation nor one that lists newest first gives name order by chance.
QList<QByteArray> shuffledNames(int count, const char *pattern)
{
    QList<QByteArray> names;
    for (int i = 0; i < count; ++i)
        names.append(QByteArray(pattern) + QByteArray::number((i * 7 + 3) % count).rightJustified(3, '0'));
    return names;
}

// The first component of each walked path below `root`, runs collapsed, as bytes.
QList<QByteArray> walkedTops(const QList<WalkedFile> &files, const QString &root)
{
    QList<QByteArray> tops;
    for (const WalkedFile &file : files) {
        const QByteArray top = NativeNames::encode(file.url.mid(root.size() + 1).section(QLatin1Char('/'), 0, 0));
        if (tops.isEmpty() || tops.last() != top)
            tops.append(top);
    }
    return tops;
}

// The order inside a folder is its names' byte order, whatever order the file system lists them in, and a
// subfolder's files follow at once where the subfolder is met: the walk is depth first, and the same on
// every run and every machine.
TEST(FileWalker, ListsAFolderInNameOrderDepthFirst)
{
    TestEnvironment env;
    const RemovedByBytes cleanup{QFile::encodeName(env.home())};
    const QString root = env.makeFolder(QStringLiteral("Root"));
    const QByteArray base = QFile::encodeName(root) + '/';
    QList<QByteArray> names = shuffledNames(150, "file");
    // Byte order differs from UTF-16 order past U+D7FF: U+FF41 ("\xEF\xBD\x81") comes before U+1F600 and
    // before a lone byte F5, where QString comparison would put both of those first.
    names += {"Zebra", "apple", "\xC3\xA9t\xC3\xA9", "\xE9t\xE9", "\xEF\xBD\x81", "\xF0\x9F\x98\x80", "\xF5"};
    for (const QByteArray &name : names)
        makeRaw(base + name);
    for (const QByteArray &folder : shuffledNames(6, "sub")) {
        ASSERT_EQ(::mkdir(QByteArray(base + folder).constData(), 0700), 0);
        for (const QByteArray &inner : shuffledNames(4, "inner"))
            makeRaw(base + folder + '/' + inner);
        names.append(folder);
    }
    env.makeFile(QStringLiteral("Root/.hidden"));
    if (::testing::Test::HasFatalFailure())
        return;
    QList<QByteArray> expected = names;
    std::sort(expected.begin(), expected.end());
    ASSERT_NE(listedNames(root), expected) << "the file system lists this folder in name order already";

    const QList<WalkedFile> files = FileWalker::walk({root});

    // Equal lists mean each subfolder's four files came as one run, at the subfolder's place.
    EXPECT_EQ(walkedTops(files, root), expected);
    const QString sub = root + QStringLiteral("/sub000/");
    QStringList inside;
    for (const WalkedFile &file : files) {
        if (file.url.startsWith(sub))
            inside.append(file.url.mid(sub.size()));
    }
    EXPECT_EQ(inside, (QStringList{"inner000", "inner001", "inner002", "inner003"}));
    EXPECT_EQ(FileWalker::firstFile(root)->url, files.first().url);
}

// Past the depth at which folders stay open, a folder is read whole and closed first; it is in name
// order all the same.
TEST(FileWalker, ListsAFolderBeyondTheHeldDepthInNameOrder)
{
    TestEnvironment env;
    QString relative = QStringLiteral("Deep");
    for (int level = 0; level < 70; ++level)
        relative += QStringLiteral("/d");
    const QString folder = env.makeFolder(relative);
    QList<QByteArray> names = shuffledNames(60, "f");
    for (const QByteArray &name : names)
        makeRaw(QFile::encodeName(folder) + '/' + name);
    if (::testing::Test::HasFatalFailure())
        return;
    std::sort(names.begin(), names.end());
    ASSERT_NE(listedNames(folder), names) << "the file system lists this folder in name order already";

    EXPECT_EQ(walkedTops(FileWalker::walk({env.path(QStringLiteral("Deep"))}), folder), names);
}

// A name that isn't UTF-8 is walked under a path that leads back to it, and a folder of such a name is
// entered.
TEST(FileWalker, KeepsNamesThatAreNotUtf8)
{
    TestEnvironment env;
    const RemovedByBytes cleanup{QFile::encodeName(env.home())};
    const QString root = env.makeFolder(QStringLiteral("Root"));
    const QByteArray base = QFile::encodeName(root);
    ASSERT_EQ(::mkdir(QByteArray(base + "/Ordner \xE4").constData(), 0700), 0);
    makeRaw(base + "/Ordner \xE4/Datei \xFC.txt");
    makeRaw(base + "/caf\xE9");
    if (::testing::Test::HasFatalFailure())
        return;

    QList<QByteArray> walked;
    for (const WalkedFile &file : FileWalker::walk({root}))
        walked.append(NativeNames::encode(file.url));

    EXPECT_EQ(walked, (QList<QByteArray>{base + "/Ordner \xE4/Datei \xFC.txt", base + "/caf\xE9"}));
    EXPECT_EQ(FileWalker::walk({NativeNames::decode(QByteArray(base + "/caf\xE9"))}).size(), 1);
}

// Lowers the limit on open descriptors to the ones in use plus `spare`, and puts it back when it goes.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t spare)
    {
        ::getrlimit(RLIMIT_NOFILE, &saved);
        const rlim_t open = rlim_t(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files).size());
        rlimit lowered = saved;
        lowered.rlim_cur = std::min(saved.rlim_cur, open + spare);
        active = ::setrlimit(RLIMIT_NOFILE, &lowered) == 0;
    }
    ~DescriptorLimit()
    {
        if (active)
            ::setrlimit(RLIMIT_NOFILE, &saved);
    }
    DescriptorLimit(const DescriptorLimit &) = delete;
    DescriptorLimit &operator=(const DescriptorLimit &) = delete;
    bool active = false;

private:
    rlimit saved{};
};

// A tree nested deeper than there are descriptors to spare is still walked whole: the walk never holds
// more than a bounded number of folders open.
TEST(FileWalker, WalksATreeNestedDeeperThanTheDescriptorsItMayHold)
{
    TestEnvironment env;
    QString relative = QStringLiteral("Deep");
    QStringList expected;
    for (int level = 0; level < 300; ++level) {
        relative += QStringLiteral("/d");
        expected.append(env.makeFile(relative + QStringLiteral("/f.txt"), QByteArray::number(level)));
        if (level == 200)
            expected.append(env.makeFolder(relative + QStringLiteral("/Far.app/Contents")).chopped(9));
    }
    QList<WalkedFile> files;
    {
        const DescriptorLimit limit(100);
        ASSERT_TRUE(limit.active);
        files = FileWalker::walk({env.path(QStringLiteral("Deep"))});
    }
    QStringList walked;
    for (const WalkedFile &file : files)
        walked.append(file.url);
    EXPECT_EQ(sorted(walked), sorted(expected));
}

TEST(FileWalker, PassesOverWhatItCannotRead)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every folder, so nothing here is unreadable";
    TestEnvironment env;
    env.makeFile(QStringLiteral("Top/open.txt"), "o");
    env.makeFile(QStringLiteral("Top/closed/inside.txt"), "i");
    env.makeFile(QStringLiteral("Top/later/after.txt"), "a");
    env.makeFile(QStringLiteral("Shut/inside.txt"), "s");
    const QString closed = env.path(QStringLiteral("Top/closed"));
    const QString shut = env.path(QStringLiteral("Shut"));
    ASSERT_EQ(::chmod(QFile::encodeName(closed).constData(), 0), 0);
    ASSERT_EQ(::chmod(QFile::encodeName(shut).constData(), 0), 0);

    const QList<WalkedFile> files = FileWalker::walk({shut, env.path(QStringLiteral("Top"))});

    // Given back before any check can stop the test, so the temporary folder can be removed.
    ::chmod(QFile::encodeName(closed).constData(), 0700);
    ::chmod(QFile::encodeName(shut).constData(), 0700);
    EXPECT_EQ(sorted(listing(files, env.path(QStringLiteral("Top")))),
              (QStringList{"later/after.txt 1", "open.txt 1"}));
}

TEST(FileWalker, AStopRequestEndsTheWalk)
{
    TestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("Folder/a.txt"), "a");
    env.makeFile(QStringLiteral("Folder/sub/b.txt"), "b");
    ASSERT_EQ(FileWalker::walk({env.path(QStringLiteral("Folder")), file}).size(), 3);

    std::stop_source source;
    source.request_stop();
    EXPECT_TRUE(FileWalker::walk({env.path(QStringLiteral("Folder")), file}, source.get_token()).isEmpty());
}

TEST(FileWalker, FirstFileIsTheWalksFirst)
{
    TestEnvironment env;
    for (int i = 0; i < 20; ++i)
        env.makeFile(QStringLiteral("Many/sub%1/file.txt").arg(i), QByteArray(i, 'x'));
    const QString single = env.makeFile(QStringLiteral("single.txt"), "four");
    env.makeFolder(QStringLiteral("Empty"));

    for (const QString &path : {env.path(QStringLiteral("Many")), single}) {
        const auto first = FileWalker::firstFile(path);
        ASSERT_TRUE(first.has_value()) << qPrintable(path);
        EXPECT_EQ(*first, FileWalker::walk({path}).first());
    }
    EXPECT_FALSE(FileWalker::firstFile(env.path(QStringLiteral("Empty"))).has_value());
    EXPECT_FALSE(FileWalker::firstFile(env.path(QStringLiteral("missing"))).has_value());
}
