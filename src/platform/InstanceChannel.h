#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;

// One running instance per user receives URLs from later launches over a local
// socket. The sender writes one URL a line and an empty line, and waits for
// "ok", so a URL is either handed over whole or the sender knows it wasn't.
// The socket's folder must be private to this user (PrivateFolder), and each
// end asks the kernel who is on the other end: URLs carry the user's file
// paths, and neither end talks to another account.
class InstanceServer : public QObject {
    Q_OBJECT
public:
    explicit InstanceServer(QObject *parent = nullptr);
    ~InstanceServer() override;

    // Listens on `socketPath`, taking over a socket file that no instance answers on.
    // Makes the socket's folder when it is missing; refuses one that isn't private.
    bool listen(const QString &socketPath);
    QString errorString() const;

signals:
    // URLs in the order sent; an empty list asks only to show the window.
    void urlsReceived(const QStringList &urls);

private:
    void accept();

    QLocalServer *server;
    QString refusal;
};

namespace InstanceClient {

// A line that isn't a URL but a failure for the running window's banner: what a launcher's
// `vantrel service` couldn't do, where nobody reads its standard error. `vantrel open` never sends
// one: whatever it is given becomes a URL.
inline constexpr QLatin1StringView failurePrefix{"failure:"};

enum class Outcome {
    delivered,
    // Nobody listens: the caller may start an instance itself.
    noInstance,
    // Something is there but isn't ours, or didn't take the URLs; `problem` says what.
    refused
};

struct Result {
    Outcome outcome = Outcome::noInstance;
    QString problem;
};

// Hands `urls` to the instance listening on `socketPath`.
Result deliver(const QString &socketPath, const QStringList &urls, int timeoutMs = 5000);

} // namespace InstanceClient
