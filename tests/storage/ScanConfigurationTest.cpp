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
    EXPECT_EQ(ScanConfiguration::workerCountFor("EXFAT", StorageMedium::solidState, 32), 8);
    EXPECT_EQ(ScanConfiguration::workerCountFor("f2fs", StorageMedium::unknown, 32), 2);
    EXPECT_EQ(ScanConfiguration::workerCountFor("nfs4", StorageMedium::solidState, 32), 1);
}

namespace {

// A sysfs tree with the disks of several kinds of machine, linked from dev/block by
// device number the way the kernel links them.
class FakeSys {
public:
    // `device` is the disk's folder below devices/, `rotational` its flag.
    void addDisk(const QString& number, const QString& device, const QByteArray& rotational,
                 const QByteArray& model = {}) {
        const QString folder = QStringLiteral("devices/") + device;
        write(folder + QStringLiteral("/queue/rotational"), rotational);
        if (!model.isEmpty())
            write(folder + QStringLiteral("/device/model"), model);
        link(number, folder);
    }
    void addPartition(const QString& number, const QString& disk, const QString& name) {
        const QString folder = QStringLiteral("devices/") + disk + QLatin1Char('/') + name;
        write(folder + QStringLiteral("/partition"), "1");
        link(number, folder);
    }
    // A stacked device over members given as paths below devices/.
    void addStacked(const QString& number, const QString& name, const QByteArray& rotational,
                    const QStringList& members) {
        addDisk(number, QStringLiteral("virtual/block/") + name, rotational);
        const QString folder = QStringLiteral("devices/virtual/block/") + name;
        mkpath(folder + QStringLiteral("/slaves"));
        for (const QString& member : members)
            QFile::link(root_.filePath(QStringLiteral("devices/") + member),
                        root_.filePath(folder + QStringLiteral("/slaves/") +
                                       member.section(QLatin1Char('/'), -1)));
        if (name.startsWith(QLatin1String("loop")))
            mkpath(folder + QStringLiteral("/loop"));
    }
    StorageMedium medium(const QString& number) const {
        const QStringList parts = number.split(QLatin1Char(':'));
        return ScanConfiguration::probeLinuxMedium(
            {"/data", QStringLiteral("ext4"), "UUID=1", parts[0].toUInt(), parts[1].toUInt()},
            root_.path());
    }

private:
    void mkpath(const QString& path) { ASSERT_TRUE(QDir(root_.path()).mkpath(path)); }
    void write(const QString& path, const QByteArray& text) {
        mkpath(path.section(QLatin1Char('/'), 0, -2));
        QFile file(root_.filePath(path));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text + '\n');
    }
    void link(const QString& number, const QString& folder) {
        mkpath(QStringLiteral("dev/block"));
        ASSERT_TRUE(QFile::link(QStringLiteral("../../") + folder,
                                root_.filePath(QStringLiteral("dev/block/") + number)));
    }
    QTemporaryDir root_;
};

} // namespace

TEST(ScanConfiguration, ClassifiesTheMediumOnlyFromDisksThatCanBeTold) {
    FakeSys sys;
    const QString sata = "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda";
    const QString ssd = "pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0/block/sdc";
    const QString virtio = "pci0000:00/0000:00:02.0/virtio1/block/vda";
    sys.addDisk("8:0", sata, "1");
    sys.addPartition("8:1", sata, "sda1");
    sys.addDisk("8:16",
                "pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0/block/sdb",
                "1");
    sys.addDisk("8:32", ssd, "0");
    // Virtual disks say they rotate whatever lies beneath.
    sys.addDisk("254:0", virtio, "1");
    sys.addPartition("254:1", virtio, "vda1");
    sys.addDisk("202:0", "vbd-51712/block/xvda", "1");
    sys.addDisk("8:48", "pci0000:00/0000:00:01.1/ata3/host2/target2:0:0/2:0:0:0/block/sdd", "1",
                "QEMU HARDDISK");
    // Stacked devices take what their members agree on.
    sys.addStacked("253:0", "dm-0", "1", {sata + "/sda1"});
    sys.addStacked("253:1", "dm-1", "1", {sata + "/sda1", ssd});
    sys.addStacked("7:0", "loop0", "1", {});

    const std::pair<const char*, StorageMedium> expected[] = {
        {"8:0", StorageMedium::rotational},   {"8:1", StorageMedium::rotational},
        {"8:16", StorageMedium::rotational},  {"8:32", StorageMedium::solidState},
        {"254:0", StorageMedium::unknown},    {"254:1", StorageMedium::unknown},
        {"202:0", StorageMedium::unknown},    {"8:48", StorageMedium::unknown},
        {"253:0", StorageMedium::rotational}, {"253:1", StorageMedium::unknown},
        {"7:0", StorageMedium::unknown},      {"1:99", StorageMedium::unknown}};
    for (const auto& [number, medium] : expected)
        EXPECT_EQ(sys.medium(QString::fromLatin1(number)), medium) << number;
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
