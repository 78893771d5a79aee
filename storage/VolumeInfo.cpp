#include "storage/VolumeInfo.h"

#include "storage/MountTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <cstring>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

namespace velmox {

namespace {

bool isNetworkFileSystem(const QString& type) {
    static const QStringList network = {QStringLiteral("nfs"),
                                        QStringLiteral("nfs4"),
                                        QStringLiteral("cifs"),
                                        QStringLiteral("smb3"),
                                        QStringLiteral("smbfs"),
                                        QStringLiteral("ncpfs"),
                                        QStringLiteral("afs"),
                                        QStringLiteral("9p"),
                                        QStringLiteral("ceph"),
                                        QStringLiteral("glusterfs"),
                                        QStringLiteral("fuse.glusterfs"),
                                        QStringLiteral("fuse.sshfs"),
                                        QStringLiteral("davfs"),
                                        QStringLiteral("fuse.rclone"),
                                        QStringLiteral("lustre")};
    return network.contains(type);
}

// The block device behind a mount as "major:minor"; empty when it has none.
QString blockDeviceOf(const MountEntry& mount) {
    // btrfs and device-mapper mounts report an anonymous device; the source names the real
    // block device.
    struct stat source {};
    if (mount.source.startsWith("/dev/") && ::stat(mount.source.constData(), &source) == 0 &&
        S_ISBLK(source.st_mode))
        return QStringLiteral("%1:%2").arg(::major(source.st_rdev)).arg(::minor(source.st_rdev));
    if (mount.major == 0)
        return {};
    return QStringLiteral("%1:%2").arg(mount.major).arg(mount.minor);
}

QString uuidFromByUuid(const QString& dev, const QString& kernelName) {
    const QDir links(dev + QStringLiteral("/disk/by-uuid"));
    for (const QFileInfo& link :
         links.entryInfoList(QDir::System | QDir::Files | QDir::NoDotAndDotDot))
        if (link.isSymLink() && QFileInfo(link.symLinkTarget()).fileName() == kernelName)
            return link.fileName();
    return {};
}

QString uuidFromUdev(const QString& udevData, const QString& device) {
    QFile data(udevData + QStringLiteral("/b") + device);
    if (!data.open(QIODevice::ReadOnly))
        return {};
    while (!data.atEnd()) {
        const QByteArray line = data.readLine(4096).trimmed();
        if (line.startsWith("E:ID_FS_UUID="))
            return QString::fromUtf8(line.mid(13));
    }
    return {};
}

QString uuidFromStatfs(const QByteArray& path) {
    struct statfs info {};
    if (::statfs(path.constData(), &info) != 0)
        return {};
    int halves[2];
    static_assert(sizeof(halves) == sizeof(info.f_fsid));
    std::memcpy(halves, &info.f_fsid, sizeof(halves));
    if (halves[0] == 0 && halves[1] == 0)
        return {};
    return QString::asprintf("fsid:%08x%08x", static_cast<unsigned>(halves[0]),
                             static_cast<unsigned>(halves[1]));
}

bool readsOne(const QString& file) {
    QFile flag(file);
    return flag.open(QIODevice::ReadOnly) && flag.read(8).trimmed() == "1";
}

} // namespace

VolumeInfo VolumeInfo::of(const QString& path) {
    const QStorageInfo storage(path);
    if (!storage.isValid() || !storage.isReady())
        return {};
    VolumeInfo info;
    info.name = storage.name().isEmpty() ? storage.rootPath() : storage.name();
    info.total = storage.bytesTotal();
    info.freeAvailable = storage.bytesAvailable();
    info.freeImportant = storage.bytesAvailable();
    info.mountPath = storage.rootPath();
    info.format = QString::fromUtf8(storage.fileSystemType());
    const QByteArray bytes = QFile::encodeName(QFileInfo(path).absoluteFilePath());
    if (const auto mount = MountTable::current().mountOf(QFile::encodeName(storage.rootPath())))
        fillLinuxIdentity(info, bytes, *mount);
    else
        info.uuid = uuidFromStatfs(bytes);
    return info;
}

void VolumeInfo::fillLinuxIdentity(VolumeInfo& info, const QByteArray& path,
                                   const MountEntry& mount, const VolumeSources& sources) {
    info.isLocal = !isNetworkFileSystem(mount.fileSystemType);
    const QString device = blockDeviceOf(mount);
    // The device's folder in sysfs, every link resolved: .../block/sda/sda1.
    const QString sysfs =
        device.isEmpty()
            ? QString()
            : QFileInfo(sources.sys + QStringLiteral("/dev/block/") + device).canonicalFilePath();
    info.uuid.clear();
    if (!sysfs.isEmpty())
        info.uuid = uuidFromByUuid(sources.dev, QFileInfo(sysfs).fileName());
    if (info.uuid.isEmpty() && !device.isEmpty())
        info.uuid = uuidFromUdev(sources.udevData, device);
    if (info.uuid.isEmpty())
        info.uuid = uuidFromStatfs(path);
    if (sysfs.isEmpty()) {
        info.isInternal = info.isLocal;
        return;
    }
    const QString disk =
        QFileInfo::exists(sysfs + QStringLiteral("/partition")) ? QFileInfo(sysfs).path() : sysfs;
    info.isInternal =
        !readsOne(disk + QStringLiteral("/removable")) && !disk.contains(QStringLiteral("/usb"));
}

} // namespace velmox
