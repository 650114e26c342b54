// Another account on the same machine, for real: `setpriv` runs its side as nobody (uid 65534), and
// socat stands in for whatever program that account would point at our socket.
#include "AppTestEnvironment.h"
#include "FaultSupport.h"
#include "platform/InstanceChannel.h"
#include "platform/Paths.h"
#include "platform/PrivateFolder.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList asNobody(const QStringList &command)
{
    return QStringList{QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                       QStringLiteral("--clear-groups")} +
           command;
}

// Why this run can't have a second user, for GTEST_SKIP; nothing when it can.
std::optional<QString> secondUserUnavailable()
{
    if (::geteuid() != 0)
        return QStringLiteral("running as another user needs root, and this run isn't root");
    if (QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
        return QStringLiteral("setpriv (util-linux) isn't installed");
    return std::nullopt;
}

// A folder in /tmp that every account may use, as /tmp itself is.
class SharedFolder {
public:
    SharedFolder() : folder(QDir::tempPath() + QStringLiteral("/vt-shared-XXXXXX"))
    {
        ::chmod(QFile::encodeName(folder.path()).constData(), 01777);
    }
    QString path() const { return folder.path(); }

private:
    QTemporaryDir folder;
};

// Whether a socket bound at `path` is listening: /proc/net/unix marks it with the accept flag. The file
// appears at bind(), a moment before listen(); a client that came in between would find no server.
bool isListening(const QString &path)
{
    QFile table(QStringLiteral("/proc/net/unix"));
    if (!table.open(QIODevice::ReadOnly))
        return QFileInfo::exists(path);
    const QByteArray wanted = QFile::encodeName(path);
    for (const QByteArray &line : table.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        // Num RefCount Protocol Flags Type St Inode Path
        if (fields.size() >= 8 && fields.at(7) == wanted && fields.at(3) == "00010000")
            return true;
    }
    return false;
}

bool waitUntilListening(const QString &path)
{
    const QDeadlineTimer deadline(10000);
    while (!isListening(path)) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(10);
    }
    return true;
}

// What the other account's listener was sent, once it is stopped.
QByteArray stopAndRead(QProcess &listener)
{
    listener.terminate();
    listener.waitForFinished(5000);
    return listener.readAllStandardOutput();
}

// `vantrel open URL` as the user runs it, with `environment` changed as given.
Faults::ProcessResult vantrelOpen(const QString &url, const QProcessEnvironment &environment)
{
    return Faults::run(AppTestEnvironment::executable(QStringLiteral("vantrel")), {QStringLiteral("open"), url}, {},
                       20000, environment);
}

const QString secretURL = QStringLiteral("vantrel://run/tag-audit?files=%2Froot%2Fsecret%20plans.pdf");

class InstanceSocket : public testing::Test {
protected:
    void SetUp() override
    {
        if (const auto reason = secondUserUnavailable())
            GTEST_SKIP() << reason->toStdString();
        ASSERT_FALSE(QStandardPaths::findExecutable(QStringLiteral("socat")).isEmpty())
            << "socat is missing; scripts/install-deps.sh installs it";
    }
};

} // namespace

// Without XDG_RUNTIME_DIR the folder is /tmp/vantrel-{uid}: a name anyone can make first.
TEST_F(InstanceSocket, AFolderAnotherUserMadeFirstIsRefusedAndHearsNothing)
{
    AppTestEnvironment env;
    const SharedFolder tmp;
    const QString squatted = tmp.path() + QStringLiteral("/vantrel-%1").arg(::getuid());
    QProcess listener;
    listener.start(QStringLiteral("setpriv"),
                   asNobody({QStringLiteral("sh"), QStringLiteral("-c"),
                             QStringLiteral("mkdir -m 755 \"$1\" && exec socat -u UNIX-LISTEN:\"$1\"/instance,mode=777 "
                                            "STDOUT"),
                             QStringLiteral("sh"), squatted}));
    ASSERT_TRUE(waitUntilListening(squatted + QStringLiteral("/instance")))
        << listener.readAllStandardError().toStdString();

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
    environment.insert(QStringLiteral("TMPDIR"), tmp.path());
    const Faults::ProcessResult opened = vantrelOpen(secretURL, environment);

    EXPECT_EQ(opened.exitCode, 1) << opened.err.toStdString();
    EXPECT_EQ(QString::fromUtf8(opened.err.trimmed()),
              QStringLiteral("%1 belongs to another user (uid 65534); Vantrel won't use it. Ask an administrator "
                             "to remove it.")
                  .arg(squatted));
    EXPECT_EQ(stopAndRead(listener), QByteArray());
}

