#include "monitor/SystemStats.h"

#include <QJsonArray>

namespace velmox {

namespace {

QJsonArray numbers(const QList<double>& values) {
    QJsonArray array;
    for (double value : values)
        array.append(value);
    return array;
}

template <typename T> QJsonArray objects(const QList<T>& values) {
    QJsonArray array;
    for (const T& value : values)
        array.append(toJson(value));
    return array;
}

} // namespace

QString notConnectedText() {
    return QStringLiteral("Not connected");
}

void appendToHistory(QList<double>& history, double value) {
    history.append(value);
    if (history.size() > SystemStats::historyLimit)
        history.remove(0, history.size() - SystemStats::historyLimit);
}

QJsonObject toJson(const DriveStat& drive) {
    return {{QStringLiteral("id"), drive.id},
            {QStringLiteral("name"), drive.name},
            {QStringLiteral("kind"), drive.kind},
            {QStringLiteral("interface"), drive.interface},
            {QStringLiteral("isExternal"), drive.isExternal},
            {QStringLiteral("temp"), drive.temp},
            {QStringLiteral("bsd"), drive.bsd}};
}

QJsonObject toJson(const NICInfo& nic) {
    return {{QStringLiteral("name"), nic.name},
            {QStringLiteral("status"), nic.status},
            {QStringLiteral("address"), nic.address}};
}

QJsonObject toJson(const SystemStats& s) {
    return {{QStringLiteral("cpuUser"), s.cpuUser},
            {QStringLiteral("cpuSystem"), s.cpuSystem},
            {QStringLiteral("cpuHistory"), numbers(s.cpuHistory)},
            {QStringLiteral("ramUsed"), s.ramUsed},
            {QStringLiteral("ramFree"), s.ramFree},
            {QStringLiteral("ramWired"), s.ramWired},
            {QStringLiteral("ramCompressed"), s.ramCompressed},
            {QStringLiteral("ramApp"), s.ramApp},
            {QStringLiteral("ramHistory"), numbers(s.ramHistory)},
            {QStringLiteral("gpuHistory"), numbers(s.gpuHistory)},
            {QStringLiteral("diskTotal"), s.diskTotal},
            {QStringLiteral("diskAvailable"), s.diskAvailable},
            {QStringLiteral("networkSpeedIn"), s.networkSpeedIn},
            {QStringLiteral("networkSpeedOut"), s.networkSpeedOut},
            {QStringLiteral("networkHistoryIn"), numbers(s.networkHistoryIn)},
            {QStringLiteral("networkHistoryOut"), numbers(s.networkHistoryOut)},
            {QStringLiteral("uptime"), s.uptime},
            {QStringLiteral("gpuUtilization"), s.gpuUtilization},
            {QStringLiteral("thermalState"), s.thermalState},
            {QStringLiteral("cpuTemp"), s.cpuTemp},
            {QStringLiteral("gpuTemp"), s.gpuTemp},
            {QStringLiteral("fanRPM"), s.fanRPM},
            {QStringLiteral("ssdTemp"), s.ssdTemp},
            {QStringLiteral("ssdLabel"), s.ssdLabel},
            {QStringLiteral("drives"), objects(s.drives)},
            {QStringLiteral("macModel"), s.macModel},
            {QStringLiteral("macModelName"), s.macModelName},
            {QStringLiteral("processorInfo"), s.processorInfo},
            {QStringLiteral("gpuModel"), s.gpuModel},
            {QStringLiteral("activeNICs"), objects(s.activeNICs)},
            {QStringLiteral("localIP"), s.localIP},
            {QStringLiteral("publicIP"), s.publicIP}};
}

} // namespace velmox
