#include "monitor/LiveReadouts.h"

#include "monitor/SystemMonitorEngine.h"

#include <QLocale>

namespace velmox {

namespace {

QString percent(double value) {
    return QStringLiteral("%1%").arg(value, 0, 'f', 0);
}

QString rate(double bytesPerSecond) {
    return QLocale::c().formattedDataSize(qint64(bytesPerSecond), 1, QLocale::DataSizeIecFormat) +
           QStringLiteral("/s");
}

QString celsius(double value) {
    return QStringLiteral("%1 °C").arg(value, 0, 'f', 0);
}

QString temperatures(const SystemStats& stats, const std::optional<QList<SensorReading>>& sensors) {
    if (!sensors)
        return QStringLiteral("Reading sensors");
    QStringList parts;
    if (stats.cpuTemp > 0)
        parts.append(QStringLiteral("CPU ") + celsius(stats.cpuTemp));
    if (stats.gpuTemp > 0)
        parts.append(QStringLiteral("GPU ") + celsius(stats.gpuTemp));
    if (stats.ssdTemp > 0)
        parts.append(QStringLiteral("Drive ") + celsius(stats.ssdTemp));
    if (!parts.isEmpty())
        return parts.join(QStringLiteral(" · "));
    return sensors->isEmpty() ? QStringLiteral("No sensors") : QStringLiteral("No CPU sensor");
}

} // namespace

LiveReadouts::LiveReadouts(SystemMonitorEngine& engine, QObject* parent)
    : QObject(parent), engine_(engine) {
    connect(&engine_, &SystemMonitorEngine::statsChanged, this, &LiveReadouts::update);
    update();
}

void LiveReadouts::update() {
    const auto sensors = engine_.hasReadSensors()
                             ? std::optional<QList<SensorReading>>(engine_.sensorReadings())
                             : std::nullopt;
    rows_ = rowsFor(engine_.stats(), sensors);
    trayTitle_ = trayTitleFor(engine_.stats());
    emit changed();
}

QList<Readout> LiveReadouts::rowsFor(const SystemStats& stats,
                                     const std::optional<QList<SensorReading>>& sensors) {
    QList<Readout> rows;
    rows.append({QStringLiteral("CPU"),
                 stats.cpuHistory.isEmpty() ? QStringLiteral("Measuring")
                                            : percent(stats.cpuUser + stats.cpuSystem),
                 stats.cpuHistory});
    rows.append({QStringLiteral("Memory"),
                 QStringLiteral("%1 of %2 GiB")
                     .arg(stats.ramUsed, 0, 'f', 1)
                     .arg(stats.ramUsed + stats.ramFree, 0, 'f', 1),
                 stats.ramHistory});
    if (!stats.gpuHistory.isEmpty())
        rows.append({QStringLiteral("GPU"), percent(stats.gpuUtilization), stats.gpuHistory});
    rows.append(
        {QStringLiteral("Network"),
         QStringLiteral("↓ %1  ↑ %2").arg(rate(stats.networkSpeedIn), rate(stats.networkSpeedOut)),
         stats.networkHistoryIn});
    rows.append({QStringLiteral("Temperature"), temperatures(stats, sensors), {}});
    const bool hasFan =
        sensors && std::any_of(sensors->cbegin(), sensors->cend(),
                               [](const SensorReading& r) { return r.kind == SensorKind::fan; });
    if (hasFan)
        rows.append({QStringLiteral("Fan"),
                     stats.fanRPM > 0 ? QStringLiteral("%1 RPM").arg(stats.fanRPM, 0, 'f', 0)
                                      : QStringLiteral("Stopped"),
                     {}});
    rows.append(
        {QStringLiteral("Disk"),
         QLocale::c().formattedDataSize(qint64(stats.diskAvailable), 1, QLocale::DataSizeSIFormat) +
             QStringLiteral(" free"),
         {}});
    rows.append({QStringLiteral("Address"),
                 stats.localIP.isEmpty() ? notConnectedText() : stats.localIP,
                 {}});
    return rows;
}

QString LiveReadouts::trayTitleFor(const SystemStats& stats) {
    const QString cpu =
        stats.cpuHistory.isEmpty() ? QStringLiteral("–") : percent(stats.cpuUser + stats.cpuSystem);
    return QStringLiteral("%1 CPU · %2 GiB").arg(cpu).arg(stats.ramUsed, 0, 'f', 1);
}

} // namespace velmox
