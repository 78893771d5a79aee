#pragma once

#include "network/SpeedTestSummary.h"
#include "services/Result.h"

#include <QByteArrayView>

namespace velmox {

// Reads the JSON summary that `networkquality -c` prints: "dl_throughput" and "ul_throughput"
// in bits per second, "base_rtt" in milliseconds. A figure that is missing, not a number or
// negative stays absent. Output that is not one JSON object fails with "Failed to parse test
// results."; a summary that carries "error_code" (the tool's way of saying the test could not
// reach its server, with zero throughput) fails with a sentence naming the error.
Result<SpeedTestSummary> parseNetworkQualitySummary(QByteArrayView output);

} // namespace velmox
