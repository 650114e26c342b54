#include "steward/ProjectDetection.h"
#include "TestEnvironment.h"
#include "platform/NativeNames.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ProjectDetection;

namespace {

struct MarkerCase {
    const char *name;
    // Entries made in the folder; a trailing "/" makes a folder.
    QStringList entries;
    std::optional<ProjectKind> kind;
};

void PrintTo(const MarkerCase &c, std::ostream *os)
{
    *os << c.name;
}

void make(TestHome &env, const QString &folder, const QStringList &entries)
{
    env.makeFolder(folder);
    for (const QString &entry : entries) {
        if (entry.endsWith(QLatin1Char('/')))
            env.makeFolder(folder + QLatin1Char('/') + entry.chopped(1));
        else
            env.makeFile(folder + QLatin1Char('/') + entry, "x");
    }
}

class Markers : public testing::TestWithParam<MarkerCase> {};

QStringList projectRoots(const ScanResults &results)
{
    QStringList roots;
    for (const DetectedProject &project : results.projects)
        roots.append(project.structure.projectRoot);
    roots.sort();
    return roots;
}

ScanResults scanOf(const QStringList &roots)
{
    return scan(
        roots, [](const ScanProgress &) {}, std::stop_token{});
}

quint64 allocatedOf(const QString &path)
{
    struct stat status {};
    EXPECT_EQ(::lstat(NativeNames::encode(path).constData(), &status), 0);
    return quint64(status.st_blocks) * 512;
}

} // namespace

