// The transfer profile library under a full disk and names that aren't UTF-8: a change the disk refuses
// is not made, the older file stays whole, and a raw name is read and written under its own bytes.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "platform/AtomicFile.h"
#include "platform/NativeNames.h"
#include "transfer/rules/TransferProfileCodec.h"

#include <QDir>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

QStringList partialsIn(const QString &folder)
{
    return QDir(folder).entryList({PartialFiles::prefix() + QLatin1Char('*')},
                                  QDir::AllEntries | QDir::Hidden | QDir::System);
}

QString bannerOf(const AppState &state)
{
    return state.packBanner() ? state.packBanner()->message : QString();
}

// A file under a name given as bytes.
void writeRaw(const QByteArray &path, const QByteArray &content)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::write(fd, content.constData(), size_t(content.size())), content.size());
    ::close(fd);
}

} // namespace

TEST(TransferProfileFaults, AFullDiskRefusesTheChangeAndKeepsEveryProfileWhole)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    const Faults::TinyDisk disk(TransferProfileStore::defaultFolder(), 256 * 1024);
    ASSERT_TRUE(disk.mounted());
    auto state = env.makeAppState();
    TransferProfile kept = TransferProfileStore::newProfile();
    kept.name = QStringLiteral("Kept");
    ASSERT_TRUE(state->addTransferProfile(kept));
    const auto before = Faults::snapshot(disk.path());
    const TransferProfile stored = state->transferProfileStore().profiles().first();
    const QString shared = env.makeFile(QStringLiteral("shared.vantreltransfer"), TransferProfileCodec::encode(kept));
    disk.fill();
    const auto full = Faults::snapshot(disk.path());

    // A new profile, an edit of the kept one and an import: each refused, with the system's reason.
    EXPECT_FALSE(state->addTransferProfile(TransferProfileStore::newProfile()));
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Couldn't save “New profile”: No space left on device"));
    TransferProfile edited = stored;
    edited.name = QStringLiteral("Edited");
    edited.rules.append(edited.rules.first());
    EXPECT_EQ(state->transferProfileStore().save(edited), QStringLiteral("No space left on device"));
    EXPECT_EQ(state->importTransferProfile(shared), std::nullopt);
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Couldn't import “shared.vantreltransfer”: No space left on device"));

    EXPECT_EQ(state->transferProfileStore().profiles(), QList<TransferProfile>{stored});
    EXPECT_EQ(state->transferProfileSelection(), stored.id);
    EXPECT_EQ(Faults::snapshot(disk.path()), full);
    EXPECT_TRUE(partialsIn(disk.path()).isEmpty());
    // The next start reads the same library.
    auto restarted = env.makeAppState();
    EXPECT_EQ(restarted->transferProfileStore().profiles(), QList<TransferProfile>{stored});
    EXPECT_EQ(before.size() + 1, full.size()); // the fill file, and nothing else
}

TEST(TransferProfileFaults, AnExportOntoAFullDiskLeavesNoFileBehind)
{
    if (const auto why = Faults::tmpfsUnavailable())
        GTEST_SKIP() << why->toStdString();
    AppTestEnvironment env;
    auto state = env.makeAppState();
    ASSERT_TRUE(state->addTransferProfile(TransferProfileStore::newProfile()));
    const Faults::TinyDisk disk(env.path(QStringLiteral("stick")), 64 * 1024);
    ASSERT_TRUE(disk.mounted());
    disk.fill();
    const auto full = Faults::snapshot(disk.path());
    const QString target = disk.path() + QStringLiteral("/profile.vantreltransfer");
    EXPECT_FALSE(state->exportTransferProfile(*state->transferProfileSelection(), target));
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Couldn't export “New profile”: No space left on device"));
    EXPECT_EQ(Faults::snapshot(disk.path()), full);
}

TEST(TransferProfileFaults, ANameThatIsNotUtf8IsImportedAndExportedUnderItsOwnBytes)
{
    AppTestEnvironment env;
    auto state = env.makeAppState();
    TransferProfile shared = TransferProfileStore::newProfile();
    shared.name = QStringLiteral("Café");
    const QByteArray folder = env.makeFolder(QStringLiteral("in")).toUtf8();
    const QByteArray rawName = "caf\xE9.vantreltransfer";
    const QByteArray rawPath = folder + '/' + rawName;
    const QByteArray out = folder + QByteArray("/back \xFF.vantreltransfer");
    // The temporary home is removed through QDir, which can't name these files.
    const auto removeRaw = qScopeGuard([&] {
        ::unlink(rawPath.constData());
        ::unlink(out.constData());
    });
    writeRaw(rawPath, TransferProfileCodec::encode(shared));
    const QString path = NativeNames::decode(rawPath);

    const auto imported = state->importTransferProfile(path);
    ASSERT_TRUE(imported.has_value()) << bannerOf(*state).toStdString();
    EXPECT_EQ(bannerOf(*state), QStringLiteral("Imported “Café” from caf\\xE9.vantreltransfer."));

    ASSERT_TRUE(state->exportTransferProfile(imported->id, NativeNames::decode(out)));
    const int fd = ::open(out.constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0) << "the export isn't under its own bytes";
    ::close(fd);
    // Nothing beside them under a mangled name.
    QList<QByteArray> names;
    if (DIR *listing = ::opendir(folder.constData())) {
        while (const dirent *entry = ::readdir(listing)) {
            if (entry->d_name[0] != '.')
                names.append(QByteArray(entry->d_name));
        }
        ::closedir(listing);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (QList<QByteArray>{"back \xFF.vantreltransfer", rawName}));
}
