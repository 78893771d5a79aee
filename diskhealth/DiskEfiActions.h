#pragma once

#include "diskhealth/DiskRecords.h"
#include "services/Result.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QString>

namespace velmox {

// The EFI system partition of a disk, or null when it has none.
const DiskPartition* efiPartitionOf(const PhysicalDisk& disk);

// The texts of the EFI actions for a disk's EFI partition ("sda1").
QString mountEfiTitle(const QString& partition);
QString unmountEfiTitle(const QString& partition);
QString showEfiTitle(const QString& partition);
QString noEfiPartitionText();

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

private:
    QDBusConnection bus_;
};

// Shows a folder in the file manager through org.freedesktop.FileManager1 on the session
// bus; false when no file manager answers there (callers then open it with xdg-open).
bool showInFileManager(const QDBusConnection& session, const QByteArray& folder);

} // namespace velmox
