#include "diskhealth/DiskutilInventory.h"

#include "diskhealth/DiskInventory.h"
#include "diskhealth/PartitionTypes.h"
#include "services/ToolRunner.h"

#include <QHash>
#include <QRegularExpression>
#include <memory>
#include <plist/plist.h>

namespace velmox {

namespace {

// A parsed property list; frees itself.
using PlistRoot = std::unique_ptr<void, decltype(&plist_free)>;

// diskutil may print warnings before the property list: it starts at the first "<?xml".
PlistRoot parsePlist(const QByteArray& bytes) {
    qsizetype start = bytes.indexOf("<?xml");
    if (start < 0)
        start = bytes.indexOf("<plist");
    if (start < 0 && bytes.startsWith("bplist"))
        start = 0;
    plist_t root = nullptr;
    if (start >= 0 && bytes.size() - start <= std::numeric_limits<uint32_t>::max())
        plist_from_memory(bytes.constData() + start, static_cast<uint32_t>(bytes.size() - start),
                          &root);
    if (root && plist_get_node_type(root) != PLIST_DICT) {
        plist_free(root);
        root = nullptr;
    }
    return PlistRoot(root, &plist_free);
}

plist_t item(plist_t dict, const char* key) {
    return dict && plist_get_node_type(dict) == PLIST_DICT ? plist_dict_get_item(dict, key)
                                                           : nullptr;
}

QString string(plist_t dict, const char* key) {
    const plist_t node = item(dict, key);
    if (!node || plist_get_node_type(node) != PLIST_STRING)
        return {};
    uint64_t length = 0;
    const char* value = plist_get_string_ptr(node, &length);
    return value ? QString::fromUtf8(value, static_cast<qsizetype>(length)).trimmed() : QString();
}

std::optional<int64_t> integer(plist_t dict, const char* key) {
    const plist_t node = item(dict, key);
    if (!node || plist_get_node_type(node) != PLIST_UINT)
        return std::nullopt;
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return static_cast<int64_t>(std::min<uint64_t>(value, INT64_MAX));
}

std::optional<bool> boolean(plist_t dict, const char* key) {
    const plist_t node = item(dict, key);
    if (!node || plist_get_node_type(node) != PLIST_BOOLEAN)
        return std::nullopt;
    uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

QList<plist_t> array(plist_t dict, const char* key) {
    const plist_t node = item(dict, key);
    QList<plist_t> items;
    if (!node || plist_get_node_type(node) != PLIST_ARRAY)
        return items;
    const uint32_t count = plist_array_get_size(node);
    for (uint32_t i = 0; i < count; ++i)
        if (const plist_t element = plist_array_get_item(node, i))
            items.append(element);
    return items;
}

// `diskutil apfs list`: the containers with their stores and volumes.
QList<DiskContainerSummary> containersFromApfsList(plist_t root) {
    QList<DiskContainerSummary> containers;
    for (const plist_t entry : array(root, "Containers")) {
        DiskContainerSummary container;
        container.identifier = string(entry, "ContainerReference");
        container.sizeBytes = integer(entry, "CapacityCeiling").value_or(0);
        container.freeBytes = integer(entry, "CapacityFree").value_or(0);
        container.isFusion = boolean(entry, "Fusion").value_or(false);
        container.volumeCount = static_cast<int>(array(entry, "Volumes").size());
        for (const plist_t store : array(entry, "PhysicalStores"))
            if (const QString id = string(store, "DeviceIdentifier"); !id.isEmpty())
                container.storeIDs.append(id);
        if (container.storeIDs.isEmpty())
            if (const QString id = string(entry, "DesignatedPhysicalStore"); !id.isEmpty())
                container.storeIDs.append(id);
        if (!container.identifier.isEmpty())
            containers.append(container);
    }
    return containers;
}

// Without an APFS list, `diskutil list` still names each container's stores.
DiskContainerSummary containerFromListEntry(plist_t entry) {
    DiskContainerSummary container;
    container.identifier = string(entry, "DeviceIdentifier");
    container.sizeBytes = integer(entry, "Size").value_or(0);
    container.volumeCount = static_cast<int>(array(entry, "APFSVolumes").size());
    for (const plist_t store : array(entry, "APFSPhysicalStores"))
        if (const QString id = string(store, "DeviceIdentifier"); !id.isEmpty())
            container.storeIDs.append(id);
    container.isFusion = container.storeIDs.size() > 1;
    return container;
}

QString wholeDiskOf(const QString& identifier) {
    static const QRegularExpression whole(QStringLiteral("^(disk[0-9]+)"));
    const QRegularExpressionMatch match = whole.match(identifier);
    return match.hasMatch() ? match.captured(1) : identifier;
}

QString containerNote(const DiskContainerSummary& container) {
    QString note = container.isFusion ? QStringLiteral("member of Fusion container ")
                                      : QStringLiteral("member of container ");
    note += container.identifier;
    if (container.storeIDs.size() > 1) {
        QStringList stores = container.storeIDs;
        const QString last = stores.takeLast();
        note +=
            QStringLiteral(" (spanning %1 and %2)").arg(stores.join(QStringLiteral(", ")), last);
    }
    return note;
}

QString macPartitionNote(DiskPartitionKind kind) {
    switch (kind) {
    case DiskPartitionKind::linuxFileSystem:
    case DiskPartitionKind::linuxLvm:
    case DiskPartitionKind::linuxRaid:
    case DiskPartitionKind::luks:
        return QStringLiteral("macOS cannot read Linux file systems without a driver");
    case DiskPartitionKind::ntfs:
    case DiskPartitionKind::bitLocker:
        return QStringLiteral("macOS cannot read this file system (NTFS is read-only without a "
                              "driver; BitLocker is locked)");
    case DiskPartitionKind::appleRaid:
        return QStringLiteral("Member of an Apple RAID set");
    case DiskPartitionKind::coreStorage:
        return QStringLiteral("Part of a Core Storage volume group (legacy Fusion / FileVault)");
    default:
        return {};
    }
}

QString macDiskNote(DiskPartitionKind kind) {
    switch (kind) {
    case DiskPartitionKind::appleRaid:
        return QStringLiteral("Contains a member of an Apple RAID set.");
    case DiskPartitionKind::coreStorage:
        return QStringLiteral("Contains Core Storage physical volumes (the older Fusion and "
                              "FileVault format that APFS replaced).");
    default:
        return {};
    }
}

void applyInfo(PhysicalDisk& disk, plist_t info) {
    if (const QString model = string(info, "MediaName"); !model.isEmpty())
        disk.modelName = model;
    disk.smartStatus = string(info, "SMARTStatus");
    disk.busProtocol = string(info, "BusProtocol");
    if (const auto size = integer(info, "TotalSize").value_or(integer(info, "Size").value_or(0));
        size > 0)
        disk.totalBytes = size;
    if (const auto block = integer(info, "DeviceBlockSize");
        block && *block > 0 && *block < 1 << 20)
        disk.blockSize = static_cast<int>(*block);
    disk.isInternal = boolean(info, "Internal").value_or(disk.isInternal);
    disk.isSolidState = boolean(info, "SolidState").value_or(false);
    disk.isEjectable = boolean(info, "Ejectable").value_or(false) ||
                       boolean(info, "RemovableMediaOrExternalDevice").value_or(false);
    disk.isVirtual = string(info, "VirtualOrPhysical") == QLatin1String("Virtual");
    disk.isDiskImage = disk.busProtocol == QLatin1String("Disk Image");
}

void applyInfoText(PhysicalDisk& disk, const DiskutilInfoText& text) {
    if (disk.smartStatus.isEmpty())
        disk.smartStatus = text.smartStatus;
    if (text.diskSize && disk.totalBytes == 0)
        disk.totalBytes = *text.diskSize;
    disk.isInternal = disk.isInternal || text.isInternal;
}

DiskVolume volumeFrom(plist_t entry, const QString& parent, const PhysicalDisk& disk,
                      const QHash<QString, plist_t>& infos) {
    DiskVolume volume;
    volume.mountPath = string(entry, "MountPoint").toUtf8();
    volume.bsdName = string(entry, "DeviceIdentifier");
    volume.name = string(entry, "VolumeName");
    volume.parentWholeDisk = parent;
    volume.totalBytes = integer(entry, "Size").value_or(0);
    volume.isInternal = disk.isInternal;
    volume.isEjectable = disk.isEjectable;
    if (const plist_t info = infos.value(volume.bsdName)) {
        volume.fileSystem = string(info, "FilesystemType");
        volume.totalBytes = integer(info, "TotalSize").value_or(volume.totalBytes);
        volume.freeBytes = integer(info, "FreeSpace").value_or(0);
        volume.availableBytes = integer(info, "APFSContainerFree").value_or(volume.freeBytes);
        volume.isReadOnly = !boolean(info, "WritableVolume").value_or(true);
    }
    return volume;
}

} // namespace

DiskPartitionKind diskutilContentKind(const QString& content) {
    static const QHash<QString, DiskPartitionKind> kinds = {
        {QStringLiteral("EFI"), DiskPartitionKind::efiSystem},
        {QStringLiteral("Apple_APFS"), DiskPartitionKind::apfs},
        {QStringLiteral("Apple_APFS_ISC"), DiskPartitionKind::apfs},
        {QStringLiteral("Apple_APFS_Recovery"), DiskPartitionKind::apfs},
        {QStringLiteral("Apple_HFS"), DiskPartitionKind::hfs},
        {QStringLiteral("Apple_HFSX"), DiskPartitionKind::hfs},
        {QStringLiteral("Apple_Boot"), DiskPartitionKind::appleBoot},
        {QStringLiteral("Apple_RAID"), DiskPartitionKind::appleRaid},
        {QStringLiteral("Apple_RAID_Offline"), DiskPartitionKind::appleRaid},
        {QStringLiteral("Apple_CoreStorage"), DiskPartitionKind::coreStorage},
        {QStringLiteral("Microsoft Basic Data"), DiskPartitionKind::ntfs},
        {QStringLiteral("Windows_NTFS"), DiskPartitionKind::ntfs},
        {QStringLiteral("Microsoft Reserved"), DiskPartitionKind::microsoftReserved},
        {QStringLiteral("Windows Recovery"), DiskPartitionKind::windowsRecovery},
        {QStringLiteral("DOS_FAT_12"), DiskPartitionKind::fat},
        {QStringLiteral("DOS_FAT_16"), DiskPartitionKind::fat},
        {QStringLiteral("DOS_FAT_32"), DiskPartitionKind::fat},
        {QStringLiteral("Windows_FAT_16"), DiskPartitionKind::fat},
        {QStringLiteral("Windows_FAT_32"), DiskPartitionKind::fat},
        {QStringLiteral("Linux"), DiskPartitionKind::linuxFileSystem},
        {QStringLiteral("Linux Filesystem"), DiskPartitionKind::linuxFileSystem},
        {QStringLiteral("Linux_LVM"), DiskPartitionKind::linuxLvm},
        {QStringLiteral("Linux LVM"), DiskPartitionKind::linuxLvm},
        {QStringLiteral("Linux_Swap"), DiskPartitionKind::linuxSwap},
        {QStringLiteral("Linux Swap"), DiskPartitionKind::linuxSwap},
        {QStringLiteral("Bios Boot Partition"), DiskPartitionKind::biosBoot},
        {QStringLiteral("ZFS"), DiskPartitionKind::zfs},
        {QStringLiteral("FreeBSD"), DiskPartitionKind::bsd},
    };
    if (const auto found = kinds.constFind(content); found != kinds.cend())
        return *found;
    if (content.startsWith(QLatin1String("0x"))) {
        bool ok = false;
        const int typeByte = content.mid(2).toInt(&ok, 16);
        return ok ? mbrTypeKind(typeByte) : DiskPartitionKind::other;
    }
    return gptTypeKind(content);
}

DiskutilOutputKind recognizeDiskutilOutput(const QByteArray& bytes) {
    const PlistRoot root = parsePlist(bytes);
    if (root) {
        if (item(root.get(), "AllDisksAndPartitions"))
            return DiskutilOutputKind::list;
        if (item(root.get(), "Containers"))
            return DiskutilOutputKind::apfsList;
        if (item(root.get(), "DeviceIdentifier"))
            return DiskutilOutputKind::info;
        return DiskutilOutputKind::notDiskutil;
    }
    return parseDiskutilInfoText(bytes).identifier.isEmpty() ? DiskutilOutputKind::notDiskutil
                                                             : DiskutilOutputKind::infoText;
}

DiskutilInfoText parseDiskutilInfoText(const QByteArray& text) {
    static const QRegularExpression bytesInParentheses(QStringLiteral("\\(([0-9]+) Bytes\\)"));
    DiskutilInfoText info;
    for (const QByteArray& rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        const qsizetype colon = line.indexOf(u':');
        if (colon <= 0)
            continue;
        const QString key = line.left(colon);
        const QString value = line.mid(colon + 1).trimmed();
        if (key == QLatin1String("Device Identifier"))
            info.identifier = value;
        else if (key == QLatin1String("SMART Status"))
            info.smartStatus = value;
        else if (key == QLatin1String("Disk Size") || key == QLatin1String("Total Size")) {
            const QRegularExpressionMatch match = bytesInParentheses.match(value);
            if (match.hasMatch() && !info.diskSize)
                info.diskSize = match.captured(1).toLongLong();
        } else if (key == QLatin1String("Device Location") &&
                   value.contains(QLatin1String("internal"), Qt::CaseInsensitive))
            info.isInternal = true;
    }
    return info;
}

Result<QList<PhysicalDisk>> inventoryFromDiskutil(const DiskutilOutputs& outputs) {
    const PlistRoot list = parsePlist(outputs.list);
    if (!list || !item(list.get(), "AllDisksAndPartitions"))
        return failure(QStringLiteral("The disk list from diskutil could not be read: it is not "
                                      "the property list of “diskutil list -plist”."));
    const PlistRoot apfs = parsePlist(outputs.apfsList);
    std::vector<PlistRoot> infoRoots;
    QHash<QString, plist_t> infos;
    for (const QByteArray& bytes : outputs.infos) {
        PlistRoot root = parsePlist(bytes);
        if (const QString id = string(root.get(), "DeviceIdentifier"); !id.isEmpty()) {
            infos.insert(id, root.get());
            infoRoots.push_back(std::move(root));
        }
    }
    QHash<QString, DiskutilInfoText> infoTexts;
    for (const QByteArray& bytes : outputs.infoTexts) {
        const DiskutilInfoText text = parseDiskutilInfoText(bytes);
        if (!text.identifier.isEmpty())
            infoTexts.insert(text.identifier, text);
    }

    const QList<plist_t> entries = array(list.get(), "AllDisksAndPartitions");
    QList<DiskContainerSummary> containers = containersFromApfsList(apfs.get());
    const bool fromApfsList = !containers.isEmpty() || item(apfs.get(), "Containers");
    for (const plist_t entry : entries)
        if (item(entry, "APFSPhysicalStores") && !fromApfsList)
            containers.append(containerFromListEntry(entry));
    const auto containerOfStore = [&](const QString& store) -> const DiskContainerSummary* {
        for (const DiskContainerSummary& container : containers)
            if (container.storeIDs.contains(store))
                return &container;
        return nullptr;
    };

    QList<PhysicalDisk> disks;
    for (const plist_t entry : entries) {
        if (item(entry, "APFSPhysicalStores"))
            continue; // a container synthesised from stores, not a disk of its own
        PhysicalDisk disk;
        disk.identifier = string(entry, "DeviceIdentifier");
        if (disk.identifier.isEmpty())
            continue;
        disk.partitionScheme = string(entry, "Content");
        disk.totalBytes = integer(entry, "Size").value_or(0);
        if (const plist_t info = infos.value(disk.identifier))
            applyInfo(disk, info);
        if (infoTexts.contains(disk.identifier))
            applyInfoText(disk, infoTexts.value(disk.identifier));

        for (const plist_t part : array(entry, "Partitions")) {
            DiskPartition partition;
            partition.identifier = string(part, "DeviceIdentifier");
            partition.name = string(part, "VolumeName");
            partition.content = string(part, "Content");
            partition.kind = diskutilContentKind(partition.content);
            partition.sizeBytes = integer(part, "Size").value_or(0);
            partition.mountPoint = string(part, "MountPoint").toUtf8();
            partition.parentID = disk.identifier;
            if (const plist_t info = infos.value(partition.identifier)) {
                partition.fileSystem = string(info, "FilesystemType");
                if (const auto free = integer(info, "FreeSpace");
                    free && !partition.mountPoint.isEmpty())
                    partition.usedBytes =
                        integer(info, "TotalSize").value_or(partition.sizeBytes) - *free;
            }
            if (partition.kind == DiskPartitionKind::apfs) {
                if (const DiskContainerSummary* container =
                        containerOfStore(partition.identifier)) {
                    partition.detail = containerNote(*container);
                    if (!disk.containers.contains(*container))
                        disk.containers.append(*container);
                } else {
                    partition.kind = DiskPartitionKind::apfsMissingContainer;
                    partition.name = QStringLiteral("APFS container (not available)");
                    partition.detail = QStringLiteral("No container is attached to this partition "
                                                      "(damaged, locked, or made by another APFS "
                                                      "version)");
                }
            } else {
                partition.detail = macPartitionNote(partition.kind);
            }
            appendNote(disk.note, macDiskNote(partition.kind));
            if (!partition.mountPoint.isEmpty())
                disk.volumes.append(volumeFrom(part, disk.identifier, disk, infos));
            disk.partitions.append(partition);
        }
        if (!string(entry, "MountPoint").isEmpty())
            disk.volumes.append(volumeFrom(entry, disk.identifier, disk, infos));
        disks.append(disk);
    }

    // APFS volumes live on the synthesised container disks; show them under the physical
    // disks that hold the container's stores.
    for (const plist_t entry : entries) {
        if (!item(entry, "APFSPhysicalStores"))
            continue;
        QStringList parents;
        for (const plist_t store : array(entry, "APFSPhysicalStores"))
            parents.append(wholeDiskOf(string(store, "DeviceIdentifier")));
        const QString containerID = string(entry, "DeviceIdentifier");
        for (PhysicalDisk& disk : disks) {
            if (!parents.contains(disk.identifier))
                continue;
            for (const plist_t volumeEntry : array(entry, "APFSVolumes")) {
                if (string(volumeEntry, "MountPoint").isEmpty())
                    continue;
                DiskVolume volume = volumeFrom(volumeEntry, disk.identifier, disk, infos);
                volume.fileSystem =
                    volume.fileSystem.isEmpty() ? QStringLiteral("apfs") : volume.fileSystem;
                for (const DiskContainerSummary& container : std::as_const(disk.containers))
                    if (container.identifier == containerID) {
                        volume.totalBytes = container.sizeBytes;
                        volume.availableBytes = container.freeBytes;
                        volume.freeBytes = container.freeBytes;
                    }
                disk.volumes.append(volume);
            }
        }
    }
    return disks;
}

Result<QList<PhysicalDisk>> DiskutilDiskInventory::read() const {
    const QString diskutil = QStringLiteral("/usr/sbin/diskutil");
    const auto plist = [&](QStringList arguments) {
        arguments.append(QStringLiteral("-plist"));
        return ToolRunner::run(diskutil, arguments, std::nullopt, 30.0).standardOutput.toUtf8();
    };
    DiskutilOutputs outputs;
    outputs.list = plist({QStringLiteral("list")});
    outputs.apfsList = plist({QStringLiteral("apfs"), QStringLiteral("list")});
    const PlistRoot list = parsePlist(outputs.list);
    for (const plist_t entry : array(list.get(), "AllDisksAndPartitions")) {
        const QString id = string(entry, "DeviceIdentifier");
        if (id.isEmpty() || item(entry, "APFSPhysicalStores"))
            continue;
        const QString device = QStringLiteral("/dev/") + id;
        const QByteArray info = plist({QStringLiteral("info"), device});
        if (parsePlist(info))
            outputs.infos.append(info);
        else
            outputs.infoTexts.append(
                ToolRunner::run(diskutil, {QStringLiteral("info"), device}, std::nullopt, 30.0)
                    .standardOutput.toUtf8());
    }
    return inventoryFromDiskutil(outputs);
}

} // namespace velmox
