#pragma once

#include <QList>
#include <QString>
#include <cstdint>
#include <optional>

namespace velmox {

// How worrying a value is, in rising order. A disk's grade is the highest of its parts.
enum class HealthGrade { ok = 0, information = 1, warning = 2, critical = 3 };

// Where the values of a report came from.
enum class SmartSource { smartmontools, directLinux, directMac, diskutilOverall, macOverall };
QString smartSourceLabel(SmartSource source);

// The disk-level result shown to the user.
enum class DiskHealthStatus { healthy, watch, critical, verified, unavailable };
// "healthy", "watch", "critical", "verified", "unavailable".
QString diskHealthStatusName(DiskHealthStatus status);
// "S.M.A.R.T. OK", "S.M.A.R.T. needs a look", ...
QString diskHealthStatusTitle(DiskHealthStatus status);

// One ATA attribute as the drive reports it, with the grade the analyzer gave it.
struct SmartAttributeRow {
    int id = 0;
    QString name;
    int value = 0; // normalised current value
    int worst = 0;
    int threshold = 0;
    bool prefailure = false;
    std::int64_t rawValue = 0;
    QString rawString;
    HealthGrade grade = HealthGrade::ok;
    QString label; // short grade text: "OK", "Watch", "Below limit" ...
    QString description;

    bool operator==(const SmartAttributeRow&) const = default;
};

// One figure of the summary: temperature, power-on time, data written, wear ...
struct SmartFact {
    QString label;
    QString value;               // display text
    std::optional<double> meter; // 0...1
    HealthGrade grade = HealthGrade::ok;
    QList<double> marks; // where on the meter the grade rises, 0...1

    bool operator==(const SmartFact&) const = default;
};

// The NVMe SMART / health information log (log page 2). Temperatures in degrees Celsius.
struct NVMeHealth {
    int criticalWarning = 0;
    int temperatureC = 0;
    int spare = 0; // percent
    int spareThreshold = 0;
    int used = 0;                    // percentage used, may exceed 100
    std::uint64_t dataUnitsRead = 0; // units of 512,000 bytes
    std::uint64_t dataUnitsWritten = 0;
    std::uint64_t hostReads = 0;
    std::uint64_t hostWrites = 0;
    std::uint64_t busyMinutes = 0;
    std::uint64_t powerCycles = 0;
    std::uint64_t powerOnHours = 0;
    std::uint64_t unsafeShutdowns = 0;
    std::uint64_t mediaErrors = 0;
    std::uint64_t errorEntries = 0;
    std::uint64_t warningTempMinutes = 0;
    std::uint64_t criticalTempMinutes = 0;
    QList<int> sensors;

    bool operator==(const NVMeHealth&) const = default;
};

// The values of a SCSI / SAS drive that the grading looks at.
struct ScsiHealth {
    std::optional<std::uint64_t> grownDefects;
    std::uint64_t uncorrectedErrors = 0; // read + write + verify
    std::optional<int> percentageUsed;

    bool operator==(const ScsiHealth&) const = default;
};

// One disk's S.M.A.R.T. report. A parser fills the drive's own values; SmartAnalyzer::grade
// fills the grades, the facts and the verdict.
struct SmartReport {
    SmartSource source = SmartSource::smartmontools;
    QString protocolName; // "ATA", "NVMe", "SCSI"
    QString model;
    QString serial;
    QString firmware;
    // The disk-level grade; empty when the report holds no detailed values.
    std::optional<HealthGrade> verdict;
    QString verdictTitle;
    QString verdictDetail;
    QList<SmartFact> summary;
    QList<SmartAttributeRow> attributes;
    std::optional<NVMeHealth> healthLog;
    QString diskutilStatus;

    // What the drive said, before grading.
    std::optional<bool> passed;      // the drive's own self-assessment
    std::optional<int> rotationRate; // 0 = solid state
    std::optional<int> temperatureC;
    std::optional<std::int64_t> powerOnHours;
    std::optional<std::int64_t> powerCycles;
    std::optional<ScsiHealth> scsi;
    QStringList messages; // smartctl's own messages, errors first

    DiskHealthStatus status = DiskHealthStatus::unavailable;

    // True when there is anything to grade beyond the bare self-assessment.
    bool hasDetailedValues() const;

    bool operator==(const SmartReport&) const = default;
};

} // namespace velmox
