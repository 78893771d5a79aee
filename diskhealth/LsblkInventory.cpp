#include "diskhealth/LsblkInventory.h"

#include "services/ShownText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

// lsblk writes names and paths as the bytes they are, valid UTF-8 or not, which JSON parsers
// refuse. Each byte that is not part of a UTF-8 sequence becomes the escape of a lone
// surrogate U+DC80...U+DCFF, which bytesOf() turns back into the byte.
QByteArray escapeStrayBytes(const QByteArray& bytes) {
    QByteArray result;
    result.reserve(bytes.size());
    const auto continuation = [&](qsizetype at) {
        return at < bytes.size() && (static_cast<uchar>(bytes[at]) & 0xC0) == 0x80;
    };
    for (qsizetype i = 0; i < bytes.size();) {
        const auto lead = static_cast<uchar>(bytes[i]);
        const int length = lead < 0x80                    ? 1
                           : lead >= 0xC2 && lead <= 0xDF ? 2
                           : lead >= 0xE0 && lead <= 0xEF ? 3
                           : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                          : 0;
        bool valid = length > 0;
        for (int k = 1; valid && k < length; ++k)
            valid = continuation(i + k);
        if (valid) {
            result.append(bytes.constData() + i, length);
            i += length;
        } else {
            result.append(QStringLiteral("\\udc%1").arg(lead, 2, 16, QLatin1Char('0')).toLatin1());
            ++i;
        }
    }
    return result;
}

QByteArray bytesOf(const QString& text) {
    QByteArray result;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        const bool stray = i < text.size() && text[i].unicode() >= 0xDC80 &&
                           text[i].unicode() <= 0xDCFF &&
                           (i == 0 || !text[i - 1].isHighSurrogate());
        if (i == text.size() || stray) {
            result += QStringView(text).mid(start, i - start).toUtf8();
            if (stray)
                result += static_cast<char>(text[i].unicode() - 0xDC00);
            start = i + 1;
        }
    }
    return result;
}

QString text(const QJsonObject& object, QLatin1StringView key) {
    return object.value(key).toString().trimmed();
}

// lsblk before 2.33 wrote every value as a string ("1", "0"); later ones write true/false
// and numbers.
bool flag(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isBool() ? value.toBool() : value.toString() == QLatin1String("1");
}

std::optional<int64_t> number(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    if (value.isDouble())
        return static_cast<int64_t>(value.toDouble());
    bool ok = false;
    const qlonglong parsed = value.toString().toLongLong(&ok);
    return ok ? std::optional<int64_t>(parsed) : std::nullopt;
}

LsblkDevice parseDevice(const QJsonObject& object) {
    LsblkDevice device;
    device.name = text(object, QLatin1StringView("name"));
    device.path = text(object, QLatin1StringView("path"));
    if (device.path.isEmpty() && !device.name.isEmpty())
        device.path = QStringLiteral("/dev/") + device.name;
    device.majMin = text(object, QLatin1StringView("maj:min"));
    device.type = text(object, QLatin1StringView("type"));
    device.size = number(object, QLatin1StringView("size")).value_or(0);
    device.logicalSectorSize =
        static_cast<int>(number(object, QLatin1StringView("log-sec")).value_or(512));
    if (const QJsonValue rota = object.value(QLatin1StringView("rota"));
        !rota.isNull() && !rota.isUndefined())
        device.rotational = flag(object, QLatin1StringView("rota"));
    device.removable = flag(object, QLatin1StringView("rm"));
    device.readOnly = flag(object, QLatin1StringView("ro"));
    device.hotplug = flag(object, QLatin1StringView("hotplug"));
    device.transport = text(object, QLatin1StringView("tran"));
    device.model = text(object, QLatin1StringView("model"));
    device.vendor = text(object, QLatin1StringView("vendor"));
    device.serial = text(object, QLatin1StringView("serial"));
    device.partitionTableType = text(object, QLatin1StringView("pttype"));
    device.partitionType = text(object, QLatin1StringView("parttype"));
    device.partitionTypeName = text(object, QLatin1StringView("parttypename"));
    device.partitionLabel = text(object, QLatin1StringView("partlabel"));
    device.fileSystemType = text(object, QLatin1StringView("fstype"));
    device.label = text(object, QLatin1StringView("label"));
    // Older versions have one "mountpoint"; newer ones a list with null for none.
    QJsonArray mounts = object.value(QLatin1StringView("mountpoints")).toArray();
    if (mounts.isEmpty())
        mounts.append(object.value(QLatin1StringView("mountpoint")));
    for (const QJsonValue& mount : std::as_const(mounts))
        if (const QString point = mount.toString(); !point.isEmpty())
            device.mountPoints.append(bytesOf(point));
    device.fsSize = number(object, QLatin1StringView("fssize"));
    device.fsAvailable = number(object, QLatin1StringView("fsavail"));
    device.fsUsed = number(object, QLatin1StringView("fsused"));
    for (const QJsonValue& child : object.value(QLatin1StringView("children")).toArray())
        if (child.isObject())
            device.children.append(parseDevice(child.toObject()));
    return device;
}

