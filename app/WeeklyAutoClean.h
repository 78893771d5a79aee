#pragma once

#include <QDateTime>
#include <QObject>
#include <chrono>
#include <functional>
#include <memory>

class QThread;

namespace velmox {

class Clock;
class ScheduledJob;
class Settings;

// Finds a maintenance task of the cleaning registry by its name and gives a way to run
// it (blocking, on a worker thread); an empty function when there is no such task.
using MaintenanceTaskLookup = std::function<std::function<void()>(const QString& name)>;

// The weekly automatic cache clean: every 7 days, counted from the last run kept in the
// settings (so restarts do not reset it), runs "User Cache Cleaner" when
// "autoCleanEnabled" is on.
class WeeklyAutoClean : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::seconds kInterval{604800};
    static inline const QString kEnabledKey = QStringLiteral("autoCleanEnabled");
    static inline const QString kLastRunKey = QStringLiteral("autoCleanLastRun");
    static inline const QString kTaskName = QStringLiteral("User Cache Cleaner");

    WeeklyAutoClean(Settings& settings, Clock& clock, MaintenanceTaskLookup lookup,
                    QObject* parent = nullptr);
    ~WeeklyAutoClean() override;

    void start();
    QDateTime nextRun() const { return nextRun_; }
    bool isRunning() const { return running_; }

signals:
    // One run is over; `ranTask` is false when the clean was off or the task missing.
    void runFinished(bool ranTask);
    // The time of the last run could not be saved: a whole sentence saying why. The clean
    // still keeps its weekly rhythm until Velmox quits.
    void saveFailed(const QString& message);

private:
    void scheduleNext();
    void runNow();
    void finish(bool ranTask);
    void markRun();

    Settings& settings_;
    Clock& clock_;
    MaintenanceTaskLookup lookup_;
    std::unique_ptr<ScheduledJob> job_;
    QDateTime lastRun_;
    QDateTime nextRun_;
    bool running_ = false;
    QThread* worker_ = nullptr;
};

} // namespace velmox
