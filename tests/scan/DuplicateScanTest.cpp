#include "scan/DuplicateScan.h"

#include "TestEnvironment.h"
#include "scan/ContentDigests.h"
#include "scan/ScanState.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using FileWalker::WalkedFile;
using Groups = std::set<std::multiset<QString>>;

QByteArray randomBytes(QRandomGenerator &random, qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = char(random.bounded(256));
    return bytes;
}

// The answer by definition: every entry of the walk hashed whole, entries of one digest together.
Groups byWholeHash(const QList<WalkedFile> &walked)
{
    std::map<QByteArray, std::multiset<QString>> byDigest;
    for (const WalkedFile &file : walked) {
        QFile content(file.url);
        struct stat info {};
        if (::stat(QFile::encodeName(file.url).constData(), &info) != 0 || !S_ISREG(info.st_mode) ||
            !content.open(QIODevice::ReadOnly))
            continue;
        QCryptographicHash hash(QCryptographicHash::Sha256);
        if (!hash.addData(&content))
            continue;
        byDigest[hash.result()].insert(file.url);
    }
    Groups groups;
    for (const auto &[digest, paths] : byDigest) {
        if (paths.size() >= 2)
            groups.insert(paths);
    }
    return groups;
}

Groups asPaths(const QList<WalkedFile> &walked, const std::vector<std::vector<int>> &found)
{
    Groups groups;
    for (const std::vector<int> &indices : found) {
        std::multiset<QString> paths;
        for (int index : indices)
            paths.insert(walked[index].url);
        groups.insert(paths);
    }
    return groups;
}