// The bus lsblk names, else the one sysfs names; a virtio disk has neither in a replayed
// listing, but lsblk gives its PCI vendor (Red Hat's 0x1af4).
QString busOf(const LsblkDevice& disk) {
    if (!disk.transport.isEmpty())
        return disk.transport.toLower();
    if (!disk.bus.isEmpty())
        return disk.bus.toLower();
    return disk.vendor == QLatin1String("0x1af4") ? QStringLiteral("virtio") : QString();
}

QString busName(const LsblkDevice& disk) {
    static const QHash<QString, QString> names = {
        {QStringLiteral("sata"), QStringLiteral("SATA")},
        {QStringLiteral("ata"), QStringLiteral("ATA")},
        {QStringLiteral("usb"), QStringLiteral("USB")},
        {QStringLiteral("nvme"), QStringLiteral("NVMe")},
        {QStringLiteral("sas"), QStringLiteral("SAS")},
        {QStringLiteral("scsi"), QStringLiteral("SCSI")},
        {QStringLiteral("mmc"), QStringLiteral("SD/MMC")},
        {QStringLiteral("ieee1394"), QStringLiteral("FireWire")},
        {QStringLiteral("fc"), QStringLiteral("Fibre Channel")},
        {QStringLiteral("iscsi"), QStringLiteral("iSCSI")},
        {QStringLiteral("virtio"), QStringLiteral("Virtio")},
        {QStringLiteral("xen"), QStringLiteral("Xen")},
    };
    if (disk.type == QLatin1String("loop"))
        return QStringLiteral("Disk image");
    if (disk.name.startsWith(QLatin1String("zram")))
        return QStringLiteral("Memory");
    const QString bus = busOf(disk);
    return names.value(bus, bus);
}

bool isVirtualDisk(const LsblkDevice& disk) {
    const QString bus = busOf(disk);
    const QString model = disk.model.toLower();
    return disk.name.startsWith(QLatin1String("zram")) || bus == QLatin1String("virtio") ||
           bus == QLatin1String("xen") || model.contains(QLatin1String("qemu")) ||
           model.contains(QLatin1String("vbox")) || model.contains(QLatin1String("vmware")) ||
           model.contains(QLatin1String("virtual"));
}

QString modelName(const LsblkDevice& disk) {
    if (!disk.model.isEmpty())
        return disk.model;
    if (disk.type == QLatin1String("loop"))
        return QStringLiteral("Loop device");
    if (disk.name.startsWith(QLatin1String("zram")))
        return QStringLiteral("Compressed RAM disk (zram)");
    if (!busOf(disk).isEmpty())
        return QStringLiteral("%1 disk").arg(busName(disk));
    return disk.vendor.startsWith(QLatin1String("0x")) ? QString() : disk.vendor;
}

QString schemeName(const QString& pttype) {
    if (pttype == QLatin1String("gpt"))
        return QStringLiteral("GPT");
    if (pttype == QLatin1String("dos"))
        return QStringLiteral("MBR");
    return pttype;
}

