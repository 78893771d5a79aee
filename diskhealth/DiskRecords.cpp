#include "diskhealth/DiskRecords.h"

#include <QJsonArray>
#include <array>
#include <utility>

namespace velmox {

namespace {

constexpr std::array kindNames = {
    std::pair{DiskPartitionKind::other, "other"},
    std::pair{DiskPartitionKind::empty, "empty"},
    std::pair{DiskPartitionKind::efiSystem, "efiSystem"},
    std::pair{DiskPartitionKind::biosBoot, "biosBoot"},
    std::pair{DiskPartitionKind::extended, "extended"},
    std::pair{DiskPartitionKind::fat, "fat"},
    std::pair{DiskPartitionKind::ntfs, "ntfs"},
    std::pair{DiskPartitionKind::exfat, "exfat"},
    std::pair{DiskPartitionKind::bitLocker, "bitLocker"},
    std::pair{DiskPartitionKind::microsoftReserved, "microsoftReserved"},
    std::pair{DiskPartitionKind::windowsRecovery, "windowsRecovery"},
    std::pair{DiskPartitionKind::linuxFileSystem, "linuxFileSystem"},
    std::pair{DiskPartitionKind::linuxSwap, "linuxSwap"},
    std::pair{DiskPartitionKind::linuxLvm, "linuxLvm"},
    std::pair{DiskPartitionKind::linuxRaid, "linuxRaid"},
    std::pair{DiskPartitionKind::luks, "luks"},
    std::pair{DiskPartitionKind::apfs, "apfs"},
    std::pair{DiskPartitionKind::apfsMissingContainer, "apfsMissingContainer"},
    std::pair{DiskPartitionKind::hfs, "hfs"},
    std::pair{DiskPartitionKind::appleBoot, "appleBoot"},
    std::pair{DiskPartitionKind::appleRaid, "appleRaid"},
    std::pair{DiskPartitionKind::coreStorage, "coreStorage"},
    std::pair{DiskPartitionKind::zfs, "zfs"},
    std::pair{DiskPartitionKind::solaris, "solaris"},
    std::pair{DiskPartitionKind::bsd, "bsd"},
};

} // namespace

QString kindRawValue(DiskPartitionKind kind) {
    for (const auto& [value, name] : kindNames)
        if (value == kind)
            return QString::fromLatin1(name);
    return QStringLiteral("other");
}

void appendNote(QString& note, const QString& sentence) {
    if (sentence.isEmpty() || note.contains(sentence))
        return;
    if (!note.isEmpty())
        note += u' ';
    note += sentence;
}

QJsonObject toJson(const DiskVolume& volume) {
    return {{QStringLiteral("mountPath"), QString::fromUtf8(volume.mountPath)},
            {QStringLiteral("name"), volume.name},
            {QStringLiteral("bsdName"), volume.bsdName},
            {QStringLiteral("fileSystem"), volume.fileSystem},
            {QStringLiteral("totalBytes"), qint64(volume.totalBytes)},
            {QStringLiteral("availableBytes"), qint64(volume.availableBytes)},
            {QStringLiteral("freeBytes"), qint64(volume.freeBytes)},
            {QStringLiteral("isLocal"), volume.isLocal},
            {QStringLiteral("isInternal"), volume.isInternal},
            {QStringLiteral("isReadOnly"), volume.isReadOnly},
            {QStringLiteral("isEjectable"), volume.isEjectable},
            {QStringLiteral("parentWholeDisk"), volume.parentWholeDisk},
            {QStringLiteral("networkSource"), volume.networkSource}};
}

QJsonObject toJson(const DiskPartition& partition) {
    return {{QStringLiteral("identifier"), partition.identifier},
            {QStringLiteral("name"), partition.name},
            {QStringLiteral("content"), partition.content},
            {QStringLiteral("sizeBytes"), qint64(partition.sizeBytes)},
            {QStringLiteral("usedBytes"), qint64(partition.usedBytes)},
            {QStringLiteral("mountPoint"), QString::fromUtf8(partition.mountPoint)},
            {QStringLiteral("fileSystem"), partition.fileSystem},
            {QStringLiteral("detail"), partition.detail},
            {QStringLiteral("parentID"), partition.parentID},
            {QStringLiteral("kind"), kindRawValue(partition.kind)}};
}

QJsonObject toJson(const DiskContainerSummary& container) {
    return {{QStringLiteral("identifier"), container.identifier},
            {QStringLiteral("sizeBytes"), qint64(container.sizeBytes)},
            {QStringLiteral("freeBytes"), qint64(container.freeBytes)},
            {QStringLiteral("volumeCount"), container.volumeCount},
            {QStringLiteral("isFusion"), container.isFusion},
            {QStringLiteral("storeIDs"), QJsonArray::fromStringList(container.storeIDs)}};
}

QJsonObject toJson(const PhysicalDisk& disk) {
    QJsonArray partitions;
    for (const DiskPartition& partition : disk.partitions)
        partitions.append(toJson(partition));
    QJsonArray volumes;
    for (const DiskVolume& volume : disk.volumes)
        volumes.append(toJson(volume));
    QJsonArray containers;
    for (const DiskContainerSummary& container : disk.containers)
        containers.append(toJson(container));
    return {{QStringLiteral("identifier"), disk.identifier},
            {QStringLiteral("modelName"), disk.modelName},
            {QStringLiteral("smartStatus"), disk.smartStatus},
            {QStringLiteral("busProtocol"), disk.busProtocol},
            {QStringLiteral("partitionScheme"), disk.partitionScheme},
            {QStringLiteral("totalBytes"), qint64(disk.totalBytes)},
            {QStringLiteral("blockSize"), disk.blockSize},
            {QStringLiteral("isInternal"), disk.isInternal},
            {QStringLiteral("isSolidState"), disk.isSolidState},
            {QStringLiteral("isEjectable"), disk.isEjectable},
            {QStringLiteral("isDiskImage"), disk.isDiskImage},
            {QStringLiteral("isVirtual"), disk.isVirtual},
            {QStringLiteral("partitions"), partitions},
            {QStringLiteral("volumes"), volumes},
            {QStringLiteral("containers"), containers},
            {QStringLiteral("note"), disk.note}};
}

} // namespace velmox
