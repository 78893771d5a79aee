#pragma once

#include "services/Result.h"

#include <QString>

namespace velmox {

// Launch at login as an XDG autostart entry whose command carries the login-item
// argument, so that a start from it is recognised as a login-item launch.
struct LaunchAtLogin {
    static inline const QString kSettingKey = QStringLiteral("launchAtLogin");
    static inline const QString kLoginItemArgument = QStringLiteral("--login-item");

    // $XDG_CONFIG_HOME/autostart/velmox.desktop
    static QString entryPath();
    static bool isEnabled();
    // Writes (atomically) or removes the entry; `executable` is the program to start.
    static Status setEnabled(bool enabled, const QString& executable);
    static QByteArray entryText(const QString& executable);
};

} // namespace velmox
