#pragma once

#include <QString>
#include <cstdint>

namespace velmox {

// The volume a scanned folder lives on: its name (the label, or where it is mounted when
// it has none), file-system format, capacity and free space.
struct VolumeInfo {
    QString name;
    QString format;
    int64_t capacity = 0;
    int64_t available = 0;
    bool operator==(const VolumeInfo&) const = default;

    // Empty when `path` is on no volume that can be asked (it does not exist, say).
    static VolumeInfo of(const QString& path);
};

} // namespace velmox
