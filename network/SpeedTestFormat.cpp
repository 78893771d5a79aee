#include "network/SpeedTestFormat.h"

#include <cmath>

namespace velmox {

QStringList speedTestUnits() {
    return {QStringLiteral("Mbps"), QStringLiteral("MBps"), QStringLiteral("Gbps"),
            QStringLiteral("GBps"), QStringLiteral("Kbps"), QStringLiteral("KBps")};
}

bool isSpeedTestUnit(const QString& unit) {
    return speedTestUnits().contains(unit);
}

double throughputInUnit(double bitsPerSecond, const QString& unit) {
    const QString known = isSpeedTestUnit(unit) ? unit : defaultSpeedTestUnit;
    // "MBps": the prefix, then B for bytes or b for bits.
    const double value = known.at(1) == QLatin1Char('B') ? bitsPerSecond * 0.125 : bitsPerSecond;
    switch (known.at(0).unicode()) {
    case 'K':
        return value / 1'000.0;
    case 'M':
        return value / 1'000'000.0;
    default:
        return value / 1'000'000'000.0;
    }
}

QString formatThroughput(std::optional<double> bitsPerSecond, const QString& unit) {
    if (!bitsPerSecond || !std::isfinite(*bitsPerSecond))
        return QStringLiteral("--");
    const QString shownUnit = isSpeedTestUnit(unit) ? unit : defaultSpeedTestUnit;
    const QChar prefix = shownUnit.at(0);
    const int decimals = prefix == QLatin1Char('K') ? 0 : prefix == QLatin1Char('M') ? 1 : 2;
    return QString::number(throughputInUnit(*bitsPerSecond, shownUnit), 'f', decimals) +
           QLatin1Char(' ') + shownUnit;
}

std::optional<qint64> wholeMilliseconds(std::optional<double> milliseconds) {
    // A year of milliseconds is far beyond any round trip; past it the figure is nonsense.
    constexpr double limit = 365.0 * 24 * 3600 * 1000;
    if (!milliseconds || !std::isfinite(*milliseconds) || std::abs(*milliseconds) > limit)
        return std::nullopt;
    return static_cast<qint64>(std::trunc(*milliseconds));
}

QString formatLatency(std::optional<double> milliseconds) {
    const std::optional<qint64> whole = wholeMilliseconds(milliseconds);
    return whole ? QString::number(*whole) + QStringLiteral(" ms") : QStringLiteral("--");
}

} // namespace velmox