// The partition's type by name, and the kind its table entry gives.
std::pair<QString, DiskPartitionKind> tableType(const LsblkDevice& partition,
                                                const QString& scheme) {
    const QString& type = partition.partitionType;
    if (type.isEmpty())
        return {partition.partitionTypeName, DiskPartitionKind::other};
    bool isByte = false;
    const int typeByte = type.startsWith(QLatin1String("0x")) ? type.mid(2).toInt(&isByte, 16) : 0;
    if (scheme == QLatin1String("dos") || (scheme.isEmpty() && isByte)) {
        if (isByte)
            return {mbrTypeName(typeByte), mbrTypeKind(typeByte)};
        return {type, DiskPartitionKind::other};
    }
    const QString name = gptTypeName(type);
    if (!name.isEmpty())
        return {name, gptTypeKind(type)};
    return {partition.partitionTypeName.isEmpty() ? type.toUpper() : partition.partitionTypeName,
            DiskPartitionKind::other};
}

// The kind the content signature gives overrides the table entry where it says more (a
// "Linux filesystem" partition that holds LUKS).
DiskPartitionKind partitionKind(DiskPartitionKind fromTable, const QString& signature) {
    const DiskPartitionKind fromContent = signatureKind(signature);
    return fromContent == DiskPartitionKind::other ? fromTable : fromContent;
}

QString holderName(const LsblkDevice& device) {
    for (const LsblkDevice& child : device.children)
        if (child.type != QLatin1String("part"))
            return child.name;
    return {};
}

QByteArray lastPart(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    return slash >= 0 && slash + 1 < path.size() ? path.mid(slash + 1) : path;
}

void collectVolumes(const LsblkDevice& device, PhysicalDisk& disk) {
    for (const QByteArray& mount : device.mountPoints) {
        if (!mount.startsWith('/'))
            continue; // "[SWAP]"
        DiskVolume volume;
        volume.mountPath = mount;
        volume.name = device.label.isEmpty() ? QString::fromUtf8(lastPart(mount)) : device.label;
        volume.bsdName = device.name;
        volume.fileSystem = device.fileSystemType;
        volume.totalBytes = device.fsSize.value_or(0);
        volume.availableBytes = device.fsAvailable.value_or(0);
        volume.freeBytes = device.fsFree.value_or(
            device.fsSize && device.fsUsed ? *device.fsSize - *device.fsUsed : 0);
        volume.isInternal = disk.isInternal;
        volume.isReadOnly = device.readOnly || device.mountedReadOnly;
        volume.isEjectable = disk.isEjectable;
        volume.parentWholeDisk = disk.identifier;
        disk.volumes.append(volume);
    }
    for (const LsblkDevice& child : device.children)
        collectVolumes(child, disk);
}

QString wholeDiskContent(DiskPartitionKind kind, const QString& signature) {
    switch (kind) {
    case DiskPartitionKind::luks:
        return QStringLiteral("a LUKS container");
    case DiskPartitionKind::linuxLvm:
        return QStringLiteral("an LVM physical volume");
    case DiskPartitionKind::linuxRaid:
        return QStringLiteral("an md RAID member");
    case DiskPartitionKind::linuxSwap:
        return QStringLiteral("a swap area");
    default:
        return QStringLiteral("one %1 file system").arg(fileSystemDisplayName(signature));
    }
}

