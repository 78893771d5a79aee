#include "app/pages/StorageRevealer.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace velmox {

namespace {

const QString kFileManager = QStringLiteral("org.freedesktop.FileManager1");

} // namespace

bool StorageRevealer::reveal(const QString& path) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.interface() &&
        bus.interface()->isServiceRegistered(kFileManager).value()) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            kFileManager, QStringLiteral("/org/freedesktop/FileManager1"), kFileManager,
            QStringLiteral("ShowItems"));
        call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
        if (bus.send(call))
            return true;
    }
    const QFileInfo info(path);
    return QDesktopServices::openUrl(
        QUrl::fromLocalFile(info.isDir() ? info.absoluteFilePath() : info.absolutePath()));
}

} // namespace velmox
