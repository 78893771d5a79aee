#include "storage/ScanConfiguration.h"

#include "storage/DiskScanner.h"
#include "storage/ScanCenter.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace velmox;

namespace {

// Lines in the kernel's own format, including an escaped blank in a mount point and a
// mount with optional fields.
const QByteArray kMountinfo =
    "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
    "40 27 0:35 / /home rw,relatime shared:5 master:2 - btrfs /dev/sdb2 rw,subvol=/home\n"
    "41 40 0:50 / /home/me/My\\040Drive rw,nosuid - fuse.rclone remote: rw,user_id=1000\n"
    "42 27 0:51 / /mnt/share rw - nfs4 server:/export rw\n"
    "43 27 0:52 /docs /mnt/bound rw - ext4 /dev/vda rw\n"
    "garbage line\n";

} // namespace

TEST(MountTable, ParsesMountinfoAndFindsTheMountOfAPath) {
    const MountTable table = MountTable::parse(kMountinfo);
    ASSERT_EQ(table.entries.size(), 5);
    EXPECT_EQ(table.entries[2],
              (MountEntry{"/home/me/My Drive", QStringLiteral("fuse.rclone"), "remote:", 0, 50}));
    EXPECT_EQ(table.entries[1].fileSystemType, QStringLiteral("btrfs"));
    EXPECT_EQ(table.mountOf("/home/me/My Drive/file")->fileSystemType,
              QStringLiteral("fuse.rclone"));
    EXPECT_EQ(table.mountOf("/home/me")->mountPoint, QByteArray("/home"));
    EXPECT_EQ(table.mountOf("/homework")->mountPoint, QByteArray("/"));
    EXPECT_EQ(table.mountPointsBelow("/"),
              (QList<QByteArray>{"/home", "/home/me/My Drive", "/mnt/share", "/mnt/bound"}));
    EXPECT_EQ(table.mountPointsBelow("/home"), QList<QByteArray>{"/home/me/My Drive"});
}

TEST(ScanConfiguration, ChoosesWorkersFromTheFileSystemAndTheMedium) {
    EXPECT_EQ(ScanConfiguration::workerCountFor("ext4", StorageMedium::rotational, 16), 1);
    EXPECT_EQ(ScanConfiguration::workerCountFor("btrfs", StorageMedium::solidState, 1), 2);
    EXPECT_EQ(ScanConfiguration::workerCountFor("XFS", StorageMedium::solidState, 6), 6);
    EXPECT_EQ(ScanConfiguration::workerCountFor("exfat", StorageMedium::solidState, 32), 8);
    EXPECT_EQ(ScanConfiguration::workerCountFor("f2fs", StorageMedium::unknown, 32), 2);
    EXPECT_EQ(ScanConfiguration::workerCountFor("nfs4", StorageMedium::solidState, 32), 1);
    EXPECT_EQ(ScanConfiguration::workerCountFor("fuse.sshfs", StorageMedium::unknown, 32), 1);

    // A partition has no queue of its own: its disk's answer counts.
    QTemporaryDir sys;
    ASSERT_TRUE(QDir(sys.path()).mkpath(QStringLiteral("block/sda/queue")));
    ASSERT_TRUE(QDir(sys.path()).mkpath(QStringLiteral("block/sda/sda1")));
    ASSERT_TRUE(QDir(sys.path()).mkpath(QStringLiteral("dev/block")));
    QFile rotational(sys.filePath(QStringLiteral("block/sda/queue/rotational")));
    ASSERT_TRUE(rotational.open(QIODevice::WriteOnly));
    rotational.write("0\n");
    rotational.close();
    QFile::link(sys.filePath(QStringLiteral("block/sda")),
                sys.filePath(QStringLiteral("dev/block/8:0")));
    QFile::link(sys.filePath(QStringLiteral("block/sda/sda1")),
                sys.filePath(QStringLiteral("dev/block/8:1")));
    const MountEntry partition{"/data", QStringLiteral("ext4"), "UUID=1234", 8, 1};
    EXPECT_EQ(ScanConfiguration::probeLinuxMedium(partition, sys.path()),
              StorageMedium::solidState);
    const MountEntry missing{"/data", QStringLiteral("ext4"), "UUID=1234", 8, 9};
    EXPECT_EQ(ScanConfiguration::probeLinuxMedium(missing, sys.path()), StorageMedium::unknown);
}

