#pragma once

#include "platform/HostCounters.h"

#include <QHash>
#include <chrono>
#include <optional>

namespace velmox {

struct NetworkRates {
    double in = 0.0; // bytes per second
    double out = 0.0;
    bool operator==(const NetworkRates&) const = default;
};

// Throughput from 64-bit byte counters, timed on a steady clock so that setting the wall
// clock cannot shrink or stretch an interval. The time since the previous sample counts
// as at least 0.5 seconds; a counter that went backwards (an interface reset) adds
// nothing, so rates are never negative. Interfaces are compared one by one, so one that
// appears or disappears between samples does not show up as a burst.
class NetworkRateSampler {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    static constexpr double minimumElapsedSeconds = 0.5;

    // The first sample, and the first after reset(), is the baseline: no rates.
    std::optional<NetworkRates> sample(const QList<InterfaceCounters>& counters, TimePoint now);
    void reset();

private:
    QHash<QString, InterfaceCounters> previous_;
    std::optional<TimePoint> previousSample_;
};

} // namespace velmox
