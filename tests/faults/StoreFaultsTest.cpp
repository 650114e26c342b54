// The category and template stores under the faults users' machines have: a full disk, a file that
// can't be read or moved, two processes changing the library at once, and a run killed mid-write.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "metadata/CategoryStore.h"
#include "metadata/CommentTemplateStore.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>

#include <gtest/gtest.h>

#include <functional>

#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList namesOnDisk(const QString &path)
{
    QStringList names;
    for (const auto &value : QJsonDocument::fromJson(bytesOf(path)).array())
        names.append(value.toObject().value(QStringLiteral("name")).toString());
    return names;
}

QStringList partialsIn(const QString &folder)
{
    return QDir(folder).entryList({PartialFiles::prefix() + QLatin1Char('*')},
                                  QDir::AllEntries | QDir::Hidden | QDir::System);
}

QStringList asideIn(const QString &folder, const QString &name)
{
    return QDir(folder).entryList({name + QStringLiteral(".unreadable-*")},
                                  QDir::AllEntries | QDir::Hidden | QDir::System);
}

Faults::ProcessResult vantrel(const QStringList &arguments, int timeoutMs = 60000)
{
    return Faults::run(AppTestEnvironment::executable(QStringLiteral("vantrel")), arguments, {}, timeoutMs);
}

Category named(const QString &name)
{
    return {QUuid::createUuid(), name, QStringLiteral("#8B5CF6"), {QStringLiteral("t")}, QStringLiteral("tag.fill")};
}

struct StoreChange {
    const char *name;
    std::function<std::optional<QString>(CategoryStore &)> change;
    // Run while the disk still has room, so the change has something to do.
    std::function<std::optional<QString>(CategoryStore &)> prepare = {};
};

void PrintTo(const StoreChange &change, std::ostream *out)
{
    *out << change.name;
}

class FullDiskStore : public ::testing::TestWithParam<StoreChange> {
protected:
    void SetUp() override
    {
        if (const auto why = Faults::tmpfsUnavailable())
            GTEST_SKIP() << why->toStdString();
    }
};

} // namespace

// Every kind of change, on a disk with no room left: the change is refused with the system's reason,
// the library on disk is byte for byte what it was, and the store shows what is on disk.
TEST_P(FullDiskStore, RefusesTheChangeAndKeepsTheLibrary)
{
    AppTestEnvironment env;
    const Faults::TinyDisk disk(Paths::applicationSupport(), 256 * 1024);
    ASSERT_TRUE(disk.mounted());
    CategoryStore store;
    if (GetParam().prepare) {
        ASSERT_FALSE(GetParam().prepare(store));
    }
    const QByteArray before = bytesOf(store.filePath());
    ASSERT_FALSE(before.isEmpty());
    const QList<Category> shown = store.categories();
    disk.fill();

    const std::optional<QString> error = GetParam().change(store);
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(error->startsWith(QStringLiteral("Couldn't save categories: "))) << error->toStdString();
    EXPECT_TRUE(error->contains(QStringLiteral("No space left on device"))) << error->toStdString();
    EXPECT_EQ(bytesOf(store.filePath()), before);
    EXPECT_EQ(store.categories(), shown);
    EXPECT_TRUE(partialsIn(disk.path()).isEmpty());
    // The next start finds the library whole, and moves nothing aside.
    const CategoryStore again;
    EXPECT_EQ(again.categories(), shown);
    EXPECT_TRUE(asideIn(disk.path(), QStringLiteral("categories.json")).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Changes, FullDiskStore,
    ::testing::Values(StoreChange{"add", [](CategoryStore &s) { return s.add(named(QStringLiteral("Taxes"))); }},
                      StoreChange{"update",
                                  [](CategoryStore &s) {
                                      Category changed = s.categories().first();
                                      changed.name = QStringLiteral("Renamed");
                                      return s.update(changed);
                                  }},
                      StoreChange{"remove", [](CategoryStore &s) { return s.remove(s.categories().first().id); }},
                      StoreChange{"replaceAll",
                                  [](CategoryStore &s) { return s.replaceAll({named(QStringLiteral("Only"))}); }},
                      StoreChange{"append", [](CategoryStore &s) { return s.append({named(QStringLiteral("More"))}); }},
                      StoreChange{"resetToSeeded", [](CategoryStore &s) { return s.resetToSeeded(); },
                                  [](CategoryStore &s) { return s.replaceAll({}); }}),
    [](const ::testing::TestParamInfo<StoreChange> &info) { return std::string(info.param.name); });

TEST(StoreFaults, TheCommandLineEndsOnTheFailureWhenTheLibraryCantBeSaved)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"), "a");
    const Faults::TinyDisk disk(Paths::applicationSupport(), 256 * 1024);
    ASSERT_TRUE(disk.mounted());
    const QString library = CategoryStore().filePath();
    const QByteArray before = bytesOf(library);
    disk.fill();

    const auto run =
        vantrel({QStringLiteral("run"), QStringLiteral("tag-category-selector"), file, QStringLiteral("--set"),
                 QStringLiteral("draftName=Taxes"), QStringLiteral("--set"), QStringLiteral("draftTags=2026")});
    EXPECT_EQ(run.exitCode, 1) << run.out.toStdString() << run.err.toStdString();
    EXPECT_TRUE(run.out.contains("No space left on device")) << run.out.toStdString();
    EXPECT_EQ(bytesOf(library), before);
    // Nothing was tagged with a category that doesn't exist.
    EXPECT_EQ(::getxattr(QFile::encodeName(file).constData(), "user.xdg.tags", nullptr, 0), -1);
}

