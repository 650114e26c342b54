#include "quickactions/QuickActionBackupStore.h"

#include "FaultSupport.h"
#include "TestEnvironment.h"
#include "platform/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <sys/time.h>

using QuickActionBackupStore::Backup;
using QuickActionBackupStore::BackupError;

namespace {

// A bundle the way Automator leaves one: a folder with its plist and document, dated long ago.
QString makeBundle(TestEnvironment &env, const QString &relativeFolder, const QString &name,
                   const QByteArray &document = "<plist>actions</plist>")
{
    const QString bundle = relativeFolder + QLatin1Char('/') + name + QStringLiteral(".workflow");
    env.makeFile(bundle + QStringLiteral("/Contents/Info.plist"), "<plist>info</plist>");
    env.makeFile(bundle + QStringLiteral("/Contents/document.wflow"), document);
    QString path = env.path(bundle);
    // 2001-09-09: a copy that kept this date would date the backup by its original.
    const struct timeval old[2] = {{1000000000, 0}, {1000000000, 0}};
    const QStringList dated{path + QStringLiteral("/Contents/Info.plist"),
                            path + QStringLiteral("/Contents/document.wflow"), path + QStringLiteral("/Contents"),
                            path};
    for (const QString &each : dated)
        ::utimes(QFile::encodeName(each).constData(), old);
    return path;
}

// Every name in a folder, hidden ones included: a holding folder left behind would show here.
QStringList namesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QString fileNameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// Sleeps into the next wall-clock second, so that two saves get different stamps.
void waitForNextSecond()
{
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    while (QDateTime::currentSecsSinceEpoch() == second)
        QThread::msleep(20);
}

} // namespace

// Saving: the name keeps every blank of the workflow's, the stamp follows the last one, the copy is verbatim.

struct SaveCase {
    const char *name;
    QString workflowName;
};

void PrintTo(const SaveCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupSave : public testing::TestWithParam<SaveCase> {};

TEST_P(BackupSave, CopiesVerbatimUnderTheStampedName)
{
    TestEnvironment env;
    const QString source = makeBundle(env, QStringLiteral("Library/Services"), GetParam().workflowName);
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    const QString saved = QuickActionBackupStore::save(source);
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);

    EXPECT_EQ(QFileInfo(saved).path(), QuickActionBackupStore::folder());
    EXPECT_EQ(QuickActionBackupStore::folder(), Paths::applicationSupport() + QStringLiteral("/Quick Action Backups"));
    const QRegularExpression shape(QStringLiteral("^") + QRegularExpression::escape(GetParam().workflowName) +
                                   QStringLiteral(" \\d{4}-\\d{2}-\\d{2}-\\d{6}\\.workflow$"));
    EXPECT_TRUE(shape.match(fileNameOf(saved)).hasMatch()) << saved.toStdString();
    const QDateTime stamp = QuickActionBackupStore::timestampOf(fileNameOf(saved));
    EXPECT_TRUE(stamp >= before.addMSecs(-before.time().msec()) && stamp <= after) << saved.toStdString();
    EXPECT_EQ(Faults::snapshot(saved), Faults::snapshot(source));
    EXPECT_TRUE(QFileInfo::exists(source));

    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 1);
    EXPECT_EQ(backups[0].url, saved);
    EXPECT_EQ(backups[0].workflowName, GetParam().workflowName);
    // Info.plist and document.wflow, nothing else.
    EXPECT_EQ(backups[0].sizeBytes, qint64(sizeof("<plist>info</plist>") - 1 + sizeof("<plist>actions</plist>") - 1));
    // The copy carries its original's 2001 modification time; the backup is dated by its own making.
    EXPECT_TRUE(backups[0].createdAt >= before.addMSecs(-before.time().msec()) && backups[0].createdAt <= after)
        << backups[0].createdAt.toString(Qt::ISODate).toStdString();
}

