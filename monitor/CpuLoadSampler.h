#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace velmox {

struct CpuLoad {
    double user = 0.0;   // user + nice, percent
    double system = 0.0; // percent
    bool operator==(const CpuLoad&) const = default;
};

// Processor load from per-core tick counters (four per core: user, system, idle, nice).
// Each sample is compared with the previous one; the first sample, and a sample whose
// core count differs from the previous one, give no load.
class CpuLoadSampler {
public:
    std::optional<CpuLoad> sample(std::vector<std::uint32_t> ticks);

private:
    std::vector<std::uint32_t> previous_;
};

} // namespace velmox
