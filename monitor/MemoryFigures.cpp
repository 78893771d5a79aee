#include "monitor/MemoryFigures.h"

#include <algorithm>
#include <cmath>

namespace velmox {

MemoryFigures memoryFigures(const MemoryCounters& counters) {
    const auto gib = [](std::uint64_t bytes) { return std::ldexp(double(bytes), -30); };
    const std::uint64_t used =
        std::min(counters.app + counters.wired + counters.compressed, counters.physical);
    return {gib(used), gib(counters.physical - used), gib(counters.wired), gib(counters.compressed),
            gib(counters.app)};
}

} // namespace velmox
