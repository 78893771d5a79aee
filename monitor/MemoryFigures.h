#pragma once

#include "platform/HostCounters.h"

namespace velmox {

// Memory in GiB (2^30 bytes): used = app + wired + compressed, at most the physical
// memory; free = the rest.
struct MemoryFigures {
    double used = 0.0;
    double free = 0.0;
    double wired = 0.0;
    double compressed = 0.0;
    double app = 0.0;
    bool operator==(const MemoryFigures&) const = default;
};

MemoryFigures memoryFigures(const MemoryCounters& counters);

} // namespace velmox
