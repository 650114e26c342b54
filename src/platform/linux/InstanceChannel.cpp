#include "platform/InstanceChannel.h"

#include <QLocalServer>
#include <QLocalSocket>

InstanceServer::InstanceServer(QObject *parent) : QObject(parent), server(new QLocalServer(this))
{
    server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(server, &QLocalServer::newConnection, this, &InstanceServer::accept);
}

InstanceServer::~InstanceServer() = default;

bool InstanceServer::listen(const QString &socketPath)
{
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
    return server->errorString();
}

void InstanceServer::accept()
{
    while (QLocalSocket *socket = server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
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
            emit urlsReceived(urls);
        });
    }
}

bool InstanceClient::deliver(const QString &socketPath, const QStringList &urls, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    QByteArray message;
    for (const QString &url : urls)
        message += url.toUtf8() + '\n';
    message += '\n';
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    QByteArray reply;
    while (!reply.contains('\n')) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
        reply += socket.readAll();
    }
    return reply.startsWith("ok");
}
