#pragma once

#include "platform/HostCounters.h"

#include <QDateTime>
#include <QHash>

namespace velmox {

struct NetworkRates {
    double in = 0.0; // bytes per second
    double out = 0.0;
    bool operator==(const NetworkRates&) const = default;
};

// Throughput from 64-bit byte counters. The time since the previous sample counts as at
// least 0.5 seconds; a counter that went backwards (an interface reset) adds nothing, so
// rates are never negative. Interfaces are compared one by one, so one that appears or
// disappears between samples does not show up as a burst.
class NetworkRateSampler {
public:
    static constexpr double minimumElapsedSeconds = 0.5;

    // The first sample gives zero rates.
    NetworkRates sample(const QList<InterfaceCounters>& counters, const QDateTime& now);

private:
    QHash<QString, InterfaceCounters> previous_;
    QDateTime previousSample_;
};

} // namespace velmox
