#pragma once

#include "diskhealth/SmartReport.h"
#include "services/Result.h"

#include <QByteArray>

namespace velmox {

// The NVMe SMART / health information log page (log identifier 2): 512 bytes, little-endian.
class NvmeHealthLog {
public:
    static constexpr int kSize = 512;

    // Decodes the page; fails on anything but 512 bytes. 128-bit counters keep their low
    // 64 bits (saturated when the high half is set); temperatures are converted from Kelvin.
    static Result<NVMeHealth> decode(const QByteArray& page);

    // Reads the page from an NVMe device node (/dev/nvme0 or /dev/nvme0n1) with the kernel's
    // admin passthrough ioctl, which needs root. Blocking; call from a worker thread.
    static Result<QByteArray> readFromDevice(const QByteArray& devicePath);

    // A report of the directly read log, labelled as read through Linux (ungraded).
    static SmartReport report(const NVMeHealth& health);
};

} // namespace velmox
