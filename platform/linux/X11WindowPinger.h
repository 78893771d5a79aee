#pragma once

#include "platform/WindowPinger.h"

#include <QByteArray>

namespace velmox {

// Pings X11 windows the way window managers do: a window that lists _NET_WM_PING in its
// WM_PROTOCOLS answers a _NET_WM_PING client message by sending it back to the root window.
class X11WindowPinger final : public WindowPinger {
public:
    // `display` empty: $DISPLAY.
    explicit X11WindowPinger(QByteArray display = {});

    Result<QList<UnansweredWindow>> findUnanswered(std::chrono::milliseconds wait) override;

private:
    QByteArray display_;
};

} // namespace velmox
