#pragma once

#include "diskhealth/SmartReport.h"

#include <optional>

namespace velmox {

// Grades a parsed report: every ATA attribute, the NVMe health log, the SCSI counters, the
// temperature and the drive's self-assessment; then the disk-level verdict, the highest grade
// of its rows and facts. Information (grade 1) never raises the status above OK. Pure and
// stateless; safe from any thread.
class SmartAnalyzer {
public:
    // `rotational` tells rotating from solid-state drives where the report itself does not (a
    // rotation rate of 0 means solid state; NVMe is always solid state).
    static void grade(SmartReport& report, std::optional<bool> rotational = std::nullopt);

    // Grades one attribute row in place.
    static void gradeAttribute(SmartAttributeRow& row, bool solidState);
    // 75 °C or more is critical for every drive; 60 °C for rotating and 70 °C for solid-state
    // drives is a warning.
    static HealthGrade temperatureGrade(int celsius, bool rotating);

    static constexpr const char* kFailingAssessment =
        "The drive's own S.M.A.R.T. self-assessment says it is about to fail. Back up your data "
        "now and plan to replace this drive.";
};

} // namespace velmox
