// The Linux inventory against real loop devices: tables written by sfdisk, file systems by
// mkfs, one of them mounted, so names, signatures and mount points come from the real tools.
// Needs root; skipped without it or without loop devices.

#include "diskhealth/DiskInventory.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {
namespace {

struct ToolRun {
    int status = -1;
    QByteArray out;
};

ToolRun run(const QString& program, const QStringList& arguments, const QByteArray& input = {}) {
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(60000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput().trimmed()};
}

class LoopDevices : public ::testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0)
            GTEST_SKIP() << "Loop devices need root.";
        ASSERT_TRUE(folder_.isValid());
    }

    void TearDown() override {
        for (const QByteArray& mount : mounts_)
            ::umount2(mount.constData(), MNT_DETACH);
        for (const QString& device : devices_)
            run(QStringLiteral("/usr/sbin/losetup"), {QStringLiteral("-d"), device});
    }

    // A sparse 64 MiB image with `table` written by sfdisk (none when empty), attached with
    // its partitions. Empty when no loop device could be had.
    QString attach(const QString& name, const QByteArray& table) {
        const QString image = folder_.filePath(name);
        QFile file(image);
        if (!file.open(QIODevice::WriteOnly) || !file.resize(64 << 20))
            return {};
        file.close();
        if (!table.isEmpty() &&
            run(QStringLiteral("/usr/sbin/sfdisk"), {QStringLiteral("-q"), image}, table).status !=
                0)
            return {};
        const ToolRun attached =
            run(QStringLiteral("/usr/sbin/losetup"),
                {QStringLiteral("-f"), QStringLiteral("--show"), QStringLiteral("-P"), image});
        if (attached.status != 0)
            return {};
        const QString device = QString::fromUtf8(attached.out);
        devices_.append(device);
        // Where the kernel did not scan the table on attach, partx adds the partitions.
        if (!table.isEmpty() && !QFile::exists(device + QStringLiteral("p1")))
            run(QStringLiteral("/usr/bin/partx"), {QStringLiteral("-a"), device});
        return device;
    }

    bool mount(const QString& device, const QByteArray& where) {
        if (::mkdir(where.constData(), 0755) != 0 ||
            ::mount(device.toUtf8().constData(), where.constData(), "ext4", 0, nullptr) != 0)
            return false;
        mounts_.append(where);
        return true;
    }

    static bool format(const QString& tool, const QStringList& arguments) {
        return run(tool, arguments).status == 0;
    }

    QTemporaryDir folder_;
    QStringList devices_;
    QList<QByteArray> mounts_;
};

const PhysicalDisk* findDisk(const QList<PhysicalDisk>& disks, const QString& device) {
    for (const PhysicalDisk& disk : disks)
        if (QStringLiteral("/dev/") + disk.identifier == device)
            return &disk;
    return nullptr;
}

