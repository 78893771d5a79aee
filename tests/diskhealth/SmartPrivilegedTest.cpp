#include "diskhealth/DiskHealthMonitor.h"
#include "diskhealth/SmartReader.h"
#include "tests/runners/PrivilegeWorld.h"

#include <gtest/gtest.h>

namespace velmox {
namespace {

// These run as velmox-test-admin with the real Secret Service and the real sudo: smartctl needs
// root, which an unattended check gets only from the saved password.
TEST(SmartctlReader, WithoutRootReadsThroughTheSavedPasswordAndNeverPrompts) {
    const QList<SmartTarget> disks = linuxWholeDisks();
    if (disks.isEmpty())
        GTEST_SKIP() << "this machine shows no disks in /sys/block";
    if (SmartctlReader::findSmartctl(SmartctlReader::linuxSearchList()).isEmpty())
        GTEST_SKIP() << "smartmontools is not installed";
    const SmartTarget& disk = disks.first();
    test::PrivilegeWorld world;
    SmartctlReader::Options options;
    options.root = false;
    options.privileged = [&world](const QString& line) {
        return world.shell.runPrivileged(line, false);
    };
    SmartctlReader reader(std::move(options));

    const SmartReader::Outcome refused = reader.read(disk);
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, DiskHealthStatus::unavailable);
    EXPECT_EQ(refused->verdictDetail,
              QStringLiteral("No administrator password is saved. Add it in Settings > Access."));

    ASSERT_TRUE(world.keychain.savePassword(test::kAccountPassword));
    const SmartReader::Outcome read = reader.read(disk);
    ASSERT_TRUE(read) << read.error().toStdString();
    // smartctl ran as root: whatever the disk passes through, it was not refused for rights,
    // and a disk without S.M.A.R.T. gets smartctl's own reason despite its non-zero exit.
    EXPECT_FALSE(read->verdictDetail.contains(QStringLiteral("Permission denied")))
        << read->verdictDetail.toStdString();
    if (read->status == DiskHealthStatus::unavailable) {
        EXPECT_TRUE(read->verdictDetail.startsWith(
            QStringLiteral("smartctl could not read S.M.A.R.T. values: %1")
                .arg(QString::fromUtf8(disk.devicePath))))
            << read->verdictDetail.toStdString();
    }
    EXPECT_TRUE(world.prompt.lines.isEmpty());
}

} // namespace
} // namespace velmox
