#include "storage/VolumeInfo.h"

#include <QStorageInfo>

namespace velmox {

VolumeInfo VolumeInfo::of(const QString& path) {
    const QStorageInfo storage(path);
    if (!storage.isValid() || !storage.isReady())
        return {};
    VolumeInfo info;
    info.name = storage.name().isEmpty() ? storage.rootPath() : storage.name();
    info.total = storage.bytesTotal();
    info.freeAvailable = storage.bytesAvailable();
    info.freeImportant = storage.bytesAvailable();
    info.mountPath = storage.rootPath();
    info.format = QString::fromUtf8(storage.fileSystemType());
    return info;
}

} // namespace velmox
