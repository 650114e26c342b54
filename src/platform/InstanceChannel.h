#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;

// One running instance per user receives URLs from later launches over a local
// socket. The sender writes one URL a line and an empty line, and waits for
// "ok", so a URL is either handed over whole or the sender knows it wasn't.
class InstanceServer : public QObject {
    Q_OBJECT
public:
    explicit InstanceServer(QObject *parent = nullptr);
    ~InstanceServer() override;

    // Listens on `socketPath`, taking over a socket file that no instance answers on.
    bool listen(const QString &socketPath);
    QString errorString() const;

signals:
    // URLs in the order sent; an empty list asks only to show the window.
    void urlsReceived(const QStringList &urls);

private:
    void accept();

    QLocalServer *server;
};

namespace InstanceClient {
// Hands `urls` to the instance listening on `socketPath`. False when none answers.
bool deliver(const QString &socketPath, const QStringList &urls, int timeoutMs = 5000);
} // namespace InstanceClient
