#pragma once

#include <QVariant>
#include <QWidget>

class QCheckBox;
class QComboBox;

namespace velmox {

class AppServices;
class StatusReporter;

// Settings > General: the tray icon and the figure it shows, the appearance, launch at login and
// the weekly automatic cache clean.
class GeneralSettingsPane : public QWidget {
    Q_OBJECT
public:
    GeneralSettingsPane(AppServices& services, QString executable, QWidget* parent = nullptr);

    QCheckBox* trayIconBox() const { return trayIcon_; }
    QComboBox* appearanceBox() const { return appearance_; }
    QComboBox* trayFigureBox() const { return trayFigure_; }
    QCheckBox* launchAtLoginBox() const { return launchAtLogin_; }
    QCheckBox* autoCleanBox() const { return autoClean_; }

private:
    void setLaunchAtLogin(bool enabled);
    // Saves one choice; says so on the pane when the settings file cannot be written.
    void save(const QString& key, const QVariant& value);

    AppServices& services_;
    QString executable_;
    QCheckBox* trayIcon_;
    QComboBox* trayFigure_;
    QComboBox* appearance_;
    QCheckBox* launchAtLogin_;
    QCheckBox* autoClean_;
    StatusReporter* reporter_;
};

} // namespace velmox