INSTANTIATE_TEST_SUITE_P(Names, BackupSave,
                         testing::Values(SaveCase{"one_word", QStringLiteral("Resize")},
                                         SaveCase{"blanks_kept", QStringLiteral("Resize Images For Web")},
                                         SaveCase{"double_blanks_kept", QStringLiteral("Tidy  the  Desktop")},
                                         SaveCase{"product_prefix", QStringLiteral("Vantrel - Tag Category Selector")},
                                         SaveCase{"accents", QStringLiteral("Résumé – Export")}),
                         [](const testing::TestParamInfo<SaveCase> &info) { return std::string(info.param.name); });

TEST(BackupSave, TwoBackupsInDifferentSecondsBothStayNewestFirst)
{
    TestEnvironment env;
    const QString source = makeBundle(env, QStringLiteral("Library/Services"), QStringLiteral("Rename Photos"), "v1");
    const QString first = QuickActionBackupStore::save(source);
    waitForNextSecond();
    QFile::remove(source + QStringLiteral("/Contents/document.wflow"));
    env.makeFile(QStringLiteral("Library/Services/Rename Photos.workflow/Contents/document.wflow"), "version 2");
    const QString second = QuickActionBackupStore::save(source);

    EXPECT_NE(first, second);
    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 2);
    EXPECT_EQ(backups[0].url, second);
    EXPECT_EQ(backups[1].url, first);
    EXPECT_GT(backups[0].createdAt, backups[1].createdAt);
    EXPECT_EQ(backups[0].workflowName, QStringLiteral("Rename Photos"));
    EXPECT_EQ(backups[1].workflowName, QStringLiteral("Rename Photos"));
    EXPECT_EQ(Faults::snapshot(first).value(QStringLiteral("Contents/document.wflow")), QByteArray("v1"));
    EXPECT_EQ(Faults::snapshot(second).value(QStringLiteral("Contents/document.wflow")), QByteArray("version 2"));
}

TEST(BackupSave, TwoBackupsInOneSecondFailWithTheCopyMessageAndKeepTheFirst)
{
    TestEnvironment env;
    const QString source = makeBundle(env, QStringLiteral("Library/Services"), QStringLiteral("Rename Photos"));
    // Both saves must fall in one second for the names to meet.
    waitForNextSecond();
    const QString first = QuickActionBackupStore::save(source);
    const auto firstFiles = Faults::snapshot(first);
    try {
        const QString second = QuickActionBackupStore::save(source);
        // The clock turned over between the two: they didn't meet, and both are there.
        EXPECT_NE(second, first);
    } catch (const BackupError &error) {
        EXPECT_EQ(error.message(), QStringLiteral("Couldn't copy the workflow: File exists"));
    }
    EXPECT_EQ(Faults::snapshot(first), firstFiles);
}

// Listing what the folder holds, whoever put it there.

struct ListCase {
    const char *name;
    std::function<void(TestEnvironment &)> arrange;
    QStringList expectedNames; // workflow names, newest first
    QList<qint64> expectedSizes;
};

