#include "automation/AutomationNotifier.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QVariantMap>

namespace velmox {

DesktopNotifier::DesktopNotifier(QDBusConnection sessionBus) : bus_(std::move(sessionBus)) {}

void DesktopNotifier::notify(const QString& title, const QString& body) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    call << QStringLiteral("Velmox") << 0u << QStringLiteral("velmox") << title << body
         << QStringList() << QVariantMap() << -1;
    bus_.asyncCall(call);
}

} // namespace velmox
