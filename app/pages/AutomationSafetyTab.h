#pragma once

#include <QWidget>
#include <functional>

class QCheckBox;
class QLabel;
class QListWidget;
class QPushButton;

namespace velmox {

class AutomationEngine;
class DesktopNotifier;
class Settings;
class StatusReporter;

// The Power User page's Safety tab: dry run with its banner, the notification switches with a
// test notification, and the folders and apps that automation must never touch. Switches are
// written to the settings at once, lists to the automation store.
class AutomationSafetyTab : public QWidget {
    Q_OBJECT
public:
    // Return the chosen folders, or the chosen application's desktop entry file; empty when
    // the user cancels.
    using FolderChooser = std::function<QStringList()>;
    using AppChooser = std::function<QString()>;

    // The engine, settings and notifier must outlive the tab.
    AutomationSafetyTab(AutomationEngine& engine, Settings& settings, DesktopNotifier& notifier,
                        QWidget* parent = nullptr);

    void setFolderChooser(FolderChooser chooser) { chooseFolders_ = std::move(chooser); }
    void setAppChooser(AppChooser chooser) { chooseApp_ = std::move(chooser); }

    QCheckBox* dryRunSwitch() const { return dryRun_; }
    QLabel* dryRunBanner() const { return banner_; }
    QCheckBox* summarySwitch() const { return summary_; }
    QCheckBox* failureSwitch() const { return failure_; }
    QListWidget* foldersList() const { return folders_; }
    QListWidget* appsList() const { return apps_; }
    StatusReporter* reporter() const { return reporter_; }

    void addFolders();
    void removeFolder();
    void addApp();
    void removeApp();
    void sendTestNotification();

signals:
    // The test notification has been answered and its message is shown.
    void testNotificationAnswered(const QString& message);

private:
    void showSettings();
    void showLists();
    void setSwitch(const QString& key, bool on);

    AutomationEngine& engine_;
    Settings& settings_;
    DesktopNotifier& notifier_;
    FolderChooser chooseFolders_;
    AppChooser chooseApp_;
    QCheckBox* dryRun_;
    QLabel* banner_;
    QCheckBox* summary_;
    QCheckBox* failure_;
    QListWidget* folders_;
    QLabel* noFolders_;
    QListWidget* apps_;
    QLabel* noApps_;
    StatusReporter* reporter_;
};

} // namespace velmox
