#pragma once

#include <QByteArrayView>
#include <cstdint>

namespace velmox {

// The CRC-32 of zlib and PNG (reflected polynomial 0xEDB88320) over `data`, as the catalog
// files and the change journal store it. Any thread.
uint32_t crc32(QByteArrayView data);

} // namespace velmox
