#include "monitor/CpuLoadSampler.h"

namespace velmox {

std::optional<CpuLoad> CpuLoadSampler::sample(std::vector<std::uint32_t> ticks) {
    std::optional<CpuLoad> load;
    if (!previous_.empty() && previous_.size() == ticks.size()) {
        std::uint64_t sums[4] = {}; // user, system, idle, nice
        for (std::size_t i = 0; i < ticks.size(); ++i)
            sums[i % 4] += std::uint32_t(ticks[i] - previous_[i]); // wraps like the counters
        const auto [user, system, idle, nice] = sums;
        const std::uint64_t total = user + system + idle + nice;
        if (total > 0)
            load = CpuLoad{double(user + nice) / double(total) * 100.0,
                           double(system) / double(total) * 100.0};
    }
    previous_ = std::move(ticks);
    return load;
}

} // namespace velmox
