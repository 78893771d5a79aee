#include "automation/AutomationEnvironment.h"

#include "automation/linux/X11Idle.h"
#include "monitor/SMCHelper.h"
#include "monitor/SensorChoice.h"
#include "services/Clock.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <sys/statvfs.h>

namespace velmox {

namespace {

const QString kLogin1 = QStringLiteral("org.freedesktop.login1");
const QString kLogin1Path = QStringLiteral("/org/freedesktop/login1");
const QString kLogin1Manager = QStringLiteral("org.freedesktop.login1.Manager");
const QString kUPower = QStringLiteral("org.freedesktop.UPower");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

QString readLine(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readLine()).trimmed();
}

} // namespace

bool conditionMet(const AutomationRule& rule, const AutomationMeasurements& measured,
                  AutomationTrigger trigger) {
    switch (rule.condition) {
    case AutomationCondition::diskFreeBelowGB:
        return measured.freeGB >= 0 && measured.freeGB < rule.threshold;
    case AutomationCondition::memoryAbovePercent:
        return measured.memoryPercent > rule.threshold;
    case AutomationCondition::cpuTempAbove:
        return measured.cpuTemp > 0 && measured.cpuTemp > rule.threshold;
    case AutomationCondition::batteryBelowPercent:
        return measured.batteryPresent && rule.threshold > measured.batteryPercent;
    case AutomationCondition::onWake:
        return trigger == AutomationTrigger::onWake;
    case AutomationCondition::onLaunch:
        return trigger == AutomationTrigger::onLaunch;
    }
    return false;
}

PowerState powerFromSysfs(const QString& powerSupplyRoot) {
    PowerState state;
    bool mainsOnline = false;
    bool discharging = false;
    const QDir root(powerSupplyRoot);
    for (const QString& name : root.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QString folder = root.filePath(name) + QLatin1Char('/');
        const QString type = readLine(folder + QStringLiteral("type"));
        if (type == QLatin1String("Mains") || type == QLatin1String("USB")) {
            mainsOnline = mainsOnline || readLine(folder + QStringLiteral("online")) == "1";
        } else if (type == QLatin1String("Battery") &&
                   readLine(folder + QStringLiteral("scope")) != QLatin1String("Device")) {
            bool ok = false;
            const double percent = readLine(folder + QStringLiteral("capacity")).toDouble(&ok);
            if (ok && !state.batteryPresent) {
                state.batteryPresent = true;
                state.batteryPercent = percent;
            }
            discharging = discharging || readLine(folder + QStringLiteral("status")) ==
                                             QLatin1String("Discharging");
        }
    }
    state.onAC = mainsOnline || !discharging;
    return state;
}

SystemAutomationEnvironment::SystemAutomationEnvironment(Sources sources, QObject* parent)
    : AutomationEnvironment(parent),
      sources_(std::move(sources)), upower_{kUPower, QStringLiteral("/org/freedesktop/UPower"),
                                            kUPower, std::nullopt},
      display_{kUPower, QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice"),
               QStringLiteral("org.freedesktop.UPower.Device"), std::nullopt},
      login1_{kLogin1, kLogin1Path, kLogin1Manager, std::nullopt} {
    sources_.systemBus.connect(kLogin1, kLogin1Path, kLogin1Manager,
                               QStringLiteral("PrepareForSleep"), this,
                               SLOT(prepareForSleep(bool)));
    for (const Watched* watched : {&upower_, &display_, &login1_})
        sources_.systemBus.connect(watched->service, watched->path, kProperties,
                                   QStringLiteral("PropertiesChanged"), this,
                                   SLOT(propertiesChanged()));
    refresh();
    // Connects to the display now, so that the first reading is not the connection's own.
    x11IdleSeconds();
}

SystemAutomationEnvironment::Sources SystemAutomationEnvironment::systemSources(Clock& clock) {
    Sources sources{QDBusConnection::systemBus(),
                    &clock,
                    "/",
                    QStringLiteral("/sys/class/power_supply"),
                    {},
                    {}};
    sources.memory = [counters = std::shared_ptr<HostCounters>(systemHostCounters())] {
        return counters->memory();
    };
    sources.sensors = [] { return SMCHelper::shared().readAllSensors(); };
    return sources;
}

