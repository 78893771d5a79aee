#pragma once

#include "services/Result.h"

#include <QDBusConnection>
#include <QMutex>
#include <QString>

namespace velmox {

// Keeps the computer awake by holding a logind inhibitor lock ("sleep:idle", mode "block").
// logind keeps the lock while the file descriptor it hands out stays open, so the lock ends
// with turnOff() or with this object, and at the latest when the process ends.
//
// Safe to use from any thread; the blocking D-Bus call runs on the caller's thread, so
// turnOn() belongs on worker threads. The connection must outlive this object.
class LogindKeepAwake {
public:
    // The system bus in the app; tests pass a private bus with a stand-in logind.
    explicit LogindKeepAwake(QDBusConnection bus = QDBusConnection::systemBus());
    ~LogindKeepAwake();
    LogindKeepAwake(const LogindKeepAwake&) = delete;
    LogindKeepAwake& operator=(const LogindKeepAwake&) = delete;

    // Takes the lock unless it is held already. A failure says why in a whole sentence.
    Status turnOn();
    // Lets go of the lock; nothing to do when none is held.
    void turnOff();
    bool isOn() const;

private:
    QDBusConnection bus_;
    mutable QMutex mutex_;
    int descriptor_ = -1;
};

} // namespace velmox
