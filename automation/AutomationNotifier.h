#pragma once

#include <QDBusConnection>
#include <QString>
#include <functional>

class QObject;

namespace velmox {

// Shows the user a notification about an unattended run.
class AutomationNotifier {
public:
    virtual ~AutomationNotifier() = default;
    virtual void notify(const QString& title, const QString& body) = 0;
};

// Through the desktop's notification server (org.freedesktop.Notifications on the session
// bus). Does not wait for the server's answer; without a server nothing is shown.
class DesktopNotifier final : public AutomationNotifier {
public:
    explicit DesktopNotifier(QDBusConnection sessionBus = QDBusConnection::sessionBus());
    void notify(const QString& title, const QString& body) override;
    // Shows a notification and tells `done`, on the calling thread and unless `context` has
    // gone, whether a notification server took it.
    void notifyAndConfirm(const QString& title, const QString& body, QObject* context,
                          std::function<void(bool shown)> done);

private:
    QDBusConnection bus_;
};

} // namespace velmox
