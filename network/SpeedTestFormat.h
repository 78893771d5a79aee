#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace velmox {

// The display units of throughput, in the order the unit picker lists them. The names double
// as the stored values of the "speedTestMetric" setting.
QStringList speedTestUnits();
inline const QString defaultSpeedTestUnit = QStringLiteral("Mbps");
bool isSpeedTestUnit(const QString& unit);

// A throughput in bits per second as a number of `unit`s (an unknown unit counts as the default
// one).
double throughputInUnit(double bitsPerSecond, const QString& unit);

// A throughput in bits per second shown in `unit`: byte units count eight bits to the byte,
// K is 1,000, M 1,000,000 and G 1,000,000,000; K units have no decimals, M one and G two.
// "--" when there is no figure. An unknown unit counts as the default one.
QString formatThroughput(std::optional<double> bitsPerSecond, const QString& unit);

// The whole number of milliseconds, truncated; absent when there is no figure or it is out of
// range.
std::optional<qint64> wholeMilliseconds(std::optional<double> milliseconds);
// The whole number of milliseconds followed by " ms"; "--" when absent.
QString formatLatency(std::optional<double> milliseconds);

} // namespace velmox
