#pragma once

#include "diskhealth/DiskRecords.h"
#include "services/CommandExecutorError.h"
#include "services/Result.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QString>
#include <functional>

namespace velmox {

// The EFI system partition of a disk, or null when it has none.
const DiskPartition* efiPartitionOf(const PhysicalDisk& disk);

// The texts of the EFI actions for a disk's EFI partition ("sda1").
QString mountEfiTitle(const QString& partition);
QString unmountEfiTitle(const QString& partition);
QString showEfiTitle(const QString& partition);
QString noEfiPartitionText();
// The switch that shows a freshly mounted EFI partition in the file manager.
inline constexpr const char* kEfiAutoOpenKey = "efiAutoOpenInFinder";
QString efiAutoOpenTitle();

// Mounts and unmounts a partition through UDisks2 on the given (system) bus, the way a
// desktop user may without a password where polkit allows it. Calls block until UDisks2
// answers: use from a worker thread. The connection is shared; the object holds no other
// state, so it may be used from any thread.
class UDisksMounter {
public:
    explicit UDisksMounter(QDBusConnection bus) : bus_(std::move(bus)) {}

    // The folder UDisks2 mounted the partition ("sda1") on.
    Result<QByteArray> mount(const QString& partition) const;
    Status unmount(const QString& partition) const;
    // False when nothing on the bus answers for UDisks2 (and none can be started for it).
    bool isAvailable() const;

private:
    QDBusConnection bus_;
};

// Shows a folder in the file manager through org.freedesktop.FileManager1 on the session
// bus; false when no file manager answers there (callers then open it with xdg-open).
bool showInFileManager(const QDBusConnection& session, const QByteArray& folder);

// The EFI actions of a disk page. Blocking: call from a worker thread, one call at a time per
// instance.
class EfiActions {
public:
    virtual ~EfiActions() = default;
    // The folder the partition ("sda1") is mounted on.
    virtual Result<QByteArray> mount(const QString& partition) = 0;
    virtual Status unmount(const QString& partition) = 0;
    virtual Status show(const QByteArray& folder) = 0;
};

// The EFI actions of a Linux desktop: UDisks2 on the system bus mounts and unmounts where it
// runs (or can be started); elsewhere mount and umount run as root through `privileged`.
// Folders are shown through the file manager on the session bus, else with xdg-open.
class LinuxEfiActions final : public EfiActions {
public:
    // Runs a shell line as root and returns its output (in the application: the shell helper,
    // which may ask for the password, since the user asked for the action).
    using PrivilegedRun = std::function<CommandResult(const QString& shellLine)>;
    struct Options {
        QDBusConnection systemBus;
        QDBusConnection sessionBus;
        PrivilegedRun privileged;
        QString xdgOpen = QStringLiteral("/usr/bin/xdg-open");
        // Where the privileged mount puts a partition: a folder named after it inside.
        QByteArray mountRoot = "/run/velmox/efi";
    };
    explicit LinuxEfiActions(Options options) : options_(std::move(options)) {}

    Result<QByteArray> mount(const QString& partition) override;
    Status unmount(const QString& partition) override;
    Status show(const QByteArray& folder) override;

    // The root shell lines used where UDisks2 is missing.
    static QString mountLine(const QString& partition, const QByteArray& folder);
    static QString unmountLine(const QString& partition);

private:
    Options options_;
};

} // namespace velmox
