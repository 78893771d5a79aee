#pragma once

#include "app/AppNotifications.h"
#include "app/WeeklyAutoClean.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "services/Settings.h"

#include <QThreadPool>
#include <memory>

namespace velmox {

class ActionHistoryStore;
class ChangeHistory;
class ChangeRecorder;
class AutomationEngine;
class DesktopNotifier;
class DiskHealthMonitor;
class DiskHealthNotifier;
class SmartReader;
class AppLanguageManager;
class CatalogReindexer;
class Clock;
class KeychainHelper;
class MonitorDemand;
class NetworkSpeedTestViewModel;
class NetworkBlockerModel;
class OptimizationTaskRunner;
class PromptElevation;
class ScanCenter;
class ScanResumeOffers;
class SecretStore;
class ShellHelper;
class SpeedTestBackend;
class StorageCatalogStore;
class SystemMonitorEngine;

// The composition root: every object the window, the pages and the tray share is made
// here once and handed on. Services that cost something to start (the activity log's
// load, the secret store's thread) are made on first use.
class AppServices {
public:
    // `settingsFile` empty: the user's settings file.
    explicit AppServices(Clock& clock, const QString& settingsFile = {});
    ~AppServices();
    AppServices(const AppServices&) = delete;
    AppServices& operator=(const AppServices&) = delete;

    Clock& clock() { return clock_; }
    Settings& settings() { return settings_; }
    AppNavigationState& navigation() { return navigation_; }
    AppStatusCenter& status() { return status_; }
    AppNotifications& notifications() { return notifications_; }

    ActionHistoryStore& history();
    // The interface language choice, made on first use.
    AppLanguageManager& languages();
    KeychainHelper& keychain();
    ShellHelper& shell();
    // The one owner of every storage scan, made on first use.
    ScanCenter& scanCenter();
    StorageCatalogStore& catalogStore();
    // Starts recording which folders change, for incremental rescans, for the rest of the
    // session; a failure is logged and rescans read everything.
    void startChangeRecorder();
    // The start-up pass over the catalog folders, made on first use; its notes go to the
    // activity log.
    CatalogReindexer& catalogReindexer();
    // The scans that did not end that the reindexer found, offered to be continued; made on
    // first use.
    ScanResumeOffers& scanResumeOffers();
    // The shared monitor engine, made on first use; it runs while a watcher holds it.
    MonitorDemand& monitor();
    OptimizationTaskRunner& taskRunner();
    // The speed test, made on first use; its start and end reach the status line.
    NetworkSpeedTestViewModel& speedTest();
    // The address blocker's list, apply and backups, made on first use.
    NetworkBlockerModel& blocker();
    // The automation engine of this process, made on first use; start() begins its checks.
    AutomationEngine& automation();
    // The desktop notifications the automation engine sends through.
    DesktopNotifier& automationNotifier();
    // Reads and grades one disk at a time on a worker thread; never prompts for a password.
    std::shared_ptr<SmartReader> smartReader();
    // The background S.M.A.R.T. checks, made on first use; start() begins them.
    DiskHealthMonitor& diskHealth();
    // Finds tasks in the maintenance task registry; they run through taskRunner().
    MaintenanceTaskLookup maintenanceTasks();
    // Runs the short checks of the settings panes (the keyring, sudo) off the main thread.
    // They use the services above, so it is emptied before any of them goes: destroying
    // this object waits for a check still running.
    QThreadPool& checks() { return checks_; }

private:
    Clock& clock_;
    Settings settings_;
    AppNavigationState navigation_;
    AppStatusCenter status_;
    AppNotifications notifications_;
    std::unique_ptr<ActionHistoryStore> history_;
    std::unique_ptr<AppLanguageManager> languages_;
    std::unique_ptr<SecretStore> secretStore_;
    std::unique_ptr<KeychainHelper> keychain_;
    std::unique_ptr<PromptElevation> promptElevation_;
    std::unique_ptr<ShellHelper> shell_;
    std::unique_ptr<StorageCatalogStore> catalogStore_; // outlives the scan center
    std::unique_ptr<ChangeRecorder> changeRecorder_;
    std::unique_ptr<ChangeHistory> changeHistory_; // outlives the scan center
    std::unique_ptr<ScanCenter> scanCenter_;
    std::unique_ptr<CatalogReindexer> catalogReindexer_; // uses the store and the log
    std::unique_ptr<ScanResumeOffers> scanResumeOffers_; // uses the scans, the store and the log
    std::unique_ptr<SystemMonitorEngine> monitorEngine_;
    std::unique_ptr<MonitorDemand> monitorDemand_;
    std::unique_ptr<SpeedTestBackend> speedTestBackend_;
    std::unique_ptr<NetworkSpeedTestViewModel> speedTest_; // after its back end: goes first
    std::unique_ptr<NetworkBlockerModel> blocker_; // its runs use the shell helper and the log
    std::unique_ptr<DiskHealthNotifier> diskHealthNotifier_;
    std::unique_ptr<DiskHealthMonitor> diskHealth_; // uses the reader, which uses the shell helper
    struct Automation;
    std::unique_ptr<Automation> automation_; // uses the log, the keyring and the shell helper
    // Last, so it goes first: it waits for its runs, which use the shell helper and the log.
    std::unique_ptr<OptimizationTaskRunner> taskRunner_;
    QThreadPool checks_; // last: destroyed, and so waited for, first
};

} // namespace velmox
