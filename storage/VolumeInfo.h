#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>

namespace velmox {

struct MountEntry;

// Where the Linux identity of a volume is read from; tests point them at a fixture tree.
struct VolumeSources {
    QString sys = QStringLiteral("/sys");
    QString dev = QStringLiteral("/dev");
    QString udevData = QStringLiteral("/run/udev/data");
};

// The volume a scan covered: its name (the label, or where it is mounted when it has
// none), file-system format, capacity figures and identity.
struct VolumeInfo {
    QString name;
    int64_t total = 0;
    int64_t freeAvailable = 0; // free space including purgeable space
    int64_t freeImportant = 0; // free space for important use
    // The file system's UUID as the system knows it. On Linux: the name of its link in
    // /dev/disk/by-uuid, else ID_FS_UUID from the udev database; where neither exists (no
    // udev, a file system without a block device) "fsid:" and the 16 hex digits of statfs's
    // f_fsid, which stays the same while the file system is mounted and, for the common
    // disk file systems, across mounts.
    QString uuid;
    QString mountPath;
    QString format;
    // On a disk inside the computer: not removable and not attached by USB (Linux), or a
    // local file system without a block device (tmpfs).
    bool isInternal = false;
    // Not a network file system.
    bool isLocal = true;
    bool operator==(const VolumeInfo&) const = default;

    // Empty (no format) when `path` is on no volume that can be asked.
    static VolumeInfo of(const QString& path);

    // Fills uuid, isInternal and isLocal for `path`, which lies on `mount`.
    static void fillLinuxIdentity(VolumeInfo& info, const QByteArray& path, const MountEntry& mount,
                                  const VolumeSources& sources = {});
};

} // namespace velmox
