// Feeds arbitrary bytes to the reader of networkquality's JSON summary, and the figures it
// accepts to the formatting they are shown with.
#include "network/NetworkQualityJson.h"
#include "network/SpeedTestFormat.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto summary = velmox::parseNetworkQualitySummary(
        QByteArrayView(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (summary) {
        for (const QString& unit : velmox::speedTestUnits())
            (void)velmox::formatThroughput(summary->downloadBitsPerSecond, unit);
        (void)velmox::formatLatency(summary->baseRttMilliseconds);
    }
    return 0;
}
