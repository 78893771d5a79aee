#pragma once

#include <QString>
#include <cstdint>

namespace velmox {

// The volume a scan covered: its name (the label, or where it is mounted when it has
// none), file-system format and capacity figures.
struct VolumeInfo {
    QString name;
    int64_t total = 0;
    int64_t freeAvailable = 0; // free space including purgeable space
    int64_t freeImportant = 0; // free space for important use
    QString uuid;
    QString mountPath;
    QString format;
    bool isInternal = false;
    bool isLocal = true;
    bool operator==(const VolumeInfo&) const = default;

    // Empty (no format) when `path` is on no volume that can be asked.
    static VolumeInfo of(const QString& path);
};

} // namespace velmox
