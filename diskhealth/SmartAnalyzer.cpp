#include "diskhealth/SmartAnalyzer.h"

#include "diskhealth/AtaAttributeTable.h"

#include <QLocale>
#include <algorithm>

namespace velmox {

namespace {

bool usable(int number) {
    return number >= 1 && number <= 253;
}

bool isOneOf(int id, std::initializer_list<int> ids) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// The temperature meter runs from 0 to 80 °C.
constexpr double kTemperatureScale = 80.0;

SmartFact makeFact(QString label, QString value, std::optional<double> meter, HealthGrade grade,
                   QList<double> marks = {}) {
    return {std::move(label), std::move(value), meter, grade, std::move(marks)};
}

double fraction(double value) {
    return std::clamp(value, 0.0, 1.0);
}

QString bytesText(double bytes) {
    return QLocale::c().formattedDataSize(static_cast<qint64>(std::min(bytes, 9.0e18)), 1,
                                          QLocale::DataSizeSIFormat);
}

// Bits of the NVMe critical warning byte and what each one means.
QStringList criticalWarningTexts(int bits, HealthGrade& grade) {
    QStringList texts;
    auto add = [&](int bit, HealthGrade bitGrade, const char* text) {
        if (bits & (1 << bit)) {
            texts.append(QString::fromUtf8(text));
            grade = std::max(grade, bitGrade);
        }
    };
    add(0, HealthGrade::critical, "spare capacity below its threshold");
    add(1, HealthGrade::warning, "temperature outside its limits");
    add(2, HealthGrade::critical, "reliability degraded by media errors");
    add(3, HealthGrade::critical, "media switched to read-only");
    add(4, HealthGrade::warning, "volatile memory backup failed");
    add(5, HealthGrade::warning, "persistent memory region read-only");
    return texts;
}

void addNvmeFacts(const NVMeHealth& log, QList<SmartFact>& facts) {
    {
        HealthGrade grade = HealthGrade::ok;
        QString value =
            QStringLiteral("%1 % (threshold %2 %)").arg(log.spare).arg(log.spareThreshold);
        if (log.spareThreshold > 0 && log.spare <= log.spareThreshold)
            grade = HealthGrade::critical;
        else if (log.spare < 100 && log.spare < log.spareThreshold + 10)
            grade = HealthGrade::warning;
        facts.append(
            makeFact(QStringLiteral("Available spare"), value, fraction(log.spare / 100.0), grade));
    }
    {
        HealthGrade grade = log.used >= 90 ? HealthGrade::warning : HealthGrade::ok;
        facts.append(makeFact(QStringLiteral("Wear"), QStringLiteral("%1 % used").arg(log.used),
                              fraction(log.used / 100.0), grade, {0.9}));
    }
    facts.append(makeFact(QStringLiteral("Data written"),
                          bytesText(static_cast<double>(log.dataUnitsWritten) * 512000.0),
                          std::nullopt, HealthGrade::ok));
    facts.append(makeFact(QStringLiteral("Media errors"), QString::number(log.mediaErrors),
                          std::nullopt,
                          log.mediaErrors > 0 ? HealthGrade::warning : HealthGrade::ok));
    if (log.criticalWarning != 0) {
        HealthGrade grade = HealthGrade::ok;
        const QStringList texts = criticalWarningTexts(log.criticalWarning, grade);
        facts.append(makeFact(QStringLiteral("Critical warning"),
                              texts.isEmpty() ? QStringLiteral("0x%1").arg(log.criticalWarning, 2,
                                                                           16, QLatin1Char('0'))
                                              : texts.join(QStringLiteral(", ")),
                              std::nullopt, std::max(grade, HealthGrade::warning)));
    }
    if (log.errorEntries > 0)
        facts.append(makeFact(QStringLiteral("Error log entries"),
                              QString::number(log.errorEntries), std::nullopt,
                              HealthGrade::information));
    if (log.criticalTempMinutes > 0)
        facts.append(makeFact(QStringLiteral("Time above critical temperature"),
                              QStringLiteral("%1 minutes").arg(log.criticalTempMinutes),
                              std::nullopt, HealthGrade::information));
}

void addScsiFacts(const ScsiHealth& scsi, QList<SmartFact>& facts) {
    if (scsi.grownDefects)
        facts.append(makeFact(QStringLiteral("Grown defects"), QString::number(*scsi.grownDefects),
                              std::nullopt,
                              *scsi.grownDefects > 0 ? HealthGrade::warning : HealthGrade::ok));
    facts.append(makeFact(QStringLiteral("Uncorrected errors"),
                          QString::number(scsi.uncorrectedErrors), std::nullopt,
                          scsi.uncorrectedErrors > 0 ? HealthGrade::warning : HealthGrade::ok));
    if (scsi.percentageUsed)
        facts.append(makeFact(QStringLiteral("Wear"),
                              QStringLiteral("%1 % used").arg(*scsi.percentageUsed),
                              fraction(*scsi.percentageUsed / 100.0),
                              *scsi.percentageUsed >= 90 ? HealthGrade::warning : HealthGrade::ok));
}

// Wear and data written of ATA drives, from the attributes that carry them.
void addAtaFacts(const QList<SmartAttributeRow>& rows, QList<SmartFact>& facts) {
    for (int id : {231, 233, 177, 202}) {
        const auto row = std::find_if(rows.begin(), rows.end(),
                                      [id](const SmartAttributeRow& r) { return r.id == id; });
        if (row == rows.end() || !usable(row->value) || row->value > 100)
            continue;
        facts.append(makeFact(QStringLiteral("Wear"),
                              QStringLiteral("%1 % used").arg(100 - row->value),
                              fraction((100 - row->value) / 100.0), row->grade));
        break;
    }
    const auto written = std::find_if(rows.begin(), rows.end(),
                                      [](const SmartAttributeRow& r) { return r.id == 241; });
    if (written != rows.end() && written->rawValue > 0)
        facts.append(makeFact(QStringLiteral("Data written"),
                              bytesText(static_cast<double>(written->rawValue) * 512.0),
                              std::nullopt, HealthGrade::ok));
}

} // namespace

HealthGrade SmartAnalyzer::temperatureGrade(int celsius, bool rotating) {
    if (celsius >= 75)
        return HealthGrade::critical;
    if (celsius >= (rotating ? 60 : 70))
        return HealthGrade::warning;
    return HealthGrade::ok;
}

void SmartAnalyzer::gradeAttribute(SmartAttributeRow& row, bool solidState) {
    const AtaAttributeInfo info = ataAttributeInfo(row.id);
    row.description = info.description;
    if (row.name.isEmpty() || row.name == QLatin1String("Unknown_Attribute") ||
        isKnownAtaAttribute(row.id))
        row.name = info.name;

    const bool limitUsable = usable(row.threshold) && usable(row.value);
    auto set = [&row](HealthGrade grade, const char* label) {
        row.grade = grade;
        row.label = QString::fromUtf8(label);
    };
    if (limitUsable && row.value <= row.threshold) {
        if (row.prefailure)
            set(HealthGrade::critical, "Below limit");
        else
            set(HealthGrade::warning, "Worn");
    } else if (row.id == 199 && row.rawValue != 0) {
        set(HealthGrade::information, "Cable History");
    } else if (isOneOf(row.id, {5, 10, 184, 187, 196, 197, 198}) && row.rawValue != 0) {
        set(HealthGrade::warning, "Watch");
    } else if (solidState && isOneOf(row.id, {177, 202, 231, 232, 233}) && row.value <= 10) {
        set(HealthGrade::warning, "Nearly worn");
    } else if (limitUsable && row.id != 190 && row.id != 194 && row.value - row.threshold < 6) {
        set(HealthGrade::warning, "Near limit");
    } else {
        set(HealthGrade::ok, "OK");
    }
}

void SmartAnalyzer::grade(SmartReport& report, std::optional<bool> rotational) {
    const bool nvme = report.healthLog.has_value() ||
                      report.protocolName.compare(QLatin1String("NVMe"), Qt::CaseInsensitive) == 0;
    // Where neither the output nor the caller knows, the lower limit of rotating disks applies.
    const bool rotating =
        !nvme && (report.rotationRate ? *report.rotationRate > 0 : rotational.value_or(true));

    for (SmartAttributeRow& row : report.attributes)
        gradeAttribute(row, !rotating);

    QList<SmartFact> facts;
    if (report.passed)
        facts.append(makeFact(QStringLiteral("Self-assessment"),
                              *report.passed ? QStringLiteral("Passed") : QStringLiteral("Failing"),
                              std::nullopt,
                              *report.passed ? HealthGrade::ok : HealthGrade::critical));
    if (report.temperatureC)
        facts.append(makeFact(QStringLiteral("Temperature"),
                              QStringLiteral("%1 °C").arg(*report.temperatureC),
                              fraction(*report.temperatureC / kTemperatureScale),
                              temperatureGrade(*report.temperatureC, rotating),
                              {(rotating ? 60 : 70) / kTemperatureScale, 75 / kTemperatureScale}));
    // Against the five years of service most drives are built for.
    if (report.powerOnHours)
        facts.append(makeFact(QStringLiteral("Power-on time"),
                              QStringLiteral("%1 hours (%2 days)")
                                  .arg(*report.powerOnHours)
                                  .arg(*report.powerOnHours / 24),
                              fraction(double(*report.powerOnHours) / (5 * 365 * 24)),
                              HealthGrade::ok));
    if (report.powerCycles)
        facts.append(makeFact(QStringLiteral("Power cycles"), QString::number(*report.powerCycles),
                              std::nullopt, HealthGrade::ok));
    if (report.healthLog)
        addNvmeFacts(*report.healthLog, facts);
    if (report.scsi)
        addScsiFacts(*report.scsi, facts);
    addAtaFacts(report.attributes, facts);
    report.summary = facts;

    std::optional<HealthGrade> verdict;
    for (const SmartAttributeRow& row : report.attributes)
        verdict = std::max(verdict.value_or(HealthGrade::ok), row.grade);
    for (const SmartFact& fact : report.summary)
        verdict = std::max(verdict.value_or(HealthGrade::ok), fact.grade);
    const bool failing = report.passed == false;
    if (!report.hasDetailedValues() && !failing)
        verdict.reset();
    report.verdict = verdict;

    if (!verdict) {
        report.status = report.passed ? DiskHealthStatus::verified : DiskHealthStatus::unavailable;
        report.verdictTitle = diskHealthStatusTitle(report.status);
        if (report.passed)
            report.verdictDetail = QStringLiteral(
                "The drive reports that it passes its own S.M.A.R.T. check but shares no "
                "detailed values.");
        else
            report.verdictDetail =
                report.messages.isEmpty()
                    ? QStringLiteral("The drive did not pass any S.M.A.R.T. values through.")
                    : QStringLiteral("smartctl could not read S.M.A.R.T. values: %1")
                          .arg(report.messages.first());
        return;
    }

    report.status = *verdict == HealthGrade::critical  ? DiskHealthStatus::critical
                    : *verdict == HealthGrade::warning ? DiskHealthStatus::watch
                                                       : DiskHealthStatus::healthy;
    report.verdictTitle = diskHealthStatusTitle(report.status);
    if (failing) {
        report.verdictDetail = QString::fromUtf8(kFailingAssessment);
        return;
    }
    if (*verdict <= HealthGrade::information) {
        report.verdictDetail =
            *verdict == HealthGrade::ok
                ? QStringLiteral("Every value is within its limits.")
                : QStringLiteral("Every value is within its limits; some counters keep a "
                                 "harmless history.");
        return;
    }
    QStringList worst;
    for (const SmartAttributeRow& row : report.attributes)
        if (row.grade == *verdict)
            worst.append(QStringLiteral("%1 (%2)").arg(row.name, row.label));
    for (const SmartFact& fact : report.summary)
        if (fact.grade == *verdict)
            worst.append(QStringLiteral("%1 (%2)").arg(fact.label, fact.value));
    report.verdictDetail = QStringLiteral("%1: %2.").arg(*verdict == HealthGrade::critical
                                                             ? QStringLiteral("Critical")
                                                             : QStringLiteral("Needs a look"),
                                                         worst.join(QStringLiteral(", ")));
}

} // namespace velmox
