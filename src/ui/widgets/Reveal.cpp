#include "ui/widgets/Reveal.h"

#include "platform/NativeNames.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QSet>
#include <QUrl>

void Reveal::showItems(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    QStringList uris;
    for (const QString &path : paths)
        uris.append(NativeNames::fileURL(path));

    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
        call << uris << QString();
        const QDBusMessage reply = bus.call(call, QDBus::Block, 3000);
        if (reply.type() == QDBusMessage::ReplyMessage)
            return;
    }
    QSet<QString> folders;
    for (const QString &path : paths)
        folders.insert(QFileInfo(path).absolutePath());
    for (const QString &folder : folders)
        QDesktopServices::openUrl(QUrl(NativeNames::fileURL(folder), QUrl::StrictMode));
}
