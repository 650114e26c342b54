#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "transfer/route/RouteRunner.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace Route;
using Item = RouteResult::ItemResult;

namespace {

RoutePlan moves(const QStringList &sources, const QString &folder)
{
    RoutePlan plan;
    for (const QString &source : sources)
        plan.matches.append({source, {}, {ResolvedAction::moveTo{folder}}});
    return plan;
}

QString failureOf(const Item &item)
{
    const auto *failure = std::get_if<Item::failed>(&item.value);
    return failure ? failure->message : QString();
}

} // namespace

TEST(RouteFaults, AMoveOntoAFullDiskFailsThatFileAndLeavesItsOriginal)
{
    if (const auto reason = Faults::tmpfsUnavailable())
        GTEST_SKIP() << reason->toStdString();
    AppTestEnvironment env;
    const QString small = env.makeFile(QStringLiteral("in/small.txt"), "small");
    const QString big = env.makeFile(QStringLiteral("in/big.bin"), QByteArray(3 << 20, 'b'));
    const auto before = Faults::snapshot(env.path(QStringLiteral("in")));
    const Faults::TinyDisk disk(env.path(QStringLiteral("Stick")), 1 << 20);
    ASSERT_TRUE(disk.mounted());

    const RouteResult result =
        RouteRunner::run(moves({big, small}, disk.path() + QStringLiteral("/Sorted")), TransferEngine::skip{}, false);
    ASSERT_EQ(result.outcomes.size(), 2);
    EXPECT_EQ(failureOf(result.outcomes[0].result), QStringLiteral("No space left on device"));
    // Across disks a move is a copy and the original goes to the Trash, never away for good.
    EXPECT_EQ(result.outcomes[1].result, Item{Item::moved{disk.path() + QStringLiteral("/Sorted/small.txt")}});
    EXPECT_TRUE(QFile::exists(big));
    EXPECT_FALSE(QFile::exists(small));
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral(".local/share/Trash/files/small.txt"))));
    EXPECT_EQ(
        QDir(disk.path() + QStringLiteral("/Sorted")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList{QStringLiteral("small.txt")})
        << "no partial copy is left beside the routed file";
    EXPECT_EQ(Faults::snapshot(env.path(QStringLiteral("in"))).value(QStringLiteral("/big.bin")),
              before.value("/big.bin"));
}

TEST(RouteFaults, AnImmutableOldFileIsNeitherOverwrittenNorLost)
{
    AppTestEnvironment env;
    const QString source = env.makeFile(QStringLiteral("in/report.pdf"), "new");
    const QString old = env.makeFile(QStringLiteral("Invoices/report.pdf"), "old");
    const Faults::Immutable locked(old);
    if (!locked.applied())
        GTEST_SKIP() << "chattr +i is refused on this file system";
    const RouteResult result =
        RouteRunner::run(moves({source}, env.path(QStringLiteral("Invoices"))), TransferEngine::overwrite{}, false);
    ASSERT_EQ(result.outcomes.size(), 1);
    EXPECT_FALSE(failureOf(result.outcomes[0].result).isEmpty());
    QFile oldFile(old);
    ASSERT_TRUE(oldFile.open(QIODevice::ReadOnly));
    EXPECT_EQ(oldFile.readAll(), "old");
    EXPECT_TRUE(QFile::exists(source));
}
