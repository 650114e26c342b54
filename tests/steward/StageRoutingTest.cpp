#include "steward/StageRouting.h"
#include "TestEnvironment.h"
#include "steward/UniqueDestination.h"

#include <QFile>
#include <QTemporaryDir>

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
