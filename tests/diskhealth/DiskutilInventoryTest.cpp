#include "diskhealth/DiskutilInventory.h"

#include <QFile>
#include <gtest/gtest.h>

namespace velmox {
namespace {

QByteArray fixture(const char* name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/") + QLatin1String(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return file.readAll();
}

TEST(DiskutilInventory, EachRecordedOutputIsRecognisedByItsContent) {
    EXPECT_EQ(recognizeDiskutilOutput(fixture("diskutil-list-catalina.plist")),
              DiskutilOutputKind::list);
    EXPECT_EQ(recognizeDiskutilOutput(fixture("diskutil-apfs-list-one-container.plist")),
              DiskutilOutputKind::apfsList);
    EXPECT_EQ(recognizeDiskutilOutput(fixture("diskutil-info-usb-hfs-volume.plist")),
              DiskutilOutputKind::info);
    EXPECT_EQ(recognizeDiskutilOutput(fixture("diskutil-info-fusion-ssd.txt")),
              DiskutilOutputKind::infoText);
    EXPECT_EQ(recognizeDiskutilOutput(fixture("lsblk-virtio-zram.json")),
              DiskutilOutputKind::notDiskutil);
    // diskutil may print a warning before the property list.
    EXPECT_EQ(recognizeDiskutilOutput("warning: something\n" +
                                      fixture("diskutil-list-attached-vm-disk.plist")),
              DiskutilOutputKind::list);
}

TEST(DiskutilInventory, ContainerDisksAreNotPhysicalAndTheirVolumesShowOnTheStoreDisk) {
    const auto disks = inventoryFromDiskutil({fixture("diskutil-list-catalina.plist"), {}, {}, {}});
    ASSERT_TRUE(disks.has_value()) << disks.error().toStdString();
    ASSERT_EQ(disks->size(), 1);
    const PhysicalDisk& disk0 = disks->first();
    EXPECT_EQ(disk0.identifier, "disk0");
    EXPECT_EQ(disk0.partitionScheme, "GUID_partition_scheme");
    ASSERT_EQ(disk0.partitions.size(), 2);
    EXPECT_EQ(disk0.partitions[0].kind, DiskPartitionKind::efiSystem);
    EXPECT_EQ(disk0.partitions[0].name, "EFI");
    EXPECT_EQ(disk0.partitions[1].kind, DiskPartitionKind::apfs);
    EXPECT_EQ(disk0.partitions[1].detail, "member of container disk1");
    ASSERT_EQ(disk0.containers.size(), 1);
    EXPECT_EQ(disk0.containers[0].storeIDs, QStringList{"disk0s2"});
    EXPECT_EQ(disk0.containers[0].volumeCount, 5);
    EXPECT_FALSE(disk0.containers[0].isFusion);
    // Four of the five volumes are mounted (Preboot is not).
    QStringList mounted;
    for (const DiskVolume& volume : disk0.volumes) {
        mounted.append(QString::fromUtf8(volume.mountPath));
        EXPECT_EQ(volume.parentWholeDisk, "disk0");
        EXPECT_EQ(volume.fileSystem, "apfs");
    }
    EXPECT_EQ(mounted,
              (QStringList{"/System/Volumes/Data", "/Volumes/Recovery", "/private/var/vm", "/"}));
}

TEST(DiskutilInventory, TheApfsListGivesTheContainersCapacityAndAllItsVolumes) {
    // The APFS list is from another Mac whose container has the same identifiers (disk1 on
    // disk0s2); what counts is that its figures replace the ones the disk list implies.
    const auto disks = inventoryFromDiskutil({fixture("diskutil-list-catalina.plist"),
                                              fixture("diskutil-apfs-list-one-container.plist"),
                                              {},
                                              {}});
    ASSERT_TRUE(disks.has_value());
    ASSERT_EQ(disks->first().containers.size(), 1);
    const DiskContainerSummary& container = disks->first().containers.first();
    EXPECT_EQ(container.identifier, "disk1");
    EXPECT_EQ(container.sizeBytes, 499963174912);
    EXPECT_EQ(container.freeBytes, 30714478592);
    EXPECT_EQ(container.volumeCount, 7);
    for (const DiskVolume& volume : disks->first().volumes)
        EXPECT_EQ(volume.availableBytes, 30714478592);
}

TEST(DiskutilInventory, AnApfsPartitionWithoutAContainerSaysSo) {
    // The disk of a virtual machine seen from its host: the containers were not attached.
    const auto disks =
        inventoryFromDiskutil({fixture("diskutil-list-attached-vm-disk.plist"), {}, {}, {}});
    ASSERT_TRUE(disks.has_value());
    ASSERT_EQ(disks->size(), 1);
    const PhysicalDisk& disk = disks->first();
    EXPECT_EQ(disk.totalBytes, 500277792768);
    ASSERT_EQ(disk.partitions.size(), 2);
    for (const DiskPartition& partition : disk.partitions) {
        EXPECT_EQ(partition.kind, DiskPartitionKind::apfsMissingContainer);
        EXPECT_EQ(partition.name, "APFS container (not available)");
        EXPECT_EQ(partition.detail, "No container is attached to this partition (damaged, "
                                    "locked, or made by another APFS version)");
    }
    EXPECT_TRUE(disk.containers.isEmpty());
}

TEST(DiskutilInventory, TheTextFormGivesStatusSizeAndPlace) {
    const DiskutilInfoText info = parseDiskutilInfoText(fixture("diskutil-info-fusion-ssd.txt"));
    EXPECT_EQ(info.identifier, "disk0");
    EXPECT_EQ(info.smartStatus, "Verified");
    EXPECT_EQ(info.diskSize, 121332826112);
    EXPECT_TRUE(info.isInternal);

    // It fills what the property lists leave out.
    const auto disks = inventoryFromDiskutil({fixture("diskutil-list-attached-vm-disk.plist"),
                                              {},
                                              {},
                                              {fixture("diskutil-info-fusion-ssd.txt")}});
    ASSERT_TRUE(disks.has_value());
    EXPECT_EQ(disks->first().smartStatus, "Verified");
    EXPECT_TRUE(disks->first().isInternal);
}

TEST(DiskutilInventory, ContentStringsGivenAsMbrBytesOrGuidsMapToKinds) {
    EXPECT_EQ(diskutilContentKind(QStringLiteral("0x83")), DiskPartitionKind::linuxFileSystem);
    EXPECT_EQ(diskutilContentKind(QStringLiteral("0FC63DAF-8483-4772-8E79-3D69D8477DE4")),
              DiskPartitionKind::linuxFileSystem);
    EXPECT_EQ(diskutilContentKind(QStringLiteral("Something new")), DiskPartitionKind::other);
}

TEST(DiskutilInventory, AMissingOrForeignListIsRefusedInASentence) {
    for (const QByteArray& list :
         {QByteArray(), fixture("diskutil-apfs-list-one-container.plist"), QByteArray("<?xml")}) {
        const auto disks = inventoryFromDiskutil({list, {}, {}, {}});
        ASSERT_FALSE(disks.has_value());
        EXPECT_EQ(disks.error(), "The disk list from diskutil could not be read: it is not the "
                                 "property list of “diskutil list -plist”.");
    }
}

} // namespace
} // namespace velmox
