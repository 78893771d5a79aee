#pragma once

#include <QVariant>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

namespace velmox {

class DiskHealthMonitor;
class Settings;
class StatusReporter;

// Settings > Disk Health: the background S.M.A.R.T. checks, how often they run, what they
// notify about, and "Check now" with the time of the last check. Each choice is saved at once
// and the monitor, which watches the settings, follows it; changes saved elsewhere show here. Both
// objects must outlive the pane.
class DiskHealthSettingsPane : public QWidget {
    Q_OBJECT
public:
    DiskHealthSettingsPane(Settings& settings, DiskHealthMonitor& monitor,
                           QWidget* parent = nullptr);

    QCheckBox* enabledBox() const { return enabled_; }
    QComboBox* intervalBox() const { return interval_; }
    QCheckBox* notifyBox() const { return notify_; }
    QComboBox* levelBox() const { return level_; }
    QCheckBox* recoveryBox() const { return recovery_; }
    QPushButton* checkButton() const { return check_; }
    QLabel* lastCheckedLabel() const { return lastChecked_; }

private:
    void save(const QString& key, const QVariant& value);
    // Sets every box from the settings, without saving anything back.
    void showSettings();
    void showMonitorState();
    void enableChoices();

    Settings& settings_;
    DiskHealthMonitor& monitor_;
    QCheckBox* enabled_;
    QComboBox* interval_;
    QCheckBox* notify_;
    QComboBox* level_;
    QCheckBox* recovery_;
    QLabel* lastChecked_;
    QPushButton* check_;
    StatusReporter* reporter_;
};

} // namespace velmox
