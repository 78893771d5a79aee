#include "diskhealth/NvmeHealthLog.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

#ifdef __linux__
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#endif

namespace velmox {

namespace {

std::uint64_t le(const QByteArray& page, int offset, int width) {
    std::uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = (value << 8) | static_cast<std::uint8_t>(page[offset + i]);
    return value;
}

// The low 64 bits of a 128-bit counter, saturated when the high half is not zero.
std::uint64_t le128(const QByteArray& page, int offset) {
    return le(page, offset + 8, 8) != 0 ? std::numeric_limits<std::uint64_t>::max()
                                        : le(page, offset, 8);
}

int celsius(std::uint64_t kelvin) {
    return static_cast<int>(std::lround(static_cast<double>(kelvin) - 273.15));
}

} // namespace

Result<NVMeHealth> NvmeHealthLog::decode(const QByteArray& page) {
    if (page.size() != kSize)
        return failure(QStringLiteral("The NVMe health log is %1 bytes long instead of 512.")
                           .arg(page.size()));
    NVMeHealth health;
    health.criticalWarning = static_cast<int>(le(page, 0, 1));
    health.temperatureC = celsius(le(page, 1, 2));
    health.spare = static_cast<int>(le(page, 3, 1));
    health.spareThreshold = static_cast<int>(le(page, 4, 1));
    health.used = static_cast<int>(le(page, 5, 1));
    health.dataUnitsRead = le128(page, 32);
    health.dataUnitsWritten = le128(page, 48);
    health.hostReads = le128(page, 64);
    health.hostWrites = le128(page, 80);
    health.busyMinutes = le128(page, 96);
    health.powerCycles = le128(page, 112);
    health.powerOnHours = le128(page, 128);
    health.unsafeShutdowns = le128(page, 144);
    health.mediaErrors = le128(page, 160);
    health.errorEntries = le128(page, 176);
    health.warningTempMinutes = le(page, 192, 4);
    health.criticalTempMinutes = le(page, 196, 4);
    for (int sensor = 0; sensor < 8; ++sensor) {
        const std::uint64_t kelvin = le(page, 200 + 2 * sensor, 2);
        if (kelvin != 0) // an absent sensor reads 0
            health.sensors.append(celsius(kelvin));
    }
    return health;
}

Result<QByteArray> NvmeHealthLog::readFromDevice(const QByteArray& devicePath) {
#ifdef __linux__
    const int fd = ::open(devicePath.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return failure(QStringLiteral("Could not open %1 to read its NVMe health log: %2.")
                           .arg(QString::fromLocal8Bit(devicePath),
                                QString::fromLocal8Bit(std::strerror(errno))));
    QByteArray page(kSize, '\0');
    nvme_admin_cmd command{};
    command.opcode = 0x02; // Get Log Page
    command.nsid = 0xffffffff;
    command.addr = reinterpret_cast<std::uintptr_t>(page.data());
    command.data_len = kSize;
    command.cdw10 = ((kSize / 4 - 1) << 16) | 0x02; // number of dwords - 1, log identifier 2
    const int result = ::ioctl(fd, NVME_IOCTL_ADMIN_CMD, &command);
    const int error = errno;
    ::close(fd);
    if (result < 0)
        return failure(QStringLiteral("The NVMe health log of %1 could not be read: %2.")
                           .arg(QString::fromLocal8Bit(devicePath),
                                QString::fromLocal8Bit(std::strerror(error))));
    if (result > 0)
        return failure(QStringLiteral("The drive %1 refused to return its NVMe health log "
                                      "(status 0x%2).")
                           .arg(QString::fromLocal8Bit(devicePath))
                           .arg(result, 0, 16));
    return page;
#else
    Q_UNUSED(devicePath);
    return failure(QStringLiteral("Reading the NVMe health log directly needs Linux."));
#endif
}

SmartReport NvmeHealthLog::report(const NVMeHealth& health) {
    SmartReport report;
    report.source = SmartSource::directLinux;
    report.protocolName = QStringLiteral("NVMe");
    report.healthLog = health;
    report.temperatureC = health.temperatureC;
    report.powerOnHours = static_cast<std::int64_t>(
        std::min<std::uint64_t>(health.powerOnHours, std::numeric_limits<std::int64_t>::max()));
    report.powerCycles = static_cast<std::int64_t>(
        std::min<std::uint64_t>(health.powerCycles, std::numeric_limits<std::int64_t>::max()));
    return report;
}

} // namespace velmox
