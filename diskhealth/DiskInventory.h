#pragma once

#include "diskhealth/DiskRecords.h"
#include "diskhealth/LsblkInventory.h"
#include "services/Result.h"

#include <QList>
#include <memory>

namespace velmox {

// Lists the disks of this machine. Reading runs outside programs and waits for them: call
// read() from a worker thread, never the main thread. An implementation keeps no state
// between reads, so one object may be read from any thread, one read at a time.
class DiskInventorySource {
public:
    virtual ~DiskInventorySource() = default;
    virtual Result<QList<PhysicalDisk>> read() const = 0;
};

// Linux: lsblk, with blkid (as root), /proc/self/mountinfo, statvfs and sysfs for what lsblk
// leaves out.
class LinuxDiskInventory : public DiskInventorySource {
public:
    Result<QList<PhysicalDisk>> read() const override;

    // lsblk's listing completed from the other sources; what read() builds its disks from.
    static Result<QList<LsblkDevice>> readDevices();
};

// macOS: diskutil's property lists.
class DiskutilDiskInventory : public DiskInventorySource {
public:
    Result<QList<PhysicalDisk>> read() const override;
};

// The source for the system this build runs on.
std::unique_ptr<DiskInventorySource> makeDiskInventorySource();

} // namespace velmox
