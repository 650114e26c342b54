#include "steward/StageRouting.h"
#include "TestEnvironment.h"
#include "steward/UniqueDestination.h"

#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <vector>

#include <gtest/gtest.h>

using StageRouting::FileCategory;

struct CategoryRow {
    const char *name;
    const char *path;
    FileCategory expected;
};

class StageCategory : public testing::TestWithParam<CategoryRow> {};

TEST_P(StageCategory, ComesFromTheLowerCaseExtension)
{
    EXPECT_EQ(StageRouting::category(QString::fromUtf8(GetParam().path)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StageCategory,
    testing::Values(CategoryRow{"UpperCaseImage", "/in/Shot.PNG", FileCategory::image},
                    CategoryRow{"UnityPackageIsAnArchive", "/in/kit.unitypackage", FileCategory::archive},
                    CategoryRow{"GzipTakesTheLastExtension", "/in/logs.tar.gz", FileCategory::archive},
                    CategoryRow{"NoExtension", "/in/Makefile", FileCategory::other},
                    CategoryRow{"HiddenNameHasNoExtension", "/in/.png", FileCategory::other},
                    CategoryRow{"TrailingPoint", "/in/notes.", FileCategory::other},
                    CategoryRow{"PointInTheFolderOnly", "/in/v1.2/README", FileCategory::other},
                    CategoryRow{"Prefab", "/in/Player.prefab", FileCategory::prefab},
                    CategoryRow{"Model", "/in/ship.GLTF", FileCategory::model3d},
                    CategoryRow{"Audio", "/in/theme.flac", FileCategory::audio},
                    CategoryRow{"Data", "/in/Info.plist", FileCategory::data},
                    CategoryRow{"Design", "/in/logo.afdesign", FileCategory::design},
                    CategoryRow{"Video", "/in/intro.m4v", FileCategory::video},
                    CategoryRow{"Doc", "/in/paper.tex", FileCategory::doc},
                    CategoryRow{"Code", "/in/App.svelte", FileCategory::code}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(UniqueDestination, KeepsAFreeNameAndCountsCopiesOnFromTheSecond)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString wanted = dir.filePath(QStringLiteral("notes.tar.gz"));
    EXPECT_EQ(Steward::uniqueDestination(wanted), wanted);

    auto touch = [](const QString &path) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    };
    touch(wanted);
    EXPECT_EQ(Steward::uniqueDestination(wanted), dir.filePath(QStringLiteral("notes.tar -copy.gz")));
    touch(dir.filePath(QStringLiteral("notes.tar -copy.gz")));
    EXPECT_EQ(Steward::uniqueDestination(wanted), dir.filePath(QStringLiteral("notes.tar -copy 2.gz")));
}

// Every cell of the routing table, written out: a row per category, a column per kind in the order
// unity, xcode, swiftPackage, node, rust, python, godot, gitRepo, each "subpath | label".
struct SuggestionRow {
    const char *name;
    FileCategory category;
    std::array<const char *, 8> cells;
};

class StageSuggestion : public testing::TestWithParam<SuggestionRow> {};

TEST_P(StageSuggestion, EveryKindHasItsSubfolderAndConvention)
{
    const QList<ProjectKind> kinds{ProjectKind::unity, ProjectKind::xcode,  ProjectKind::swiftPackage,
                                   ProjectKind::node,  ProjectKind::rust,   ProjectKind::python,
                                   ProjectKind::godot, ProjectKind::gitRepo};
    for (qsizetype column = 0; column < kinds.size(); ++column) {
        const QStringList cell =
            QString::fromUtf8(GetParam().cells.at(std::size_t(column))).split(QStringLiteral(" | "));
        const StageRouting::Suggestion expected{cell.at(0), cell.at(1)};
        EXPECT_EQ(StageRouting::suggestion(GetParam().category, kinds[column]), expected)
            << ProjectKinds::toString(kinds[column]).toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, StageSuggestion,
    testing::Values(
        SuggestionRow{"image",
                      FileCategory::image,
                      {"Assets/Art/Imports | Unity art convention", "Resources/Imports | Xcode resources convention",
                       "Sources/Resources/Imports | SPM resources convention",
                       "public/images/imports | Node public-assets convention", "imports | Generic imports folder",
                       "imports | Generic imports folder", "art/imports | Godot art convention",
                       "assets/images | Common assets convention"}},
        SuggestionRow{"code",
                      FileCategory::code,
                      {"Assets/Scripts/Imports | Unity scripts convention",
                       "Sources/Imports | Xcode sources convention", "Sources/Imports | SPM sources convention",
                       "src/imports | Node src convention", "src/imports | Rust src convention",
                       "src/imports | Python src convention", "scripts/imports | Godot scripts convention",
                       "src/imports | Common src convention"}},
        SuggestionRow{
            "doc",
            FileCategory::doc,
            {"Docs/Imports | Documentation alongside project", "docs/imports | Documentation alongside project",
             "docs/imports | Documentation alongside package", "docs/imports | Documentation alongside project",
             "docs/imports | Documentation alongside crate", "docs/imports | Documentation alongside project",
             "docs/imports | Documentation alongside project", "docs/imports | Common docs convention"}},
        SuggestionRow{"archive",
                      FileCategory::archive,
                      {"Assets/ThirdParty | Unity third-party convention", "vendor/imports | Third-party vendor folder",
                       "Imports | Generic imports folder", "vendor/imports | Third-party vendor folder",
                       "vendor/imports | Third-party vendor folder", "vendor/imports | Third-party vendor folder",
                       "addons/imports | Godot addons convention", "vendor/imports | Common vendor convention"}},
        SuggestionRow{"video",
                      FileCategory::video,
                      {"Assets/Video/Imports | Unity video convention", "Resources/Video | Xcode resources convention",
                       "Sources/Resources/Video | SPM resources convention",
                       "public/video | Node public-assets convention", "imports | Generic imports folder",
                       "imports | Generic imports folder", "video/imports | Godot video convention",
                       "assets/video | Common assets convention"}},
        SuggestionRow{"design",
                      FileCategory::design,
                      {"Design/Imports | Design alongside project", "design/imports | Design alongside project",
                       "Imports | Generic imports folder", "design/imports | Design alongside project",
                       "imports | Generic imports folder", "imports | Generic imports folder",
                       "design/imports | Design alongside project", "design/imports | Common design convention"}},
        SuggestionRow{"data",
                      FileCategory::data,
                      {"Assets/Resources/Imports | Unity data convention",
                       "Resources/data | Xcode resources convention",
                       "Sources/Resources/Data | SPM resources convention", "src/data | Node data convention",
                       "resources/data | Rust resources convention", "data/imports | Python data convention",
                       "data/imports | Godot data convention", "data/imports | Common data convention"}},
        SuggestionRow{"audio",
                      FileCategory::audio,
                      {"Assets/Audio/Imports | Unity audio convention", "Resources/Audio | Xcode resources convention",
                       "Sources/Resources/Audio | SPM resources convention",
                       "public/audio | Node public-assets convention", "imports | Generic imports folder",
                       "imports | Generic imports folder", "audio/imports | Godot audio convention",
                       "assets/audio | Common assets convention"}},
        SuggestionRow{"model3d",
                      FileCategory::model3d,
                      {"Assets/Models/Imports | Unity 3D model convention",
                       "Resources/Models | Xcode resources convention", "Imports | Generic imports folder",
                       "public/models | Node public-assets convention", "imports | Generic imports folder",
                       "imports | Generic imports folder", "models/imports | Godot 3D model convention",
                       "assets/models | Common assets convention"}},
        SuggestionRow{"prefab",
                      FileCategory::prefab,
                      {"Assets/Prefabs/Imports | Unity prefab convention",
                       "Resources/Imports | Xcode resources convention", "Imports | Generic imports folder",
                       "public/assets | Node public-assets convention", "imports | Generic imports folder",
                       "imports | Generic imports folder", "scenes/imports | Godot scenes convention",
                       "assets/imports | Common assets convention"}},
        SuggestionRow{"other",
                      FileCategory::other,
                      {"Imports | Generic imports folder", "Imports | Generic imports folder",
                       "Imports | Generic imports folder", "imports | Generic imports folder",
                       "imports | Generic imports folder", "imports | Generic imports folder",
                       "imports | Generic imports folder", "imports | Generic imports folder"}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(StageSuggestion, ComesFromTheFilesExtension)
{
    EXPECT_EQ(StageRouting::suggestion(QStringLiteral("/in/kit.unitypackage"), ProjectKind::unity).relativeSubpath,
              QStringLiteral("Assets/ThirdParty"));
    EXPECT_EQ(StageRouting::suggestion(QStringLiteral("/in/LICENSE"), ProjectKind::unity).relativeSubpath,
              QStringLiteral("Imports"));
    EXPECT_EQ(StageRouting::suggestion(QStringLiteral("/in/LICENSE"), ProjectKind::node).relativeSubpath,
              QStringLiteral("imports"));
}

struct PrefixRow {
    const char *name;
    ProjectKind kind;
    // A folder with these markers becomes the project.
    std::vector<const char *> markers;
    const char *subpath;
    std::optional<const char *> blocked;
};

class StageUnsafePrefix : public testing::TestWithParam<PrefixRow> {};

TEST_P(StageUnsafePrefix, BlocksTheToolsFoldersOnly)
{
    TestEnvironment env;
    for (const char *marker : GetParam().markers) {
        const QString relative = QStringLiteral("project/") + QString::fromUtf8(marker);
        if (relative.endsWith(QLatin1Char('/')))
            env.makeFolder(relative);
        else
            env.makeFile(relative, "m");
    }
    const std::optional<ProjectStructure> structure =
        ProjectStructure::detect(env.path(QStringLiteral("project")) + QStringLiteral("/"));
    ASSERT_TRUE(structure);
    ASSERT_EQ(structure->kind, GetParam().kind);
    const std::optional<QString> expected =
        GetParam().blocked ? std::optional<QString>(QString::fromUtf8(*GetParam().blocked)) : std::nullopt;
    EXPECT_EQ(StageRouting::unsafePrefix(QString::fromUtf8(GetParam().subpath), *structure), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StageUnsafePrefix,
    testing::Values(
        PrefixRow{"LibraryWithSlashesAtBothEnds",
                  ProjectKind::unity,
                  {"Assets/", "ProjectSettings/"},
                  "/Library/x/",
                  "Library"},
        PrefixRow{"AssetsItself", ProjectKind::unity, {"Assets/", "ProjectSettings/"}, "Assets", "Assets"},
        PrefixRow{"AssetsWithATrailingSlash", ProjectKind::unity, {"Assets/", "ProjectSettings/"}, "Assets/", "Assets"},
        PrefixRow{"BelowAssets", ProjectKind::unity, {"Assets/", "ProjectSettings/"}, "Assets/Scripts", std::nullopt},
        PrefixRow{
            "SuggestedArt", ProjectKind::unity, {"Assets/", "ProjectSettings/"}, "Assets/Art/Imports", std::nullopt},
        PrefixRow{"NameThatOnlyStartsLikeLibrary",
                  ProjectKind::unity,
                  {"Assets/", "ProjectSettings/"},
                  "LibraryBooks",
                  std::nullopt},
        PrefixRow{"BelowTemp", ProjectKind::unity, {"Assets/", "ProjectSettings/"}, "Temp/a/b", "Temp"},
        PrefixRow{"NodeModules", ProjectKind::node, {"package.json"}, "node_modules/x", "node_modules"},
        PrefixRow{"NodeLockFile", ProjectKind::node, {"package.json"}, "package-lock.json", "package-lock.json"},
        PrefixRow{"NodeSource", ProjectKind::node, {"package.json"}, "src/imports", std::nullopt},
        PrefixRow{"RustSourceItself", ProjectKind::rust, {"Cargo.toml"}, "src", "src"},
        PrefixRow{"RustTarget", ProjectKind::rust, {"Cargo.toml"}, "target/debug", "target"},
        PrefixRow{"GodotCache", ProjectKind::godot, {"project.godot"}, ".godot/imported", ".godot"},
        PrefixRow{"GitRepositoryHasNone", ProjectKind::gitRepo, {".git/"}, ".git", std::nullopt}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(StageUnsafePrefix, ADerivedPathOutsideTheRootIsComparedByItsLastComponent)
{
    ProjectStructure structure;
    structure.kind = ProjectKind::xcode;
    structure.projectRoot = QStringLiteral("/work/App/");
    structure.managedPaths = {QStringLiteral("/work/App/App.xcodeproj")};
    // A build folder kept beside the project, as a symbolic link's target would be.
    structure.derivedPaths = {QStringLiteral("/var/cache/builds/DerivedData")};
    EXPECT_EQ(StageRouting::unsafePrefix(QStringLiteral("DerivedData/x"), structure), QStringLiteral("DerivedData"));
    EXPECT_EQ(StageRouting::unsafePrefix(QStringLiteral("App.xcodeproj"), structure), QStringLiteral("App.xcodeproj"));
    EXPECT_EQ(StageRouting::unsafePrefix(QStringLiteral("Resources/Imports"), structure), std::nullopt);
}
