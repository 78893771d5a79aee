#include "diskhealth/SmartReader.h"

#include "diskhealth/DiskHealthMonitor.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

namespace velmox {
namespace {

QByteArray attachLoopDevice(const QString& image) {
    QFile file(image);
    if (!file.open(QIODevice::WriteOnly) || !file.resize(8 * 1024 * 1024))
        return {};
    file.close();
    QProcess losetup;
    losetup.start(QStringLiteral("/usr/sbin/losetup"),
                  {QStringLiteral("--find"), QStringLiteral("--show"), image});
    if (!losetup.waitForFinished() || losetup.exitCode() != 0)
        return {};
    return losetup.readAllStandardOutput().trimmed();
}

void detachLoopDevice(const QByteArray& device) {
    QProcess::execute(QStringLiteral("/usr/sbin/losetup"),
                      {QStringLiteral("-d"), QString::fromUtf8(device)});
}

SmartTarget target(const QByteArray& device, const QString& bus = {}) {
    SmartTarget t;
    t.devicePath = device;
    t.bus = bus;
    return t;
}

SmartctlReader readerWith(const QStringList& searchList, bool root) {
    SmartctlReader::Options options;
    options.searchList = searchList;
    options.root = root;
    return SmartctlReader(std::move(options));
}

// A disk that passes no S.M.A.R.T. data through, read with the real smartctl.
TEST(SmartctlReader, ReportsUnavailableForADiskWithoutSmart) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "attaching a loop device and reading S.M.A.R.T. need root";
    if (SmartctlReader::findSmartctl(SmartctlReader::linuxSearchList()).isEmpty())
        GTEST_SKIP() << "smartmontools is not installed";
    QTemporaryDir dir;
    const QByteArray loop = attachLoopDevice(dir.filePath(QStringLiteral("disk.img")));
    if (loop.isEmpty())
        GTEST_SKIP() << "no loop device could be attached";
    const auto detach = qScopeGuard([&] { detachLoopDevice(loop); });

    QList<QByteArray> devices{loop};
    // This machine's own disks too, where they hang on virtio (which never passes S.M.A.R.T.).
    for (const QString& name : QDir(QStringLiteral("/sys/block")).entryList(QDir::Dirs)) {
        const Result<SmartTarget> disk = SmartTarget::fromDeviceName(name);
        if (disk && disk->bus == QLatin1String("virtio"))
            devices.append(disk->devicePath);
    }
    SmartctlReader reader(SmartctlReader::Options{});
    for (const QByteArray& device : devices) {
        SCOPED_TRACE(device.toStdString());
        const SmartReader::Outcome outcome = reader.read(target(device));
        ASSERT_TRUE(outcome) << outcome.error().toStdString();
        EXPECT_EQ(outcome->status, DiskHealthStatus::unavailable);
        EXPECT_FALSE(outcome->verdict);
        EXPECT_EQ(outcome->verdictTitle, QStringLiteral("S.M.A.R.T. unavailable"));
        EXPECT_TRUE(outcome->verdictDetail.contains(QString::fromUtf8(device)))
            << outcome->verdictDetail.toStdString();
    }
}

TEST(SmartctlReader, WithoutSmartctlSaysHowToInstallIt) {
    QTemporaryDir emptyFolder;
    SmartctlReader reader = readerWith({emptyFolder.filePath(QStringLiteral("smartctl"))}, false);
    const SmartReader::Outcome sata = reader.read(target("/dev/sda", QStringLiteral("ata")));
    ASSERT_TRUE(sata);
    EXPECT_EQ(sata->status, DiskHealthStatus::unavailable);
    EXPECT_EQ(sata->verdictDetail, SmartctlReader::missingSmartctlSentence());
    EXPECT_TRUE(sata->verdictDetail.contains(QStringLiteral("apt install smartmontools")));

    // An NVMe drive is then read through the kernel; a drive that is not there says so.
    SmartctlReader asRoot = readerWith({}, true);
    const SmartReader::Outcome nvme =
        asRoot.read(target("/dev/nvme-velmox-absent", QStringLiteral("nvme")));
    ASSERT_TRUE(nvme);
    EXPECT_EQ(nvme->status, DiskHealthStatus::unavailable);
    EXPECT_TRUE(nvme->verdictDetail.startsWith(SmartctlReader::missingSmartctlSentence()));
    EXPECT_TRUE(nvme->verdictDetail.contains(QStringLiteral("/dev/nvme-velmox-absent")));
}

// This machine has no USB bridge: a stand-in smartctl answers like one that passes S.M.A.R.T.
// only with the 12-byte SAT command, and writes down every argument list it was given.
TEST(SmartctlReader, TriesTheSatSetsInTurnForUsbBridges) {
    QTemporaryDir dir;
    const QString log = dir.filePath(QStringLiteral("calls"));
    const QString script = dir.filePath(QStringLiteral("smartctl"));
    QFile file(script);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QStringLiteral("#!/bin/sh\n"
                              "echo \"$*\" >> '%1'\n"
                              "case \"$*\" in\n"
                              "  *sat,12*) cat '%2/sata-ssd-850pro.json' ;;\n"
                              "  *) cat '%2/open-failed.json'; exit 2 ;;\n"
                              "esac\n")
                   .arg(log, QStringLiteral(VELMOX_TEST_DATA "/diskhealth/smart"))
                   .toUtf8());
    file.close();
    ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

