#pragma once

#include <optional>

namespace velmox {

// What one speed test measured, in the units of networkquality's JSON summary. A figure the
// test could not produce is absent.
struct SpeedTestSummary {
    std::optional<double> downloadBitsPerSecond; // "dl_throughput"
    std::optional<double> uploadBitsPerSecond;   // "ul_throughput"
    std::optional<double> baseRttMilliseconds;   // "base_rtt": idle round-trip time

    bool operator==(const SpeedTestSummary&) const = default;
};

} // namespace velmox
