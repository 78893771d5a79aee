#include "app/MenuBarUtility.h"

#include <QStandardPaths>

namespace velmox {

namespace {

struct UtilityInfo {
    MenuBarUtility utility;
    const char* macName;
    const char* title;
    const char* symbol;
    QStringList programs;
};

const QList<UtilityInfo>& table() {
    static const QList<UtilityInfo> rows{
        {MenuBarUtility::activityMonitor,
         "Activity Monitor",
         "System Monitor",
         "utilities-system-monitor",
         {"gnome-system-monitor", "plasma-systemmonitor", "ksysguard", "mate-system-monitor",
          "xfce4-taskmanager", "lxtask"}},
        {MenuBarUtility::diskUtility,
         "Disk Utility",
         "Disks",
         "drive-harddisk",
         {"gnome-disks", "partitionmanager", "gparted", "mate-disk-usage-analyzer"}},
        {MenuBarUtility::terminal,
         "Terminal",
         "Terminal",
         "utilities-terminal",
         {"x-terminal-emulator", "gnome-terminal", "kgx", "konsole", "xfce4-terminal",
          "mate-terminal", "xterm"}},
        {MenuBarUtility::console,
         "Console",
         "Logs",
         "utilities-log-viewer",
         {"gnome-logs", "ksystemlog", "mate-system-log"}},
        {MenuBarUtility::systemInformation,
         "System Information",
         "System Information",
         "computer",
         {"kinfocenter", "hardinfo", "hardinfo2", "gnome-system-information"}},
        {MenuBarUtility::keychainAccess,
         "Keychain Access",
         "Passwords and Keys",
         "dialog-password",
         {"seahorse", "kwalletmanager5", "kwalletmanager"}},
        {MenuBarUtility::screenshot,
         "Screenshot",
         "Screenshot",
         "applets-screenshooter",
         {"gnome-screenshot", "spectacle", "xfce4-screenshooter", "mate-screenshot", "flameshot"}},
        {MenuBarUtility::systemSettings,
         "",
         "Settings",
         "preferences-system",
         {"gnome-control-center", "systemsettings", "systemsettings5", "xfce4-settings-manager",
          "mate-control-center", "lxqt-config"}},
    };
    return rows;
}

const UtilityInfo& info(MenuBarUtility utility) {
    for (const UtilityInfo& row : table())
        if (row.utility == utility)
            return row;
    return table().first();
}

} // namespace

const QList<MenuBarUtility>& allMenuBarUtilities() {
    static const QList<MenuBarUtility> all = [] {
        QList<MenuBarUtility> list;
        for (const UtilityInfo& row : table())
            list << row.utility;
        return list;
    }();
    return all;
}

QString macDisplayName(MenuBarUtility utility) {
    return QString::fromLatin1(info(utility).macName);
}

QStringList macBundleCandidates(MenuBarUtility utility) {
    const QString name = macDisplayName(utility);
    if (name.isEmpty())
        return {};
    const QString bundle = name + QStringLiteral(".app");
    return {QStringLiteral("/System/Applications/Utilities/") + bundle,
            QStringLiteral("/Applications/Utilities/") + bundle,
            QStringLiteral("/System/Library/CoreServices/Applications/") + bundle};
}

QString desktopTitle(MenuBarUtility utility) {
    return QString::fromLatin1(info(utility).title);
}

QString desktopSymbol(MenuBarUtility utility) {
    return QString::fromLatin1(info(utility).symbol);
}

QStringList desktopCandidates(MenuBarUtility utility) {
    return info(utility).programs;
}

QString installedProgram(MenuBarUtility utility,
                         const std::function<QString(const QString&)>& find) {
    for (const QString& program : desktopCandidates(utility)) {
        const QString path = find ? find(program) : QStandardPaths::findExecutable(program);
        if (!path.isEmpty())
            return path;
    }
    return {};
}

} // namespace velmox
