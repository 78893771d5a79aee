#include "diskhealth/DiskInventory.h"

#include "services/ToolRunner.h"
#include "storage/MountTable.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <sys/statvfs.h>
#include <unistd.h>

namespace velmox {

namespace {

QString firstExisting(std::initializer_list<const char*> paths) {
    for (const char* path : paths)
        if (QFileInfo(QString::fromLatin1(path)).isExecutable())
            return QString::fromLatin1(path);
    return {};
}

QByteArray readSysfs(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

template <typename Visit> void forEachDevice(QList<LsblkDevice>& devices, const Visit& visit) {
    for (LsblkDevice& device : devices) {
        visit(device);
        forEachDevice(device.children, visit);
    }
}

// blkid -p -o export: blocks of KEY=value lines, one block per device, DEVNAME first.
QHash<QString, QHash<QByteArray, QString>> parseBlkidExport(const QByteArray& output) {
    QHash<QString, QHash<QByteArray, QString>> devices;
    QString current;
    for (const QByteArray& line : output.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0) {
            current.clear();
            continue;
        }
        const QByteArray key = line.left(equals);
        // Values escape special characters with a backslash.
        QByteArray value;
        for (qsizetype i = equals + 1; i < line.size(); ++i)
            value += line[i] == '\\' && i + 1 < line.size() ? line[++i] : line[i];
        if (key == "DEVNAME")
            current = QString::fromUtf8(value);
        else if (!current.isEmpty())
            devices[current].insert(key, QString::fromUtf8(value));
    }
    return devices;
}

// Without a udev database lsblk knows no signatures or partition types; blkid probes the
// devices themselves, which needs root.
void probeWithBlkid(QList<LsblkDevice>& devices) {
    const QString blkid = firstExisting({"/usr/sbin/blkid", "/sbin/blkid"});
    if (::geteuid() != 0 || blkid.isEmpty())
        return;
    QStringList paths;
    forEachDevice(devices, [&](LsblkDevice& device) {
        const bool missing =
            device.fileSystemType.isEmpty() ||
            (device.type == QLatin1String("part") && device.partitionType.isEmpty());
        if (missing && device.size > 0 && !paths.contains(device.path))
            paths.append(device.path);
    });
    if (paths.isEmpty())
        return;
    const ToolRunResult run = ToolRunner::run(
        blkid,
        QStringList{QStringLiteral("-p"), QStringLiteral("-o"), QStringLiteral("export")} + paths,
        std::nullopt, 10.0);
    const auto probed = parseBlkidExport(run.outputBytes);
    forEachDevice(devices, [&](LsblkDevice& device) {
        const auto found = probed.constFind(device.path);
        if (found == probed.cend())
            return;
        const auto fill = [&](QString& field, const char* key) {
            if (field.isEmpty())
                field = found->value(key);
        };
        fill(device.fileSystemType, "TYPE");
        fill(device.label, "LABEL");
        fill(device.partitionTableType, "PTTYPE");
        fill(device.partitionType, "PART_ENTRY_TYPE");
        fill(device.partitionLabel, "PART_ENTRY_NAME");
    });
}

// The mount table is the authority on what is mounted where (mount points are bytes and
// need not survive lsblk's JSON), statvfs on the sizes.
void applyMounts(QList<LsblkDevice>& devices, const MountTable& table) {
    forEachDevice(devices, [&](LsblkDevice& device) {
        QList<QByteArray> points;
        QString type;
        for (const MountEntry& entry : table.entries)
            if (QStringLiteral("%1:%2").arg(entry.major).arg(entry.minor) == device.majMin &&
                !points.contains(entry.mountPoint)) {
                points.append(entry.mountPoint);
                type = entry.fileSystemType;
            }
        if (points.isEmpty()) {
            // Swap shows as "[SWAP]" in lsblk only; keep it.
            device.mountPoints.removeIf([](const QByteArray& p) { return p.startsWith('/'); });
            return;
        }
        device.mountPoints = points;
        if (device.fileSystemType.isEmpty())
            device.fileSystemType = type;
        struct statvfs stats {};
        if (::statvfs(points.first().constData(), &stats) != 0)
            return;
        const auto bytes = [&](fsblkcnt_t blocks) {
            return static_cast<int64_t>(blocks) * static_cast<int64_t>(stats.f_frsize);
        };
        device.fsSize = bytes(stats.f_blocks);
        device.fsAvailable = bytes(stats.f_bavail);
        device.fsFree = bytes(stats.f_bfree);
        device.fsUsed = bytes(stats.f_blocks - stats.f_bfree);
        device.mountedReadOnly = (stats.f_flag & ST_RDONLY) != 0;
    });
}

void applySysfs(QList<LsblkDevice>& roots) {
    for (LsblkDevice& disk : roots) {
        const QString folder = QStringLiteral("/sys/class/block/%1/").arg(disk.name);
        if (disk.transport.isEmpty())
            disk.bus = QFileInfo(folder + QStringLiteral("device/subsystem"))
                           .symLinkTarget()
                           .section(u'/', -1);
        if (!disk.rotational) {
            const QByteArray rotational = readSysfs(folder + QStringLiteral("queue/rotational"));
            if (!rotational.isEmpty())
                disk.rotational = rotational == "1";
        }
        if (disk.type == QLatin1String("loop"))
            disk.backingFile = readSysfs(folder + QStringLiteral("loop/backing_file"));
    }
}

} // namespace

Result<QList<LsblkDevice>> LinuxDiskInventory::readDevices() {
    const QString lsblk = firstExisting({"/usr/bin/lsblk", "/bin/lsblk"});
    if (lsblk.isEmpty())
        return failure(QStringLiteral("The disks cannot be listed because lsblk is not "
                                      "installed (it comes with util-linux)."));
    const ToolRunResult run = ToolRunner::run(
        lsblk,
        {QStringLiteral("--json"), QStringLiteral("--bytes"), QStringLiteral("-o"), lsblkColumns()},
        std::nullopt, 15.0);
    if (run.timedOut)
        return failure(QStringLiteral("The disks could not be listed: lsblk did not answer "
                                      "within 15 seconds."));
    if (run.status != 0)
        return failure(QStringLiteral("The disks could not be listed: lsblk failed (%1).")
                           .arg(run.standardError.trimmed().isEmpty()
                                    ? QStringLiteral("exit status %1").arg(run.status)
                                    : run.standardError.trimmed()));
    auto devices = parseLsblkJson(run.outputBytes);
    if (!devices)
        return devices;
    probeWithBlkid(*devices);
    applyMounts(*devices, MountTable::current());
    applySysfs(*devices);
    return devices;
}

Result<QList<PhysicalDisk>> LinuxDiskInventory::read() const {
    const auto devices = readDevices();
    if (!devices)
        return failure(devices.error());
    return inventoryFromLsblk(*devices, FileSystemSupport::current());
}

std::unique_ptr<DiskInventorySource> makeDiskInventorySource() {
#ifdef Q_OS_MACOS
    return std::make_unique<DiskutilDiskInventory>();
#else
    return std::make_unique<LinuxDiskInventory>();
#endif
}

} // namespace velmox
