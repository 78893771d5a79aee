// Feeds arbitrary bytes to the lsblk JSON reader and builds an inventory from whatever it
// accepts.

#include "diskhealth/LsblkInventory.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto devices = velmox::parseLsblkJson(bytes))
        velmox::inventoryFromLsblk(*devices, velmox::FileSystemSupport::everything());
    return 0;
}
