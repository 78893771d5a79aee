#pragma once

#include <QList>
#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace velmox {

// Memory split the way the monitor shows it, in bytes.
struct MemoryCounters {
    std::uint64_t physical = 0;
    std::uint64_t app = 0;        // process memory
    std::uint64_t wired = 0;      // memory the kernel can neither page out nor reclaim
    std::uint64_t compressed = 0; // memory holding compressed pages
    bool operator==(const MemoryCounters&) const = default;
};

// Byte counters of one network interface since it came up (64-bit).
struct InterfaceCounters {
    QString name;
    std::uint64_t bytesIn = 0;
    std::uint64_t bytesOut = 0;
    bool operator==(const InterfaceCounters&) const = default;
};

// The host's running counters, read once per sampling tick. macOS: Mach host statistics
// and the interface list's link data; Linux: /proc (ProcHostCounters).
class HostCounters {
public:
    virtual ~HostCounters() = default;
    // Four 32-bit tick counters per core, in the order user, system, idle, nice.
    virtual std::optional<std::vector<std::uint32_t>> coreTicks() = 0;
    virtual std::optional<MemoryCounters> memory() = 0;
    // The interfaces whose traffic is counted (hardware interfaces, not loopback,
    // bridges or tunnels that carry the same bytes again). The monitor lists the
    // addresses of these interfaces only.
    virtual std::optional<QList<InterfaceCounters>> interfaceCounters() = 0;
};

std::unique_ptr<HostCounters> systemHostCounters();

} // namespace velmox
