#pragma once

#include "diskhealth/SmartReader.h"
#include "diskhealth/SmartReport.h"

#include <QDBusConnection>
#include <QDateTime>
#include <QMap>
#include <QObject>
#include <functional>
#include <memory>

class QThread;

namespace velmox {

class Clock;
class ScheduledJob;
class Settings;

// Sends a desktop notification.
class DiskHealthNotifier {
public:
    virtual ~DiskHealthNotifier() = default;
    // Must not block: called on the main thread.
    virtual void notify(const QString& title, const QString& body) = 0;
};

// Notifications through org.freedesktop.Notifications on the given bus (the session bus in the
// application). Calls are sent without waiting for the answer.
class FreedesktopNotifier final : public DiskHealthNotifier {
public:
    explicit FreedesktopNotifier(QDBusConnection bus = QDBusConnection::sessionBus());
    void notify(const QString& title, const QString& body) override;

private:
    QDBusConnection bus_;
};

// The grade of one disk at the last check.
struct CachedDiskHealth {
    QString key;   // the identity the level is saved under: model and serial, else the device
    QString label; // model, else the device path, for texts
    SmartReport report;
    QDateTime checkedAt;
};

// Watches every disk's S.M.A.R.T. grade in the background and notifies when one gets worse
// (and, when asked, when it gets better). Lives on the main thread; the checks run on its own
// worker thread, "Velmox.diskHealthMonitor", one at a time. The reader and the disk lister are
// shared with that thread and called only there. Destroying the monitor stops its timers and
// waits for a check under way, whose result is dropped.
class DiskHealthMonitor : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kEnabledKey = "diskHealthMonitorEnabled";
    static constexpr const char* kMinutesKey = "diskHealthCheckMinutes";
    static constexpr const char* kNotifyKey = "diskHealthNotify";
    static constexpr const char* kNotifyLevelKey = "diskHealthNotifyLevel";
    static constexpr const char* kNotifyRecoveryKey = "diskHealthNotifyRecovery";
    static constexpr const char* kLastLevelsKey = "diskHealthLastLevels";
    static constexpr std::chrono::seconds kFirstCheckDelay{20};
    // The interval choices offered: 30 minutes, 1 hour, 3 hours, 6 hours, once a day.
    static const QList<int>& intervalChoices();
    static QString intervalTitle(int minutes);

    // Lists the disks to check; runs on the worker thread.
    using DiskLister = std::function<QList<SmartTarget>()>;

    DiskHealthMonitor(Settings& settings, Clock& clock, std::shared_ptr<SmartReader> reader,
                      DiskLister lister, DiskHealthNotifier& notifier, QObject* parent = nullptr);
    ~DiskHealthMonitor() override;

    // The first check 20 seconds from now, then one every interval; nothing while the monitor
    // is switched off in the settings. Until stop(), the schedule follows the settings: switched
    // on, the first check comes 20 seconds later; a new interval counts from the change.
    void start();
    void stop();
    // Checks at once unless a check is under way ("Check now").
    void checkNow();

    bool isChecking() const { return checking_; }
    QDateTime lastChecked() const { return lastChecked_; }
    const QList<CachedDiskHealth>& disks() const { return disks_; }

    // Settings with their defaults: the interval in minutes (a value below 1 means 60) and the
    // level that notifies (2 warning, 3 critical).
    static int intervalMinutes(const Settings& settings);
    static HealthGrade notifyLevel(const Settings& settings);

    // "S.M.A.R.T.: Critical. The drive's ... Click to open the S.M.A.R.T. details."
    static QString badgeText(const SmartReport& report);
    // The badge of the worst disk of the last check when one is at watch or critical, else empty.
    QString badge() const;

signals:
    void checkingChanged(bool checking);
    void checked();

private:
    void schedule(bool soon);
    void finishCheck(const QList<CachedDiskHealth>& disks);

    Settings& settings_;
    Clock& clock_;
    std::shared_ptr<SmartReader> reader_;
    DiskLister lister_;
    DiskHealthNotifier& notifier_;
    QThread* thread_ = nullptr;
    QObject* workerContext_ = nullptr; // lives on thread_
    std::unique_ptr<ScheduledJob> firstCheck_;
    std::unique_ptr<ScheduledJob> repeat_;
    bool started_ = false;
    bool checking_ = false;
    QDateTime lastChecked_;
    QList<CachedDiskHealth> disks_;
};

// The whole disks of this Linux system that can carry S.M.A.R.T. data (no loop, RAM, zram or
// device-mapper devices), read from sysfs.
QList<SmartTarget> linuxWholeDisks(const QString& sysRoot = QStringLiteral("/sys"));

} // namespace velmox