TEST(StoreFaults, AFailedExportLeavesTheOlderExportWhole)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    const Faults::TinyDisk disk(env.path(QStringLiteral("stick")), 256 * 1024);
    ASSERT_TRUE(disk.mounted());
    const QString target = disk.path() + QStringLiteral("/mine.vantrelcategories");
    const auto first = vantrel({QStringLiteral("categories"), QStringLiteral("export"), target});
    ASSERT_EQ(first.exitCode, 0) << first.out.toStdString() << first.err.toStdString();
    const QByteArray good = bytesOf(target);
    ASSERT_TRUE(good.contains("\"Projects\""));
    disk.fill();

    const auto again =
        vantrel({QStringLiteral("categories"), QStringLiteral("export"), target, QStringLiteral("--yes")});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.out.contains("Couldn't export categories: No space left on device")) << again.out.toStdString();
    EXPECT_EQ(bytesOf(target), good);
    EXPECT_TRUE(partialsIn(disk.path()).isEmpty());
}

TEST(StoreFaults, AnExportNeverReplacesAFileUnasked)
{
    AppTestEnvironment env;
    const QString target = env.makeFile(QStringLiteral("mine.vantrelcategories"), "keep me");
    const auto run = vantrel({QStringLiteral("categories"), QStringLiteral("export"), target});
    EXPECT_EQ(bytesOf(target), QByteArray("keep me"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out.trimmed(), QByteArray("Cancelled."));
    const auto replaced =
        vantrel({QStringLiteral("categories"), QStringLiteral("export"), target, QStringLiteral("--yes")});
    EXPECT_EQ(replaced.exitCode, 0);
    EXPECT_TRUE(bytesOf(target).contains("\"Projects\""));
}

namespace {

struct Unreadable {
    const char *name;
    // Puts something at the library's path that can't be used as a library.
    std::function<void(const QString &path)> make;
};

void PrintTo(const Unreadable &kind, std::ostream *out)
{
    *out << kind.name;
}

class UnreadableLibrary : public ::testing::TestWithParam<Unreadable> {};

} // namespace

// Whatever stands at the library's path and isn't a library is kept under a new name, never
// overwritten, and the store starts from the seed; nothing hangs on a FIFO.
TEST_P(UnreadableLibrary, IsMovedAsideWholeBeforeTheSeedIsWritten)
{
    AppTestEnvironment env;
    const QString folder = Paths::applicationSupport();
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/categories.json");
    GetParam().make(path);
    struct stat original {};
    ASSERT_EQ(::lstat(QFile::encodeName(path).constData(), &original), 0);

    const CategoryStore store;
    EXPECT_EQ(store.categories().size(), 4);
    EXPECT_EQ(namesOnDisk(path).size(), 4);
    const QStringList aside = asideIn(folder, QStringLiteral("categories.json"));
    ASSERT_EQ(aside.size(), 1);
    struct stat kept {};
    ASSERT_EQ(::lstat(QFile::encodeName(folder + QLatin1Char('/') + aside.first()).constData(), &kept), 0);
    EXPECT_EQ(kept.st_ino, original.st_ino) << "the very file was kept, not a copy";
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnreadableLibrary,
                         ::testing::Values(Unreadable{"corrupt",
                                                      [](const QString &path) {
                                                          QFile file(path);
                                                          ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                                                          file.write("[{\"name\": ");
                                                      }},
                                           Unreadable{"fifo",
                                                      [](const QString &path) {
                                                          ASSERT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0600),
                                                                    0);
                                                      }},
                                           Unreadable{"folder",
                                                      [](const QString &path) { ASSERT_TRUE(QDir().mkpath(path)); }}),
                         [](const ::testing::TestParamInfo<Unreadable> &info) { return std::string(info.param.name); });

