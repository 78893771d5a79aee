#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>

namespace velmox {

struct SmartReport;

// What a partition holds, as far as its type and content tell. Selects the partition's icon
// and its note. The raw strings are persisted identifiers.
enum class DiskPartitionKind {
    other,
    empty,
    efiSystem,
    biosBoot,
    extended,
    fat,
    ntfs,
    exfat,
    bitLocker,
    microsoftReserved,
    windowsRecovery,
    linuxFileSystem,
    linuxSwap,
    linuxLvm,
    linuxRaid,
    luks,
    apfs,
    apfsMissingContainer,
    hfs,
    appleBoot,
    appleRaid,
    coreStorage,
    zfs,
    solaris,
    bsd,
};

QString kindRawValue(DiskPartitionKind kind);

// Adds a sentence to a disk's note, once.
void appendNote(QString& note, const QString& sentence);

// One mounted file system.
struct DiskVolume {
    QByteArray mountPath; // bytes from the system: a mount point need not be valid UTF-8
    QString name;         // the label, else the last part of the mount path
    QString bsdName;      // the device the file system is on: "disk1s1", "sda2", "dm-0"
    QString fileSystem;
    int64_t totalBytes = 0;
    int64_t availableBytes = 0; // what an ordinary user may still write
    int64_t freeBytes = 0;      // free blocks, the root reserve included
    bool isLocal = true;
    bool isInternal = false;
    bool isReadOnly = false;
    bool isEjectable = false;
    QString parentWholeDisk;
    QString networkSource;
    bool operator==(const DiskVolume&) const = default;
};

struct DiskPartition {
    QString identifier; // "disk0s1", "sda1"
    QString name;       // the partition's or its file system's label
    QString content;    // the partition type by name ("EFI system partition", "Apple_APFS")
    int64_t sizeBytes = 0;
    int64_t usedBytes = 0; // 0 when not known (not mounted)
    QByteArray mountPoint;
    QString fileSystem;
    QString detail; // a note that explains the partition, empty for the ordinary ones
    QString parentID;
    DiskPartitionKind kind = DiskPartitionKind::other;
    bool operator==(const DiskPartition&) const = default;
};

// One APFS container or Fusion set, as seen from the disk that holds one of its stores.
struct DiskContainerSummary {
    QString identifier; // "disk1"
    int64_t sizeBytes = 0;
    int64_t freeBytes = 0;
    int volumeCount = 0;
    bool isFusion = false;
    QStringList storeIDs;
    bool operator==(const DiskContainerSummary&) const = default;
};

// One whole disk with what lives on it.
struct PhysicalDisk {
    QString identifier; // "disk0", "sda", "nvme0n1"
    QString modelName;
    QString smartStatus; // what the system itself says ("Verified"), empty when it says nothing
    QString busProtocol;
    QString partitionScheme; // "GUID_partition_scheme", "gpt", "dos", empty for none
    int64_t totalBytes = 0;
    int blockSize = 512;
    bool isInternal = false;
    bool isSolidState = false;
    bool isEjectable = false;
    bool isDiskImage = false;
    bool isVirtual = false;
    QList<DiskPartition> partitions;
    QList<DiskVolume> volumes;
    QList<DiskContainerSummary> containers;
    QString note;
    // The health report, once one has been made for this disk; shared, never changed.
    std::shared_ptr<const SmartReport> report;
    bool operator==(const PhysicalDisk&) const = default;
};

QJsonObject toJson(const DiskVolume& volume);
QJsonObject toJson(const DiskPartition& partition);
QJsonObject toJson(const DiskContainerSummary& container);
// Without the report: it has its own form.
QJsonObject toJson(const PhysicalDisk& disk);

} // namespace velmox
