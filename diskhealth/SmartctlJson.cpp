#include "diskhealth/SmartctlJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <cmath>
#include <limits>

namespace velmox {

namespace {

// The first of `keys` that holds a text: SCSI drives name their model and firmware in keys of
// their own.
QString firstString(const QJsonObject& root, std::initializer_list<const char*> keys) {
    for (const char* key : keys)
        if (const QString value = root.value(QLatin1String(key)).toString(); !value.isEmpty())
            return value;
    return {};
}

// A JSON number as an integer; anything out of range or not a number is left out.
std::optional<std::int64_t> integer(const QJsonValue& value) {
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (!std::isfinite(number) || number < -9.2e18 || number > 9.2e18)
        return std::nullopt;
    // Raw attribute values pack several fields into 48 bits and more: an integer keeps all of
    // its digits, a double only 53 bits of them.
    return value.toInteger(static_cast<qint64>(number));
}

int small(const QJsonValue& value) {
    const std::int64_t number = integer(value).value_or(0);
    return static_cast<int>(std::clamp<std::int64_t>(number, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

std::uint64_t count(const QJsonValue& value) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(0, integer(value).value_or(0)));
}

// NVMe temperatures above 273 are reported in Kelvin.
int celsius(int value) {
    return value > 273 ? static_cast<int>(std::lround(value - 273.15)) : value;
}

NVMeHealth readNvmeLog(const QJsonObject& log) {
    NVMeHealth health;
    health.criticalWarning = small(log.value(QLatin1String("critical_warning")));
    health.temperatureC = celsius(small(log.value(QLatin1String("temperature"))));
    health.spare = small(log.value(QLatin1String("available_spare")));
    health.spareThreshold = small(log.value(QLatin1String("available_spare_threshold")));
    health.used = small(log.value(QLatin1String("percentage_used")));
    health.dataUnitsRead = count(log.value(QLatin1String("data_units_read")));
    health.dataUnitsWritten = count(log.value(QLatin1String("data_units_written")));
    health.hostReads = count(log.value(QLatin1String("host_reads")));
    health.hostWrites = count(log.value(QLatin1String("host_writes")));
    health.busyMinutes = count(log.value(QLatin1String("controller_busy_time")));
    health.powerCycles = count(log.value(QLatin1String("power_cycles")));
    health.powerOnHours = count(log.value(QLatin1String("power_on_hours")));
    health.unsafeShutdowns = count(log.value(QLatin1String("unsafe_shutdowns")));
    health.mediaErrors = count(log.value(QLatin1String("media_errors")));
    health.errorEntries = count(log.value(QLatin1String("num_err_log_entries")));
    health.warningTempMinutes = count(log.value(QLatin1String("warning_temp_time")));
    health.criticalTempMinutes = count(log.value(QLatin1String("critical_comp_time")));
    for (const QJsonValue& sensor : log.value(QLatin1String("temperature_sensors")).toArray())
        health.sensors.append(celsius(small(sensor)));
    return health;
}

std::optional<ScsiHealth> readScsi(const QJsonObject& root) {
    const QJsonValue defects = root.value(QLatin1String("scsi_grown_defect_list"));
    const QJsonObject errors = root.value(QLatin1String("scsi_error_counter_log")).toObject();
    const QJsonValue used = root.value(QLatin1String("scsi_percentage_used_endurance_indicator"));
    if (defects.isUndefined() && errors.isEmpty() && used.isUndefined())
        return std::nullopt;
    ScsiHealth scsi;
    if (const auto value = integer(defects))
        scsi.grownDefects = static_cast<std::uint64_t>(std::max<std::int64_t>(0, *value));
    for (const char* direction : {"read", "write", "verify"})
        scsi.uncorrectedErrors += count(errors.value(QLatin1String(direction))
                                            .toObject()
                                            .value(QLatin1String("total_uncorrected_errors")));
    if (used.isDouble())
        scsi.percentageUsed = small(used);
    return scsi;
}

} // namespace

Result<SmartReport> parseSmartctlJson(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return failure(QStringLiteral("The S.M.A.R.T. data is not smartctl JSON output (%1).")
                           .arg(error.error != QJsonParseError::NoError
                                    ? error.errorString()
                                    : QStringLiteral("no JSON object")));
    const QJsonObject root = document.object();

    SmartReport report;
    report.source = SmartSource::smartmontools;
    report.protocolName =
        root.value(QLatin1String("device")).toObject().value(QLatin1String("protocol")).toString();
    report.model = firstString(root, {"model_name", "model", "scsi_model_name"});
    report.serial = firstString(root, {"serial_number", "serial"});
    report.firmware = firstString(root, {"firmware_version", "firmware", "scsi_revision"});
    if (const auto rate = integer(root.value(QLatin1String("rotation_rate"))))
        report.rotationRate = static_cast<int>(std::clamp<std::int64_t>(*rate, 0, 1000000));

    const QJsonValue passed =
        root.value(QLatin1String("smart_status")).toObject().value(QLatin1String("passed"));
    if (passed.isBool())
        report.passed = passed.toBool();
    const QJsonValue temperature =
        root.value(QLatin1String("temperature")).toObject().value(QLatin1String("current"));
    if (temperature.isDouble())
        report.temperatureC = small(temperature);
    report.powerOnHours = integer(
        root.value(QLatin1String("power_on_time")).toObject().value(QLatin1String("hours")));
    report.powerCycles = integer(root.value(QLatin1String("power_cycle_count")));

    const QJsonArray table = root.value(QLatin1String("ata_smart_attributes"))
                                 .toObject()
                                 .value(QLatin1String("table"))
                                 .toArray();
    for (const QJsonValue& entry : table) {
        const QJsonObject row = entry.toObject();
        const int id = small(row.value(QLatin1String("id")));
        if (id < 1 || id > 255)
            continue;
        SmartAttributeRow attribute;
        attribute.id = id;
        attribute.name = row.value(QLatin1String("name")).toString();
        attribute.value = small(row.value(QLatin1String("value")));
        attribute.worst = small(row.value(QLatin1String("worst")));
        attribute.threshold = small(row.value(QLatin1String("thresh")));
        attribute.prefailure = row.value(QLatin1String("flags"))
                                   .toObject()
                                   .value(QLatin1String("prefailure"))
                                   .toBool();
        const QJsonObject raw = row.value(QLatin1String("raw")).toObject();
        attribute.rawValue = integer(raw.value(QLatin1String("value"))).value_or(0);
        attribute.rawString = raw.value(QLatin1String("string")).toString();
        report.attributes.append(attribute);
    }

    const QJsonValue nvme = root.value(QLatin1String("nvme_smart_health_information_log"));
    if (nvme.isObject()) {
        report.healthLog = readNvmeLog(nvme.toObject());
        if (!report.temperatureC)
            report.temperatureC = report.healthLog->temperatureC;
        if (!report.powerOnHours)
            report.powerOnHours = static_cast<std::int64_t>(report.healthLog->powerOnHours);
    }
    report.scsi = readScsi(root);

    const QJsonArray messages =
        root.value(QLatin1String("smartctl")).toObject().value(QLatin1String("messages")).toArray();
    qsizetype errors = 0;
    for (const QJsonValue& message : messages) {
        const QString text = message.toObject().value(QLatin1String("string")).toString();
        if (text.isEmpty())
            continue;
        if (message.toObject().value(QLatin1String("severity")).toString() ==
            QLatin1String("error"))
            report.messages.insert(errors++, text);
        else
            report.messages.append(text);
    }
    return report;
}

} // namespace velmox