// A socket of another account inside our own folder (only root could put it there, but the kernel
// says who listens): the URLs aren't sent.
TEST_F(InstanceSocket, TheClientSendsNothingToAServerOfAnotherUser)
{
    AppTestEnvironment env;
    const SharedFolder tmp;
    const QString theirs = tmp.path() + QStringLiteral("/theirs");
    QProcess listener;
    listener.start(QStringLiteral("setpriv"),
                   asNobody({QStringLiteral("socat"), QStringLiteral("-u"),
                             QStringLiteral("UNIX-LISTEN:%1,mode=777").arg(theirs), QStringLiteral("STDOUT")}));
    ASSERT_TRUE(waitUntilListening(theirs)) << listener.readAllStandardError().toStdString();
    const QString ours = Paths::instanceSocket();
    ASSERT_EQ(PrivateFolder::prepare(QFileInfo(ours).path()), std::nullopt);
    // A bound socket keeps listening when its file is renamed.
    ASSERT_EQ(::rename(QFile::encodeName(theirs).constData(), QFile::encodeName(ours).constData()), 0);

    const Faults::ProcessResult opened = vantrelOpen(secretURL, QProcessEnvironment::systemEnvironment());

    EXPECT_EQ(opened.exitCode, 1) << opened.err.toStdString();
    EXPECT_EQ(QString::fromUtf8(opened.err.trimmed()),
              QStringLiteral("The Vantrel socket %1 is served by another user (uid 65534); nothing was sent to it.")
                  .arg(ours));
    EXPECT_EQ(stopAndRead(listener), QByteArray());
}

namespace {

struct Sender {
    const char *name;
    bool otherUser;
};

void PrintTo(const Sender &c, std::ostream *os)
{
    *os << c.name;
}

class InstanceServerHears : public InstanceSocket, public testing::WithParamInterface<Sender> {};

} // namespace

// The folder opened up by hand, so that another account reaches the socket: the server still takes
// URLs only from its own user. The same sender as our own user shows the way in is really open.
TEST_P(InstanceServerHears, OnlyItsOwnUser)
{
    AppTestEnvironment env;
    InstanceServer server;
    const QString socket = Paths::instanceSocket();
    ASSERT_TRUE(server.listen(socket)) << server.errorString().toStdString();
    QSignalSpy received(&server, &InstanceServer::urlsReceived);
    for (const QString &opened : {env.home(), env.path(QStringLiteral("run")), QFileInfo(socket).path()})
        ASSERT_EQ(::chmod(QFile::encodeName(opened).constData(), 0755), 0);
    ASSERT_EQ(::chmod(QFile::encodeName(socket).constData(), 0777), 0);

    const QStringList sender{QStringLiteral("socat"), QStringLiteral("-t"), QStringLiteral("2"), QStringLiteral("-"),
                             QStringLiteral("UNIX-CONNECT:%1").arg(socket)};
    QProcess process;
    if (GetParam().otherUser)
        process.start(QStringLiteral("setpriv"), asNobody(sender));
    else
        process.start(sender.first(), sender.mid(1));
    ASSERT_TRUE(process.waitForStarted());
    process.write(secretURL.toUtf8() + "\n\n");
    process.closeWriteChannel();
    // The server answers from this thread's event loop.
    const QDeadlineTimer deadline(15000);
    while (!process.waitForFinished(10) && !deadline.hasExpired())
        QCoreApplication::processEvents();
    QCoreApplication::processEvents();

    if (GetParam().otherUser) {
        EXPECT_EQ(process.readAllStandardOutput(), QByteArray());
        EXPECT_EQ(received.count(), 0);
    } else {
        EXPECT_EQ(process.readAllStandardOutput(), QByteArray("ok\n"));
        ASSERT_EQ(received.count(), 1);
        EXPECT_EQ(received.first().first().toStringList(), QStringList{secretURL});
    }
}

INSTANTIATE_TEST_SUITE_P(InstanceSocket, InstanceServerHears,
                         testing::Values(Sender{"AnotherUser", true}, Sender{"TheSameUser", false}),
                         [](const testing::TestParamInfo<Sender> &info) { return std::string(info.param.name); });