PhysicalDisk diskFrom(const LsblkDevice& device, const FileSystemSupport& support) {
    PhysicalDisk disk;
    disk.identifier = device.name;
    disk.modelName = modelName(device);
    disk.busProtocol = busName(device);
    disk.partitionScheme = schemeName(device.partitionTableType);
    disk.totalBytes = device.size;
    disk.blockSize = device.logicalSectorSize;
    disk.isDiskImage = device.type == QLatin1String("loop");
    disk.isVirtual = isVirtualDisk(device);
    disk.isEjectable = device.removable || device.hotplug;
    disk.isInternal = !disk.isEjectable && !disk.isDiskImage &&
                      device.transport != QLatin1String("usb") &&
                      device.transport != QLatin1String("ieee1394");
    disk.isSolidState = device.rotational == false && !disk.isVirtual && !disk.isDiskImage;

    if (device.name.startsWith(QLatin1String("zram")))
        appendNote(disk.note, QStringLiteral("Compressed space in memory (zram), used for swap; "
                                             "it holds nothing after a restart."));
    if (disk.isDiskImage)
        appendNote(disk.note,
                   device.backingFile.isEmpty()
                       ? QStringLiteral("A disk image attached as a loop device.")
                       : QStringLiteral("A disk image attached as a loop device from %1.")
                             .arg(shownName(QByteArrayView(device.backingFile))));

    for (const LsblkDevice& child : device.children) {
        if (child.type != QLatin1String("part"))
            continue;
        DiskPartition partition;
        partition.identifier = child.name;
        partition.name = child.partitionLabel.isEmpty() ? child.label : child.partitionLabel;
        const auto [content, tableKind] = tableType(child, device.partitionTableType);
        partition.content = content;
        partition.kind = partitionKind(tableKind, child.fileSystemType);
        partition.sizeBytes = child.size;
        if (!child.mountPoints.isEmpty()) {
            partition.mountPoint = child.mountPoints.first();
            partition.usedBytes = child.fsUsed.value_or(0);
        }
        partition.fileSystem = child.fileSystemType;
        partition.detail =
            linuxPartitionNote(partition.kind, child.fileSystemType, holderName(child), support);
        partition.parentID = device.name;
        appendNote(disk.note, linuxDiskNote(partition.kind));
        disk.partitions.append(partition);
    }
    // A file system or container written over the whole disk, without a partition table:
    // the disk says what it holds, then what a partition holding it would say.
    if (device.partitionTableType.isEmpty() && !device.fileSystemType.isEmpty()) {
        const DiskPartitionKind kind = signatureKind(device.fileSystemType);
        appendNote(disk.note, QStringLiteral("The whole disk holds %1, without a partition table.")
                                  .arg(wholeDiskContent(kind, device.fileSystemType)));
        const QString detail =
            linuxPartitionNote(kind, device.fileSystemType, holderName(device), support);
        if (!detail.isEmpty())
            appendNote(disk.note, detail + u'.');
    }
    collectVolumes(device, disk);
    return disk;
}

} // namespace

QString lsblkColumns() {
    return QStringLiteral("NAME,PATH,MAJ:MIN,TYPE,SIZE,LOG-SEC,ROTA,RM,RO,HOTPLUG,TRAN,MODEL,"
                          "VENDOR,SERIAL,PTTYPE,PARTTYPE,PARTTYPENAME,PARTLABEL,FSTYPE,LABEL,"
                          "MOUNTPOINTS,FSSIZE,FSAVAIL,FSUSED");
}

Result<QList<LsblkDevice>> parseLsblkJson(const QByteArray& json) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(escapeStrayBytes(json), &error);
    const QJsonValue list = document.object().value(QLatin1StringView("blockdevices"));
    if (error.error != QJsonParseError::NoError || !list.isArray())
        return failure(QStringLiteral("The disk list from lsblk could not be read: it is not "
                                      "lsblk's JSON form with a list of block devices."));
    QList<LsblkDevice> devices;
    for (const QJsonValue& device : list.toArray())
        if (device.isObject())
            devices.append(parseDevice(device.toObject()));
    return devices;
}

QList<PhysicalDisk> inventoryFromLsblk(const QList<LsblkDevice>& roots,
                                       const FileSystemSupport& support) {
    QList<PhysicalDisk> disks;
    for (const LsblkDevice& device : roots) {
        const bool wholeDisk = device.type == QLatin1String("disk") ||
                               device.type == QLatin1String("loop") ||
                               device.type == QLatin1String("rom");
        // An unconfigured zram device, a detached loop device, a drive without a medium.
        if (wholeDisk && device.size > 0)
            disks.append(diskFrom(device, support));
    }
    return disks;
}

} // namespace velmox
