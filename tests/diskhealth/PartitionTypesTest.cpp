#include "diskhealth/PartitionTypes.h"

#include <gtest/gtest.h>

namespace velmox {
namespace {

TEST(PartitionTypes, MbrBytesWithoutANameShowTwoUpperCaseHexDigits) {
    EXPECT_EQ(mbrTypeName(0x02), "MBR type 0x02");
    EXPECT_EQ(mbrTypeName(0x9f), "MBR type 0x9F");
    EXPECT_EQ(mbrTypeName(0xff), "MBR type 0xFF");
    EXPECT_EQ(mbrTypeKind(0xee), DiskPartitionKind::other);
    EXPECT_EQ(mbrTypeKind(0xef), DiskPartitionKind::efiSystem);
}

TEST(PartitionTypes, GptGuidsMatchInAnyCaseWithOrWithoutBraces) {
    EXPECT_EQ(gptTypeName(u"c12a7328-f81f-11d2-ba4b-00a0c93ec93b"), "EFI system partition");
    EXPECT_EQ(gptTypeName(u"{7C3457EF-0000-11AA-AA11-00306543ECAC}"), "Apple APFS");
    EXPECT_EQ(gptTypeKind(u"ca7d7ccb-63ed-4c53-861c-1742536059cc"), DiskPartitionKind::luks);
    EXPECT_EQ(gptTypeName(u"00000000-0000-0000-0000-000000000000"), "");
    EXPECT_EQ(gptTypeName(u"not a guid"), "");
}

// /proc/filesystems of a kernel with ext4 and btrfs built in, one of FUSE and its modules.
const QByteArray procFilesystems = "nodev\tsysfs\nnodev\ttmpfs\n\text3\n\text2\n\text4\n"
                                   "\tbtrfs\nnodev\tfuse\n\tfuseblk\n";

TEST(PartitionTypes, ReadableFileSystemsComeFromTheKernelItsModulesAndNtfs3g) {
    const FileSystemSupport bare = FileSystemSupport::from(procFilesystems, {}, false);
    EXPECT_TRUE(bare.canRead(u"ext4"));
    EXPECT_TRUE(bare.canRead(u"btrfs"));
    EXPECT_FALSE(bare.canRead(u"apfs"));
    EXPECT_FALSE(bare.canRead(u"hfsplus"));
    EXPECT_FALSE(bare.canRead(u"zfs_member"));
    EXPECT_FALSE(bare.canRead(u"ntfs"));
    // Signatures that are no file system are never "unreadable".
    EXPECT_TRUE(bare.canRead(u"LVM2_member"));
    EXPECT_TRUE(bare.canRead(u"crypto_LUKS"));
    EXPECT_TRUE(bare.canRead(u""));

    const FileSystemSupport modules = FileSystemSupport::from(
        procFilesystems, {QStringLiteral("hfsplus"), QStringLiteral("zfs")}, true);
    EXPECT_TRUE(modules.canRead(u"hfsplus"));
    EXPECT_TRUE(modules.canRead(u"zfs_member"));
    EXPECT_TRUE(modules.canRead(u"ntfs"));
    EXPECT_FALSE(modules.canRead(u"apfs"));
}

TEST(PartitionTypes, LinuxNotesNameTheMissingDriverTheStackAndTheLock) {
    const FileSystemSupport support = FileSystemSupport::from(procFilesystems, {}, false);
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::apfs, u"apfs", {}, support),
              "This Linux system cannot read APFS file systems without a driver or module");
    // A table entry alone, no signature read (blkid needs root): the kind speaks.
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::hfs, u"", {}, support),
              "This Linux system cannot read HFS+ file systems without a driver or module");
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::linuxFileSystem, u"ext4", {}, support), "");
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::luks, u"crypto_LUKS", {}, support),
              "LUKS encrypted container (locked)");
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::luks, u"crypto_LUKS",
                                 QStringLiteral("luks-home"), support),
              "LUKS encrypted container, unlocked as luks-home");
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::linuxRaid, u"linux_raid_member",
                                 QStringLiteral("md127"), support),
              "Member of the md RAID set md127");
    EXPECT_EQ(linuxPartitionNote(DiskPartitionKind::bitLocker, u"BitLocker", {}, support),
              "This Linux system cannot read this file system (BitLocker is locked)");
    EXPECT_EQ(linuxDiskNote(DiskPartitionKind::linuxLvm),
              "Contains a member of an LVM volume group.");
}

} // namespace
} // namespace velmox
