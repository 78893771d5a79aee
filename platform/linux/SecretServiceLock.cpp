#include "platform/linux/SecretServiceLock.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace velmox {

bool secretServiceDefaultCollectionLocked() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.secrets"),
        QStringLiteral("/org/freedesktop/secrets/aliases/default"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << QStringLiteral("org.freedesktop.Secret.Collection") << QStringLiteral("Locked");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return false;
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

} // namespace velmox
