// The EFI actions over real D-Bus: a private bus with or without a stand-in UDisks2 daemon and
// file manager.

#include "diskhealth/DiskEfiActions.h"

#include "services/SudoRunner.h"
#include "tests/diskhealth/PrivateBus.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <unistd.h>

namespace velmox {
namespace {

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class EfiActionsTest : public ::testing::Test {
protected:
    // The actions with both buses private; root commands run through the real runner (as root,
    // the way the saved password runs them) and are recorded.
    LinuxEfiActions actions() {
        LinuxEfiActions::Options options{bus.bus(), bus.bus(), {}};
        options.privileged = [this](const QString& line) -> CommandResult {
            rootLines.append(line);
            const PrivilegedRunResult ran = SudoRunner::run(QString(), line);
            if (ran.succeeded)
                return ran.output;
            return commandFailure(ran.errorMessage.value_or(QString()));
        };
        options.xdgOpen = bus.folder() + QStringLiteral("/xdg-open");
        options.mountRoot = QFile::encodeName(bus.folder() + QStringLiteral("/efi"));
        return LinuxEfiActions(std::move(options));
    }

    test::PrivateBus bus;
    QStringList rootLines;
};

TEST_F(EfiActionsTest, MountsAndUnmountsThroughUDisks2AndPassesItsRefusalsOn) {
    ASSERT_TRUE(bus.startStandIn());
    LinuxEfiActions efi = actions();
    const auto mounted = efi.mount(QStringLiteral("loop7p1"));
    ASSERT_TRUE(mounted.has_value()) << mounted.error().toStdString();
    EXPECT_EQ(*mounted, "/run/media/velmox/EFI loop7p1");

    const auto again = efi.mount(QStringLiteral("loop7p1"));
    ASSERT_FALSE(again.has_value());
    EXPECT_EQ(again.error(), "The EFI partition loop7p1 could not be mounted: Device "
                             "/dev/loop7p1 is already mounted at `/run/media/velmox/EFI "
                             "loop7p1'.");

    EXPECT_TRUE(efi.unmount(QStringLiteral("loop7p1")).has_value());
    const Status twice = efi.unmount(QStringLiteral("loop7p1"));
    ASSERT_FALSE(twice.has_value());
    EXPECT_EQ(twice.error(), "The EFI partition loop7p1 could not be unmounted: Device "
                             "`/dev/loop7p1' is not mounted.");

    // Device names with characters outside [A-Za-z0-9] are escaped in the object path.
    const auto mapped = efi.mount(QStringLiteral("dm-0"));
    ASSERT_TRUE(mapped.has_value()) << mapped.error().toStdString();
    EXPECT_EQ(*mapped, "/run/media/velmox/EFI dm-0");
    EXPECT_TRUE(rootLines.isEmpty());

    // The file manager on the bus is asked to show the folder.
    ASSERT_TRUE(efi.show("/run/media/velmox/EFI loop7p1").has_value());
    EXPECT_EQ(readFile(bus.shownFile()), "file:///run/media/velmox/EFI%20loop7p1\n");
}

TEST_F(EfiActionsTest, WithoutUDisks2MountRunsAsRootAndWithoutAFileManagerXdgOpenShows) {
    EXPECT_EQ(LinuxEfiActions::mountLine(QStringLiteral("sda1"), "/run/velmox/efi/it's"),
              "/usr/bin/mkdir -p '/run/velmox/efi/it'\\''s' && /usr/bin/mount '/dev/sda1' "
              "'/run/velmox/efi/it'\\''s'");
    EXPECT_EQ(LinuxEfiActions::unmountLine(QStringLiteral("sda1")), "/usr/bin/umount '/dev/sda1'");
    if (::geteuid() != 0)
        GTEST_SKIP() << "the root commands need root";

    // This machine cannot mount a real EFI partition (no vfat module): a device that does not
    // exist makes mount fail for real, and its reason ends the sentence.
    LinuxEfiActions efi = actions();
    const auto mounted = efi.mount(QStringLiteral("velmox-missing1"));
    ASSERT_FALSE(mounted.has_value());
    const QByteArray folder =
        QFile::encodeName(bus.folder() + QStringLiteral("/efi/velmox-missing1"));
    EXPECT_EQ(rootLines,
              QStringList{LinuxEfiActions::mountLine(QStringLiteral("velmox-missing1"), folder)});
    EXPECT_TRUE(QFileInfo(QString::fromLocal8Bit(folder)).isDir());
    EXPECT_TRUE(mounted.error().startsWith("The EFI partition velmox-missing1 could not be "
                                           "mounted: "))
        << mounted.error().toStdString();
    EXPECT_TRUE(mounted.error().contains("/dev/velmox-missing1")) << mounted.error().toStdString();
    EXPECT_FALSE(mounted.error().contains("mount: ")) << mounted.error().toStdString();
    EXPECT_TRUE(mounted.error().endsWith(".") && !mounted.error().endsWith(".."));

    const Status unmounted = efi.unmount(QStringLiteral("velmox-missing1"));
    ASSERT_FALSE(unmounted.has_value());
    EXPECT_TRUE(unmounted.error().startsWith("The EFI partition velmox-missing1 could not be "
                                             "unmounted: "))
        << unmounted.error().toStdString();

    // xdg-open, a real script here, is given the folder.
    QFile script(bus.folder() + QStringLiteral("/xdg-open"));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\nprintf '%s\\n' \"$1\" > \"$0.args\"\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    ASSERT_TRUE(efi.show("/run/velmox/efi/sda1").has_value());
    const QString args = script.fileName() + QStringLiteral(".args");
    for (int i = 0; i < 100 && readFile(args).isEmpty(); ++i)
        QThread::msleep(50);
    EXPECT_EQ(readFile(args), "/run/velmox/efi/sda1\n");
    QFile::remove(script.fileName());
    EXPECT_FALSE(efi.show("/run/velmox/efi/sda1").has_value());
}

} // namespace
} // namespace velmox