// Files built to slip past each shortcut: equal sizes that differ only at the start, in the middle or in
// the last byte, equal first and last blocks, small and large twins, empty files, and a package.
void buildTrickyTree(TestEnvironment &env)
{
    QRandomGenerator random(7);
    const QByteArray big = randomBytes(random, 300'000);
    for (const char *name : {"t/big-a", "t/sub/big-b", "t/sub/deeper/big-c"})
        env.makeFile(QString::fromLatin1(name), big);
    QByteArray lastByte = big;
    lastByte[lastByte.size() - 1] = char(lastByte.back() ^ 1);
    env.makeFile(QStringLiteral("t/big-last-byte"), lastByte);
    QByteArray middle = big;
    middle[150'000] = char(middle[150'000] ^ 1);
    env.makeFile(QStringLiteral("t/big-middle"), middle);
    env.makeFile(QStringLiteral("t/sub/big-middle-twin"), middle);
    QByteArray first = big;
    first[0] = char(first[0] ^ 1);
    env.makeFile(QStringLiteral("t/big-first-byte"), first);

    // Around the size up to which files are read whole at once.
    for (int size : {1, 4095, 4096, 4097, 8191, 8192, 8193, 65'536}) {
        const QByteArray content = randomBytes(random, size);
        env.makeFile(QStringLiteral("t/small/%1-a").arg(size), content);
        env.makeFile(QStringLiteral("t/small/%1-b").arg(size), content);
        QByteArray other = content;
        other[size - 1] = char(other[size - 1] ^ 0x80);
        env.makeFile(QStringLiteral("t/small/%1-c").arg(size), other);
    }
    for (int i = 0; i < 40; ++i)
        env.makeFile(QStringLiteral("t/many/%1").arg(i), randomBytes(random, 1 + qsizetype(random.bounded(20'000))));
    env.makeFile(QStringLiteral("t/empty-1"));
    env.makeFile(QStringLiteral("t/sub/empty-2"));
    // A package walks as one entry of size 0 but isn't a file: it must not join the empty files.
    env.makeFile(QStringLiteral("t/Tool.app/Contents/inner"), big);
}

} // namespace

class IdenticalGroups : public ::testing::TestWithParam<int> {};

TEST_P(IdenticalGroups, AreWhatHashingEveryFileWholeGives)
{
    TestEnvironment env;
    buildTrickyTree(env);
    // The folder twice, one of its subfolders a third time, one file by name.
    const QList<WalkedFile> walked =
        FileWalker::walk({env.path(QStringLiteral("t")), env.path(QStringLiteral("t")),
                          env.path(QStringLiteral("t/sub")), env.path(QStringLiteral("t/big-last-byte"))});
    ASSERT_GT(walked.size(), 100);

    const auto found = ContentDigests::identicalGroups(walked, {}, {}, {GetParam()});
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(asPaths(walked, *found), byWholeHash(walked));
    for (const std::vector<int> &group : *found)
        EXPECT_TRUE(std::is_sorted(group.begin(), group.end()));
}

INSTANTIATE_TEST_SUITE_P(Threads, IdenticalGroups, ::testing::Values(1, 2, 7));

TEST(IdenticalGroups, LeaveOutWhatCantBeRead)
{
    TestEnvironment env;
    const QByteArray content(10'000, 'x');
    const QString readable = env.makeFile(QStringLiteral("a"), content);
    const QString twin = env.makeFile(QStringLiteral("b"), content);
    const QString locked = env.makeFile(QStringLiteral("c"), content);
    const QString pipe = env.path(QStringLiteral("pipe"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString empty = env.makeFile(QStringLiteral("empty"));
    ::chmod(QFile::encodeName(locked).constData(), 0);
    // Gone between the walk and the read: unreadable even to root.
    const QString vanished = env.makeFile(QStringLiteral("d"), content);

    // A pipe chosen by name walks as a file of size 0 but is never read: it would block or never end.
    const QList<WalkedFile> walked = FileWalker::walk({readable, twin, locked, pipe, empty, vanished});
    ASSERT_EQ(walked.size(), 6);
    ASSERT_TRUE(QFile::remove(vanished));
    const auto found = ContentDigests::identicalGroups(walked, {});
    ASSERT_TRUE(found.has_value());
    Groups expected{{readable, twin}};
    if (::geteuid() == 0)
        expected = {{readable, twin, locked}}; // root reads anything
    EXPECT_EQ(asPaths(walked, *found), expected);
    EXPECT_EQ(ContentDigests::sha256(pipe), std::nullopt);
}

TEST(IdenticalGroups, DigestIsTheSha256OfTheWholeContent)
{
    TestEnvironment env;
    const QString empty = env.makeFile(QStringLiteral("empty"));
    const QString abc = env.makeFile(QStringLiteral("abc"), "abc");
    EXPECT_EQ(ContentDigests::hexText(*ContentDigests::sha256(empty)),
              QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
    EXPECT_EQ(ContentDigests::hexText(*ContentDigests::sha256(abc)),
              QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_EQ(ContentDigests::sha256(env.path(QStringLiteral("missing"))), std::nullopt);
    EXPECT_EQ(ContentDigests::sha256(env.home()), std::nullopt);
}

TEST(IdenticalGroups, PublishAboutSixtyTimesUpToTheTotal)
{
    TestEnvironment env;
    QRandomGenerator random(3);
    for (int i = 0; i < 600; ++i)
        env.makeFile(QStringLiteral("p/%1").arg(i), randomBytes(random, 1 + qsizetype(random.bounded(3'000))));
    const QList<WalkedFile> walked = FileWalker::walk({env.path(QStringLiteral("p"))});
    std::mutex guard;
    QList<int> published;
    const auto found = ContentDigests::identicalGroups(walked, {},
                                                       [&](int processed, int total) {
                                                           EXPECT_EQ(total, 600);
                                                           const std::lock_guard lock(guard);
                                                           published.append(processed);
                                                       },
                                                       {4});
    ASSERT_TRUE(found.has_value());
    ASSERT_FALSE(published.isEmpty());
    EXPECT_LE(published.size(), 61);
    EXPECT_TRUE(std::is_sorted(published.begin(), published.end()));
    EXPECT_EQ(published.last(), 600);
}

TEST(IdenticalGroups, AStopEndsTheRunWithoutAnAnswer)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("s/a"), QByteArray(100'000, 'a'));
    env.makeFile(QStringLiteral("s/b"), QByteArray(100'000, 'a'));
    const QList<WalkedFile> walked = FileWalker::walk({env.path(QStringLiteral("s"))});
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(ContentDigests::identicalGroups(walked, stop.get_token()), std::nullopt);
    EXPECT_EQ(DuplicateScan::scan({env.path(QStringLiteral("s"))}, stop.get_token()), std::nullopt);
}

TEST(DuplicateScan, LargestGroupFirstWithOriginalsAndWhatRemovingExtrasFrees)
{
    TestEnvironment env;
    const QByteArray ten(10'000'000, 'T');
    const QByteArray one(1'000'000, 'O');
    // Walk order, not age or path, decides the original: the selection is given in this order.
    const QStringList paths{
        env.makeFile(QStringLiteral("z/one-first"), one),  env.makeFile(QStringLiteral("y/ten-first"), ten),
        env.makeFile(QStringLiteral("a/ten-second"), ten), env.makeFile(QStringLiteral("one-2"), one),
        env.makeFile(QStringLiteral("ten-third"), ten),    env.makeFile(QStringLiteral("single"), QByteArray(5, 's'))};
    const auto report = DuplicateScan::scan(paths, {});
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->workflowID, QStringLiteral("duplicate-reports"));
    EXPECT_EQ(report->title, QStringLiteral("Duplicate Reports"));
    EXPECT_EQ(report->kind, ScanReport::Kind::duplicates);
    EXPECT_FALSE(report->plannedMoves.has_value());
    EXPECT_EQ(report->summary, QStringLiteral("2 duplicate groups across 5 files. Removing extras could free 21 MB."));
    ASSERT_TRUE(report->groups.has_value());
    ASSERT_EQ(report->groups->size(), 2);
    EXPECT_EQ(report->groups->at(0).label, QStringLiteral("3 copies · ten-first"));
    EXPECT_EQ(report->groups->at(1).label, QStringLiteral("2 copies · one-first"));

    QStringList rows;
    for (const ScanItem &item : report->items) {
        const qsizetype group = item.groupID == report->groups->at(0).id ? 0 : 1;
        rows.append(QStringLiteral("%1 %2 %3").arg(group).arg(QFileInfo(item.url).fileName(), *item.badge));
        EXPECT_TRUE(item.modificationDate.has_value());
    }
    EXPECT_EQ(rows, (QStringList{"0 ten-first original", "0 ten-second duplicate", "0 ten-third duplicate",
                                 "1 one-first original", "1 one-2 duplicate"}));
}

// Inside a folder the original is the copy whose name comes first, however the file system lists them, so
// the same file is kept as the original on every run.
TEST(DuplicateScan, TheOriginalInAFolderIsTheNameFirstCopy)
{
    TestEnvironment env;
    const QString folder = env.makeFolder(QStringLiteral("copies"));
    constexpr int count = 50;
    // Made neither in name order nor in its reverse, so that no file system lists them name-first.
    for (int i = 0; i < count; ++i)
        env.makeFile(QStringLiteral("copies/copy-%1").arg((i * 7 + 3) % count, 2, 10, QLatin1Char('0')), "same");
    QStringList listed;
    for (const QString &name : QDir(folder).entryList(QDir::Files, QDir::Unsorted))
        listed.append(name);
    ASSERT_NE(listed.value(0), QStringLiteral("copy-00")) << "the file system lists the name-first copy first";

    for (int run = 0; run < 2; ++run) {
        const auto report = DuplicateScan::scan({folder}, {});
        ASSERT_TRUE(report.has_value());
        ASSERT_EQ(report->items.size(), count);
        EXPECT_EQ(report->items.first().url, folder + QStringLiteral("/copy-00"));
        EXPECT_EQ(report->items.first().badge, QStringLiteral("original"));
        EXPECT_EQ(report->items.last().url, folder + QStringLiteral("/copy-49"));
    }
}

struct SummaryCase {
    const char *name;
    QStringList (*build)(TestEnvironment &env);
    const char *summary;
    int items;
};

void PrintTo(const SummaryCase &c, std::ostream *os)
{
    *os << c.name;
}

class DuplicateSummaries : public ::testing::TestWithParam<SummaryCase> {};

TEST_P(DuplicateSummaries, SayWhatWasFound)
{
    TestEnvironment env;
    const auto report = DuplicateScan::scan(GetParam().build(env), {});
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->summary, QString::fromUtf8(GetParam().summary));
    EXPECT_EQ(report->items.size(), GetParam().items);
}

INSTANTIATE_TEST_SUITE_P(
    Selections, DuplicateSummaries,
    ::testing::Values(
        SummaryCase{"nothing", [](TestEnvironment &env) { return QStringList{env.path(QStringLiteral("gone"))}; },
                    "No files in the selection to scan.", 0},
        SummaryCase{"oneFile", [](TestEnvironment &env) { return QStringList{env.makeFile(QStringLiteral("a"), "a")}; },
                    "No duplicates found in the selection.", 0},
        SummaryCase{"twoEmptyFiles",
                    [](TestEnvironment &env) {
                        return QStringList{env.makeFile(QStringLiteral("e1")), env.makeFile(QStringLiteral("e2"))};
                    },
                    "1 duplicate group across 2 files. Removing extras could free Zero KB.", 2},
        SummaryCase{"aFolderTwice",
                    [](TestEnvironment &env) {
                        env.makeFile(QStringLiteral("f/a"), "one");
                        env.makeFile(QStringLiteral("f/b"), "two");
                        return QStringList{env.path(QStringLiteral("f")), env.path(QStringLiteral("f"))};
                    },
                    "2 duplicate groups across 4 files. Removing extras could free 6 bytes.", 4},
        SummaryCase{"insideAPackage",
                    [](TestEnvironment &env) {
                        env.makeFile(QStringLiteral("Kit.bundle/a"), "same");
                        env.makeFile(QStringLiteral("Kit.bundle/b"), "same");
                        return QStringList{env.path(QStringLiteral("Kit.bundle"))};
                    },
                    "No duplicates found in the selection.", 0}));

TEST(DuplicateScan, RunsOnTheScanTaskAndPresentsItsReport)
{
    TestEnvironment env;
    ScanState scans(env.defaults());
    env.makeFile(QStringLiteral("d/a"), "same");
    env.makeFile(QStringLiteral("d/b"), "same");
    QList<ScanProgress> seen;
    QObject::connect(&scans, &ScanState::scanProgressChanged, [&] {
        if (scans.scanProgress())
            seen.append(*scans.scanProgress());
    });
    DuplicateScan::run({env.path(QStringLiteral("d"))}, scans);
    ASSERT_TRUE(TestEnvironment::runUntilIdle());
    ASSERT_TRUE(scans.activeReport().has_value());
    EXPECT_EQ(scans.activeReport()->groups->size(), 1);
    ASSERT_FALSE(seen.isEmpty());
    EXPECT_EQ(seen.last(), (ScanProgress{QStringLiteral("Hashing files"), 2, 2}));
    EXPECT_FALSE(scans.scanProgress().has_value());
}
