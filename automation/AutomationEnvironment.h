#pragma once

#include "automation/AutomationModel.h"
#include "platform/HostCounters.h"
#include "platform/NamedSensorSource.h"

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>
#include <functional>
#include <optional>

namespace velmox {

class Clock;

// One snapshot of what rules compare with.
struct AutomationMeasurements {
    double freeGB = -1.0;       // free space of the root volume in GB; negative: unreadable
    double memoryPercent = 0.0; // the Dashboard's memory in use over installed RAM
    double cpuTemp = 0.0;       // degrees Celsius; 0: no sensor
    bool batteryPresent = false;
    double batteryPercent = 0.0;
    bool onAC = true;
    bool operator==(const AutomationMeasurements&) const = default;
};

enum class AutomationTrigger { tick, onWake, onLaunch };

// Whether the rule's condition holds for this evaluation. Thresholds compare strictly.
bool conditionMet(const AutomationRule& rule, const AutomationMeasurements& measured,
                  AutomationTrigger trigger);

// Battery and mains power as the system reports them.
struct PowerState {
    bool batteryPresent = false;
    double batteryPercent = 0.0;
    bool onAC = true;
    bool operator==(const PowerState&) const = default;
};
// From /sys/class/power_supply (or a tree laid out like it): on AC when a mains or USB supply
// is online, or when no battery is discharging; a device's own battery (a mouse) is not the
// computer's.
PowerState powerFromSysfs(const QString& powerSupplyRoot);

// The machine as the automation engine sees it. Lives on the main thread.
class AutomationEnvironment : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual AutomationMeasurements measure() = 0;
    // Seconds since the last keyboard or mouse input; none when nobody can tell.
    virtual std::optional<double> idleSeconds() = 0;

signals:
    // The machine woke from sleep.
    void woke();
};

// Measures this machine: statvfs of the root volume, the host's memory counters, the CPU
// sensor the monitor picks, power from UPower on the system bus (else the power-supply tree)
// and idle time and wake-ups from logind (else the X11 screen saver extension).
//
// UPower's and logind's properties are read without waiting: each measurement uses the
// answers last received and asks again for the next one, and a PropertiesChanged signal asks
// at once. A service that does not answer, or has gone, counts as absent.
class SystemAutomationEnvironment final : public AutomationEnvironment {
    Q_OBJECT
public:
    struct Sources {
        QDBusConnection systemBus;
        Clock* clock = nullptr; // idle time counts against this clock's wall time
        QByteArray rootPath = "/";
        QString powerSupplyRoot = QStringLiteral("/sys/class/power_supply");
        std::function<std::optional<MemoryCounters>()> memory;
        std::function<QList<SensorReading>()> sensors;
    };
    explicit SystemAutomationEnvironment(Sources sources, QObject* parent = nullptr);
    // This machine: the system bus, the host counters, the monitor's sensors.
    static Sources systemSources(Clock& clock);

    AutomationMeasurements measure() override;
    std::optional<double> idleSeconds() override;

    // Asks UPower and logind for their properties again; true while answers are due.
    void refresh();
    bool isRefreshing() const { return pending_ > 0; }

private slots:
    void prepareForSleep(bool sleeping);
    void propertiesChanged();

private:
    // One service object whose properties are kept.
    struct Watched {
        QString service;
        QString path;
        QString interface;
        std::optional<QVariantMap> properties; // none: no answer (yet), or the service is gone
        quint64 asked = 0;                     // the number of the last question sent
        quint64 answered = 0; // the number of the question whose answer `properties` holds
    };
    std::optional<PowerState> powerFromUPower() const;
    void fetch(Watched& watched);

    Sources sources_;
    Watched upower_;
    Watched display_;
    Watched login1_;
    int pending_ = 0;
};

} // namespace velmox
