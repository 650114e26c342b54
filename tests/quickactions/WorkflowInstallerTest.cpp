#include "quickactions/WorkflowInstaller.h"

#include "TestEnvironment.h"
#include "TreeSnapshot.h"
#include "UsersQuickActions.h"
#include "platform/Paths.h"
#include "platform/ServicesRegistry.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

using namespace WorkflowInstaller;

// Points the application's resources at a folder of the test's making while it lives.
class Resources {
public:
    explicit Resources(const QString &folder) : saved(qgetenv("VANTREL_RESOURCES"))
    {
        qputenv("VANTREL_RESOURCES", QFile::encodeName(folder));
    }
    ~Resources()
    {
        if (saved.isEmpty())
            qunsetenv("VANTREL_RESOURCES");
        else
            qputenv("VANTREL_RESOURCES", saved);
    }
    Resources(const Resources &) = delete;
    Resources &operator=(const Resources &) = delete;

private:
    QByteArray saved;
};

QStringList enabledNames()
{
    QStringList names;
    const auto status = ServicesRegistry::system().load();
    if (!status)
        return names;
    for (auto it = status->cbegin(); it != status->cend(); ++it)
        names.append(it.key());
    names.sort();
    return names;
}

} // namespace

TEST(WorkflowInstaller, InstallsTheSevenBundlesAndEnablesTheirNames)
{
    TestEnvironment env;
    EXPECT_EQ(statusCheck(), Status(ready{7}));
    EXPECT_EQ(installAll(), Status(installed{7}));
    const QStringList bundles = installedBundles();
    ASSERT_EQ(bundles.size(), 7);
    EXPECT_TRUE(bundles.first().endsWith(QStringLiteral("/Vantrel - Clean Duplicate Comments.workflow")));
    const QStringList names = menuNames(bundles);
    ASSERT_EQ(names.size(), 7);
    QStringList keys;
    for (const QString &name : names)
        keys.append(ServicesRegistry::key(name));
    keys.sort();
    EXPECT_EQ(enabledNames(), keys);
    // Nothing half-made is left beside them.
    EXPECT_EQ(QDir(Paths::servicesFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).size(),
              7);
}

TEST(WorkflowInstaller, AnUpdateReplacesTheOldCopyWhole)
{
    TestEnvironment env;
    ASSERT_EQ(installAll(), Status(installed{7}));
    const QString bundle = installedBundles().first();
    const QString stale = bundle + QStringLiteral("/Contents/left-over");
    QFile marker(stale);
    ASSERT_TRUE(marker.open(QIODevice::WriteOnly));
    marker.close();
    EXPECT_EQ(installAll(), Status(installed{7}));
    EXPECT_FALSE(QFile::exists(stale));
    EXPECT_TRUE(QFile::exists(bundle + QStringLiteral("/Contents/Info.plist")));
}

TEST(WorkflowInstaller, TheUsersOwnQuickActionsSurviveEveryFlow)
{
    TestEnvironment env;
    addUsersOwnQuickActions();
    const QString services = Paths::servicesFolder();
    const auto before = treeSnapshot(services);
    ASSERT_FALSE(before.isEmpty());
    ASSERT_EQ(installAll(), Status(installed{7}));
    EXPECT_EQ(removeAll().size(), 7);
    EXPECT_EQ(treeSnapshot(services), before);
    EXPECT_TRUE(installedBundles().isEmpty());
}

TEST(WorkflowInstaller, RemovingOneTwiceFailsTheSecondTime)
{
    TestEnvironment env;
    ASSERT_EQ(installAll(), Status(installed{7}));
    const QString bundle = installedBundles().last();
    EXPECT_TRUE(removeOne(bundle));
    EXPECT_FALSE(removeOne(bundle));
    // A bundle that isn't ours is never removed, whatever it is asked.
    const QString users = env.makeFolder(QStringLiteral(".local/share/Vantrel/Services/Mine.workflow/Contents"));
    EXPECT_FALSE(removeOne(QFileInfo(users).absolutePath()));
    EXPECT_TRUE(QFileInfo::exists(users));

    // A link under our name goes alone, never what it leads to; a dangling one goes too.
    const QString link = Paths::servicesFolder() + QStringLiteral("/Vantrel - Linked.workflow");
    ASSERT_TRUE(QFile::link(QFileInfo(users).absolutePath(), link));
    EXPECT_TRUE(removeOne(link));
    EXPECT_FALSE(QFileInfo(link).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(users));
    ASSERT_TRUE(QFile::link(env.path(QStringLiteral("nowhere")), link));
    EXPECT_TRUE(removeOne(link));
    EXPECT_FALSE(QFileInfo(link).isSymLink());
}

namespace {

struct MissingCase {
    const char *name;
    // Makes the resources folder, below the home, the way this row wants it.
    std::function<void(TestEnvironment &)> make;
};

void PrintTo(const MissingCase &c, std::ostream *os)
{
    *os << c.name;
}

class WithoutBundles : public testing::TestWithParam<MissingCase> {};

} // namespace

TEST_P(WithoutBundles, NothingIsCopied)
{
    TestEnvironment env;
    GetParam().make(env);
    const Resources resources(env.path(QStringLiteral("res")));
    EXPECT_EQ(statusCheck(), Status(bundleMissing{}));
    EXPECT_EQ(installAll(), Status(bundleMissing{}));
    EXPECT_FALSE(QFileInfo::exists(Paths::servicesFolder()) && !installedBundles().isEmpty());
    EXPECT_FALSE(ServicesRegistry::system().load().has_value());
}

INSTANTIATE_TEST_SUITE_P(
    Resources, WithoutBundles,
    testing::Values(MissingCase{"NoResourcesFolder", [](TestEnvironment &) {}},
                    MissingCase{"AnEmptyWorkflowsFolder",
                                [](TestEnvironment &env) { env.makeFolder(QStringLiteral("res/Workflows")); }},
                    MissingCase{"OnlyOtherFiles",
                                [](TestEnvironment &env) { env.makeFile(QStringLiteral("res/Workflows/notes.txt")); }}),
    [](const testing::TestParamInfo<MissingCase> &info) { return std::string(info.param.name); });

TEST(WorkflowInstaller, ABundleWithoutAnInfoListInstallsWithoutARegistryEntry)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral("res/Workflows/Vantrel - Bare.workflow/Contents/document.wflow"), "<plist/>");
    const Resources resources(env.path(QStringLiteral("res")));
    EXPECT_EQ(installAll(), Status(installed{1}));
    EXPECT_EQ(installedBundles().size(), 1);
    EXPECT_TRUE(menuNames(installedBundles()).isEmpty());
    EXPECT_TRUE(enabledNames().isEmpty());
}

TEST(WorkflowInstaller, AServicesFolderThatCantBeMadeFailsWithTheReason)
{
    TestEnvironment env;
    env.makeFile(QStringLiteral(".local/share/Vantrel/Services"), "a file in the way");
    EXPECT_EQ(installAll(), Status(failed{QStringLiteral("Not a directory")}));
    EXPECT_FALSE(ServicesRegistry::system().load().has_value());
}
