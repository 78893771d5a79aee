#include "platform/PlatformPaths.h"

#include <QDir>

namespace velmox {

namespace {

QString xdgFolder(const char* variable, const QString& fallbackUnderHome) {
    const QString value = qEnvironmentVariable(variable);
    // The XDG rules ignore relative values.
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return PlatformPaths::home() + QLatin1Char('/') + fallbackUnderHome;
}

} // namespace

QString PlatformPaths::home() {
    const QString value = qEnvironmentVariable("HOME");
    return value.isEmpty() ? QDir::homePath() : QDir::cleanPath(value);
}

QString PlatformPaths::appDataParent() {
    return xdgFolder("XDG_DATA_HOME", QStringLiteral(".local/share"));
}

QString PlatformPaths::appDataFolder() {
    return appDataParent() + QStringLiteral("/Velmox");
}

QString PlatformPaths::userCaches() {
    return xdgFolder("XDG_CACHE_HOME", QStringLiteral(".cache"));
}

QString PlatformPaths::userCachesDisplay() {
    const QString caches = userCaches();
    const QString homePrefix = home() + QLatin1Char('/');
    return caches.startsWith(homePrefix) ? QStringLiteral("~/") + caches.mid(homePrefix.size())
                                         : caches;
}

QString PlatformPaths::settingsFile() {
    return xdgFolder("XDG_CONFIG_HOME", QStringLiteral(".config")) +
           QStringLiteral("/Velmox/Velmox.conf");
}

QString PlatformPaths::accessSettingsDisplay() {
    return QStringLiteral("Settings > Access");
}

QString PlatformPaths::secretStoreDisplay() {
    return QStringLiteral("the keyring");
}

QString PlatformPaths::secretStoreTitle() {
    return QStringLiteral("Keyring");
}

} // namespace velmox
