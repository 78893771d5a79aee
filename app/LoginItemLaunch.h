#pragma once

#include <QDateTime>
#include <QStringList>
#include <optional>

namespace velmox {

// Whether this start is a login-item launch, after which Velmox stays in the tray.
struct LoginItemLaunch {
    static constexpr qint64 kFreshSessionSeconds = 120;

    struct Facts {
        QStringList arguments;
        bool launchAtLoginOn = false;
        std::optional<QDateTime> sessionStart; // the desktop session's start, if known
        QDateTime now;
    };

    // True when the autostart entry's argument is present; otherwise, with launch at login
    // on, when the desktop session started less than 120 seconds ago.
    static bool decide(const Facts& facts);

    // The start time of this process's login session (its session leader).
    static std::optional<QDateTime> desktopSessionStart();
};

} // namespace velmox
