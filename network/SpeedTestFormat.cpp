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

QString formatThroughput(std::optional<double> bitsPerSecond, const QString& unit) {
    if (!bitsPerSecond || !std::isfinite(*bitsPerSecond))
        return QStringLiteral("--");
    const QString shownUnit = isSpeedTestUnit(unit) ? unit : defaultSpeedTestUnit;
    // "MBps": the prefix, then B for bytes or b for bits.
    const QChar prefix = shownUnit.at(0);
    const bool bytes = shownUnit.at(1) == QLatin1Char('B');
    double value = bytes ? *bitsPerSecond * 0.125 : *bitsPerSecond;
    int decimals = 0;
    if (prefix == QLatin1Char('K')) {
        value /= 1'000.0;
    } else if (prefix == QLatin1Char('M')) {
        value /= 1'000'000.0;
        decimals = 1;
    } else {
        value /= 1'000'000'000.0;
        decimals = 2;
    }
    return QString::number(value, 'f', decimals) + QLatin1Char(' ') + shownUnit;
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
