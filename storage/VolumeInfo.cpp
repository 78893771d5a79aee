#include "storage/VolumeInfo.h"

#include <QStorageInfo>

namespace velmox {

VolumeInfo VolumeInfo::of(const QString& path) {
    const QStorageInfo storage(path);
    if (!storage.isValid())
        return {};
    const QString label = storage.name();
    return {label.isEmpty() ? storage.rootPath() : label,
            QString::fromUtf8(storage.fileSystemType()), storage.bytesTotal(),
            storage.bytesAvailable()};
}

} // namespace velmox
