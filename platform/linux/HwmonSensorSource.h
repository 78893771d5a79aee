#pragma once

#include "platform/NamedSensorSource.h"

#include <QSet>
#include <QString>

namespace velmox {

// Linux hardware-monitoring sensors: every /sys/class/hwmon/hwmonN chip's temperature
// inputs (tempK_input, millidegrees Celsius) and fan inputs (fanK_input, RPM), named
// "<chip> <label>" from the chip's "name" and the input's tempK_label / fanK_label
// ("<chip> tempK" without a label). Older drivers keep the files in hwmonN/device.
// Drive chips also name their disk: drivetemp (SATA and SAS drives) sits on the SCSI
// device, whose block/ folder holds the disk ("sda"); nvme sits on the controller
// ("nvme0"), whose namespace folders name the disks ("nvme0n1"). Their sensors' names end
// with the disk: "nvme Composite (nvme0n1)", "drivetemp temp1 (sda)".
class HwmonSensorSource final : public NamedSensorSource {
public:
    static constexpr const char* defaultRoot = "/sys/class/hwmon";

    // Chips named in `skippedChips` are left out (applesmc, when its keys are read
    // directly through the SMC).
    explicit HwmonSensorSource(QString root = defaultRoot, QSet<QString> skippedChips = {});

    std::optional<QList<NamedSensorService>> discover() override;
    std::optional<double> read(const NamedSensorService& service) override;

private:
    QString root_;
    QSet<QString> skippedChips_;
};

} // namespace velmox
