#include "monitor/NetworkRateSampler.h"

#include <algorithm>

namespace velmox {

std::optional<NetworkRates> NetworkRateSampler::sample(const QList<InterfaceCounters>& counters,
                                                       TimePoint now) {
    std::optional<NetworkRates> rates;
    if (previousSample_) {
        const double elapsed =
            std::max(minimumElapsedSeconds,
                     std::chrono::duration<double>(now - *previousSample_).count());
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
        rates = NetworkRates{double(in) / elapsed, double(out) / elapsed};
    }
    previous_.clear();
    for (const InterfaceCounters& current : counters)
        previous_.insert(current.name, current);
    previousSample_ = now;
    return rates;
}

void NetworkRateSampler::reset() {
    previous_.clear();
    previousSample_.reset();
}

} // namespace velmox
