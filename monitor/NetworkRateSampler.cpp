#include "monitor/NetworkRateSampler.h"

#include <algorithm>

namespace velmox {

NetworkRates NetworkRateSampler::sample(const QList<InterfaceCounters>& counters,
                                        const QDateTime& now) {
    NetworkRates rates;
    if (previousSample_.isValid()) {
        const double elapsed =
            std::max(minimumElapsedSeconds, double(previousSample_.msecsTo(now)) / 1000.0);
        std::uint64_t in = 0, out = 0;
        for (const InterfaceCounters& current : counters) {
            const auto before = previous_.constFind(current.name);
            if (before == previous_.cend())
                continue;
            if (current.bytesIn >= before->bytesIn)
                in += current.bytesIn - before->bytesIn;
            if (current.bytesOut >= before->bytesOut)
                out += current.bytesOut - before->bytesOut;
        }
        rates = {double(in) / elapsed, double(out) / elapsed};
    }
    previous_.clear();
    for (const InterfaceCounters& current : counters)
        previous_.insert(current.name, current);
    previousSample_ = now;
    return rates;
}

} // namespace velmox
