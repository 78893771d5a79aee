#include "app/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace velmox {

bool SingleInstance::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    if (bus.registerService(kServiceName)) {
        bus.registerObject(kObjectPath, this, QDBusConnection::ExportScriptableSlots);
        return true;
    }
    const QDBusMessage call = QDBusMessage::createMethodCall(
        kServiceName, kObjectPath, QStringLiteral("com.quarnet.velmox.Application"),
        QStringLiteral("Activate"));
    const QDBusMessage reply = bus.call(call, QDBus::Block, 3000);
    // A holder that does not answer is stuck or gone: run rather than do nothing.
    return reply.type() == QDBusMessage::ErrorMessage;
}

void SingleInstance::Activate() {
    emit activationRequested();
}

void SingleInstance::ShowPalette() {
    emit paletteRequested();
}

} // namespace velmox
