#include "app/SingleInstance.h"

#include "app/AppDelegate.h"
#include "app/MainWindow.h"

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

void SingleInstance::serve(AppDelegate& delegate) {
    connect(this, &SingleInstance::activationRequested, &delegate, &AppDelegate::reopen);
    connect(this, &SingleInstance::paletteRequested, &delegate, &AppDelegate::showPalette);
    // The delegate lives as long as the event loop that delivers these calls.
    openEntry_ = [&delegate](const QString& id) { return delegate.openPaletteEntry(id); };
}

void SingleInstance::Activate() {
    emit activationRequested();
}

void SingleInstance::ShowPalette() {
    emit paletteRequested();
}

bool SingleInstance::OpenEntry(const QString& id) {
    return openEntry_ && openEntry_(id);
}

} // namespace velmox
