// /proc/stat, /proc/meminfo and /proc/net/dev: the first input byte picks the parser.
#include "platform/linux/ProcHostCounters.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
    case 0:
        (void)velmox::ProcHostCounters::parseStat(text);
        break;
    case 1:
        (void)velmox::ProcHostCounters::parseMeminfo(text);
        break;
    default:
        (void)velmox::ProcHostCounters::parseNetDev(text);
        break;
    }
    return 0;
}
