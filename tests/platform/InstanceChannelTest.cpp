#include "platform/InstanceChannel.h"

#include "TestHome.h"
#include "platform/Paths.h"
#include "platform/PrivateFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <functional>
#include <future>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// The client blocks while it waits for "ok", so it runs off the thread whose event loop serves.
bool deliverWhileServing(const QString &socket, const QStringList &urls)
{
    auto delivered = std::async(std::launch::async, [&] { return InstanceClient::deliver(socket, urls, 3000); });
    while (delivered.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    return delivered.get().outcome == InstanceClient::Outcome::delivered;
}

} // namespace

TEST(InstanceChannel, HandsURLsOverInOrder)
{
    TestHome env;
    InstanceServer server;
    ASSERT_TRUE(server.listen(Paths::instanceSocket())) << server.errorString().toStdString();
    QSignalSpy received(&server, &InstanceServer::urlsReceived);

    const QStringList urls{"vantrel://run/tag-audit", "vantrel://run/x?files=%2Fa%257Cb"};
    EXPECT_TRUE(deliverWhileServing(Paths::instanceSocket(), urls));
    ASSERT_TRUE(received.count() == 1 || received.wait(3000));
    EXPECT_EQ(received.first().first().toStringList(), urls);

    EXPECT_TRUE(deliverWhileServing(Paths::instanceSocket(), {}));
    ASSERT_TRUE(received.count() == 2 || received.wait(3000));
    EXPECT_TRUE(received.last().first().toStringList().isEmpty());
}

TEST(InstanceChannel, NoListenerMeansNotDeliveredAndAStaleSocketIsTakenOver)
{
    TestHome env;
    const QString socket = Paths::instanceSocket();
    EXPECT_EQ(InstanceClient::deliver(socket, {"vantrel://run/x"}, 200).outcome, InstanceClient::Outcome::noInstance);

    // An instance that died leaves its socket file behind, in a folder that is still private.
    ASSERT_EQ(PrivateFolder::prepare(QFileInfo(socket).path()), std::nullopt);
    QFile stale(socket);
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();
    EXPECT_EQ(InstanceClient::deliver(socket, {"vantrel://run/x"}, 200).outcome, InstanceClient::Outcome::noInstance);
    InstanceServer server;
    EXPECT_TRUE(server.listen(socket)) << server.errorString().toStdString();

    // While it listens, a second instance can't take its place.
    InstanceServer second;
    EXPECT_FALSE(second.listen(socket));
}

TEST(InstanceChannel, TheSocketLivesInAFolderOfItsOwn)
{
    TestHome env;
    EXPECT_EQ(Paths::instanceSocket(), env.path(QStringLiteral("run/vantrel/instance")));
    InstanceServer server;
    ASSERT_TRUE(server.listen(Paths::instanceSocket())) << server.errorString().toStdString();
    struct stat info {};
    ASSERT_EQ(::lstat(QFile::encodeName(env.path(QStringLiteral("run/vantrel"))).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);

    // Without a runtime folder it is /tmp/vantrel-{uid}, never a name in /tmp itself.
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    qunsetenv("XDG_RUNTIME_DIR");
    const QString fallback = Paths::instanceSocket();
    qputenv("XDG_RUNTIME_DIR", runtime);
    EXPECT_EQ(fallback, QDir::tempPath() + QStringLiteral("/vantrel-%1/instance").arg(::getuid()));
}

namespace {

struct UnsafeFolder {
    const char *name;
    // Turns the folder at the path into the unsafe kind; false when this run can't.
    std::function<bool(const QString &folder, const QString &elsewhere)> make;
    const char *problemContains;
};

void PrintTo(const UnsafeFolder &c, std::ostream *os)
{
    *os << c.name;
}

class PrivateFolderRefuses : public testing::TestWithParam<UnsafeFolder> {};

} // namespace

TEST_P(PrivateFolderRefuses, AndSaysWhy)
{
    TestHome env;
    const QString folder = env.path(QStringLiteral("run/vantrel"));
    const QString elsewhere = env.makeFolder(QStringLiteral("elsewhere"));
    QFile::setPermissions(elsewhere, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    if (!GetParam().make(folder, elsewhere))
        GTEST_SKIP() << "changing a folder's owner needs root";

    const PrivateFolder::Check check = PrivateFolder::check(folder);
    EXPECT_EQ(check.status, PrivateFolder::Status::unsafe);
    EXPECT_TRUE(check.problem.contains(QString::fromUtf8(GetParam().problemContains))) << check.problem.toStdString();
    EXPECT_TRUE(check.problem.startsWith(folder)) << check.problem.toStdString();
    // Preparing never repairs a folder it didn't make.
    EXPECT_EQ(PrivateFolder::prepare(folder), check.problem);

    // Neither end uses it: the server doesn't listen and the client sends nothing.
    InstanceServer server;
    EXPECT_FALSE(server.listen(folder + QStringLiteral("/instance")));
    EXPECT_EQ(server.errorString(), check.problem);
    const auto delivery = InstanceClient::deliver(folder + QStringLiteral("/instance"), {"vantrel://run/x"}, 200);
    EXPECT_EQ(delivery.outcome, InstanceClient::Outcome::refused);
    EXPECT_EQ(delivery.problem, check.problem);
}

INSTANTIATE_TEST_SUITE_P(
    InstanceChannel, PrivateFolderRefuses,
    testing::Values(
        UnsafeFolder{"AnotherOwner",
                     [](const QString &folder, const QString &) {
                         return ::geteuid() == 0 && QDir().mkdir(folder) &&
                                ::chmod(QFile::encodeName(folder).constData(), 0700) == 0 &&
                                ::chown(QFile::encodeName(folder).constData(), 65534, 65534) == 0;
                     },
                     "belongs to another user (uid 65534)"},
        UnsafeFolder{"OpenToOthers",
                     [](const QString &folder, const QString &) {
                         return QDir().mkdir(folder) && ::chmod(QFile::encodeName(folder).constData(), 0755) == 0;
                     },
                     "has mode 0755, not 0700"},
        UnsafeFolder{"ReadableByGroup",
                     [](const QString &folder, const QString &) {
                         return QDir().mkdir(folder) && ::chmod(QFile::encodeName(folder).constData(), 0750) == 0;
                     },
                     "has mode 0750, not 0700"},
        UnsafeFolder{"SymbolicLinkToAPrivateFolder",
                     [](const QString &folder, const QString &elsewhere) { return QFile::link(elsewhere, folder); },
                     "is a symbolic link"},
        UnsafeFolder{"AFile",
                     [](const QString &folder, const QString &) {
                         QFile file(folder);
                         return file.open(QIODevice::WriteOnly);
                     },
                     "isn't a folder"}),
    [](const testing::TestParamInfo<UnsafeFolder> &info) { return std::string(info.param.name); });

TEST(InstanceChannel, PrivateFolderIsMadePrivateDespiteTheUmask)
{
    TestHome env;
    const QString folder = env.path(QStringLiteral("run/vantrel"));
    EXPECT_EQ(PrivateFolder::check(folder).status, PrivateFolder::Status::missing);
    // A umask that takes the owner's write bit would leave a folder Vantrel itself then refuses.
    const mode_t previous = ::umask(0277);
    const auto problem = PrivateFolder::prepare(folder);
    ::umask(previous);
    EXPECT_EQ(problem, std::nullopt) << problem.value_or(QString()).toStdString();
    EXPECT_EQ(PrivateFolder::check(folder).status, PrivateFolder::Status::safe);
}