TEST(StoreFaults, ManyCorruptFilesInOneSecondAreAllKept)
{
    AppTestEnvironment env;
    const QString folder = Paths::applicationSupport();
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/categories.json");
    QSet<QByteArray> written;
    for (int i = 0; i < 3; ++i) {
        const QByteArray garbage = "not json " + QByteArray::number(i);
        QFile::remove(path);
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(garbage);
        file.close();
        written.insert(garbage);
        const CategoryStore store;
    }
    QSet<QByteArray> kept;
    for (const QString &name : asideIn(folder, QStringLiteral("categories.json")))
        kept.insert(bytesOf(folder + QLatin1Char('/') + name));
    EXPECT_EQ(kept, written);
}

TEST(StoreFaults, ALibraryThatCantBeMovedAsideIsNeverOverwritten)
{
    AppTestEnvironment env;
    const QString folder = Paths::applicationSupport();
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/categories.json");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[{\"half a library");
    file.close();
    const Faults::Immutable locked(path);
    if (!locked.applied())
        GTEST_SKIP() << "chattr +i isn't available here";

    CategoryStore store;
    EXPECT_EQ(store.categories().size(), 4) << "the seed, in memory only";
    const auto error = store.add(named(QStringLiteral("Taxes")));
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(error->contains(QStringLiteral("couldn't be moved aside"))) << error->toStdString();
    EXPECT_EQ(bytesOf(path), QByteArray("[{\"half a library"));
    EXPECT_TRUE(asideIn(folder, QStringLiteral("categories.json")).isEmpty());
}

TEST(StoreFaults, TwoStoresInOneFolderKeepEachOthersChanges)
{
    AppTestEnvironment env;
    CategoryStore window;
    CategoryStore other;
    ASSERT_FALSE(other.add(named(QStringLiteral("From the command line"))));
    // The window's own change is made on what the other left.
    ASSERT_FALSE(window.add(named(QStringLiteral("From the window"))));
    EXPECT_EQ(namesOnDisk(window.filePath()).mid(4),
              (QStringList{QStringLiteral("From the command line"), QStringLiteral("From the window")}));

    CommentTemplateStore templatesA;
    CommentTemplateStore templatesB;
    const qsizetype defaults = templatesA.templates().size();
    CommentTemplate one = templatesA.templates().first();
    one.id = QUuid::createUuid();
    CommentTemplate two = one;
    two.id = QUuid::createUuid();
    ASSERT_FALSE(templatesA.add(one));
    ASSERT_FALSE(templatesB.add(two));
    EXPECT_EQ(CommentTemplateStore().templates().size(), defaults + 2);
}

