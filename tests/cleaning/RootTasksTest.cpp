// Root tasks run for real as root (sudo with the test administrator's saved password), each
// on a temporary tree standing in for /var/log, /proc/sys, /etc and /var/cache.
#include "tests/cleaning/CleaningTestSupport.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QProcess>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

class RootTasksTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(world.privilege.keychain.savePassword(kAccountPassword));
        EXPECT_TRUE(world.privilege.settings.setValue(ShellHelper::kAdminUsernameKey, kAdminAccount));
    }

    TaskRunResult run(const QString& title) {
        const TaskRunResult result = world.run(title);
        EXPECT_TRUE(world.privilege.prompt.lines.isEmpty()) << "no prompt with a saved password";
        return result;
    }

    CleaningWorld world;
};

TEST_F(RootTasksTest, LogScrubberDeletesOnlyRotatedLogsOlderThanSevenDays) {
    const QString logs = world.system("/var/log");
    QDir().mkpath(logs + "/journal");
    const QByteArray data(20000, 'l');
    const QStringList kept{"syslog", "auth.log", "syslog.1", "kern.log.1", "apt/term.log"};
    const QStringList deleted{"syslog.2.gz", "apt/history.log.3.gz", "dpkg.log-20240101",
                              "name with 'quote'.log.1", "Xorg.0.log.old"};
    writeFile(logs + "/syslog", data, 30); // still written by its service
    writeFile(logs + "/auth.log", data, 12);
    writeFile(logs + "/syslog.1", data, 7); // 7 days old: stays
    writeFile(logs + "/apt/term.log", data, 9);
    for (const QString& name : deleted)
        writeFile(logs + "/" + name, data, 9);
    writeFile(logs + "/kern.log.1", data, 3);

    const TaskRunResult result = run("Log File Scrubber");

    ASSERT_TRUE(result.success) << result.output.toStdString();
    for (const QString& name : kept)
        EXPECT_TRUE(exists(logs + "/" + name)) << name.toStdString();
    for (const QString& name : deleted)
        EXPECT_FALSE(exists(logs + "/" + name)) << name.toStdString();
    EXPECT_GE(result.bytesFreed(), 5 * data.size());
    EXPECT_EQ(result.bytesAfter, FolderSize::allocatedBytes(logs));
    ASSERT_EQ(world.history.entries().size(), 1);
    EXPECT_TRUE(world.history.entries().at(0).detail.startsWith("Freed "));
}

TEST_F(RootTasksTest, RamPurgeWritesToTheKernelSetting) {
    const QString dropCaches = world.system("/proc/sys/vm/drop_caches");
    writeFile(dropCaches, "0\n");
    const TaskRunResult result = run("RAM Purge");
    ASSERT_TRUE(result.success) << result.output.toStdString();
    QFile file(dropCaches);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "3\n");
}

TEST_F(RootTasksTest, MaintenanceScriptsRunEveryPeriodsJobsAsRoot) {
    const QString marker = world.system("/ran-as");
    for (const char* period : {"daily", "monthly"}) {
        const QString job = world.system(QStringLiteral("/etc/cron.%1/record").arg(period));
        writeFile(job, "#!/bin/sh\n/usr/bin/id -un >> '" +
                           QString(marker).replace("'", "'\\''").toUtf8() + "'\n");
        QFile::setPermissions(job, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                       QFile::ReadOther | QFile::ExeOther);
    }
    const TaskRunResult result = run("Maintenance Scripts");
    ASSERT_TRUE(result.success) << result.output.toStdString();
    QFile file(marker);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "root\nroot\n");

    QDir(world.system("/etc")).removeRecursively();
    EXPECT_EQ(run("Maintenance Scripts").output,
              "There are no daily, weekly or monthly job folders (/etc/cron.*) - nothing to run.");
}

TEST_F(RootTasksTest, SystemCacheCleanerEmptiesThePackageCache) {
    const QString cache = world.system("/var/cache/apt");
    writeFile(cache + "/archives/zsh_5.9-4_amd64.deb", QByteArray(300000, 'd'));
    writeFile(cache + "/archives/partial/half.deb", QByteArray(1000, 'h'));
    const TaskRunResult result = run("System Cache Cleaner");
    ASSERT_TRUE(result.success) << result.output.toStdString();
    EXPECT_FALSE(exists(cache + "/archives/zsh_5.9-4_amd64.deb"));
    EXPECT_FALSE(exists(cache + "/archives/partial/half.deb"));
    EXPECT_GE(result.bytesFreed(), 300000);
}

TEST_F(RootTasksTest, FontCacheCleanerRebuildsTheSystemCacheAndTheUsersOwnAsTheUser) {
    QDir().mkpath(world.system("/etc"));
    ASSERT_EQ(QProcess::execute("/bin/cp", {"-R", "/etc/fonts", world.system("/etc/fonts")}), 0);
    QDirIterator fonts("/usr/share/fonts", {"*.ttf"}, QDir::Files, QDirIterator::Subdirectories);
    ASSERT_TRUE(fonts.hasNext());
    QDir().mkpath(world.system("/usr/share/fonts/test"));
    ASSERT_TRUE(QFile::copy(fonts.next(), world.system("/usr/share/fonts/test/font.ttf")));
    const QString systemCache = world.system("/var/cache/fontconfig");
    const QString userCache = world.places.userCaches + "/fontconfig";
    const QString stale = "/0123456789abcdef0123456789abcdef-le64.cache-8";
    writeFile(systemCache + stale, "stale");
    writeFile(userCache + stale, "stale");

    const TaskRunResult result = run("Font Cache Cleaner");

    ASSERT_TRUE(result.success) << result.output.toStdString();
    EXPECT_FALSE(exists(systemCache + stale));
    EXPECT_FALSE(exists(userCache + stale));
    EXPECT_FALSE(entries(systemCache).filter(".cache-").isEmpty());
    const QStringList rebuilt = entries(userCache).filter(".cache-");
    ASSERT_FALSE(rebuilt.isEmpty());
    EXPECT_EQ(QFileInfo(userCache + "/" + rebuilt.first()).ownerId(), ::getuid())
        << "the user's caches stay the user's";
}

TEST_F(RootTasksTest, ServiceTasksSucceedOrSayWhichServiceIsMissing) {
    const TaskRunResult dns = run("DNS Cache Flush");
    EXPECT_TRUE(dns.success) << dns.output.toStdString();
    EXPECT_TRUE((QStringList{"The systemd-resolved cache was flushed.",
                             "The nscd host cache was flushed.",
                             "No DNS cache service (systemd-resolved or nscd) is running - nothing "
                             "to flush."}
                     .contains(dns.output)))
        << dns.output.toStdString();
    if (QFileInfo::exists("/usr/sbin/updatedb") || QFileInfo::exists("/usr/bin/updatedb"))
        GTEST_SKIP() << "locate is installed; its real database is not rebuilt by a test";
    const TaskRunResult search = run("File Search Re-indexing");
    EXPECT_TRUE(search.success);
    EXPECT_EQ(search.output, "No file search database (locate) is installed - nothing to rebuild.");
}

} // namespace
