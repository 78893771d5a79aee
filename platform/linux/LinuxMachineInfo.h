#pragma once

#include "platform/MachineInfo.h"

namespace velmox {

// Machine facts from a Linux root folder ("/" live; tests point it at a recorded tree):
// - model: DMI product name and vendor (/sys/devices/virtual/dmi/id), else the device
//   tree's model;
// - processor: /proc/cpuinfo's brand; cores counted by (package, core) from
//   /sys/devices/system/cpu/cpuN/topology, split into performance and efficiency cores by
//   /sys/devices/cpu_core/cpus and /sys/devices/cpu_atom/cpus on hybrid Intel chips;
// - GPU: /sys/class/drm/cardN/device (vendor and driver; load from gpu_busy_percent);
// - uptime: /proc/uptime; space: statvfs of the root folder;
// - names: /proc/sys/kernel/hostname, PRETTY_NAME (else NAME) of /etc/os-release;
// - addresses: getifaddrs, ordered by the default routes of /proc/net/route;
// - thermal state: /sys/class/thermal zones against their passive, hot and critical trip
//   points.
class LinuxMachineInfo final : public MachineInfo {
public:
    explicit LinuxMachineInfo(QString root = QStringLiteral("/"));

    QString modelIdentifier() override;
    QString modelName() override;
    QString processorInfo() override;
    QString gpuModel() override;
    std::optional<double> gpuUtilization() override;
    std::optional<double> uptimeSeconds() override;
    std::optional<VolumeSpace> startupVolumeSpace() override;
    QList<NetworkAddress> activeIPv4Interfaces() override;
    QString thermalState() override;
    QString hostName() override;
    QString osName() override;

    // Interfaces with a default route that is up come first, by the route's metric (the
    // lowest of the interface's default routes); the others keep their order.
    QList<NetworkAddress> byDefaultRoute(QList<NetworkAddress> addresses) const;

private:
    QString path(const QString& relative) const;
    QString readTrimmed(const QString& relative) const;
    QStringList gpuDevices() const;
    int countCores(const QString& cpuListFile, bool wholeMachine) const;

    QString root_;
};

} // namespace velmox
