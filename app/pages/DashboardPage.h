#pragma once

#include "monitor/SystemStats.h"
#include "platform/NamedSensorSource.h"

#include <QWidget>
#include <optional>

class QProgressBar;

namespace velmox {

class MonitorCard;
class MonitorDemand;

// The Dashboard: live cards for the processor, memory, network, start-up disk,
// temperatures and fans, and the machine itself, redrawn from every record the monitor
// engine publishes. The engine runs while the page is shown.
class DashboardPage : public QWidget {
    Q_OBJECT
public:
    explicit DashboardPage(MonitorDemand& demand, QWidget* parent = nullptr);

    // `sensors` is absent until the first sensor read has come back.
    void showStats(const SystemStats& stats, const std::optional<QList<SensorReading>>& sensors);

    MonitorCard* processorCard() const { return processor_; }
    MonitorCard* memoryCard() const { return memory_; }
    MonitorCard* networkCard() const { return network_; }
    MonitorCard* diskCard() const { return disk_; }
    MonitorCard* sensorsCard() const { return sensors_; }
    MonitorCard* machineCard() const { return machine_; }

private:
    void showProcessor(const SystemStats& stats);
    void showMemory(const SystemStats& stats);
    void showNetwork(const SystemStats& stats);
    void showDisk(const SystemStats& stats);
    void showSensors(const SystemStats& stats, const std::optional<QList<SensorReading>>& sensors);
    void showMachine(const SystemStats& stats);

    MonitorCard* processor_;
    MonitorCard* memory_;
    MonitorCard* network_;
    MonitorCard* disk_;
    MonitorCard* sensors_;
    MonitorCard* machine_;
    QProgressBar* diskBar_;
};

} // namespace velmox
