#include "automation/AutomationNotifier.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QVariantMap>

namespace velmox {

DesktopNotifier::DesktopNotifier(QDBusConnection sessionBus) : bus_(std::move(sessionBus)) {}

namespace {

QDBusMessage notifyCall(const QString& title, const QString& body) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    call << QStringLiteral("Velmox") << 0u << QStringLiteral("velmox") << title << body
         << QStringList() << QVariantMap() << -1;
    return call;
}

} // namespace

void DesktopNotifier::notify(const QString& title, const QString& body) {
    bus_.asyncCall(notifyCall(title, body));
}

void DesktopNotifier::notifyAndConfirm(const QString& title, const QString& body, QObject* context,
                                       std::function<void(bool shown)> done) {
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(notifyCall(title, body)), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
                     [watcher, done = std::move(done)] {
                         watcher->deleteLater();
                         done(!watcher->isError());
                     });
}

} // namespace velmox
