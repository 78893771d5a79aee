#pragma once

#include <QObject>
#include <QString>

namespace velmox {

// The in-process notifications that connect the settings window, the tray and the main
// window without them knowing one another. One object, made by the composition root.
class AppNotifications : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    void postToggleMenuBarIcon() { emit toggleMenuBarIcon(); }
    void postOpenSettingsSection(const QString& section) { emit openSettingsSection(section); }

signals:
    // "showMenuBarIcon" changed: the tray icon is to be created or removed.
    void toggleMenuBarIcon();
    // The settings window is to select `section` ("general", "access", ...).
    void openSettingsSection(const QString& section);
};

} // namespace velmox
