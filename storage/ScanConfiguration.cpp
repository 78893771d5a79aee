#include "storage/ScanConfiguration.h"

#include <QFile>
#include <QHash>
#include <QMutex>
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

std::optional<QByteArray> readSmallFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.read(64).trimmed();
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
    // A partition has no queue of its own; its disk is the parent folder.
    auto answer = readSmallFile(device + QStringLiteral("/queue/rotational"));
    if (!answer)
        answer = readSmallFile(device + QStringLiteral("/../queue/rotational"));
    StorageMedium medium = StorageMedium::unknown;
    if (answer == QByteArray("0"))
        medium = StorageMedium::solidState;
    else if (answer == QByteArray("1"))
        medium = StorageMedium::rotational;
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
