#pragma once

#include "diskhealth/DiskRecords.h"
#include "diskhealth/PartitionTypes.h"
#include "services/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace velmox {

// One block device as `lsblk --json --bytes` describes it, with its children (partitions,
// and the device-mapper, md and loop devices stacked on it). The live reader fills the gaps
// lsblk leaves where no udev database exists from blkid, the mount table, statvfs and sysfs.
struct LsblkDevice {
    QString name;
    QString path;   // "/dev/sda1"
    QString majMin; // "8:1"
    QString type;   // "disk", "part", "loop", "lvm", "crypt", "raid1", "rom"
    int64_t size = 0;
    int logicalSectorSize = 512;
    std::optional<bool> rotational;
    bool removable = false;
    bool readOnly = false;
    bool hotplug = false;
    QString transport; // "sata", "usb", "nvme"; empty when lsblk does not know
    QString model;
    QString vendor;
    QString serial;
    QString partitionTableType; // "gpt", "dos"
    QString partitionType;      // a GPT type GUID or an MBR type byte such as "0x83"
    QString partitionTypeName;
    QString partitionLabel;
    QString fileSystemType; // a blkid signature: "ext4", "crypto_LUKS", "LVM2_member"
    QString label;
    QList<QByteArray> mountPoints;
    std::optional<int64_t> fsSize, fsAvailable, fsUsed, fsFree;
    bool mountedReadOnly = false;
    // From sysfs, live only: the bus of a disk that lsblk names no transport for ("virtio"),
    // and the file behind a loop device.
    QString bus;
    QByteArray backingFile;
    QList<LsblkDevice> children;
    bool operator==(const LsblkDevice&) const = default;
};

// The columns the parser reads, for `lsblk -o`.
QString lsblkColumns();

// Parses lsblk's JSON. Fails with a sentence when the bytes are not an lsblk listing.
Result<QList<LsblkDevice>> parseLsblkJson(const QByteArray& json);

// The whole disks among `roots` (disks, loop devices and optical drives with a medium) with
// their partitions, notes and mounted volumes. Pure: replayed outputs use it too.
QList<PhysicalDisk> inventoryFromLsblk(const QList<LsblkDevice>& roots,
                                       const FileSystemSupport& support);

} // namespace velmox
