// Feeds arbitrary bytes to the diskutil readers: as the disk list, the APFS list, an info
// property list and the info text, alone and together.

#include "diskhealth/DiskutilInventory.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    velmox::recognizeDiskutilOutput(bytes);
    velmox::parseDiskutilInfoText(bytes);
    (void)velmox::inventoryFromDiskutil({bytes, bytes, {bytes}, {bytes}});
    return 0;
}
