// The root file system check's readings of the mount table and of recorded tool outputs.
#include "automation/linux/RootFileSystemCheck.h"

#include "tests/automation/PerformerWorld.h"

#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QString recorded(const char* name) {
    return QString::fromUtf8(readFile(QStringLiteral(VELMOX_TEST_DATA "/automation/") + name));
}

TEST(RootFileSystemCheckTest, TheLastMountOnRootCountsAndEscapesAreUndone) {
    const QByteArray table =
        "22 1 0:21 / / rw shared:1 - tmpfs rootfs rw\n"
        "29 1 8:2 / / rw,relatime shared:1 master:3 - btrfs /dev/disk\\040one rw,subvol=/@\n"
        "30 29 8:3 / /media/usb\\040stick rw - vfat /dev/sdb1 rw\n"
        "broken line\n";
    const std::optional<RootFileSystemCheck::Mount> root = RootFileSystemCheck::root(table);
    ASSERT_TRUE(root);
    EXPECT_EQ(*root, (RootFileSystemCheck::Mount{"/", "btrfs", "/dev/disk one", "8:2"}));
    EXPECT_EQ(RootFileSystemCheck::mounts(table).size(), 3);
    EXPECT_EQ(RootFileSystemCheck::mounts(table).last().mountPoint, "/media/usb stick");
    EXPECT_FALSE(RootFileSystemCheck::root("30 29 8:3 / /home rw - ext4 /dev/sda3 rw\n"));
}

TEST(RootFileSystemCheckTest, Ext4StateAndErrorCountDecide) {
    EXPECT_EQ(RootFileSystemCheck::ext4Problem(recorded("tune2fs-clean.txt")), std::nullopt);
    EXPECT_EQ(RootFileSystemCheck::ext4Problem(recorded("tune2fs-errors.txt")),
              "the file system's state is \"clean with errors\" and it has recorded 2 error(s).");
    EXPECT_EQ(RootFileSystemCheck::ext4Problem("tune2fs 1.47.0 (5-Feb-2023)\n"),
              "tune2fs did not report the file system's state.");
}

TEST(RootFileSystemCheckTest, AnyBtrfsErrorCounterAboveZeroIsAProblem) {
    const QString clean = recorded("btrfs-device-stats.txt");
    EXPECT_EQ(RootFileSystemCheck::btrfsProblem(clean), std::nullopt);
    QString damaged = clean;
    damaged.replace("corruption_errs  0", "corruption_errs  7");
    EXPECT_EQ(RootFileSystemCheck::btrfsProblem(damaged),
              "btrfs counted 7 corruption_errs on /dev/loop0.");
    EXPECT_EQ(RootFileSystemCheck::btrfsProblem("ERROR: not a btrfs filesystem\n"),
              "btrfs did not report any device error counters.");
}

} // namespace