TEST(StoreFaults, TheWindowFollowsAChangeMadeByAnotherProcess)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"), "a");
    auto state = env.makeAppState();
    ASSERT_EQ(state->categories().size(), 4);
    const auto run =
        vantrel({QStringLiteral("run"), QStringLiteral("tag-category-selector"), file, QStringLiteral("--set"),
                 QStringLiteral("draftName=Taxes"), QStringLiteral("--set"), QStringLiteral("draftTags=2026")});
    ASSERT_EQ(run.exitCode, 0) << run.out.toStdString() << run.err.toStdString();
    for (int waited = 0; waited < 5000 && state->categories().size() < 5; waited += 20) {
        AppTestEnvironment::runUntilIdle(20);
        QThread::msleep(20);
    }
    ASSERT_EQ(state->categories().size(), 5);
    EXPECT_EQ(state->categories().last().name, QStringLiteral("Taxes"));
    ASSERT_FALSE(state->categoryStore().add(named(QStringLiteral("Receipts"))));
    EXPECT_EQ(namesOnDisk(state->categoryStore().filePath()).mid(4),
              (QStringList{QStringLiteral("Taxes"), QStringLiteral("Receipts")}));
}

TEST(StoreFaults, TenParallelRunsAllKeepTheirCategory)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"), "a");
    const QString library = CategoryStore().filePath();
    std::vector<std::unique_ptr<QProcess>> runs;
    for (int i = 0; i < 10; ++i) {
        auto process = std::make_unique<QProcess>();
        process->start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                       {QStringLiteral("run"), QStringLiteral("tag-category-selector"), file, QStringLiteral("--set"),
                        QStringLiteral("draftName=Parallel %1").arg(i), QStringLiteral("--set"),
                        QStringLiteral("draftTags=t%1").arg(i)});
        runs.push_back(std::move(process));
    }
    for (auto &process : runs) {
        ASSERT_TRUE(process->waitForFinished(60000));
        EXPECT_EQ(process->exitCode(), 0) << process->readAllStandardError().toStdString();
    }
    QStringList added = namesOnDisk(library).mid(4);
    added.sort();
    QStringList expected;
    for (int i = 0; i < 10; ++i)
        expected.append(QStringLiteral("Parallel %1").arg(i));
    EXPECT_EQ(added, expected);
}

TEST(StoreFaults, RunsKilledMidWriteNeverLeaveAHalfLibraryOrAPartial)
{
    AppTestEnvironment env;
    const QString file = env.makeFile(QStringLiteral("a.txt"), "a");
    const QString library = CategoryStore().filePath();
    const quint32 seed = QRandomGenerator::global()->generate();
    QRandomGenerator random(seed);
    for (int i = 0; i < 12; ++i) {
        QProcess process;
        process.start(AppTestEnvironment::executable(QStringLiteral("vantrel")),
                      {QStringLiteral("run"), QStringLiteral("tag-category-selector"), file, QStringLiteral("--set"),
                       QStringLiteral("draftName=Killed %1").arg(i)});
        ASSERT_TRUE(process.waitForStarted());
        QThread::msleep(random.bounded(400));
        process.kill();
        process.waitForFinished();
        const QJsonDocument onDisk = QJsonDocument::fromJson(bytesOf(library));
        ASSERT_TRUE(onDisk.isArray()) << "seed " << seed << ", run " << i;
        EXPECT_GE(onDisk.array().size(), 4);
    }
    const auto last = vantrel({QStringLiteral("run"), QStringLiteral("tag-category-selector"), file,
                               QStringLiteral("--set"), QStringLiteral("draftName=Survivor")});
    EXPECT_EQ(last.exitCode, 0) << last.out.toStdString();
    EXPECT_TRUE(namesOnDisk(library).contains(QStringLiteral("Survivor")));
    EXPECT_TRUE(partialsIn(QFileInfo(library).path()).isEmpty()) << "seed " << seed;
    EXPECT_TRUE(asideIn(QFileInfo(library).path(), QStringLiteral("categories.json")).isEmpty());
}
