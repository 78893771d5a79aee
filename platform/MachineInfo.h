#pragma once

#include <QList>
#include <QString>
#include <cstdint>
#include <memory>
#include <optional>

namespace velmox {

// An interface that is up, not loopback, and has an IPv4 address (numeric form).
struct NetworkAddress {
    QString interfaceName;
    QString address;
    bool operator==(const NetworkAddress&) const = default;
};

struct VolumeSpace {
    std::uint64_t total = 0;
    std::uint64_t available = 0; // to unprivileged users
    std::uint64_t free = 0;      // including what is kept for the administrator
    bool operator==(const VolumeSpace&) const = default;
};

// Descriptions of the machine and figures that change slowly. macOS: sysctl, the device
// registry, statfs and getifaddrs; Linux: /proc, /sys, statvfs and getifaddrs.
class MachineInfo {
public:
    virtual ~MachineInfo() = default;
    virtual QString modelIdentifier() = 0;              // "MacBookPro15,1"; "" when unknown
    virtual QString modelName() = 0;                    // for people; never empty
    virtual QString processorInfo() = 0;                // brand and core counts; never empty
    virtual QString gpuModel() = 0;                     // "" when the system names no GPU
    virtual std::optional<double> gpuUtilization() = 0; // percent, where exposed
    virtual std::optional<double> uptimeSeconds() = 0;
    virtual std::optional<VolumeSpace> startupVolumeSpace() = 0;
    // Interfaces with a default route come first, the lowest route metric first; the
    // others follow in the system's order.
    virtual QList<NetworkAddress> activeIPv4Interfaces() = 0;
    // "nominal", "fair", "serious", "critical", or "unknown" without a source.
    virtual QString thermalState() = 0;
    // The computer's network name and the operating system's name; "" when unknown.
    virtual QString hostName() { return {}; }
    virtual QString osName() { return {}; }
};

std::unique_ptr<MachineInfo> systemMachineInfo();

} // namespace velmox

namespace velmox {

// "Brand (8 performance + 4 efficiency)" on machines with two kinds of cores,
// "Brand (8 cores)" otherwise; "Unknown processor" stands in for an empty brand.
QString processorInfoText(const QString& brand, int performanceCores, int efficiencyCores,
                          int physicalCores);

} // namespace velmox
