#pragma once

#include "services/Result.h"

#include <QList>
#include <QString>
#include <chrono>
#include <memory>
#include <sys/types.h>

namespace velmox {

// An application window that did not answer when asked whether its owner still handles events.
struct UnansweredWindow {
    quint32 window = 0;
    // The owning process; 0 when the window does not say, or runs on another machine.
    pid_t pid = 0;
    QString title;
    bool operator==(const UnansweredWindow&) const = default;
};

// Asks every application window of the desktop session to answer a ping.
class WindowPinger {
public:
    virtual ~WindowPinger() = default;

    // Pings every window that accepts pings and waits up to `wait` for the answers. Fails with
    // a whole sentence where the session gives no way to ask (Wayland, no display).
    virtual Result<QList<UnansweredWindow>> findUnanswered(std::chrono::milliseconds wait) = 0;

    // The pinger for the desktop session this process runs in.
    static std::unique_ptr<WindowPinger> forThisSession();
};

} // namespace velmox
