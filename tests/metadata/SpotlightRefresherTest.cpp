#include "metadata/SpotlightRefresher.h"

#include "TestEnvironment.h"
#include "platform/Indexer.h"
#include "scan/ScanState.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

// PATH points at a folder of the test's own, so which indexer is "installed" is the test's choice.
class IndexerPath {
public:
    explicit IndexerPath(TestEnvironment &env) : folder(env.makeFolder(QStringLiteral("bin"))), saved(qgetenv("PATH"))
    {
        qputenv("PATH", QFile::encodeName(folder));
    }
    ~IndexerPath() { qputenv("PATH", saved); }
    IndexerPath(const IndexerPath &) = delete;
    IndexerPath &operator=(const IndexerPath &) = delete;

    // A balooctl that fails for paths containing "fail" and logs what it was asked.
    void installBaloo()
    {
        const QString script = folder + QStringLiteral("/balooctl");
        QFile file(script);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\necho \"$@\" >> \"${0%/*}/asked.log\"\ncase \"$2\" in *fail*) echo 'no such file in the "
                   "index' >&2; echo more >&2; exit 1;; esac\n"
                   "exit 0\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QString asked() const
    {
        QFile log(folder + QStringLiteral("/asked.log"));
        return log.open(QIODevice::ReadOnly) ? QString::fromUtf8(log.readAll()) : QString();
    }

private:
    QString folder;
    QByteArray saved;
};

// The refresher run as the application runs it, a scan task, and the report that comes of it.
ScanReport refreshAsAScan(TestEnvironment &env, const QStringList &paths)
{
    ScanState scans(env.defaults());
    SpotlightRefresher::run(paths, scans);
    EXPECT_TRUE(TestEnvironment::runUntilIdle());
    EXPECT_FALSE(scans.isScanning());
    EXPECT_TRUE(scans.activeReport().has_value());
    return scans.activeReport().value_or(ScanReport{});
}

} // namespace

TEST(SpotlightRefresher, WithoutAnIndexerEveryPathFails)
{
    TestEnvironment env;
    IndexerPath path(env);
    EXPECT_FALSE(Indexer::command(QStringLiteral("/tmp")).has_value());
    const QString file = env.makeFile(QStringLiteral("a.txt"), "abc");
    const ScanReport report = refreshAsAScan(env, {file});
    EXPECT_EQ(report.workflowID, QStringLiteral("spotlight-refresher"));
    EXPECT_EQ(report.title, QStringLiteral("Spotlight Refresher"));
    const QString reason = QStringLiteral("No desktop indexer is installed (tracker3, balooctl6 or balooctl).");
    EXPECT_EQ(report.summary, QStringLiteral("All 1 refreshes failed: ") + reason);
    ASSERT_EQ(report.items.size(), 1);
    EXPECT_EQ(report.items[0].badge, QStringLiteral("failed: ") + reason);
    EXPECT_EQ(report.failures, (QList<ItemFailure>{{file, reason}}));
    EXPECT_EQ(report.items[0].size, 3u);
}

TEST(SpotlightRefresher, AsksTheIndexerForEachPathInOrderWithoutWalkingFolders)
{
    TestEnvironment env;
    IndexerPath path(env);
    path.installBaloo();
    const QString folder = env.makeFolder(QStringLiteral("Docs"));
    env.makeFile(QStringLiteral("Docs/inner.txt"), "12");
    const QString failing = env.makeFile(QStringLiteral("will-fail.txt"));
    const ScanReport report = refreshAsAScan(env, {folder, failing});
    EXPECT_EQ(path.asked(), QStringLiteral("index %1\nindex %2\n").arg(folder, failing));
    EXPECT_EQ(report.summary, QStringLiteral("Refreshed 1 · 1 failed: balooctl exited with status 1: no such file "
                                             "in the index."));
    ASSERT_EQ(report.items.size(), 2);
    EXPECT_EQ(report.items[0].url, folder);
    EXPECT_EQ(report.items[0].badge, QStringLiteral("refreshed"));
    // A folder's row takes the size of the first file a walk of it gives.
    EXPECT_EQ(report.items[0].size, 2u);
    EXPECT_EQ(report.items[1].badge,
              QStringLiteral("failed: balooctl exited with status 1: no such file in the index"));
    EXPECT_EQ(report.failures, (QList<ItemFailure>{{failing, QStringLiteral("balooctl exited with status 1: no such "
                                                                            "file in the index")}}));
}

struct RefreshSummaryCase {
    const char *name;
    int succeeded;
    int failed;
    const char *summary;
};

void PrintTo(const RefreshSummaryCase &c, std::ostream *os)
{
    *os << c.name;
}

class RefreshSummary : public ::testing::TestWithParam<RefreshSummaryCase> {};

TEST_P(RefreshSummary, SaysHowManyWereRefreshed)
{
    QList<SpotlightRefresher::Result> results;
    for (int i = 0; i < GetParam().succeeded; ++i)
        results.append({QStringLiteral("/ok"), true, QString()});
    for (int i = 0; i < GetParam().failed; ++i)
        results.append({QStringLiteral("/no"), false, QStringLiteral("Busy")});
    EXPECT_EQ(SpotlightRefresher::summary(results), QString::fromUtf8(GetParam().summary));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefreshSummary,
    ::testing::Values(RefreshSummaryCase{"NoPaths", 0, 0, "Nothing to refresh."},
                      RefreshSummaryCase{"AllFailed", 0, 1, "All 1 refreshes failed: Busy."},
                      RefreshSummaryCase{"SomeFailed", 1, 1, "Refreshed 1 · 1 failed: Busy."},
                      RefreshSummaryCase{"OneRefreshed", 1, 0, "Refreshed Spotlight metadata for 1 path."},
                      RefreshSummaryCase{"AllRefreshed", 3, 0, "Refreshed Spotlight metadata for 3 paths."}),
    [](const testing::TestParamInfo<RefreshSummaryCase> &info) { return std::string(info.param.name); });
