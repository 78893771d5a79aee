#pragma once

#include "services/Result.h"

#include <QByteArray>
#include <QString>

namespace velmox {

// The disk to read: its device node, the bus it hangs on and whether it rotates.
struct SmartTarget {
    QByteArray devicePath; // "/dev/sda", "/dev/nvme0n1"
    QString bus;           // lower case: "nvme", "usb", "ata", "scsi", "virtio", "" when unknown
    bool rotational = false;
    bool internal = true;

    // NVMe drives are read through their log page when smartctl is missing.
    bool isNvme() const;
    // Bridges (USB, FireWire, Thunderbolt enclosures) that need the SAT pass-through.
    bool needsSatPassThrough() const;

    // A whole disk (or a partition, which is read as its whole disk) named as "sda", "nvme0n1"
    // or "/dev/sda", described from the sysfs tree at `sysRoot`.
    static Result<SmartTarget> fromDeviceName(const QString& name,
                                              const QString& sysRoot = QStringLiteral("/sys"));

    bool operator==(const SmartTarget&) const = default;
};

} // namespace velmox