TEST_P(Markers, TheFirstMarkerInTheTableDecides)
{
    TestHome env;
    make(env, QStringLiteral("p"), GetParam().entries);
    const auto structure = ProjectStructure::detect(env.path(QStringLiteral("p")));
    ASSERT_EQ(structure.has_value(), GetParam().kind.has_value());
    if (structure) {
        EXPECT_EQ(ProjectKinds::toString(structure->kind), ProjectKinds::toString(*GetParam().kind));
        EXPECT_EQ(structure->projectRoot, env.path(QStringLiteral("p")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Folders, Markers,
    testing::Values(MarkerCase{"Unity", {"Assets/", "ProjectSettings/"}, ProjectKind::unity},
                    MarkerCase{"AssetsAloneIsNotUnity", {"Assets/"}, std::nullopt},
                    MarkerCase{"UnityUnderGitIsUnity", {"Assets/", "ProjectSettings/", ".git/"}, ProjectKind::unity},
                    MarkerCase{"UnityBeforeNode", {"Assets/", "ProjectSettings/", "package.json"}, ProjectKind::unity},
                    MarkerCase{"XcodeProject", {"App.xcodeproj/"}, ProjectKind::xcode},
                    MarkerCase{"XcodeWorkspace", {"App.xcworkspace/"}, ProjectKind::xcode},
                    MarkerCase{"XcodeBeforeSwiftPackage", {"App.xcodeproj/", "Package.swift"}, ProjectKind::xcode},
                    MarkerCase{"SwiftPackage", {"Package.swift"}, ProjectKind::swiftPackage},
                    MarkerCase{"SwiftPackageBeforeNode", {"Package.swift", "package.json"}, ProjectKind::swiftPackage},
                    MarkerCase{"Node", {"package.json"}, ProjectKind::node},
                    MarkerCase{"NodeBeforeRust", {"package.json", "Cargo.toml"}, ProjectKind::node},
                    MarkerCase{"Rust", {"Cargo.toml"}, ProjectKind::rust},
                    MarkerCase{"RustBeforePython", {"Cargo.toml", "pyproject.toml"}, ProjectKind::rust},
                    MarkerCase{"PythonByPyproject", {"pyproject.toml"}, ProjectKind::python},
                    MarkerCase{"PythonBySetupPy", {"setup.py"}, ProjectKind::python},
                    MarkerCase{"PythonByRequirements", {"requirements.txt"}, ProjectKind::python},
                    MarkerCase{"PythonBeforeGodot", {"setup.py", "project.godot"}, ProjectKind::python},
                    MarkerCase{"Godot", {"project.godot"}, ProjectKind::godot},
                    MarkerCase{"GodotBeforeGit", {"project.godot", ".git/"}, ProjectKind::godot},
                    MarkerCase{"GitIsWhatIsLeft", {".git/", "README.md"}, ProjectKind::gitRepo},
                    MarkerCase{"MarkerNamesAreExact", {"Package.json", "cargo.toml", "README.md"}, std::nullopt},
                    MarkerCase{"NoMarkerIsNoProject", {"notes.txt", "src/"}, std::nullopt}),
    [](const testing::TestParamInfo<MarkerCase> &info) { return std::string(info.param.name); });

TEST(ProjectStructure, APathsTableFollowsTheKind)
{
    TestHome env;
    make(env, QStringLiteral("game"), {"Assets/", "ProjectSettings/"});
    make(env, QStringLiteral("app"), {"App.xcodeproj/", "App.xcworkspace/", "Other.xcodeproj/"});
    const QString game = env.path(QStringLiteral("game"));
    const QString app = env.path(QStringLiteral("app"));
    const auto unity = ProjectStructure::detect(game);
    ASSERT_TRUE(unity);
    EXPECT_EQ(unity->managedPaths, (QStringList{game + "/Assets", game + "/ProjectSettings", game + "/Packages"}));
    EXPECT_EQ(unity->safeAdditivePaths, QStringList{game + "/Assets/Imported"});
    EXPECT_EQ(unity->derivedPaths,
              (QStringList{game + "/Library", game + "/Temp", game + "/obj", game + "/Logs", game + "/UserSettings"}));
    const auto xcode = ProjectStructure::detect(app);
    ASSERT_TRUE(xcode);
    EXPECT_EQ(xcode->managedPaths,
              (QStringList{app + "/App.xcodeproj", app + "/App.xcworkspace", app + "/Other.xcodeproj"}));
    EXPECT_TRUE(xcode->safeAdditivePaths.isEmpty());
    EXPECT_EQ(xcode->derivedPaths, QStringList{app + "/.build"});
}

TEST(ProjectStructure, KindsKeepTheirRawValues)
{
    for (const ProjectKind kind : ProjectKinds::all())
        EXPECT_EQ(ProjectKinds::fromString(ProjectKinds::toString(kind)), kind);
    EXPECT_EQ(ProjectKinds::toString(ProjectKind::swiftPackage), QStringLiteral("swiftPackage"));
    EXPECT_FALSE(ProjectKinds::fromString(QStringLiteral("Unity")));
}

TEST(ProjectWalk, LooksThreeLevelsDownAndNoFurther)
{
    TestHome env;
    make(env, QStringLiteral("root/a/b/three"), {"package.json"});
    make(env, QStringLiteral("root/a/b/c/four"), {"package.json"});
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    EXPECT_EQ(projectRoots(results), QStringList{env.path(QStringLiteral("root/a/b/three"))});
    // root, a, b, three and c: the fourth level is never entered.
    EXPECT_EQ(results.foldersWalked, 5);
}

TEST(ProjectWalk, PassesOverSkippedHiddenAndPackageFolders)
{
    TestHome env;
    for (const char *skipped :
         {"node_modules", "Pods", "DerivedData", "Library", "target", "venv", "__pycache__", "vendor", "Temp", "obj"})
        make(env, QStringLiteral("root/%1/inside").arg(QLatin1String(skipped)), {"Cargo.toml"});
    make(env, QStringLiteral("root/.hidden/inside"), {"Cargo.toml"});
    make(env, QStringLiteral("root/Tool.app/inside"), {"Cargo.toml"});
    make(env, QStringLiteral("root/kept"), {"Cargo.toml"});
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    EXPECT_EQ(projectRoots(results), QStringList{env.path(QStringLiteral("root/kept"))});
    EXPECT_TRUE(isSkippedName(QStringLiteral(".git")));
    EXPECT_FALSE(isSkippedName(QStringLiteral("Vendor")));
}

TEST(ProjectWalk, NothingIsSearchedInsideAFoundProject)
{
    TestHome env;
    make(env, QStringLiteral("root/game"), {"Assets/", "ProjectSettings/"});
    make(env, QStringLiteral("root/game/Assets/web"), {"package.json"});
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    EXPECT_EQ(projectRoots(results), QStringList{env.path(QStringLiteral("root/game"))});
}

TEST(ProjectWalk, LinksAreNeverFollowedSoALoopEnds)
{
    TestHome env;
    make(env, QStringLiteral("elsewhere/linked"), {"Cargo.toml"});
    make(env, QStringLiteral("root/a"), {});
    ASSERT_TRUE(QFile::link(env.path(QStringLiteral("root")), env.path(QStringLiteral("root/a/loop"))));
    ASSERT_TRUE(
        QFile::link(env.path(QStringLiteral("elsewhere/linked")), env.path(QStringLiteral("root/linkedProject"))));
    ASSERT_TRUE(QFile::link(env.path(QStringLiteral("elsewhere/linked/Cargo.toml")),
                            env.path(QStringLiteral("root/file-link.rs"))));
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    EXPECT_TRUE(results.projects.isEmpty());
    EXPECT_EQ(results.foldersWalked, 2);
    EXPECT_TRUE(results.looseFiles.isEmpty()) << "a link is no regular file";
}

TEST(ProjectWalk, AnUnreadableFolderEndsItsBranchQuietly)
{
    TestHome env;
    make(env, QStringLiteral("root/locked/inside"), {"Cargo.toml"});
    make(env, QStringLiteral("root/open"), {"Cargo.toml"});
    const QString locked = env.path(QStringLiteral("root/locked"));
    ASSERT_EQ(::chmod(NativeNames::encode(locked).constData(), 0), 0);
    QDir probe(locked);
    const bool readable = !probe.entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty();
    if (readable) {
        ::chmod(NativeNames::encode(locked).constData(), 0755);
        GTEST_SKIP() << "running as root, a folder without permissions is still read; nothing to lock it with";
    }
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    ::chmod(NativeNames::encode(locked).constData(), 0755);
    EXPECT_EQ(projectRoots(results), QStringList{env.path(QStringLiteral("root/open"))});
}

TEST(ProjectWalk, ASizeCountsAllocatedBlocksOfVisibleRegularFiles)
{
    TestHome env;
    make(env, QStringLiteral("root/p"), {"Cargo.toml"});
    const QString sparse = env.path(QStringLiteral("root/p/src/sparse.bin"));
    env.makeFile(QStringLiteral("root/p/src/sparse.bin"));
    {
        const int fd = ::open(NativeNames::encode(sparse).constData(), O_WRONLY);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::ftruncate(fd, 64 * 1024 * 1024), 0);
        ASSERT_EQ(::pwrite(fd, "end", 3, 64 * 1024 * 1024 - 3), 3);
        ::close(fd);
    }
    env.makeFile(QStringLiteral("root/p/.hidden/big.bin"), QByteArray(256 * 1024, 'h'));
    const quint64 expected = allocatedOf(env.path(QStringLiteral("root/p/Cargo.toml"))) + allocatedOf(sparse);
    ASSERT_LT(allocatedOf(sparse), quint64(64 * 1024 * 1024)) << "the file system has no sparse files";
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    ASSERT_EQ(results.projects.size(), 1);
    EXPECT_EQ(results.projects.first().totalSizeBytes, expected);
    struct stat status {};
    ASSERT_EQ(::stat(NativeNames::encode(env.path(QStringLiteral("root/p"))).constData(), &status), 0);
    EXPECT_EQ(results.projects.first().lastModified.toSecsSinceEpoch(), qint64(status.st_mtim.tv_sec));
}

TEST(ProjectWalk, LooseFilesLieDirectlyInARootAndFindTheirProject)
{
    TestHome env;
    make(env, QStringLiteral("root/SpaceGame"), {"Assets/", "ProjectSettings/"});
    env.makeFile(QStringLiteral("root/SpaceGame/Assets/big.bin"), QByteArray(64 * 1024, 'b'));
    make(env, QStringLiteral("root/space-site"), {"package.json"});
    env.makeFile(QStringLiteral("root/space-ships.unitypackage"), "u");
    env.makeFile(QStringLiteral("root/space-ships.tsx"), "t");
    env.makeFile(QStringLiteral("root/notes.txt"), "n");
    env.makeFile(QStringLiteral("root/.DS_Store"), "d");
    env.makeFile(QStringLiteral("root/a/deeper-space.unitypackage"), "deep");
    const ScanResults results = scanOf({env.path(QStringLiteral("root"))});
    ASSERT_EQ(results.projects.size(), 2);
    EXPECT_EQ(results.projects[0].structure.projectRoot, env.path(QStringLiteral("root/SpaceGame")))
        << "the larger first";
    QHash<QString, std::optional<QString>> related;
    for (const LooseFile &file : results.looseFiles)
        related.insert(QFileInfo(file.url).fileName(), file.relatedTo);
    EXPECT_EQ(related.keys().size(), 3);
    EXPECT_EQ(related.value(QStringLiteral("space-ships.unitypackage")), env.path(QStringLiteral("root/SpaceGame")));
    EXPECT_EQ(related.value(QStringLiteral("space-ships.tsx")), env.path(QStringLiteral("root/space-site")));
    EXPECT_EQ(related.value(QStringLiteral("notes.txt")), std::nullopt);
}

TEST(ProjectWalk, ANameThatIsNotUtf8IsCarriedWhole)
{
    TestHome env;
    const QString root = env.makeFolder(QStringLiteral("root"));
    const QString odd = root + QLatin1Char('/') + NativeNames::decode("caf\xe9-proj");
    ASSERT_EQ(::mkdir(NativeNames::encode(odd).constData(), 0755), 0);
    const QByteArray markerPath = NativeNames::encode(odd) + "/Cargo.toml";
    const int fd = ::open(markerPath.constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    const ScanResults results = scanOf({root});
    ASSERT_EQ(results.projects.size(), 1);
    EXPECT_EQ(NativeNames::encode(results.projects.first().structure.projectRoot), NativeNames::encode(odd));
}

namespace {

struct TokenCase {
    const char *name;
    const char *text;
    QSet<QString> tokens;
};

void PrintTo(const TokenCase &c, std::ostream *os)
{
    *os << c.name;
}

class Tokens : public testing::TestWithParam<TokenCase> {};

} // namespace

TEST_P(Tokens, SplitAtCaseChangesAndSeparators)
{
    EXPECT_EQ(tokens(QString::fromUtf8(GetParam().text)), GetParam().tokens);
}

INSTANTIATE_TEST_SUITE_P(Names, Tokens,
                         testing::Values(TokenCase{"CamelCase", "SpaceGameDemo", {"space", "game", "demo"}},
                                         TokenCase{"Separators", "space_game-demo.v2", {"space", "game", "demo"}},
                                         TokenCase{"ShortPiecesDropped", "myApp v2 toolkit", {"toolkit"}},
                                         TokenCase{"UpperRunStaysOne", "HTTPServer", {"httpserver"}},
                                         TokenCase{"DigitsJoinLetters", "game2024 build", {"game2024", "build"}},
                                         TokenCase{"Accents", "CaféRoyale", {"café", "royale"}},
                                         TokenCase{"Empty", "", {}}),
                         [](const testing::TestParamInfo<TokenCase> &info) { return std::string(info.param.name); });

TEST(Matching, TheHighestScoreWinsAndTiesGoToTheLargerProject)
{
    const QList<Candidate> list{
        {QStringLiteral("/w/rocket-web"), ProjectKind::node, {"rocket", "site"}, 0},
        {QStringLiteral("/w/Rocket"), ProjectKind::unity, {"rocket"}, 1},
        {QStringLiteral("/w/rocket-rs"), ProjectKind::rust, {"rocket"}, 2},
        {QStringLiteral("/w/rocket-py"), ProjectKind::python, {"rocket"}, 3},
    };
    const QList<std::pair<const char *, std::optional<QString>>> rows{
        {"rocket.unitypackage", QStringLiteral("/w/Rocket")},
        {"rocket-ship.prefab", QStringLiteral("/w/Rocket")},
        {"Rocket.TSX", QStringLiteral("/w/rocket-web")},
        {"rocket.toml", QStringLiteral("/w/rocket-rs")},
        // Node and Rust both give 60 to nothing; all score 0, so the largest takes it.
        {"rocket.zip", QStringLiteral("/w/rocket-web")},
        {"RocketNotes.ipynb", QStringLiteral("/w/rocket-py")},
        {"site-map.pdf", QStringLiteral("/w/rocket-web")},
        {"rock.unitypackage", std::nullopt},
    };
    for (const auto &[file, project] : rows)
        EXPECT_EQ(relatedProject(QString::fromUtf8(file), list), project) << file;
}

TEST(Matching, ScoresByKind)
{
    EXPECT_EQ(score(ProjectKind::unity, QStringLiteral("unitypackage")), 100);
    EXPECT_EQ(score(ProjectKind::unity, QStringLiteral("anim")), 60);
    EXPECT_EQ(score(ProjectKind::xcode, QStringLiteral("storyboard")), 100);
    EXPECT_EQ(score(ProjectKind::swiftPackage, QStringLiteral("swift")), 30);
    EXPECT_EQ(score(ProjectKind::godot, QStringLiteral("gd")), 100);
    EXPECT_EQ(score(ProjectKind::gitRepo, QStringLiteral("rs")), 0);
    EXPECT_EQ(score(ProjectKind::rust, QStringLiteral("py")), 0);
}

TEST(Matching, CandidatesTakeTheFolderAndItsParentsWords)
{
    DetectedProject project;
    project.structure.projectRoot = QStringLiteral("/work/ClientWork/rocketSite");
    project.structure.kind = ProjectKind::node;
    const QList<Candidate> list = candidates({project, project});
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0].tokens, (QSet<QString>{"client", "work", "rocket", "site"}));
    EXPECT_EQ(list[1].order, 1);
}