void SystemAutomationEnvironment::prepareForSleep(bool sleeping) {
    // logind sends true before sleeping and false once the machine is back.
    if (!sleeping)
        emit woke();
}

void SystemAutomationEnvironment::propertiesChanged() {
    refresh();
}

void SystemAutomationEnvironment::refresh() {
    for (Watched* watched : {&upower_, &display_, &login1_})
        fetch(*watched);
}

void SystemAutomationEnvironment::fetch(Watched& watched) {
    QDBusMessage call = QDBusMessage::createMethodCall(watched.service, watched.path, kProperties,
                                                       QStringLiteral("GetAll"));
    call << watched.interface;
    ++pending_;
    const quint64 question = ++watched.asked;
    // The watcher belongs to this object: an answer after it has gone is never delivered.
    auto* reply = new QDBusPendingCallWatcher(sources_.systemBus.asyncCall(call), this);
    connect(reply, &QDBusPendingCallWatcher::finished, this, [this, reply, &watched, question] {
        reply->deleteLater();
        --pending_;
        // A stalled service may answer an older question after a newer one: keep the newer.
        if (question < watched.answered)
            return;
        watched.answered = question;
        const QDBusMessage answer = reply->reply();
        if (answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty())
            watched.properties = qdbus_cast<QVariantMap>(answer.arguments().constFirst());
        else
            watched.properties.reset();
    });
}

std::optional<PowerState> SystemAutomationEnvironment::powerFromUPower() const {
    const auto& manager = upower_.properties;
    if (!manager || !manager->contains(QStringLiteral("OnBattery")))
        return std::nullopt;
    PowerState state;
    state.onAC = !manager->value(QStringLiteral("OnBattery")).toBool();
    const auto& display = display_.properties;
    constexpr uint batteryType = 2;
    if (display && display->value(QStringLiteral("IsPresent")).toBool() &&
        display->value(QStringLiteral("Type")).toUInt() == batteryType) {
        state.batteryPresent = true;
        state.batteryPercent = display->value(QStringLiteral("Percentage")).toDouble();
    }
    return state;
}

AutomationMeasurements SystemAutomationEnvironment::measure() {
    AutomationMeasurements measured;
    struct statvfs volume {};
    if (::statvfs(sources_.rootPath.constData(), &volume) == 0)
        measured.freeGB =
            static_cast<double>(volume.f_bavail) * static_cast<double>(volume.f_frsize) / 1e9;
    if (sources_.memory)
        if (const auto memory = sources_.memory(); memory && memory->physical > 0) {
            const double used =
                static_cast<double>(memory->app + memory->wired + memory->compressed);
            measured.memoryPercent =
                qMin(100.0, used * 100.0 / static_cast<double>(memory->physical));
        }
    if (sources_.sensors)
        measured.cpuTemp = chooseSensors(sources_.sensors()).cpuTemp;
    const PowerState power = powerFromUPower().value_or(powerFromSysfs(sources_.powerSupplyRoot));
    refresh();
    measured.batteryPresent = power.batteryPresent;
    measured.batteryPercent = power.batteryPercent;
    measured.onAC = power.onAC;
    return measured;
}

std::optional<double> SystemAutomationEnvironment::idleSeconds() {
    const std::optional<QVariantMap> manager = login1_.properties;
    refresh();
    // Many desktops never set logind's idle hint and leave it false; X11 still knows.
    const bool hinted = manager && manager->contains(QStringLiteral("IdleHint"));
    if (!hinted || !manager->value(QStringLiteral("IdleHint")).toBool()) {
        const std::optional<double> x11 = x11IdleSeconds();
        return x11 || !hinted ? x11 : std::optional<double>(0.0);
    }
    // IdleSinceHint is microseconds of wall-clock time.
    const qint64 sinceMs =
        static_cast<qint64>(manager->value(QStringLiteral("IdleSinceHint")).toULongLong() / 1000);
    const qint64 nowMs = sources_.clock ? sources_.clock->now().toMSecsSinceEpoch()
                                        : QDateTime::currentMSecsSinceEpoch();
    return qMax<qint64>(0, nowMs - sinceMs) / 1000.0;
}

} // namespace velmox
