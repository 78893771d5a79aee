#include "storage/ScanConfiguration.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QMutex>
#include <QRegularExpression>
#include <QThread>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace velmox {

namespace {

bool isLocalFileSystem(const QString& type) {
    static const QStringList local = {
        QStringLiteral("ext2"),    QStringLiteral("ext3"),    QStringLiteral("ext4"),
        QStringLiteral("btrfs"),   QStringLiteral("xfs"),     QStringLiteral("f2fs"),
        QStringLiteral("vfat"),    QStringLiteral("msdos"),   QStringLiteral("exfat"),
        QStringLiteral("ntfs3"),   QStringLiteral("ntfs"),    QStringLiteral("hfs"),
        QStringLiteral("hfsplus"), QStringLiteral("apfs"),    QStringLiteral("udf"),
        QStringLiteral("iso9660"), QStringLiteral("cd9660"),  QStringLiteral("jfs"),
        QStringLiteral("nilfs2"),  QStringLiteral("reiserfs")};
    return local.contains(type);
}

QByteArray readSmallFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(256).trimmed() : QByteArray();
}

// A disk made up by a hypervisor, by where it hangs in the device tree or by the name it
// gives itself.
bool isVirtualDisk(const QString& disk) {
    static const QRegularExpression bus(
        QStringLiteral("/(virtio\\d+|vbd-\\d+|xen[^/]*|VMBUS[^/]*|virtual)/"));
    if (bus.match(disk).hasMatch())
        return true;
    const QByteArray name = readSmallFile(disk + QStringLiteral("/device/vendor")) + ' ' +
                            readSmallFile(disk + QStringLiteral("/device/model"));
    static const QRegularExpression emulated(QStringLiteral("QEMU|VBOX|VMware|Virtual"),
                                             QRegularExpression::CaseInsensitiveOption);
    return emulated.match(QString::fromLatin1(name)).hasMatch();
}

bool isBehindRealTransport(const QString& disk) {
    static const QRegularExpression transport(QStringLiteral("/(ata\\d+|usb\\d+|host\\d+)/"));
    return transport.match(disk).hasMatch();
}

// `disk` is the device's folder in sysfs with every link resolved (empty when unknown).
StorageMedium classifyBlockDevice(QString disk, int depth) {
    if (disk.isEmpty() || depth > 8)
        return StorageMedium::unknown;
    // A partition has no queue of its own; its disk is the parent folder.
    if (QFileInfo::exists(disk + QStringLiteral("/partition")))
        disk = QFileInfo(disk).path();
    const QByteArray rotational = readSmallFile(disk + QStringLiteral("/queue/rotational"));
    if (rotational == "0")
        return StorageMedium::solidState;
    if (QFileInfo::exists(disk + QStringLiteral("/loop")))
        return StorageMedium::unknown;
    const QFileInfoList members =
        QDir(disk + QStringLiteral("/slaves")).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
    if (!members.isEmpty()) {
        std::optional<StorageMedium> agreed;
        for (const QFileInfo& member : members) {
            const StorageMedium kind = classifyBlockDevice(member.canonicalFilePath(), depth + 1);
            if (agreed && *agreed != kind)
                return StorageMedium::unknown;
            agreed = kind;
        }
        return *agreed;
    }
    if (rotational != "1" || isVirtualDisk(disk) || !isBehindRealTransport(disk))
        return StorageMedium::unknown;
    return StorageMedium::rotational;
}

} // namespace

int ScanConfiguration::workerCountFor(const QString& fileSystemType, StorageMedium medium,
                                      int processors) {
    if (!isLocalFileSystem(fileSystemType.toLower()))
        return 1;
    switch (medium) {
    case StorageMedium::solidState:
        return std::clamp(processors, 2, 8);
    case StorageMedium::rotational:
        return 1;
    case StorageMedium::unknown:
        break;
    }
    return 2;
}

StorageMedium ScanConfiguration::probeLinuxMedium(const MountEntry& mount, const QString& sysRoot) {
    unsigned major = mount.major;
    unsigned minor = mount.minor;
    // btrfs and device-mapper mounts report an anonymous device; the source names the real
    // block device.
    struct stat source {};
    if (mount.source.startsWith("/dev/") && ::stat(mount.source.constData(), &source) == 0 &&
        S_ISBLK(source.st_mode)) {
        major = ::major(source.st_rdev);
        minor = ::minor(source.st_rdev);
    }
    static QMutex cacheLock;
    static QHash<QString, StorageMedium> cache;
    const QString device = sysRoot + QStringLiteral("/dev/block/%1:%2").arg(major).arg(minor);
    QMutexLocker locker(&cacheLock);
    if (auto found = cache.constFind(device); found != cache.constEnd())
        return found.value();
    const StorageMedium medium = classifyBlockDevice(QFileInfo(device).canonicalFilePath(), 0);
    cache.insert(device, medium);
    return medium;
}

ScanConfiguration ScanConfiguration::build(const ScanScope& scope, bool gentle) {
    return build(scope, gentle, MountTable::current(),
                 [](const MountEntry& mount) { return probeLinuxMedium(mount); });
}

ScanConfiguration ScanConfiguration::build(const ScanScope& scope, bool gentle,
                                           const MountTable& mounts, const MediumProbe& probe) {
    ScanConfiguration config;
    // Mount points and devices are matched against the walk's paths, so the root must be
    // the path the kernel knows: absolute and without symbolic links.
    const QByteArray given = QFile::encodeName(scope.path);
    char resolved[PATH_MAX];
    config.rootPath = ::realpath(given.constData(), resolved) ? QByteArray(resolved) : given;
    while (config.rootPath.size() > 1 && config.rootPath.endsWith('/'))
        config.rootPath.chop(1);
    config.rootName = scope.title.isEmpty() ? scope.path : scope.title;
    config.gentle = gentle;

    struct stat root {};
    if (::stat(config.rootPath.constData(), &root) == 0 && root.st_ino != 0) {
        config.rootKey = linkKey(root.st_ino, root.st_dev);
        config.rootStamp = {root.st_dev, root.st_ino, root.st_mtim.tv_sec};
        config.allowedDevices.append(root.st_dev);
    }
    struct stat data {};
    if (scope.dataPath && ::stat(scope.dataPath->toUtf8().constData(), &data) == 0 &&
        !config.allowedDevices.contains(data.st_dev))
        config.allowedDevices.append(data.st_dev);
    if (config.allowedDevices.isEmpty())
        config.allowedDevices.append(kSentinelDevice);

    // Every other file system mounted inside the root stays a mount-point node, including
    // bind mounts that share the root's device.
    config.excludedPaths = mounts.mountPointsBelow(config.rootPath);
    config.mountsFromTable = !mounts.entries.isEmpty();

    const auto mount = mounts.mountOf(config.rootPath);
    const QString type = mount ? mount->fileSystemType : QString();
    const StorageMedium medium =
        mount && isLocalFileSystem(type) ? probe(*mount) : StorageMedium::unknown;
    config.workerCount = workerCountFor(type, medium, QThread::idealThreadCount());
    return config;
}

} // namespace velmox
