#pragma once

#include <QDateTime>
#include <QStringList>
#include <optional>

namespace velmox {

// Whether this start is a login-item launch, after which Velmox stays in the tray.
struct LoginItemLaunch {
    static constexpr qint64 kFreshSessionSeconds = 120;

    // Whether the launch-at-login entry of this system can start Velmox with an argument. The
    // XDG autostart entry can; where nothing can be passed, a start soon after login stands in.
#ifdef Q_OS_MACOS
    static constexpr bool kEntryPassesArgument = false;
#else
    static constexpr bool kEntryPassesArgument = true;
#endif

    struct Facts {
        QStringList arguments;
        bool launchAtLoginOn = false;
        std::optional<QDateTime> sessionStart; // the desktop session's start, if known
        QDateTime now;
        bool entryPassesArgument = kEntryPassesArgument;
    };

    // True when the login-item argument is present. Only where the entry cannot pass it: with
    // launch at login on, when the desktop session started less than 120 seconds ago (a
    // terminal opened just now would look the same, so this is never asked where the argument
    // can be passed).
    static bool decide(const Facts& facts);
};

} // namespace velmox