void PrintTo(const ListCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupList : public testing::TestWithParam<ListCase> {};

TEST_P(BackupList, ReadsTheFolder)
{
    TestEnvironment env;
    if (GetParam().arrange)
        GetParam().arrange(env);
    const QList<Backup> backups = QuickActionBackupStore::list();
    QStringList names;
    QList<qint64> sizes;
    for (const Backup &backup : backups) {
        names.append(backup.workflowName);
        sizes.append(backup.sizeBytes);
        EXPECT_TRUE(backup.createdAt.isValid()) << backup.url.toStdString();
        EXPECT_EQ(QFileInfo(backup.url).path(), QuickActionBackupStore::folder());
    }
    EXPECT_EQ(names, GetParam().expectedNames);
    EXPECT_EQ(sizes, GetParam().expectedSizes);
}

const QString backupsFolder = QStringLiteral(".local/share/Vantrel/Quick Action Backups/");

INSTANTIATE_TEST_SUITE_P(
    Folders, BackupList,
    testing::Values(
        ListCase{"missing_folder_is_empty", nullptr, {}, {}},
        ListCase{"empty_folder_is_empty", [](TestEnvironment &env) { env.makeFolder(backupsFolder); }, {}, {}},
        ListCase{"only_workflow_bundles_count",
                 [](TestEnvironment &env) {
                     env.makeFile(backupsFolder + QStringLiteral("notes 2024-01-01-000000.txt"), "xx");
                     env.makeFile(backupsFolder + QStringLiteral("Keep 2024-01-01-000000.workflow/Contents/a"), "abc");
                     env.makeFile(backupsFolder + QStringLiteral("Stray.workflowx/Contents/a"), "abc");
                 },
                 {QStringLiteral("Keep")},
                 {3}},
        ListCase{"name_without_blank_is_kept_whole",
                 [](TestEnvironment &env) { env.makeFile(backupsFolder + QStringLiteral("Solo.workflow/a"), "12345"); },
                 {QStringLiteral("Solo")},
                 {5}},
        ListCase{"only_the_last_blank_separates",
                 [](TestEnvironment &env) {
                     env.makeFile(backupsFolder + QStringLiteral("Add Date To Name 2024-03-05-101112.workflow/a"), "1");
                 },
                 {QStringLiteral("Add Date To Name")},
                 {1}},
        ListCase{"size_totals_regular_files_at_every_depth",
                 [](TestEnvironment &env) {
                     const QString bundle = backupsFolder + QStringLiteral("Deep 2024-01-01-000000.workflow/");
                     env.makeFile(bundle + QStringLiteral("Contents/Info.plist"), QByteArray(100, 'i'));
                     env.makeFile(bundle + QStringLiteral("Contents/Resources/en.lproj/x.strings"),
                                  QByteArray(20, 's'));
                     env.makeFolder(bundle + QStringLiteral("Contents/Empty"));
                     // A link is not a regular file, nor is what it points to counted twice.
                     QFile::link(env.path(bundle + QStringLiteral("Contents/Info.plist")),
                                 env.path(bundle + QStringLiteral("Contents/link")));
                 },
                 {QStringLiteral("Deep")},
                 {120}},
        ListCase{"newest_first",
                 [](TestEnvironment &env) {
                     // Made oldest first, and stamped so, whichever date the file system can give.
                     env.makeFile(backupsFolder + QStringLiteral("Oldest 2024-01-01-000000.workflow/a"), "1");
                     QThread::msleep(20);
                     env.makeFile(backupsFolder + QStringLiteral("Middle 2024-06-01-000000.workflow/a"), "22");
                     QThread::msleep(20);
                     env.makeFile(backupsFolder + QStringLiteral("Newest 2025-01-01-000000.workflow/a"), "333");
                 },
                 {QStringLiteral("Newest"), QStringLiteral("Middle"), QStringLiteral("Oldest")},
                 {3, 2, 1}}),
    [](const testing::TestParamInfo<ListCase> &info) { return std::string(info.param.name); });

// The parts of a backup's file name.

struct NameCase {
    const char *name;
    QString fileName;
    QString workflowName;
    QDateTime stamp;
};

void PrintTo(const NameCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupFileName : public testing::TestWithParam<NameCase> {};

TEST_P(BackupFileName, SplitsAtTheLastBlank)
{
    EXPECT_EQ(QuickActionBackupStore::workflowNameOf(GetParam().fileName), GetParam().workflowName);
    EXPECT_EQ(QuickActionBackupStore::timestampOf(GetParam().fileName), GetParam().stamp);
}

INSTANTIATE_TEST_SUITE_P(
    Names, BackupFileName,
    testing::Values(NameCase{"stamped", QStringLiteral("Resize 2024-03-05-101112.workflow"), QStringLiteral("Resize"),
                             QDateTime(QDate(2024, 3, 5), QTime(10, 11, 12))},
                    NameCase{"blanks_in_the_name", QStringLiteral("Resize For Web 2023-12-31-235959.workflow"),
                             QStringLiteral("Resize For Web"), QDateTime(QDate(2023, 12, 31), QTime(23, 59, 59))},
                    NameCase{"no_blank", QStringLiteral("Resize.workflow"), QStringLiteral("Resize"), QDateTime()},
                    NameCase{"last_word_not_a_stamp", QStringLiteral("Resize Images.workflow"),
                             QStringLiteral("Resize"), QDateTime()}),
    [](const testing::TestParamInfo<NameCase> &info) { return std::string(info.param.name); });

// Restoring: back under the workflow's own name, never over one still installed.

enum class Installed { nothing, sameName, sameNameAsLink, otherName, noServicesFolder };

struct RestoreCase {
    const char *name;
    Installed installed;
    bool refused;
};

void PrintTo(const RestoreCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupRestore : public testing::TestWithParam<RestoreCase> {};

TEST_P(BackupRestore, PutsItBackOrRefuses)
{
    TestEnvironment env;
    const QString workflow = QStringLiteral("Resize Images For Web");
    const QString source = makeBundle(env, QStringLiteral("originals"), workflow, "original");
    QuickActionBackupStore::save(source);
    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 1);
    const auto backupFiles = Faults::snapshot(backups[0].url);

    const QString services = Paths::servicesFolder();
    const QString target = services + QLatin1Char('/') + workflow + QStringLiteral(".workflow");
    switch (GetParam().installed) {
    case Installed::nothing:
        QDir().mkpath(services);
        break;
    case Installed::sameName:
        QDir().mkpath(target);
        env.makeFile(QDir(env.home()).relativeFilePath(target) + QStringLiteral("/Contents/document.wflow"),
                     "installed and edited");
        break;
    case Installed::sameNameAsLink:
        QDir().mkpath(services);
        QFile::link(env.path(QStringLiteral("nowhere")), target);
        break;
    case Installed::otherName:
        makeBundle(env, QDir(env.home()).relativeFilePath(services), QStringLiteral("Resize Images"), "other");
        break;
    case Installed::noServicesFolder:
        break;
    }
    const auto servicesBefore = Faults::snapshot(services);
    const QStringList namesBefore = namesIn(services);

    if (GetParam().refused) {
        try {
            QuickActionBackupStore::restore(backups[0]);
            ADD_FAILURE() << "restored over an installed workflow";
        } catch (const BackupError &error) {
            EXPECT_EQ(error.message(), QStringLiteral("“Resize Images For Web” is still installed. Remove or rename "
                                                      "it in ") +
                                           Paths::displayPath(services) +
                                           QStringLiteral(" first, so restoring can't overwrite it."));
        }
        EXPECT_EQ(Faults::snapshot(services), servicesBefore);
        EXPECT_EQ(namesIn(services), namesBefore);
    } else {
        QuickActionBackupStore::restore(backups[0]);
        EXPECT_EQ(Faults::snapshot(target), backupFiles);
        QStringList expected = namesBefore;
        expected.append(workflow + QStringLiteral(".workflow"));
        expected.sort();
        EXPECT_EQ(namesIn(services), expected);
    }
    // The backup stays whatever happened.
    EXPECT_EQ(QuickActionBackupStore::list(), backups);
    EXPECT_EQ(Faults::snapshot(backups[0].url), backupFiles);
}

INSTANTIATE_TEST_SUITE_P(Targets, BackupRestore,
                         testing::Values(RestoreCase{"not_installed", Installed::nothing, false},
                                         RestoreCase{"services_folder_missing", Installed::noServicesFolder, false},
                                         RestoreCase{"another_workflow_installed", Installed::otherName, false},
                                         RestoreCase{"still_installed", Installed::sameName, true},
                                         RestoreCase{"a_link_under_its_name", Installed::sameNameAsLink, true}),
                         [](const testing::TestParamInfo<RestoreCase> &info) { return std::string(info.param.name); });

// Deleting goes to the Trash: the backup may be the only copy of the workflow left.

TEST(BackupRemove, MovesTheBackupToTheTrash)
{
    TestEnvironment env;
    const QString saved = QuickActionBackupStore::save(
        makeBundle(env, QStringLiteral("originals"), QStringLiteral("Only Copy"), "irreplaceable"));
    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 1);
    QuickActionBackupStore::remove(backups[0]);
    EXPECT_FALSE(QFileInfo::exists(saved));
    EXPECT_TRUE(QuickActionBackupStore::list().isEmpty());
    const QString trashed = env.path(QStringLiteral(".local/share/Trash/files/")) + fileNameOf(saved);
    EXPECT_EQ(Faults::snapshot(trashed).value(QStringLiteral("Contents/document.wflow")), QByteArray("irreplaceable"));
    EXPECT_TRUE(QFileInfo::exists(env.path(QStringLiteral(".local/share/Trash/info/")) + fileNameOf(saved) +
                                  QStringLiteral(".trashinfo")));
}

TEST(BackupRemove, AGoneBackupSaysWhy)
{
    TestEnvironment env;
    const QString saved =
        QuickActionBackupStore::save(makeBundle(env, QStringLiteral("originals"), QStringLiteral("Gone")));
    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 1);
    QDir(saved).removeRecursively();
    try {
        QuickActionBackupStore::remove(backups[0]);
        ADD_FAILURE() << "trashed a backup that isn't there";
    } catch (const BackupError &error) {
        EXPECT_EQ(error.message(), QStringLiteral("Couldn't move the backup to the Trash: No such file or directory"));
    }
}

