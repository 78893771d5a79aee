#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace velmox {

enum class SensorKind { temperature, fan };

// One sensor value: degrees Celsius for temperatures, revolutions per minute for fans.
struct SensorReading {
    QString name;
    double value = 0.0;
    SensorKind kind = SensorKind::temperature;
    QString device = {}; // the disk a drive sensor measures ("sda", "nvme0n1"); else empty
    bool operator==(const SensorReading&) const = default;
};

// A sensor the system publishes under a name of its own. macOS: the HID temperature
// services (their "Product" names); Linux: hwmon inputs named after chip and label.
struct NamedSensorService {
    QString name;   // "" = a service to skip (calibration sensors and the like)
    QString handle; // back-end specific: what read() needs to find the value again
    SensorKind kind = SensorKind::temperature;
    QString device = {}; // as SensorReading::device
    bool operator==(const NamedSensorService&) const = default;
};

// Lists and reads named sensors. Listing may be slow; reading one value must be cheap.
class NamedSensorSource {
public:
    virtual ~NamedSensorSource() = default;
    // Absent when the platform facility itself is missing (as opposed to present with
    // no sensors, which is an empty list).
    virtual std::optional<QList<NamedSensorService>> discover() = 0;
    virtual std::optional<double> read(const NamedSensorService& service) = 0;
};

} // namespace velmox

#include <memory>

namespace velmox {

// This platform's named sensors (Linux: /sys/class/hwmon).
std::unique_ptr<NamedSensorSource> systemNamedSensorSource();

} // namespace velmox
