#pragma once

#include <QString>

namespace velmox::monitorformat {

// The figures of the monitoring pages as text.
QString percent(double value);            // "23%"
QString gibibytes(double value);          // "5.2 GiB"
QString bytes(double value);              // "412.3 GB" (disk sizes, decimal units)
QString rate(double bytesPerSecond);      // "1.2 MiB/s"
QString celsius(double degrees);          // "54 °C"
QString rpm(double revolutionsPerMinute); // "1840 RPM"
QString uptime(double seconds);           // "3 days, 4 hours" / "2 hours, 5 minutes"

} // namespace velmox::monitorformat