    SmartctlReader reader = readerWith({script}, true);
    const SmartReader::Outcome usb = reader.read(target("/dev/sdz", QStringLiteral("usb")));
    ASSERT_TRUE(usb) << usb.error().toStdString();
    EXPECT_EQ(usb->status, DiskHealthStatus::healthy);
    EXPECT_EQ(usb->model, QStringLiteral("X SSD 850 PRO 128GB"));

    QFile calls(log);
    ASSERT_TRUE(calls.open(QIODevice::ReadOnly));
    EXPECT_EQ(calls.readAll(), QByteArray("-a -j -d sat /dev/sdz\n"
                                          "-a -j -d sat,12 /dev/sdz\n"));

    // An internal disk gets the plain set only, and its unavailable report is kept.
    calls.close();
    QFile::remove(log);
    const SmartReader::Outcome sata = reader.read(target("/dev/sdy", QStringLiteral("ata")));
    ASSERT_TRUE(sata);
    EXPECT_EQ(sata->status, DiskHealthStatus::unavailable);
    EXPECT_TRUE(sata->verdictDetail.contains(QStringLiteral("Open failed")));
    ASSERT_TRUE(calls.open(QIODevice::ReadOnly));
    EXPECT_EQ(calls.readAll(), QByteArray("-a -j /dev/sdy\n"));
}

// sysfs as it looks for a USB disk with one partition.
TEST(SmartTarget, DescribesADiskFromSysfs) {
    QTemporaryDir sys;
    const QString device =
        QStringLiteral("devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/"
                       "6:0:0:0/block/sdb");
    QDir root(sys.path());
    ASSERT_TRUE(root.mkpath(device + QStringLiteral("/queue")));
    ASSERT_TRUE(root.mkpath(device + QStringLiteral("/sdb1")));
    ASSERT_TRUE(root.mkpath(QStringLiteral("block")));
    ASSERT_TRUE(root.mkpath(QStringLiteral("class/block")));
    auto write = [&](const QString& path, const QByteArray& text) {
        QFile f(root.filePath(path));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(text);
    };
    write(device + QStringLiteral("/queue/rotational"), "1\n");
    write(device + QStringLiteral("/removable"), "0\n");
    write(device + QStringLiteral("/sdb1/partition"), "1\n");
    ASSERT_TRUE(QFile::link(root.filePath(device), root.filePath(QStringLiteral("block/sdb"))));
    ASSERT_TRUE(
        QFile::link(root.filePath(device), root.filePath(QStringLiteral("class/block/sdb"))));
    ASSERT_TRUE(QFile::link(root.filePath(device + QStringLiteral("/sdb1")),
                            root.filePath(QStringLiteral("class/block/sdb1"))));

    for (const QString& name : {QStringLiteral("sdb"), QStringLiteral("/dev/sdb1")}) {
        SCOPED_TRACE(name.toStdString());
        const Result<SmartTarget> disk = SmartTarget::fromDeviceName(name, sys.path());
        ASSERT_TRUE(disk) << disk.error().toStdString();
        EXPECT_EQ(disk->devicePath, QByteArray("/dev/sdb"));
        EXPECT_EQ(disk->bus, QStringLiteral("usb"));
        EXPECT_TRUE(disk->rotational);
        EXPECT_FALSE(disk->internal);
        EXPECT_TRUE(disk->needsSatPassThrough());
    }
    // The monitor's list of disks leaves out loop and RAM devices, and partitions.
    ASSERT_TRUE(root.mkpath(QStringLiteral("devices/virtual/block/loop0")));
    ASSERT_TRUE(QFile::link(root.filePath(QStringLiteral("devices/virtual/block/loop0")),
                            root.filePath(QStringLiteral("block/loop0"))));
    ASSERT_TRUE(QFile::link(root.filePath(QStringLiteral("devices/virtual/block/loop0")),
                            root.filePath(QStringLiteral("class/block/loop0"))));
    const QList<SmartTarget> disks = linuxWholeDisks(sys.path());
    ASSERT_EQ(disks.size(), 1);
    EXPECT_EQ(disks.first().devicePath, QByteArray("/dev/sdb"));

    EXPECT_FALSE(SmartTarget::fromDeviceName(QStringLiteral("sdc"), sys.path()));
    EXPECT_FALSE(SmartTarget::fromDeviceName(QStringLiteral("../etc"), sys.path()));
}

} // namespace
} // namespace velmox
