#pragma once

#include "monitor/SystemStats.h"
#include "platform/NamedSensorSource.h"

namespace velmox {

// The headline temperatures and fan speed picked from all sensor readings. 0 = none.
struct SensorChoice {
    double cpuTemp = 0.0;
    double gpuTemp = 0.0;
    double fanRPM = 0.0;
    double ssdTemp = 0.0;
    QString ssdLabel;
    QList<DriveStat> drives;
    bool operator==(const SensorChoice&) const = default;
};

// Which sensor stands for what, first match wins:
// - processor: the SMC's proximity and die keys of Intel Macs (TC0P, TC0D, TC0E, TC0F,
//   TC0C, TC0c, TCXC), else the average of Apple-silicon core keys (Tp*, Te*) or of the
//   HID "PMU tdie" sensors; Linux hwmon: coretemp "Package id 0", k10temp/zenpower
//   "Tctl"/"Tdie", the ARM "cpu_thermal" zone, then the ACPI zone "acpitz".
// - GPU: TG0P, TG0D, TG0H, TG0p, TG0d, else the average of Tg* keys; hwmon amdgpu
//   "edge", then nouveau and radeon.
// - fan: F0Ac; hwmon: the first fan that turns, else the first fan.
// - drive: TH0a, TH0b, TH0x, TH0A, HID "NAND CH0 temp"; hwmon nvme "Composite", then
//   drivetemp. Every nvme/drivetemp chip also becomes one DriveStat; the label and the
//   drive's id and bsd are the disk's device name when the chip names one.
SensorChoice chooseSensors(const QList<SensorReading>& readings);

} // namespace velmox
