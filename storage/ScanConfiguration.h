#pragma once

#include "storage/FileTree.h"
#include "storage/LinkKey.h"
#include "storage/MountTable.h"
#include "storage/ScanExclusions.h"
#include "storage/ScanScope.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <cstdint>
#include <functional>

namespace velmox {

enum class StorageMedium { solidState, rotational, unknown };

// The identity of a scan's root when the scan started.
struct RootStamp {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t mtime = 0;
    bool operator==(const RootStamp&) const = default;
};

// Everything one walk needs to know, built once per scan.
struct ScanConfiguration {
    // Stands in for "no device allowed" when the root could not be looked at.
    static constexpr uint64_t kSentinelDevice = 0x80000000u;

    QByteArray rootPath;
    QString rootName;
    QList<uint64_t> allowedDevices;
    QList<QByteArray> excludedPaths; // mount points the walk keeps but does not enter
    // True when excludedPaths come from the system's mount table: then they alone decide
    // what is another disk. Otherwise a folder on a device outside allowedDevices is one.
    bool mountsFromTable = false;
    int workerCount = 1;
    bool gentle = false;
    LinkKey rootKey = 0;
    RootStamp rootStamp;
    QList<PathRedirect> redirects;
    // What the user chose to skip; compiled for the scope's root, so a walk of one of its
    // folders (Rescan Folder) keeps it as it is.
    ScanExclusions exclusions;

    using MediumProbe = std::function<StorageMedium(const MountEntry&)>;
    // Looks at the root (made absolute, with every symbolic link resolved), its file system
    // and the disk below it.
    static ScanConfiguration build(const ScanScope& scope, bool gentle = false);
    static ScanConfiguration build(const ScanScope& scope, bool gentle, const MountTable& mounts,
                                   const MediumProbe& probe);

    // Network and user-space file systems get one worker; local ones as many as the medium
    // takes.
    static int workerCountFor(const QString& fileSystemType, StorageMedium medium, int processors);
    // Classifies the block device behind a local mount from sysfs. A rotational flag of 0
    // means solid state. A flag of 1 is believed only from a real disk behind an ATA, SCSI
    // or USB transport: virtual disks (virtio, Xen, Hyper-V, an emulated disk) set it
    // whatever lies beneath, so they are unknown. A stacked device (device-mapper, md)
    // takes the kind its members agree on; a loop device or members that disagree give
    // unknown. Answers are cached per device.
    static StorageMedium probeLinuxMedium(const MountEntry& mount,
                                          const QString& sysRoot = QStringLiteral("/sys"));
};

} // namespace velmox
