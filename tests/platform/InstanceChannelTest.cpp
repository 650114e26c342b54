#include "platform/InstanceChannel.h"

#include "TestEnvironment.h"
#include "platform/Paths.h"

#include <QFile>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <future>

namespace {

// The client blocks while it waits for "ok", so it runs off the thread whose event loop serves.
bool deliverWhileServing(const QString &socket, const QStringList &urls)
{
    auto delivered = std::async(std::launch::async, [&] { return InstanceClient::deliver(socket, urls, 3000); });
    while (delivered.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready)
        QCoreApplication::processEvents();
    return delivered.get();
}

} // namespace

TEST(InstanceChannel, HandsURLsOverInOrder)
{
    TestEnvironment env;
    InstanceServer server;
    ASSERT_TRUE(server.listen(Paths::instanceSocket())) << server.errorString().toStdString();
    QSignalSpy received(&server, &InstanceServer::urlsReceived);

    const QStringList urls{"vantrel://run/tag-audit", "vantrel://run/x?files=%2Fa%257Cb"};
    EXPECT_TRUE(deliverWhileServing(Paths::instanceSocket(), urls));
    ASSERT_EQ(received.count(), 1);
    EXPECT_EQ(received.first().first().toStringList(), urls);

    EXPECT_TRUE(deliverWhileServing(Paths::instanceSocket(), {}));
    ASSERT_EQ(received.count(), 2);
    EXPECT_TRUE(received.last().first().toStringList().isEmpty());
}

TEST(InstanceChannel, NoListenerMeansNotDeliveredAndAStaleSocketIsTakenOver)
{
    TestEnvironment env;
    const QString socket = Paths::instanceSocket();
    EXPECT_FALSE(InstanceClient::deliver(socket, {"vantrel://run/x"}, 200));

    // An instance that died leaves its socket file behind.
    QFile stale(socket);
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();
    InstanceServer server;
    EXPECT_TRUE(server.listen(socket)) << server.errorString().toStdString();

    // While it listens, a second instance can't take its place.
    InstanceServer second;
    EXPECT_FALSE(second.listen(socket));
}
