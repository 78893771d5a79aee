#pragma once

#include <QString>

namespace velmox {

// The places on disk that differ between macOS and Linux. Every path is absolute and
// taken from the environment at the time of the call, so tests can point HOME and the
// XDG variables at a temporary folder.
struct PlatformPaths {
    static QString home();
    // macOS: ~/Library/Application Support/Velmox; Linux: $XDG_DATA_HOME/Velmox.
    static QString appDataFolder();
    // The folder that holds appDataFolder() and the folders of earlier product names.
    static QString appDataParent();
    // macOS: ~/Library/Caches; Linux: $XDG_CACHE_HOME (~/.cache).
    static QString userCaches();
    // How the user caches folder is written in user-facing text ("~/Library/Caches", "~/.cache").
    static QString userCachesDisplay();
    // The settings file of the application's own domain (Linux: ~/.config/Velmox/Velmox.conf).
    static QString settingsFile();
    // Where user-facing text sends people to manage the saved password.
    static QString accessSettingsDisplay();
    // The secret store as sentences name it ("the keyring"), and as a button names it.
    static QString secretStoreDisplay();
    static QString secretStoreTitle();
};

} // namespace velmox
