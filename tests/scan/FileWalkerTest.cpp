#include "scan/FileWalker.h"

#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList paths(const QList<FileWalker::WalkedFile> &files, const QString &base)
{
    QStringList list;
    for (const auto &file : files)
        list.append(file.url.mid(base.size() + 1));
    list.sort();
    return list;
}

} // namespace

TEST(FileWalker, FolderRulesForHiddenLinksAndPackages)
{
    TestEnvironment env;
    const QString root = env.makeFolder(QStringLiteral("Sel"));
    env.makeFile(QStringLiteral("Sel/a.txt"), "12345");
    env.makeFile(QStringLiteral("Sel/.hidden.txt"), "x");
    env.makeFile(QStringLiteral("Sel/.git/config"), "x");
    env.makeFile(QStringLiteral("Sel/sub/deeper/b.bin"), "xy");
    env.makeFile(QStringLiteral("Sel/Tool.app/Contents/MacOS/tool"), "binary");
    env.makeFile(QStringLiteral("Sel/Flow.WORKFLOW/Contents/document.wflow"), "plist");
    env.makeFolder(QStringLiteral("Sel/empty"));
    QFile::link(env.path(QStringLiteral("Sel/a.txt")), env.path(QStringLiteral("Sel/link-to-a")));
    QFile::link(env.path(QStringLiteral("Sel/sub")), env.path(QStringLiteral("Sel/link-to-sub")));
    ::mkfifo(QFile::encodeName(env.path(QStringLiteral("Sel/pipe"))).constData(), 0600);

    const auto files = FileWalker::walk({root});
    EXPECT_EQ(paths(files, root), (QStringList{"Flow.WORKFLOW", "Tool.app", "a.txt", "sub/deeper/b.bin"}));
    for (const auto &file : files) {
        if (file.url.endsWith(QStringLiteral(".app")) || file.url.endsWith(QStringLiteral(".WORKFLOW"))) {
            EXPECT_EQ(file.size, 0u);
        }
        if (file.url.endsWith(QStringLiteral("a.txt"))) {
            EXPECT_EQ(file.size, 5u);
            ASSERT_TRUE(file.modificationDate.has_value());
            EXPECT_EQ(*file.modificationDate, QFileInfo(file.url).lastModified().toUTC());
        }
    }
}

TEST(FileWalker, SelectedPathsAreTakenAsTheyAre)
{
    TestEnvironment env;
    const QString hidden = env.makeFile(QStringLiteral(".secret"), "abc");
    const QString plain = env.makeFile(QStringLiteral("plain.txt"), "z");
    const QString link = env.path(QStringLiteral("link.txt"));
    QFile::link(plain, link);
    const QString package = env.makeFolder(QStringLiteral("Photos.photoslibrary/database"));
    const QString dangling = env.path(QStringLiteral("dangling"));
    QFile::link(env.path(QStringLiteral("nowhere")), dangling);

    const auto files = FileWalker::walk(
        {hidden, link, env.path(QStringLiteral("missing.txt")), plain, dangling, package.chopped(9), plain});
    QStringList urls;
    for (const auto &file : files)
        urls.append(file.url);
    // A hidden file chosen by name counts; a selected link is resolved; what isn't there is skipped;
    // a package is one file; a file selected twice stands twice.
    EXPECT_EQ(urls, (QStringList{hidden, link, plain, package.chopped(9), plain}));
    EXPECT_EQ(files[1].size, 1u);
    EXPECT_EQ(files[3].size, 0u);
}

TEST(FileWalker, FollowsSelectionOrderAndStopsWhenAsked)
{
    TestEnvironment env;
    const QString b = env.makeFile(QStringLiteral("B/one.txt"));
    const QString a = env.makeFile(QStringLiteral("A/two.txt"));
    const auto files = FileWalker::walk({env.path(QStringLiteral("B")), env.path(QStringLiteral("A"))});
    ASSERT_EQ(files.size(), 2);
    EXPECT_EQ(files[0].url, b);
    EXPECT_EQ(files[1].url, a);

    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_TRUE(FileWalker::walk({env.path(QStringLiteral("B"))}, stopped.get_token()).isEmpty());
}

TEST(FileWalker, PassesOverAnUnreadableFolder)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every folder";
    TestEnvironment env;
    env.makeFile(QStringLiteral("Top/open.txt"));
    env.makeFile(QStringLiteral("Top/closed/inside.txt"));
    const QString closed = env.path(QStringLiteral("Top/closed"));
    QFile::setPermissions(closed, {});
    const auto files = FileWalker::walk({env.path(QStringLiteral("Top"))});
    QFile::setPermissions(closed, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_EQ(files.size(), 1);
    EXPECT_TRUE(files[0].url.endsWith(QStringLiteral("open.txt")));
}
