#include "cli/CliCommand.h"
#include "monitor/SMCHelper.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

QString unit(SensorKind kind) {
    return kind == SensorKind::fan ? QStringLiteral("RPM") : QStringLiteral("°C");
}

int runSensors(const QStringList& args, CliIO& io) {
    const bool json = args == QStringList{QStringLiteral("--json")};
    if (!args.isEmpty() && !json) {
        io.err << "velmox sensors: unknown option '" << args.first()
               << "'. Usage: velmox sensors [--json]\n";
        return 2;
    }
    const QList<SensorReading> readings = SMCHelper::shared().readAllSensors();
    if (json) {
        QJsonArray array;
        for (const SensorReading& reading : readings)
            array.append(QJsonObject{{QStringLiteral("name"), reading.name},
                                     {QStringLiteral("value"), reading.value},
                                     {QStringLiteral("kind"), reading.kind == SensorKind::fan
                                                                  ? QStringLiteral("fan")
                                                                  : QStringLiteral("temperature")},
                                     {QStringLiteral("unit"), unit(reading.kind)}});
        io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return 0;
    }
    if (readings.isEmpty()) {
        io.out << "No sensors found: this machine exposes no SMC keys (applesmc) and no "
                  "hardware-monitoring sensors (/sys/class/hwmon).\n";
        return 0;
    }
    qsizetype width = 0;
    for (const SensorReading& reading : readings)
        width = std::max(width, reading.name.size());
    for (const SensorReading& reading : readings)
        io.out << reading.name.leftJustified(width + 2)
               << QString::number(reading.value, 'f', reading.kind == SensorKind::fan ? 0 : 1)
               << ' ' << unit(reading.kind) << '\n';
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(sensors, "sensors [--json]", "Every temperature and fan sensor read.",
                   runSensors);

} // namespace velmox