TEST_F(LoopDevices, PartitionTypesFileSystemsAndMountPointsComeFromTheRealTools) {
    const QString gpt =
        attach(QStringLiteral("gpt.img"), "label: gpt\n"
                                          "size=8M, type=U, name=ESP\n"
                                          "size=24M, type=L, name=data\n"
                                          "size=8M, type=S\n"
                                          "size=8M, type=7C3457EF-0000-11AA-AA11-00306543ECAC\n");
    const QString mbr =
        attach(QStringLiteral("mbr.img"), "label: dos\n,8M,c\n,16M,83\n,8M,8e\n,8M,9f\n");
    const QString whole = attach(QStringLiteral("whole.img"), {});
    if (gpt.isEmpty() || mbr.isEmpty() || whole.isEmpty())
        GTEST_SKIP() << "No loop device could be attached here.";
    const QString mkfs = QStringLiteral("/usr/sbin/mkfs.ext4");
    ASSERT_TRUE(format(mkfs, {QStringLiteral("-q"), QStringLiteral("-L"),
                              QStringLiteral("velmox-data"), gpt + QStringLiteral("p2")}));
    ASSERT_TRUE(format(QStringLiteral("/usr/sbin/mkswap"), {gpt + QStringLiteral("p3")}));
    ASSERT_TRUE(format(mkfs, {QStringLiteral("-q"), mbr + QStringLiteral("p2")}));
    ASSERT_TRUE(format(mkfs, {QStringLiteral("-q"), whole}));
    // A mount point is bytes: a space (escaped in the mount table) and a byte that is not
    // UTF-8.
    const QByteArray mountPoint = QFile::encodeName(folder_.path()) + "/data dir\xff";
    ASSERT_TRUE(mount(gpt + QStringLiteral("p2"), mountPoint));

    const auto disks = LinuxDiskInventory().read();
    ASSERT_TRUE(disks.has_value()) << disks.error().toStdString();

    const PhysicalDisk* gptDisk = findDisk(*disks, gpt);
    ASSERT_NE(gptDisk, nullptr);
    EXPECT_TRUE(gptDisk->isDiskImage);
    EXPECT_TRUE(gptDisk->note.contains(folder_.filePath(QStringLiteral("gpt.img"))))
        << gptDisk->note.toStdString();
    EXPECT_EQ(gptDisk->partitionScheme, "GPT");
    ASSERT_EQ(gptDisk->partitions.size(), 4);
    const auto& parts = gptDisk->partitions;
    EXPECT_EQ(parts[0].content, "EFI system partition");
    EXPECT_EQ(parts[0].kind, DiskPartitionKind::efiSystem);
    EXPECT_EQ(parts[0].name, "ESP");
    EXPECT_EQ(parts[1].content, "Linux filesystem");
    EXPECT_EQ(parts[1].name, "data");
    EXPECT_EQ(parts[1].fileSystem, "ext4");
    EXPECT_EQ(parts[1].mountPoint, mountPoint);
    EXPECT_GT(parts[1].usedBytes, 0);
    EXPECT_EQ(parts[2].content, "Linux swap");
    EXPECT_EQ(parts[2].fileSystem, "swap");
    EXPECT_EQ(parts[3].content, "Apple APFS");
    EXPECT_EQ(parts[3].detail,
              FileSystemSupport::current().canRead(u"apfs")
                  ? QString()
                  : QStringLiteral("This Linux system cannot read APFS file systems without a "
                                   "driver or module"));
    ASSERT_EQ(gptDisk->volumes.size(), 1);
    const DiskVolume& volume = gptDisk->volumes.first();
    EXPECT_EQ(volume.mountPath, mountPoint);
    EXPECT_EQ(volume.name, "velmox-data");
    EXPECT_EQ(volume.fileSystem, "ext4");
    EXPECT_EQ(volume.parentWholeDisk, gptDisk->identifier);
    EXPECT_GT(volume.totalBytes, 20 << 20);
    EXPECT_LE(volume.availableBytes, volume.freeBytes);
    EXPECT_LE(volume.freeBytes, volume.totalBytes);

    const PhysicalDisk* mbrDisk = findDisk(*disks, mbr);
    ASSERT_NE(mbrDisk, nullptr);
    EXPECT_EQ(mbrDisk->partitionScheme, "MBR");
    ASSERT_EQ(mbrDisk->partitions.size(), 4);
    EXPECT_EQ(mbrDisk->partitions[0].content, "FAT32");
    EXPECT_EQ(mbrDisk->partitions[1].content, "Linux filesystem");
    EXPECT_EQ(mbrDisk->partitions[1].fileSystem, "ext4");
    EXPECT_EQ(mbrDisk->partitions[2].content, "Linux LVM");
    EXPECT_EQ(mbrDisk->partitions[2].detail, "Member of an LVM volume group");
    EXPECT_EQ(mbrDisk->partitions[3].content, "MBR type 0x9F");
    EXPECT_TRUE(mbrDisk->note.contains("Contains a member of an LVM volume group."));
    EXPECT_TRUE(mbrDisk->volumes.isEmpty());

    const PhysicalDisk* wholeDisk = findDisk(*disks, whole);
    ASSERT_NE(wholeDisk, nullptr);
    EXPECT_TRUE(wholeDisk->partitions.isEmpty());
    EXPECT_EQ(wholeDisk->partitionScheme, "");
    EXPECT_TRUE(
        wholeDisk->note.contains("The whole disk holds one ext4 file system, without a partition "
                                 "table."))
        << wholeDisk->note.toStdString();
}

} // namespace
} // namespace velmox