TEST(ScanConfiguration, BuildsTheRootKeyDevicesAndExcludedMountPoints) {
    QTemporaryDir dir;
    const QByteArray path = QFile::encodeName(QDir(dir.path()).canonicalPath()) + "/real";
    ASSERT_EQ(::mkdir(path.constData(), 0755), 0);
    const QByteArray link = QFile::encodeName(dir.path()) + "/link";
    ASSERT_EQ(::symlink("real", link.constData()), 0);
    struct stat root {};
    ASSERT_EQ(::stat(path.constData(), &root), 0);
    MountTable mounts = MountTable::parse("27 1 254:0 / / rw - ext4 /dev/vda rw\n"
                                          "50 27 0:60 / " +
                                          path + "/inside rw - tmpfs none rw\n");
    int probes = 0;
    // A relative root, through a symbolic link, with a trailing slash.
    const QString previous = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    const ScanConfiguration config = ScanConfiguration::build(
        {ScanScope::Kind::folder, QStringLiteral("link/"), QStringLiteral("Temp"), {}}, true,
        mounts, [&](const MountEntry& mount) {
            ++probes;
            EXPECT_EQ(mount.mountPoint, QByteArray("/"));
            return StorageMedium::rotational;
        });
    QDir::setCurrent(previous);
    EXPECT_EQ(config.rootPath, path);
    EXPECT_EQ(config.rootName, QStringLiteral("Temp"));
    EXPECT_EQ(config.rootKey, linkKey(root.st_ino, root.st_dev));
    EXPECT_EQ(config.allowedDevices, QList<uint64_t>{root.st_dev});
    EXPECT_EQ(config.excludedPaths, QList<QByteArray>{path + "/inside"});
    EXPECT_TRUE(config.mountsFromTable);
    EXPECT_EQ(config.workerCount, 1);
    EXPECT_EQ(probes, 1);
    EXPECT_TRUE(config.gentle);

    const ScanConfiguration missing = ScanConfiguration::build(
        {ScanScope::Kind::folder, QStringLiteral("/no/such/place"), {}, {}}, false, mounts,
        [](const MountEntry&) { return StorageMedium::solidState; });
    EXPECT_EQ(missing.allowedDevices, QList<uint64_t>{ScanConfiguration::kSentinelDevice});
}

TEST(ScanCenter, BudgetsNodesFromPhysicalMemoryAndCapsEntries) {
    EXPECT_EQ(ScanCenter::nodeBudgetFor(8'000'000'000ULL), 6'000'000);
    EXPECT_EQ(ScanCenter::nodeBudgetFor(16'000'000'000ULL), 8'000'000);
    EXPECT_EQ(ScanCenter::nodeBudgetFor(48'000'000'000ULL), 24'000'000);
    EXPECT_EQ(DiskScanner::baseEntryCap(2'000'000'000ULL), 8'000'000);
    EXPECT_EQ(DiskScanner::baseEntryCap(16'000'000'000ULL), 40'000'000);
    EXPECT_EQ(DiskScanner::baseEntryCap(24'000'000'000ULL), 60'000'000);
}

TEST(ScanScope, CodesItsKindAndJsonBothWays) {
    const ScanScope scope{ScanScope::Kind::volume, QStringLiteral("/"), QStringLiteral("Disk"),
                          QStringLiteral("/data")};
    EXPECT_EQ(scope.identifier(), QStringLiteral("volume:/"));
    EXPECT_EQ(scanScopeFromJson(toJson(scope)), scope);
    EXPECT_FALSE(scanScopeFromJson(QJsonObject{{QStringLiteral("kind"), QStringLiteral("disk")},
                                               {QStringLiteral("path"), QStringLiteral("/")}})
                     .has_value());
}
