#pragma once

#include "monitor/CpuLoadSampler.h"
#include "monitor/NetworkRateSampler.h"
#include "monitor/SensorWorker.h"
#include "monitor/SystemStats.h"
#include "platform/HostCounters.h"
#include "platform/MachineInfo.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QObject>
#include <QSet>
#include <chrono>
#include <memory>

namespace velmox {

// The shared sampler of live figures. A repeating timer ("pollingInterval" seconds, 1...10,
// default 2, with half a second of tolerance) samples processor, memory, network, disk
// space, uptime, GPU load and addresses on the thread the engine lives on, and publishes
// the whole SystemStats record with statsChanged. Sensors are read on a thread of their
// own, at most every sensorPeriodSeconds, and folded into the next record. Intervals are
// timed on the clock's steady time, so setting the wall clock bends no figure.
//
// Every start begins the series afresh: the first sample after it is a baseline for the
// processor load and the network rates (rates over the time nobody watched would be
// stale), and the histories start empty, so a chart never joins across a stop.
class SystemMonitorEngine : public QObject {
    Q_OBJECT
public:
    struct Sources {
        std::unique_ptr<HostCounters> counters;
        std::unique_ptr<MachineInfo> machine;
        SensorWorker::ReadFunction readSensors; // may be empty: no sensors
    };

    static constexpr double defaultInterval = 2.0;
    static constexpr double minimumInterval = 1.0;
    static constexpr double maximumInterval = 10.0;
    static constexpr double timerTolerance = 0.5;
    static constexpr double sensorPeriodSeconds = 5.0;
    static inline const QString pollingIntervalKey = QStringLiteral("pollingInterval");

    SystemMonitorEngine(Settings& settings, Clock& clock, Sources sources,
                        QObject* parent = nullptr);
    // This platform's counters, machine facts and SMCHelper::shared().
    static Sources systemSources();
    ~SystemMonitorEngine() override;

    // Reads the machine's description, starts every series afresh, takes the first sample
    // and starts the timer.
    void start();
    // The same without the timer: the caller drives the samples with tick().
    void startManual();
    void stop();
    bool isRunning() const { return job_ != nullptr; }
    // One sample, as the timer takes it.
    void tick();
    // Starts a sensor read now (unless one is running); the result comes with
    // sensorsChanged and the next published record.
    void requestSensorRead();

    const SystemStats& stats() const { return stats_; }
    const QList<SensorReading>& sensorReadings() const { return sensorReadings_; }
    bool isReadingSensors() const;
    // True once a sensor read has come back.
    bool hasReadSensors() const { return sensorsRead_; }
    double timerInterval() const { return timerInterval_; }

    // A stored value from 1 to 10 inclusive is used as it is; anything else means 2.
    static double clampedInterval(const QVariant& stored);

signals:
    void statsChanged(const SystemStats& stats);
    // Sampling starts: views drop the histories they keep of their own.
    void seriesRestarted();
    void sensorsChanged(const QList<SensorReading>& readings);

private:
    void applyInterval();
    void restartSeries();
    void sampleProcessor();
    void sampleMemory();
    void sampleNetwork();
    void sampleMachine();
    void applySensorReadings(const QList<SensorReading>& readings);

    Settings& settings_;
    Clock& clock_;
    Sources sources_;
    std::unique_ptr<SensorWorker> sensorWorker_;
    std::unique_ptr<ScheduledJob> job_;
    double timerInterval_ = defaultInterval;
    SystemStats stats_;
    CpuLoadSampler cpu_;
    NetworkRateSampler network_;
    QList<SensorReading> sensorReadings_;
    std::optional<std::chrono::steady_clock::time_point> lastSensorRead_;
    QSet<QString> countedInterfaces_; // the interfaces whose bytes the rates count
    bool sensorsRead_ = false;
};

} // namespace velmox
