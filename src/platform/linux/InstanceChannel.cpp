#include "platform/InstanceChannel.h"

#include "platform/PrivateFolder.h"

#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

#include <optional>

#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

// Who is on the other end, as the kernel recorded it when the connection was made.
std::optional<uid_t> peerUid(qintptr descriptor)
{
#ifdef SO_PEERCRED
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(int(descriptor), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    return credentials.uid;
#else
    uid_t uid = 0;
    gid_t gid = 0;
    if (::getpeereid(int(descriptor), &uid, &gid) != 0)
        return std::nullopt;
    return uid;
#endif
}

bool isOwnUser(qintptr descriptor)
{
    const auto uid = peerUid(descriptor);
    return uid && *uid == ::geteuid();
}

QString folderOf(const QString &socketPath)
{
    return QFileInfo(socketPath).path();
}

} // namespace

InstanceServer::InstanceServer(QObject *parent) : QObject(parent), server(new QLocalServer(this))
{
    server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(server, &QLocalServer::newConnection, this, &InstanceServer::accept);
}

InstanceServer::~InstanceServer() = default;

bool InstanceServer::listen(const QString &socketPath)
{
    refusal.clear();
    if (const auto problem = PrivateFolder::prepare(folderOf(socketPath))) {
        refusal = *problem;
        return false;
    }
    // Binding with access options replaces whatever file stands at the path, so
    // first make sure no live instance answers there; a file left by one that
    // died is taken over.
    QLocalSocket probe;
    probe.connectToServer(socketPath);
    if (probe.waitForConnected(500))
        return false;
    QLocalServer::removeServer(socketPath);
    return server->listen(socketPath);
}

QString InstanceServer::errorString() const
{
    return refusal.isEmpty() ? server->errorString() : refusal;
}

void InstanceServer::accept()
{
    while (QLocalSocket *socket = server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        // Another account that reaches the socket (a folder opened up by hand) is hung up on unheard.
        if (!isOwnUser(socket->socketDescriptor())) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QLocalSocket::readyRead, this, [this, socket, buffer] {
            buffer->append(socket->readAll());
            // The message ends with an empty line.
            if (!buffer->endsWith("\n\n") && *buffer != "\n")
                return;
            QStringList urls;
            for (const QByteArray &line : buffer->split('\n')) {
                if (!line.isEmpty())
                    urls.append(QString::fromUtf8(line));
            }
            buffer->clear();
            socket->write("ok\n");
            socket->flush();
            // Handed on from the event loop, not from inside this socket's handler: a receiver may open
            // a modal panel, in whose loop the client hangs up and the socket is deleted under us.
            QMetaObject::invokeMethod(
                this, [this, urls] { emit urlsReceived(urls); }, Qt::QueuedConnection);
        });
    }
}

InstanceClient::Result InstanceClient::deliver(const QString &socketPath, const QStringList &urls, int timeoutMs)
{
    const QString folder = folderOf(socketPath);
    const PrivateFolder::Check check = PrivateFolder::check(folder);
    if (check.status == PrivateFolder::Status::missing)
        return {Outcome::noInstance, {}};
    if (check.status == PrivateFolder::Status::unsafe)
        return {Outcome::refused, check.problem};

    QLocalSocket socket;
    socket.connectToServer(socketPath);
    if (!socket.waitForConnected(timeoutMs))
        return {Outcome::noInstance, {}};
    // Checked before a single byte goes out: the URLs name the user's files.
    if (const auto uid = peerUid(socket.socketDescriptor()); !uid || *uid != ::geteuid()) {
        socket.abort();
        return {Outcome::refused,
                uid ? QStringLiteral("The Vantrel socket %1 is served by another user (uid %2); nothing was sent to "
                                     "it.")
                          .arg(socketPath)
                          .arg(*uid)
                    : QStringLiteral("Couldn't tell who serves the Vantrel socket %1; nothing was sent to it.")
                          .arg(socketPath)};
    }
    QByteArray message;
    for (const QString &url : urls)
        message += url.toUtf8() + '\n';
    message += '\n';
    const QString notTaken = QStringLiteral("The running Vantrel didn't take the URLs.");
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMs))
        return {Outcome::refused, notTaken};
    QByteArray reply;
    while (!reply.contains('\n')) {
        if (!socket.waitForReadyRead(timeoutMs))
            return {Outcome::refused, notTaken};
        reply += socket.readAll();
    }
    if (!reply.startsWith("ok"))
        return {Outcome::refused, notTaken};
    return {Outcome::delivered, {}};
}
