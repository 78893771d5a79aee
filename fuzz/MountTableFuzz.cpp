// /proc/self/mountinfo, with its octal escapes and optional fields.
#include "storage/MountTable.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const velmox::MountTable table = velmox::MountTable::parse(bytes);
    (void)table.mountOf(QByteArrayLiteral("/home/user/file"));
    (void)table.mountPointsBelow(QByteArrayLiteral("/"));
    return 0;
}
