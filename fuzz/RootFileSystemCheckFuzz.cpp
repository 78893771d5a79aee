// Feeds outside text to the readers of the root file-system check: the mount table, tune2fs's
// listing and btrfs's device statistics.
#include "automation/linux/RootFileSystemCheck.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    velmox::RootFileSystemCheck::root(bytes);
    const QString text = QString::fromUtf8(bytes);
    velmox::RootFileSystemCheck::ext4Problem(text);
    velmox::RootFileSystemCheck::btrfsProblem(text);
    return 0;
}
