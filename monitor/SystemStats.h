#pragma once

#include "monitor/OrderedJson.h"

#include <QList>
#include <QString>

namespace velmox {

struct DriveStat {
    QString id;
    QString name;
    QString kind;
    QString interface;
    bool isExternal = false;
    double temp = 0.0; // degrees Celsius
    QString bsd;       // device name
    bool operator==(const DriveStat&) const = default;
};

struct NICInfo {
    QString name;
    QString status;
    QString address;
    bool operator==(const NICInfo&) const = default;
};

// The published record of live figures; replaced as a whole on every change.
struct SystemStats {
    double cpuUser = 0.0; // percent of all cores' ticks since the last sample
    double cpuSystem = 0.0;
    QList<double> cpuHistory; // cpuUser + cpuSystem per sample, oldest first
    double ramUsed = 0.0;     // GiB
    double ramFree = 0.0;
    double ramWired = 0.0;
    double ramCompressed = 0.0;
    double ramApp = 0.0;
    QList<double> ramHistory;
    QList<double> gpuHistory;
    double diskTotal = 0.0;      // bytes
    double diskAvailable = 0.0;  // bytes
    double diskFree = 0.0;       // bytes, with the administrator's reserve
    double networkSpeedIn = 0.0; // bytes per second
    double networkSpeedOut = 0.0;
    QList<double> networkHistoryIn;
    QList<double> networkHistoryOut;
    double uptime = 0.0; // seconds since boot
    double gpuUtilization = 0.0;
    QString thermalState = QStringLiteral("unknown");
    double cpuTemp = 0.0; // degrees Celsius; 0 = no sensor
    double gpuTemp = 0.0;
    double fanRPM = 0.0;
    double ssdTemp = 0.0;
    QString ssdLabel;
    QList<DriveStat> drives;
    QString macModel;
    QString macModelName;
    QString hostName;
    QString osName;
    QString processorInfo;
    QString gpuModel;
    QList<NICInfo> activeNICs;
    QString localIP;
    QString publicIP;

    static constexpr int historyLimit = 30;
    bool operator==(const SystemStats&) const = default;
};

// The address placeholder when none can be determined.
QString notConnectedText();

// Members in field order.
OrderedJson toJson(const SystemStats& stats);
OrderedJson toJson(const DriveStat& drive);
OrderedJson toJson(const NICInfo& nic);

// Appends a sample and drops the oldest ones beyond SystemStats::historyLimit.
void appendToHistory(QList<double>& history, double value);

} // namespace velmox
