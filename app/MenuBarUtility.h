#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

namespace velmox {

// The system utilities the tray popover can open.
enum class MenuBarUtility {
    activityMonitor,
    diskUtility,
    terminal,
    console,
    systemInformation,
    keychainAccess,
    screenshot,
    systemSettings,
};

const QList<MenuBarUtility>& allMenuBarUtilities();
// The macOS display name ("Activity Monitor"; empty for the settings app, which is not
// looked up as a bundle).
QString macDisplayName(MenuBarUtility utility);
// The bundle paths looked for on macOS, in order.
QStringList macBundleCandidates(MenuBarUtility utility);

// What the popover shows on this desktop ("System Monitor", "Disks", ...).
QString desktopTitle(MenuBarUtility utility);
QString desktopSymbol(MenuBarUtility utility);
// The programs that play the utility's part on Linux desktops, best first.
QStringList desktopCandidates(MenuBarUtility utility);

// The first candidate found by `find` (a PATH lookup by default); empty when none.
QString installedProgram(MenuBarUtility utility,
                         const std::function<QString(const QString&)>& find = {});

} // namespace velmox
