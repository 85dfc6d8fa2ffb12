#include "Velmora/desktop/FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QUrl>

#include "CleanerCore/base/FileURL.h"

namespace velmora::desktop {

bool revealInFileManager(const std::string& path) {
    const QString local = QString::fromStdString(path);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.FileManager1"),
            QStringLiteral("/org/freedesktop/FileManager1"),
            QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
        call << QStringList{QUrl::fromLocalFile(local).toString(QUrl::FullyEncoded)} << QString();
        // Waits for the answer, so that a missing service falls back at once (the call itself
        // returns as soon as the file manager has taken the request).
        const QDBusMessage reply = bus.call(call, QDBus::Block, 3000);
        if (reply.type() == QDBusMessage::ReplyMessage) return true;
    }
    return QDesktopServices::openUrl(
        QUrl::fromLocalFile(QString::fromStdString(deletingLastPathComponent(path))));
}

}  // namespace velmora::desktop
