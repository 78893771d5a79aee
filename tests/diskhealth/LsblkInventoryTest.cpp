#include "diskhealth/LsblkInventory.h"

#include <QFile>
#include <gtest/gtest.h>

namespace velmox {
namespace {

QByteArray fixture(const char* name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/") + QLatin1String(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return file.readAll();
}

QList<PhysicalDisk> inventory(const char* name) {
    const auto devices = parseLsblkJson(fixture(name));
    EXPECT_TRUE(devices.has_value()) << name;
    return devices ? inventoryFromLsblk(*devices, FileSystemSupport::everything())
                   : QList<PhysicalDisk>();
}

TEST(LsblkInventory, AVirtioDiskFormattedEndToEndIsOneVirtualDiskWithItsVolume) {
    const QList<PhysicalDisk> disks = inventory("lsblk-virtio-zram.json");
    // The unconfigured zram device (size 0) is no disk to show.
    ASSERT_EQ(disks.size(), 1);
    const PhysicalDisk& vda = disks.first();
    EXPECT_EQ(vda.identifier, "vda");
    EXPECT_EQ(vda.busProtocol, "Virtio");
    EXPECT_TRUE(vda.isVirtual);
    EXPECT_FALSE(vda.isSolidState);
    EXPECT_TRUE(vda.isInternal);
    EXPECT_EQ(vda.totalBytes, 274877906944);
    EXPECT_EQ(vda.blockSize, 512);
    EXPECT_TRUE(vda.partitions.isEmpty());
    ASSERT_EQ(vda.volumes.size(), 1);
    const DiskVolume& root = vda.volumes.first();
    EXPECT_EQ(root.mountPath, "/");
    EXPECT_EQ(root.parentWholeDisk, "vda");
    EXPECT_EQ(root.totalBytes, 270553174016);
    EXPECT_EQ(root.availableBytes, 72398954496);
    // Without statvfs, free space is what is not used (the root reserve counts as free).
    EXPECT_EQ(root.freeBytes, 270553174016 - 25394339840);
}

TEST(LsblkInventory, AMountPointThatIsNotUtf8KeepsItsBytes) {
    // lsblk writes the byte 0xFF as it is, which no JSON parser takes.
    const QList<PhysicalDisk> disks = inventory("lsblk-loop-mount-not-utf8.json");
    ASSERT_EQ(disks.size(), 1);
    ASSERT_EQ(disks[0].volumes.size(), 1);
    EXPECT_EQ(disks[0].volumes[0].mountPath, "/tmp/tmp.PqKYoDZyes/data dir\xff");
}

TEST(LsblkInventory, OutputThatIsNotAnLsblkListingIsRefusedInASentence) {
    for (const QByteArray& bytes : {QByteArray(), QByteArray("not json"),
                                    QByteArray(R"({"devices": []})"), QByteArray("[1, 2]")}) {
        const auto devices = parseLsblkJson(bytes);
        ASSERT_FALSE(devices.has_value()) << bytes.constData();
        EXPECT_TRUE(devices.error().endsWith(u'.'));
    }
}

} // namespace
} // namespace velmox
