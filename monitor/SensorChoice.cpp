#include "monitor/SensorChoice.h"

#include <functional>

namespace velmox {

namespace {

using Readings = QList<SensorReading>;
using Match = std::function<bool(const SensorReading&)>;

Match named(const QString& name) {
    return [name](const SensorReading& r) { return r.name == name; };
}

Match startsWith(const QString& prefix, SensorKind kind = SensorKind::temperature) {
    return [prefix, kind](const SensorReading& r) {
        return r.kind == kind && r.name.startsWith(prefix);
    };
}

// The first of `rules` that matches anything: its first match, or the average of its
// matches when `average`.
struct Rule {
    Match match;
    bool average = false;
};

double pick(const Readings& readings, const QList<Rule>& rules) {
    for (const Rule& rule : rules) {
        double sum = 0.0;
        int count = 0;
        for (const SensorReading& reading : readings) {
            if (!rule.match(reading))
                continue;
            if (!rule.average)
                return reading.value;
            sum += reading.value;
            ++count;
        }
        if (count > 0)
            return sum / count;
    }
    return 0.0;
}

QList<Rule> firstOf(const QStringList& names) {
    QList<Rule> rules;
    for (const QString& name : names)
        rules.append({named(name)});
    return rules;
}

const SensorReading* firstReading(const Readings& readings, const Match& match) {
    for (const SensorReading& reading : readings)
        if (match(reading))
            return &reading;
    return nullptr;
}

// One drive per nvme controller ("Composite", the controller's own figure; its other
// sensors are spots on the board) and per drivetemp chip (one input per disk).
// Drives without such a chip (USB enclosures, SATA drives while drivetemp is not loaded)
// are measured through SMART by the disk-health side; its figures join these by `bsd`.
QList<DriveStat> hwmonDrives(const Readings& readings) {
    QList<DriveStat> drives;
    for (const SensorReading& reading : readings) {
        const bool nvme = reading.name.startsWith(QLatin1String("nvme Composite"));
        const bool sata = reading.name.startsWith(QLatin1String("drivetemp "));
        if (reading.kind != SensorKind::temperature || (!nvme && !sata))
            continue;
        DriveStat drive;
        drive.id = reading.device.isEmpty() ? reading.name : reading.device;
        drive.name = (nvme ? QStringLiteral("NVMe drive %1") : QStringLiteral("Drive %1"))
                         .arg(drives.size() + 1);
        drive.kind = nvme ? QStringLiteral("SSD") : QStringLiteral("Disk");
        drive.interface = nvme ? QStringLiteral("NVMe") : QStringLiteral("SATA");
        drive.temp = reading.value;
        drive.bsd = reading.device;
        drives.append(drive);
    }
    return drives;
}

} // namespace

SensorChoice chooseSensors(const Readings& readings) {
    SensorChoice choice;

    QList<Rule> cpu =
        firstOf({QStringLiteral("TC0P"), QStringLiteral("TC0D"), QStringLiteral("TC0E"),
                 QStringLiteral("TC0F"), QStringLiteral("TC0C"), QStringLiteral("TC0c"),
                 QStringLiteral("TCXC")});
    cpu += {{startsWith(QStringLiteral("Tp")), true},
            {startsWith(QStringLiteral("Te")), true},
            {startsWith(QStringLiteral("PMU tdie")), true},
            {named(QStringLiteral("coretemp Package id 0"))},
            {startsWith(QStringLiteral("k10temp Tctl"))},
            {startsWith(QStringLiteral("k10temp Tdie"))},
            {startsWith(QStringLiteral("zenpower Tdie"))},
            {startsWith(QStringLiteral("cpu_thermal "))},
            {startsWith(QStringLiteral("acpitz "))}};
    choice.cpuTemp = pick(readings, cpu);

    QList<Rule> gpu =
        firstOf({QStringLiteral("TG0P"), QStringLiteral("TG0D"), QStringLiteral("TG0H"),
                 QStringLiteral("TG0p"), QStringLiteral("TG0d")});
    gpu += {{startsWith(QStringLiteral("Tg")), true},
            {named(QStringLiteral("amdgpu edge"))},
            {startsWith(QStringLiteral("amdgpu "))},
            {startsWith(QStringLiteral("nouveau "))},
            {startsWith(QStringLiteral("radeon "))}};
    choice.gpuTemp = pick(readings, gpu);

    const auto isFan = [](const SensorReading& r) { return r.kind == SensorKind::fan; };
    if (const SensorReading* fan = firstReading(readings, named(QStringLiteral("F0Ac"))))
        choice.fanRPM = fan->value;
    else if (const SensorReading* turning = firstReading(
                 readings, [&](const SensorReading& r) { return isFan(r) && r.value > 0; }))
        choice.fanRPM = turning->value;
    else if (const SensorReading* any = firstReading(readings, isFan))
        choice.fanRPM = any->value;

    const QList<Match> drive = {
        named(QStringLiteral("TH0a")),           named(QStringLiteral("TH0b")),
        named(QStringLiteral("TH0x")),           named(QStringLiteral("TH0A")),
        named(QStringLiteral("NAND CH0 temp")),  startsWith(QStringLiteral("nvme Composite")),
        startsWith(QStringLiteral("drivetemp "))};
    for (const Match& match : drive) {
        if (const SensorReading* reading = firstReading(readings, match)) {
            choice.ssdTemp = reading->value;
            choice.ssdLabel = reading->device.isEmpty() ? reading->name : reading->device;
            break;
        }
    }
    choice.drives = hwmonDrives(readings);
    return choice;
}

} // namespace velmox
