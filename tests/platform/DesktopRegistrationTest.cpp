#include "platform/DesktopRegistration.h"

#include "TestHome.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

TEST(DesktopRegistration, WritesTheEntryAndMimeTypeIntoTheDataHome)
{
    TestHome env;
    const QString executable = QStringLiteral("/opt/Vantrel Build/bin/vantrel");
    EXPECT_TRUE(DesktopRegistration::needsRegistration(executable));

    const auto result = DesktopRegistration::registerApplication(executable);
    EXPECT_TRUE(result.problems.isEmpty()) << result.problems.join('\n').toStdString();
    EXPECT_EQ(DesktopRegistration::desktopEntryPath(),
              env.path(QStringLiteral(".local/share/applications/vantrel.desktop")));

    QFile entry(DesktopRegistration::desktopEntryPath());
    ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(entry.readAll());
    EXPECT_TRUE(text.contains(QStringLiteral("MimeType=x-scheme-handler/vantrel;application/x-vantrelpack;\n")));
    // A path with a blank is quoted, so the launcher finds the program.
    EXPECT_TRUE(text.contains(QStringLiteral("Exec=\"/opt/Vantrel Build/bin/vantrel\" open %U\n")));
    EXPECT_TRUE(QFile::exists(env.path(QStringLiteral(".local/share/mime/packages/vantrel.xml"))));

    EXPECT_FALSE(DesktopRegistration::needsRegistration(executable));
    EXPECT_TRUE(DesktopRegistration::needsRegistration(QStringLiteral("/usr/bin/vantrel")));
}

TEST(DesktopRegistration, MakesVantrelTheSchemeHandlerWhereXdgMimeExists)
{
    TestHome env;
    const QString xdgMime = QStandardPaths::findExecutable(QStringLiteral("xdg-mime"));
    if (xdgMime.isEmpty())
        GTEST_SKIP() << "xdg-mime is not installed";
    const auto result = DesktopRegistration::registerApplication(QStringLiteral("/usr/bin/vantrel"));
    EXPECT_TRUE(result.problems.isEmpty()) << result.problems.join('\n').toStdString();

    QProcess query;
    query.start(xdgMime, {"query", "default", "x-scheme-handler/vantrel"});
    ASSERT_TRUE(query.waitForFinished(15000));
    EXPECT_EQ(QString::fromUtf8(query.readAllStandardOutput()).trimmed(), QStringLiteral("vantrel.desktop"));
}