// The card's and the application's texts name the folder that stands in for ~/Library/Services.

struct TextCase {
    const char *name;
    std::function<QString()> text;
    QString expected; // "{services}" is the Services folder as shown
};

void PrintTo(const TextCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupTexts : public testing::TestWithParam<TextCase> {};

TEST_P(BackupTexts, NameTheServicesFolder)
{
    TestEnvironment env;
    const QString shown = Paths::displayPath(Paths::servicesFolder());
    EXPECT_EQ(shown, QStringLiteral("~/.local/share/Vantrel/Services"));
    QString expected = GetParam().expected;
    expected.replace(QStringLiteral("{services}"), shown);
    EXPECT_EQ(GetParam().text(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, BackupTexts,
    testing::Values(
        TextCase{"card_description", [] { return QuickActionBackupStore::cardDescription(); },
                 QStringLiteral("Copies of your Quick Actions taken when you converted them. Restore puts one back in "
                                "{services} — it never overwrites a workflow that's still installed.")},
        TextCase{"card_title_none", [] { return QuickActionBackupStore::cardTitle(0); },
                 QStringLiteral("Backups of your originals · 0")},
        TextCase{"card_title_several", [] { return QuickActionBackupStore::cardTitle(12); },
                 QStringLiteral("Backups of your originals · 12")},
        TextCase{"restored", [] { return QuickActionBackupStore::restoredMessage(QStringLiteral("Resize")); },
                 QStringLiteral("Restored “Resize” to {services}. It's back in Finder's Quick Actions menu.")}),
    [](const testing::TestParamInfo<TextCase> &info) { return std::string(info.param.name); });

// Faults: a disk that fills and a folder the kernel won't change. Nothing is lost or half-written, and
// the message gives the system's reason.

struct FullDiskCase {
    const char *name;
    bool fillFirst;     // the disk is full before the copy starts
    qint64 bundleBytes; // else the bundle is bigger than the disk
};

void PrintTo(const FullDiskCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupSaveOnAFullDisk : public testing::TestWithParam<FullDiskCase> {};

TEST_P(BackupSaveOnAFullDisk, LeavesNothingUnderTheNameAndTheFolderAsItWas)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    TestEnvironment env;
    const Faults::TinyDisk disk(QuickActionBackupStore::folder(), 256LL * 1024);
    ASSERT_TRUE(disk.mounted());
    // An earlier backup on the disk must come through untouched.
    const QString earlier = makeBundle(env, QStringLiteral("originals"), QStringLiteral("Earlier"), "kept");
    QuickActionBackupStore::save(earlier);
    const QString source = makeBundle(env, QStringLiteral("originals"), QStringLiteral("Big One"),
                                      QByteArray(GetParam().bundleBytes, 'b'));
    if (GetParam().fillFirst)
        disk.fill();
    const auto filesBefore = Faults::snapshot(disk.path());
    const QStringList namesBefore = namesIn(disk.path());

    try {
        QuickActionBackupStore::save(source);
        ADD_FAILURE() << "saved onto a full disk";
    } catch (const BackupError &error) {
        EXPECT_TRUE(error.message().startsWith(QStringLiteral("Couldn't copy the workflow: ")))
            << error.message().toStdString();
        EXPECT_TRUE(error.message().contains(QStringLiteral("No space left on device")))
            << error.message().toStdString();
    }
    EXPECT_EQ(namesIn(disk.path()), namesBefore);
    EXPECT_EQ(Faults::snapshot(disk.path()), filesBefore);
    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 1);
    EXPECT_EQ(backups[0].workflowName, QStringLiteral("Earlier"));
    EXPECT_TRUE(QFileInfo::exists(source));
}

INSTANTIATE_TEST_SUITE_P(Disks, BackupSaveOnAFullDisk,
                         testing::Values(FullDiskCase{"already_full", true, 4096},
                                         FullDiskCase{"fills_during_the_copy", false, 1024LL * 1024}),
                         [](const testing::TestParamInfo<FullDiskCase> &info) { return std::string(info.param.name); });

enum class LockedAction { restore, save, remove };

struct ImmutableCase {
    const char *name;
    LockedAction action; // restore locks the Services folder, the others the backup folder
    QString message;
};

void PrintTo(const ImmutableCase &c, std::ostream *os)
{
    *os << c.name;
}

class BackupImmutableFolder : public testing::TestWithParam<ImmutableCase> {};

TEST_P(BackupImmutableFolder, RefusesWithTheSystemsReason)
{
    TestEnvironment env;
    const QString source = makeBundle(env, QStringLiteral("originals"), QStringLiteral("Locked Out"), "data");
    QuickActionBackupStore::save(source);
    const QList<Backup> backups = QuickActionBackupStore::list();
    ASSERT_EQ(backups.size(), 1);
    const QString services = Paths::servicesFolder();
    makeBundle(env, QDir(env.home()).relativeFilePath(services), QStringLiteral("Someone Else"), "theirs");
    const QString locked = GetParam().action == LockedAction::restore ? services : QuickActionBackupStore::folder();
    const auto filesBefore = Faults::snapshot(locked);
    const QStringList namesBefore = namesIn(locked);
    const Faults::Immutable immutable(locked);
    if (!immutable.applied())
        GTEST_SKIP() << "chattr +i is refused on this file system";
    // A save in the same second would meet the first backup's name and fail for that reason instead.
    if (GetParam().action == LockedAction::save)
        waitForNextSecond();

    try {
        switch (GetParam().action) {
        case LockedAction::restore:
            QuickActionBackupStore::restore(backups[0]);
            break;
        case LockedAction::save:
            QuickActionBackupStore::save(source);
            break;
        case LockedAction::remove:
            QuickActionBackupStore::remove(backups[0]);
            break;
        }
        ADD_FAILURE() << "changed an immutable folder";
    } catch (const BackupError &error) {
        EXPECT_EQ(error.message(), GetParam().message);
    }
    EXPECT_EQ(namesIn(locked), namesBefore);
    EXPECT_EQ(Faults::snapshot(locked), filesBefore);
    EXPECT_EQ(QuickActionBackupStore::list(), backups);
    EXPECT_TRUE(namesIn(env.path(QStringLiteral(".local/share/Trash/files"))).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Folders, BackupImmutableFolder,
    testing::Values(ImmutableCase{"restore_into_immutable_services", LockedAction::restore,
                                  QStringLiteral("Couldn't copy the workflow: Operation not permitted")},
                    ImmutableCase{"save_into_immutable_backups", LockedAction::save,
                                  QStringLiteral("Couldn't copy the workflow: Operation not permitted")},
                    ImmutableCase{"remove_from_immutable_backups", LockedAction::remove,
                                  QStringLiteral("Couldn't move the backup to the Trash: Operation not permitted")}),
    [](const testing::TestParamInfo<ImmutableCase> &info) { return std::string(info.param.name); });
