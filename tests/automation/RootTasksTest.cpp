// Administrator tasks for real as root: sudo with the test administrator's saved password,
// never a prompt, on files standing in for the kernel setting and the root file system.
#include "tests/automation/PerformerWorld.h"

#include <QProcess>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QString findTool(const QString& name) {
    for (const char* folder : {"/usr/sbin/", "/sbin/", "/usr/bin/"})
        if (QFileInfo(QLatin1String(folder) + name).isExecutable())
            return QLatin1String(folder) + name;
    return {};
}

bool runTool(const QString& name, const QStringList& arguments) {
    QProcess process;
    process.start(findTool(name), arguments);
    return process.waitForFinished(60000) && process.exitCode() == 0;
}

class RootTasksTest : public ::testing::Test {
protected:
    void savePassword() {
        ASSERT_TRUE(world.privilege.keychain.savePassword(kAccountPassword));
        ASSERT_TRUE(
            world.privilege.settings.setValue(ShellHelper::kAdminUsernameKey, kAdminAccount));
    }
    void TearDown() override {
        EXPECT_TRUE(world.privilege.prompt.lines.isEmpty()) << "automation never prompts";
    }

    PerformerWorld world;
};

TEST_F(RootTasksTest, PurgeWritesTheKernelSettingAsRootOnlyWithTheSavedPassword) {
    const QString dropCaches = world.system("/proc/sys/vm/drop_caches");
    writeFile(dropCaches, "0\n");
    EXPECT_EQ(world.perform("purgeRAM"),
              (AutomationTaskOutcome{false, "Needs a saved administrator password (Settings > "
                                            "Access)."}));

    savePassword();
    EXPECT_EQ(world.perform("purgeRAM", true),
              (AutomationTaskOutcome{true, "Dry run: would purge inactive memory. Nothing was "
                                           "changed."}));
    EXPECT_EQ(readFile(dropCaches), "0\n");
    EXPECT_EQ(world.perform("purgeRAM"), (AutomationTaskOutcome{true, "Inactive memory purged."}));
    EXPECT_EQ(readFile(dropCaches), "1\n");
}

// An ext4 image stands in for the root file system: tune2fs reads its superblock as root.
TEST_F(RootTasksTest, RootFileSystemCheckReadsTheExt4ErrorState) {
    if (findTool("mkfs.ext4").isEmpty() || findTool("debugfs").isEmpty() ||
        findTool("tune2fs").isEmpty())
        GTEST_SKIP() << "e2fsprogs is not installed";
    savePassword();
    const QString image = world.system("/root disk.img");
    writeFile(image, QByteArray());
    ASSERT_TRUE(QFile::resize(image, 8 << 20));
    ASSERT_TRUE(runTool("mkfs.ext4", {"-q", "-F", image}));
    world.mountRoot("ext4", image);

    EXPECT_EQ(world.perform("verifyDisk"),
              (AutomationTaskOutcome{true, "The startup volume appears to be OK."}));

    ASSERT_TRUE(runTool("debugfs", {"-w", "-R", "ssv state 3", image}));
    ASSERT_TRUE(runTool("debugfs", {"-w", "-R", "ssv error_count 4", image}));
    EXPECT_EQ(world.perform("verifyDisk"),
              (AutomationTaskOutcome{false, "Disk verification reported a problem: the file "
                                            "system's state is \"clean with errors\" and it has "
                                            "recorded 4 error(s)."}));
}

} // namespace
