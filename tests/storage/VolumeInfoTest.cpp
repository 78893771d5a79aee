#include "storage/VolumeInfo.h"

#include "storage/MountTable.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

void writeText(const QString& path, const QByteArray& text) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
}

void link(const QString& target, const QString& at) {
    QDir().mkpath(QFileInfo(at).path());
    ASSERT_TRUE(QFile::link(target, at)) << at.toStdString();
}

} // namespace

TEST(VolumeInfo, IdentifiesTheVolumeOfARealFolder) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("inner")));
    const VolumeInfo root = VolumeInfo::of(QStringLiteral("/"));
    EXPECT_FALSE(root.uuid.isEmpty());
    EXPECT_TRUE(root.isLocal);
    const VolumeInfo here = VolumeInfo::of(dir.path());
    EXPECT_FALSE(here.uuid.isEmpty());
    EXPECT_EQ(VolumeInfo::of(dir.path() + QStringLiteral("/inner")).uuid, here.uuid);
}

TEST(VolumeInfo, ReadsUuidAndPlacementFromTheDeviceDatabases) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString base = dir.path();
    const VolumeSources sources{base + QStringLiteral("/sys"), base + QStringLiteral("/dev"),
                                base + QStringLiteral("/run/udev/data")};
    // A partition of a USB stick, named in /dev/disk/by-uuid.
    const QString usb = base + QStringLiteral("/sys/devices/pci0000:00/0000:00:14.0/usb2/2-1/"
                                              "2-1:1.0/host6/target6:0:0/6:0:0:0/block/sdb");
    writeText(usb + QStringLiteral("/removable"), "0\n");
    writeText(usb + QStringLiteral("/sdb1/partition"), "1\n");
    link(usb + QStringLiteral("/sdb1"), base + QStringLiteral("/sys/dev/block/8:17"));
    link(QStringLiteral("../../sdb1"), base + QStringLiteral("/dev/disk/by-uuid/3A5C-19F0"));
    link(QStringLiteral("../../sda1"), base + QStringLiteral("/dev/disk/by-uuid/0000-0000"));
    // An NVMe partition that only the udev database names.
    const QString nvme =
        base + QStringLiteral("/sys/devices/pci0000:00/0000:00:1d.0/nvme/nvme0/nvme0n1");
    writeText(nvme + QStringLiteral("/removable"), "0\n");
    writeText(nvme + QStringLiteral("/nvme0n1p2/partition"), "2\n");
    link(nvme + QStringLiteral("/nvme0n1p2"), base + QStringLiteral("/sys/dev/block/259:2"));
    writeText(base + QStringLiteral("/run/udev/data/b259:2"),
              "S:disk/by-uuid/"
              "0c5a\nE:ID_FS_TYPE=ext4\nE:ID_FS_UUID=8d2e4c7a-0b4f-4f8e-9b51-1f6c3c2a7d10\n");
    // A card reader slot that says it is removable.
    const QString card = base + QStringLiteral("/sys/devices/platform/mmc0/block/mmcblk0");
    writeText(card + QStringLiteral("/removable"), "1\n");
    link(card, base + QStringLiteral("/sys/dev/block/179:0"));

    const QByteArray path = QFile::encodeName(base);
    const auto identify = [&](MountEntry mount) {
        VolumeInfo info;
        VolumeInfo::fillLinuxIdentity(info, path, mount, sources);
        return info;
    };
    const VolumeInfo stick = identify({"/media/stick", QStringLiteral("vfat"), "/dev/sdb1", 8, 17});
    EXPECT_EQ(stick.uuid, QStringLiteral("3A5C-19F0"));
    EXPECT_FALSE(stick.isInternal);
    EXPECT_TRUE(stick.isLocal);

    const VolumeInfo internal = identify({"/", QStringLiteral("ext4"), "/dev/nvme0n1p2", 259, 2});
    EXPECT_EQ(internal.uuid, QStringLiteral("8d2e4c7a-0b4f-4f8e-9b51-1f6c3c2a7d10"));
    EXPECT_TRUE(internal.isInternal);

    EXPECT_FALSE(identify({"/mnt/sd", QStringLiteral("exfat"), "/dev/mmcblk0", 179, 0}).isInternal);

    // No block device and no database entry: the file system id stands in.
    const VolumeInfo share =
        identify({"/mnt/share", QStringLiteral("nfs4"), "server:/export", 0, 61});
    EXPECT_FALSE(share.isLocal);
    EXPECT_FALSE(share.isInternal);
    EXPECT_TRUE(share.uuid.startsWith(QStringLiteral("fsid:"))) << share.uuid.toStdString();
}
