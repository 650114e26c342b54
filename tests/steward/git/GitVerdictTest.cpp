#include "TestHome.h"
#include "steward/git/GitRunner.h"

#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>

using namespace GitRunner;

namespace {

// An HTTP "remote" on 127.0.0.1 answering every request with one canned reply, on a thread of its own:
// the runner blocks the test's thread while git talks to it.
class CannedServer : public QObject {
public:
    explicit CannedServer(QByteArray reply) : reply(std::move(reply))
    {
        thread.start();
        moveToThread(&thread);
        QMetaObject::invokeMethod(
            this, [this] { listen(); }, Qt::BlockingQueuedConnection);
    }

    ~CannedServer() override
    {
        QMetaObject::invokeMethod(
            this, [this] { server.reset(); }, Qt::BlockingQueuedConnection);
        thread.quit();
        thread.wait();
    }

    quint16 port() const { return listening; }

private:
    void listen()
    {
        server = std::make_unique<QTcpServer>();
        server->listen(QHostAddress::LocalHost);
        listening = server->serverPort();
        QObject::connect(server.get(), &QTcpServer::newConnection, server.get(), [this] {
            while (QTcpSocket *socket = server->nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    socket->readAll();
                    socket->write(reply);
                    socket->disconnectFromHost();
                });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    QByteArray reply;
    QThread thread;
    std::unique_ptr<QTcpServer> server;
    quint16 listening = 0;
};

QByteArray httpReply(const QByteArray &status, const QByteArray &body, const QByteArray &headers = {})
{
    return "HTTP/1.1 " + status + "\r\nContent-Type: text/plain\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n" + headers + "\r\n" + body;
}

struct VerdictCase {
    const char *name;
    // The scheme git is given, and what the server answers (nothing: the port is closed).
    const char *scheme;
    std::optional<QByteArray> reply;
    int expectedIndex;
};

class RemoteOverHttp : public testing::TestWithParam<VerdictCase> {};

} // namespace

TEST_P(RemoteOverHttp, ReadsAsItsVerdict)
{
    TestHome home;
    const QByteArray saved = qgetenv("GIT_CONFIG_NOSYSTEM");
    qputenv("GIT_CONFIG_NOSYSTEM", "1");
    home.makeFile(QStringLiteral(".gitconfig"),
                  "[user]\n\tname = Ann Lee\n\temail = ann@example.com\n[protocol]\n\tallow = never\n"
                  "[protocol \"http\"]\n\tallow = always\n[protocol \"https\"]\n\tallow = always\n");
    QStringList started;
    setCommandObserver([&started](const QStringList &arguments, const QString &) {
        EXPECT_TRUE(isTableCommand(arguments));
        started.append(arguments.join(QLatin1Char(' ')));
    });

    const QString repo = home.makeFolder(QStringLiteral("repo"));
    QProcess git;
    git.setWorkingDirectory(repo);
    git.start(QStringLiteral("git"), {"init", "-q"});
    ASSERT_TRUE(git.waitForFinished(30000));

    std::unique_ptr<CannedServer> server;
    quint16 port = 0;
    if (GetParam().reply) {
        server = std::make_unique<CannedServer>(*GetParam().reply);
        port = server->port();
    } else {
        // A port that was free a moment ago and has no listener now.
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost);
        port = probe.serverPort();
    }
    const QString url =
        QStringLiteral("%1://127.0.0.1:%2/user/repo.git").arg(QLatin1String(GetParam().scheme)).arg(port);
    git.start(QStringLiteral("git"), {"remote", "add", "origin", url});
    ASSERT_TRUE(git.waitForFinished(30000));

    const Verdict verdict = verifyRemote(repo);
    EXPECT_EQ(int(verdict.index()), GetParam().expectedIndex) << std::visit(
        [](const auto &value) {
            if constexpr (requires { value.stderr; })
                return value.stderr.toStdString();
            else
                return std::string();
        },
        verdict);
    EXPECT_TRUE(started.contains(QStringLiteral("ls-remote origin")));
    setCommandObserver({});
    qputenv("GIT_CONFIG_NOSYSTEM", saved);
}

// Indexes into the verdict: 2 remoteMissing, 3 authRequired, 4 networkError, 5 otherFailure.
INSTANTIATE_TEST_SUITE_P(Rows, RemoteOverHttp,
                         testing::Values(VerdictCase{"UnauthorizedAsksForALogin", "http",
                                                     httpReply("401 Unauthorized", "Authentication required.",
                                                               "WWW-Authenticate: Basic realm=\"git\"\r\n"),
                                                     3},
                                         VerdictCase{"NotFoundWithTheHostsWords", "http",
                                                     httpReply("404 Not Found", "Repository not found."), 2},
                                         VerdictCase{"PlainBytesToTls", "https", httpReply("200 OK", "not tls"), 4},
                                         VerdictCase{"ClosedPort", "http", std::nullopt, 5}),
                         [](const auto &info) { return std::string(info.param.name); });
