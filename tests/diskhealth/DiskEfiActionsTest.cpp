// The EFI actions over real D-Bus: a private bus with a stand-in UDisks2 daemon and file
// manager (this machine has neither).

#include "diskhealth/DiskEfiActions.h"

#include "diskhealth/DiskutilInventory.h"

#include <QDBusConnectionInterface>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

namespace velmox {
namespace {

class PrivateBus : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(folder_.isValid());
        daemon_.start(QStringLiteral("/usr/bin/dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"),
                       QStringLiteral("--print-address=1")});
        ASSERT_TRUE(daemon_.waitForReadyRead(10000)) << "dbus-daemon did not start";
        address_ = QString::fromUtf8(daemon_.readLine().trimmed());
        bus_ = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(address_, QStringLiteral("velmox-efi-test")));
        ASSERT_TRUE(bus_->isConnected());
    }

    void TearDown() override {
        for (QProcess* process : {&standIn_, &daemon_}) {
            process->kill();
            process->waitForFinished(5000);
        }
        bus_.reset();
        QDBusConnection::disconnectFromBus(QStringLiteral("velmox-efi-test"));
    }

    void startStandIn() {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address_);
        standIn_.setProcessEnvironment(environment);
        standIn_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        standIn_.start(QStringLiteral("/usr/bin/python3"),
                       {QStringLiteral(VELMOX_TEST_SOURCES "/udisks-standin.py"), shownFile()});
        for (int i = 0; i < 200; ++i) {
            if (bus_->interface()->isServiceRegistered(QStringLiteral("org.freedesktop.UDisks2")))
                return;
            QThread::msleep(50);
        }
        FAIL() << "The UDisks2 stand-in did not start.";
    }

    QString shownFile() const { return folder_.filePath(QStringLiteral("shown")); }

    QTemporaryDir folder_;
    QProcess daemon_;
    QProcess standIn_;
    QString address_;
    std::unique_ptr<QDBusConnection> bus_;
};

TEST_F(PrivateBus, MountsAndUnmountsThroughUDisks2AndPassesItsRefusalsOn) {
    startStandIn();
    const UDisksMounter mounter(*bus_);
    const auto mounted = mounter.mount(QStringLiteral("loop7p1"));
    ASSERT_TRUE(mounted.has_value()) << mounted.error().toStdString();
    EXPECT_EQ(*mounted, "/run/media/velmox/EFI loop7p1");

    const auto again = mounter.mount(QStringLiteral("loop7p1"));
    ASSERT_FALSE(again.has_value());
    EXPECT_EQ(again.error(), "The EFI partition loop7p1 could not be mounted: Device "
                             "/dev/loop7p1 is already mounted at `/run/media/velmox/EFI "
                             "loop7p1'.");

    EXPECT_TRUE(mounter.unmount(QStringLiteral("loop7p1")).has_value());
    const Status twice = mounter.unmount(QStringLiteral("loop7p1"));
    ASSERT_FALSE(twice.has_value());
    EXPECT_EQ(twice.error(), "The EFI partition loop7p1 could not be unmounted: Device "
                             "`/dev/loop7p1' is not mounted.");

    // Device names with characters outside [A-Za-z0-9] are escaped in the object path.
    const auto mapped = mounter.mount(QStringLiteral("dm-0"));
    ASSERT_TRUE(mapped.has_value()) << mapped.error().toStdString();
    EXPECT_EQ(*mapped, "/run/media/velmox/EFI dm-0");
}

TEST_F(PrivateBus, WithoutUDisks2OrAFileManagerTheActionsSaySo) {
    const auto mounted = UDisksMounter(*bus_).mount(QStringLiteral("sda1"));
    ASSERT_FALSE(mounted.has_value());
    EXPECT_TRUE(mounted.error().startsWith("The EFI partition sda1 could not be mounted: "))
        << mounted.error().toStdString();
    EXPECT_FALSE(showInFileManager(*bus_, "/run/media/velmox/EFI"));
}

TEST_F(PrivateBus, TheFileManagerIsAskedToShowTheMountedFolder) {
    startStandIn();
    ASSERT_TRUE(showInFileManager(*bus_, "/run/media/velmox/EFI loop7p1"));
    QFile shown(shownFile());
    ASSERT_TRUE(shown.open(QIODevice::ReadOnly));
    EXPECT_EQ(shown.readAll(), "file:///run/media/velmox/EFI%20loop7p1\n");
}

TEST(EfiActions, TheEfiPartitionIsFoundByItsKind) {
    QFile list(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/diskutil-list-catalina.plist"));
    ASSERT_TRUE(list.open(QIODevice::ReadOnly));
    const auto disks = inventoryFromDiskutil({list.readAll(), {}, {}, {}});
    ASSERT_TRUE(disks.has_value());
    const DiskPartition* efi = efiPartitionOf(disks->first());
    ASSERT_NE(efi, nullptr);
    EXPECT_EQ(mountEfiTitle(efi->identifier), "Mount EFI Partition (disk0s1)");

    PhysicalDisk withoutEfi = disks->first();
    withoutEfi.partitions.removeFirst();
    EXPECT_EQ(efiPartitionOf(withoutEfi), nullptr);
}

} // namespace
} // namespace velmox
