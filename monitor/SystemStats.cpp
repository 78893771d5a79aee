#include "monitor/SystemStats.h"

#include <type_traits>

namespace velmox {

namespace {

template <typename T> OrderedJson array(const QList<T>& values) {
    QList<OrderedJson> items;
    for (const T& value : values) {
        if constexpr (std::is_arithmetic_v<T>)
            items.append(value);
        else
            items.append(toJson(value));
    }
    return OrderedJson::array(std::move(items));
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

OrderedJson toJson(const DriveStat& drive) {
    return OrderedJson::object({{QStringLiteral("id"), drive.id},
                                {QStringLiteral("name"), drive.name},
                                {QStringLiteral("kind"), drive.kind},
                                {QStringLiteral("interface"), drive.interface},
                                {QStringLiteral("isExternal"), drive.isExternal},
                                {QStringLiteral("temp"), drive.temp},
                                {QStringLiteral("bsd"), drive.bsd}});
}

OrderedJson toJson(const NICInfo& nic) {
    return OrderedJson::object({{QStringLiteral("name"), nic.name},
                                {QStringLiteral("status"), nic.status},
                                {QStringLiteral("address"), nic.address}});
}

OrderedJson toJson(const SystemStats& s) {
    return OrderedJson::object({{QStringLiteral("cpuUser"), s.cpuUser},
                                {QStringLiteral("cpuSystem"), s.cpuSystem},
                                {QStringLiteral("cpuHistory"), array(s.cpuHistory)},
                                {QStringLiteral("ramUsed"), s.ramUsed},
                                {QStringLiteral("ramFree"), s.ramFree},
                                {QStringLiteral("ramWired"), s.ramWired},
                                {QStringLiteral("ramCompressed"), s.ramCompressed},
                                {QStringLiteral("ramApp"), s.ramApp},
                                {QStringLiteral("ramHistory"), array(s.ramHistory)},
                                {QStringLiteral("gpuHistory"), array(s.gpuHistory)},
                                {QStringLiteral("diskTotal"), s.diskTotal},
                                {QStringLiteral("diskAvailable"), s.diskAvailable},
                                {QStringLiteral("networkSpeedIn"), s.networkSpeedIn},
                                {QStringLiteral("networkSpeedOut"), s.networkSpeedOut},
                                {QStringLiteral("networkHistoryIn"), array(s.networkHistoryIn)},
                                {QStringLiteral("networkHistoryOut"), array(s.networkHistoryOut)},
                                {QStringLiteral("uptime"), s.uptime},
                                {QStringLiteral("gpuUtilization"), s.gpuUtilization},
                                {QStringLiteral("thermalState"), s.thermalState},
                                {QStringLiteral("cpuTemp"), s.cpuTemp},
                                {QStringLiteral("gpuTemp"), s.gpuTemp},
                                {QStringLiteral("fanRPM"), s.fanRPM},
                                {QStringLiteral("ssdTemp"), s.ssdTemp},
                                {QStringLiteral("ssdLabel"), s.ssdLabel},
                                {QStringLiteral("drives"), array(s.drives)},
                                {QStringLiteral("macModel"), s.macModel},
                                {QStringLiteral("macModelName"), s.macModelName},
                                {QStringLiteral("processorInfo"), s.processorInfo},
                                {QStringLiteral("gpuModel"), s.gpuModel},
                                {QStringLiteral("activeNICs"), array(s.activeNICs)},
                                {QStringLiteral("localIP"), s.localIP},
                                {QStringLiteral("publicIP"), s.publicIP}});
}

} // namespace velmox
