#include "diskhealth/SmartAnalyzer.h"

#include "diskhealth/NvmeHealthLog.h"
#include "diskhealth/SmartctlJson.h"

#include <QFile>
#include <gtest/gtest.h>

namespace velmox {
namespace {

SmartAttributeRow attribute(int id, int value, int threshold = 0, bool prefailure = false,
                            std::int64_t raw = 0) {
    SmartAttributeRow row;
    row.id = id;
    row.value = value;
    row.threshold = threshold;
    row.prefailure = prefailure;
    row.rawValue = raw;
    return row;
}

NVMeHealth nvmeLog(int spare, int spareThreshold, int used = 0, std::uint64_t mediaErrors = 0,
                   int criticalWarning = 0, std::uint64_t errorEntries = 0) {
    NVMeHealth log;
    log.spare = spare;
    log.spareThreshold = spareThreshold;
    log.used = used;
    log.mediaErrors = mediaErrors;
    log.criticalWarning = criticalWarning;
    log.errorEntries = errorEntries;
    return log;
}

SmartReport gradedFixture(const QString& name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/smart/") + name);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    Result<SmartReport> report = parseSmartctlJson(file.readAll());
    EXPECT_TRUE(report) << name.toStdString();
    if (!report)
        return {};
    SmartAnalyzer::grade(*report);
    return *report;
}

const SmartAttributeRow* row(const SmartReport& report, int id) {
    for (const SmartAttributeRow& r : report.attributes)
        if (r.id == id)
            return &r;
    return nullptr;
}

// The drive's identity and its grades, from recorded outputs of every protocol.
TEST(SmartAnalyzer, GradesRecordedSmartctlOutputs) {
    struct Case {
        const char* file;
        const char* protocolAndModel;
        DiskHealthStatus status;
        std::optional<HealthGrade> verdict;
        std::vector<std::pair<int, const char*>> labels; // attribute -> grade label
        const char* detailContains;
    };
    const std::vector<Case> cases{
        {"sata-ssd-850pro.json",
         "ATA X SSD 850 PRO 128GB",
         DiskHealthStatus::healthy,
         HealthGrade::ok,
         {{5, "OK"}, {177, "OK"}, {190, "OK"}, {199, "OK"}},
         "within its limits"},
        // Seagate sets the thresholds of attributes 10 and 184 just under their values.
        {"sata-hdd-st2000dm006.json",
         "ATA ST2000DM006-2DM164",
         DiskHealthStatus::watch,
         HealthGrade::warning,
         {{1, "OK"},
          {10, "Near limit"},
          {184, "Near limit"},
          {190, "OK"},
          {193, "OK"},
          {194, "OK"}},
         "Spin retry count (Near limit)"},
        {"nvme-wds100t1x0e.json",
         "NVMe WDS100T1X0E-00AFY0",
         DiskHealthStatus::healthy,
         HealthGrade::ok,
         {},
         "within its limits"},
        {"sas-hdd-st600mp0036.json",
         "SCSI SEAGATE ST600MP0036",
         DiskHealthStatus::healthy,
         HealthGrade::ok,
         {},
         "within its limits"},
        {"sas-ssd-kpm5xmug400g.json",
         nullptr,
         DiskHealthStatus::healthy,
         HealthGrade::ok,
         {},
         "within its limits"},
        {"permission-denied.json",
         nullptr,
         DiskHealthStatus::unavailable,
         std::nullopt,
         {},
         "Permission denied"},
        {"open-failed.json",
         nullptr,
         DiskHealthStatus::unavailable,
         std::nullopt,
         {},
         "Open failed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const SmartReport report = gradedFixture(QString::fromLatin1(c.file));
        if (c.protocolAndModel) {
            EXPECT_EQ(report.protocolName + QLatin1Char(' ') + report.model,
                      QString::fromLatin1(c.protocolAndModel));
            EXPECT_FALSE(report.serial.isEmpty() || report.firmware.isEmpty());
        }
        EXPECT_EQ(report.status, c.status);
        EXPECT_EQ(report.verdict, c.verdict);
        EXPECT_EQ(report.verdictTitle, diskHealthStatusTitle(c.status));
        EXPECT_TRUE(report.verdictDetail.contains(QString::fromUtf8(c.detailContains)))
            << report.verdictDetail.toStdString();
        for (const auto& [id, label] : c.labels) {
            const SmartAttributeRow* r = row(report, id);
            ASSERT_TRUE(r) << id;
            EXPECT_EQ(r->label, QString::fromLatin1(label)) << id;
        }
    }
}

// The rules apply in order, and a threshold counts only where both it and the value are 1...253.
TEST(SmartAnalyzer, GradesAttributesByTheFirstRuleThatMatches) {
    struct Case {
        const char* what;
        int id, value, threshold;
        bool prefailure;
        std::int64_t raw;
        bool solidState;
        HealthGrade grade;
        const char* label;
    };
    const std::vector<Case> cases{
        {"CRC history is information only", 199, 200, 0, false, 3, false, HealthGrade::information,
         "Cable History"},
        {"value equal to a prefailure threshold", 5, 36, 36, true, 0, false, HealthGrade::critical,
         "Below limit"},
        {"value equal to an old-age threshold", 9, 20, 20, false, 0, false, HealthGrade::warning,
         "Worn"},
        {"the limit comes before the CRC rule", 199, 10, 50, true, 3, false, HealthGrade::critical,
         "Below limit"},
        {"threshold 0 is ignored", 1, 1, 0, true, 0, false, HealthGrade::ok, "OK"},
        {"threshold 254 is ignored", 1, 100, 254, true, 0, false, HealthGrade::ok, "OK"},
        {"value 254 is ignored", 1, 254, 60, true, 0, false, HealthGrade::ok, "OK"},
        {"reallocated sectors counted", 5, 100, 10, true, 1, false, HealthGrade::warning, "Watch"},
        {"pending sectors counted", 197, 200, 0, false, 8, false, HealthGrade::warning, "Watch"},
        {"worn flash on a solid-state drive", 177, 10, 0, true, 5000, true, HealthGrade::warning,
         "Nearly worn"},
        {"the same value on a rotating drive", 177, 10, 0, true, 5000, false, HealthGrade::ok,
         "OK"},
        {"close to its threshold", 7, 55, 50, true, 0, false, HealthGrade::warning, "Near limit"},
        {"six above its threshold", 7, 56, 50, true, 0, false, HealthGrade::ok, "OK"},
        {"temperatures are never near a limit", 194, 42, 40, false, 0, false, HealthGrade::ok,
         "OK"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SmartAttributeRow row = attribute(c.id, c.value, c.threshold, c.prefailure, c.raw);
        SmartAnalyzer::gradeAttribute(row, c.solidState);
        EXPECT_EQ(row.grade, c.grade);
        EXPECT_EQ(row.label, QString::fromLatin1(c.label));
    }

    SmartAttributeRow unknown = attribute(150, 100);
    unknown.name = QStringLiteral("Unknown_Attribute");
    SmartAnalyzer::gradeAttribute(unknown, false);
    EXPECT_EQ(unknown.name, QStringLiteral("Attribute 150"));
    EXPECT_EQ(
        unknown.description,
        QStringLiteral(
            "Vendor-specific attribute. Only its value against the threshold is meaningful."));
}

SmartReport gradedReport(SmartReport report, std::optional<bool> rotational = std::nullopt) {
    SmartAnalyzer::grade(report, rotational);
    return report;
}

TEST(SmartAnalyzer, DiskLevelTakesTheHighestGradeButInformationStaysHealthy) {
    SmartReport crcOnly;
    crcOnly.passed = true;
    crcOnly.rotationRate = 7200;
    crcOnly.attributes = {attribute(199, 200, 0, false, 3), attribute(9, 90)};
    const SmartReport crc = gradedReport(crcOnly);
    EXPECT_EQ(crc.verdict, HealthGrade::information);
    EXPECT_EQ(crc.status, DiskHealthStatus::healthy);

    struct Temperature {
        int celsius;
        std::optional<int> rotationRate;
        std::optional<bool> rotationalHint;
        DiskHealthStatus status;
    };
    for (const Temperature& t : std::vector<Temperature>{
             {75, 0, std::nullopt, DiskHealthStatus::critical},
             {75, 5400, std::nullopt, DiskHealthStatus::critical},
             {74, 0, std::nullopt, DiskHealthStatus::watch},
             {70, 0, std::nullopt, DiskHealthStatus::watch},
             {69, 0, std::nullopt, DiskHealthStatus::healthy},
             {60, 5400, std::nullopt, DiskHealthStatus::watch},
             {59, 5400, std::nullopt, DiskHealthStatus::healthy},
             // No rotation rate in the output: the disk record decides.
             {65, std::nullopt, false, DiskHealthStatus::healthy},
             {65, std::nullopt, true, DiskHealthStatus::watch},
         }) {
        SCOPED_TRACE(t.celsius);
        SmartReport report;
        report.passed = true;
        report.temperatureC = t.celsius;
        report.rotationRate = t.rotationRate;
        EXPECT_EQ(gradedReport(report, t.rotationalHint).status, t.status);
    }

    SmartReport passOnly;
    passOnly.passed = true;
    const SmartReport verified = gradedReport(passOnly);
    EXPECT_EQ(verified.status, DiskHealthStatus::verified);
    EXPECT_FALSE(verified.verdict);
}

// A log page as the drive returns it, with the figures written at their offsets.
QByteArray logPage() {
    QByteArray page(NvmeHealthLog::kSize, '\0');
    auto put = [&page](int offset, std::uint64_t value, int width) {
        for (int i = 0; i < width; ++i)
            page[offset + i] = static_cast<char>((value >> (8 * i)) & 0xff);
    };
    put(0, 0x04, 1);        // critical warning: reliability degraded
    put(1, 318, 2);         // 318 K = 45 °C
    put(3, 100, 1);         // available spare
    put(4, 99, 1);          // its threshold
    put(5, 2, 1);           // percentage used
    put(32, 107103479, 8);  // data units read
    put(48, 62786553, 8);   // data units written
    put(64, 2354229498, 8); // host reads
    put(112, 151, 8);       // power cycles
    put(128, 870, 8);       // power-on hours
    put(144, 9, 8);         // unsafe shutdowns
    put(176, 12, 8);        // error log entries
    put(196, 3, 4);         // critical temperature minutes
    put(200, 320, 2);       // sensor 1: 47 °C
    put(204, 300, 2);       // sensor 3 (sensor 2 absent)
    return page;
}

TEST(NvmeHealthLog, DecodesTheLogPageFromItsBytes) {
    const Result<NVMeHealth> health = NvmeHealthLog::decode(logPage());
    ASSERT_TRUE(health) << health.error().toStdString();
    NVMeHealth expected;
    expected.criticalWarning = 4;
    expected.temperatureC = 45;
    expected.spare = 100;
    expected.spareThreshold = 99;
    expected.used = 2;
    expected.dataUnitsRead = 107103479;
    expected.dataUnitsWritten = 62786553;
    expected.hostReads = 2354229498;
    expected.powerCycles = 151;
    expected.powerOnHours = 870;
    expected.unsafeShutdowns = 9;
    expected.errorEntries = 12;
    expected.criticalTempMinutes = 3;
    expected.sensors = {47, 27};
    EXPECT_EQ(*health, expected);

    QByteArray huge = logPage();
    huge[48 + 8] = 1; // the high half of the 128-bit counter
    EXPECT_EQ(NvmeHealthLog::decode(huge)->dataUnitsWritten,
              std::numeric_limits<std::uint64_t>::max());
    EXPECT_FALSE(NvmeHealthLog::decode(logPage().left(511)));

    SmartReport report = NvmeHealthLog::report(*health);
    SmartAnalyzer::grade(report);
    EXPECT_EQ(report.source, SmartSource::directLinux);
    EXPECT_EQ(report.status, DiskHealthStatus::critical); // the reliability bit
}

TEST(SmartAnalyzer, GradesNvmeAndScsiHealthWithTheirOwnRules) {
    struct Case {
        const char* what;
        NVMeHealth log;
        DiskHealthStatus status;
    };
    const std::vector<Case> cases{
        {"new drive whose threshold sits at 99 %", nvmeLog(100, 99), DiskHealthStatus::healthy},
        {"spare at its threshold", nvmeLog(10, 10), DiskHealthStatus::critical},
        {"spare close to its threshold", nvmeLog(15, 10), DiskHealthStatus::watch},
        {"rated endurance nearly used", nvmeLog(100, 10, 92), DiskHealthStatus::watch},
        {"media errors", nvmeLog(100, 10, 0, 1), DiskHealthStatus::watch},
        {"read-only media", nvmeLog(100, 10, 0, 0, 0x08), DiskHealthStatus::critical},
        {"temperature warning bit", nvmeLog(100, 10, 0, 0, 0x02), DiskHealthStatus::watch},
        {"error log entries alone", nvmeLog(100, 10, 0, 0, 0, 40), DiskHealthStatus::healthy},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SmartReport report;
        report.protocolName = QStringLiteral("NVMe");
        report.passed = true;
        report.healthLog = c.log;
        EXPECT_EQ(gradedReport(report).status, c.status);
    }

    SmartReport sas;
    sas.protocolName = QStringLiteral("SCSI");
    sas.passed = true;
    sas.scsi = ScsiHealth();
    sas.scsi->grownDefects = 0;
    EXPECT_EQ(gradedReport(sas).status, DiskHealthStatus::healthy);
    sas.scsi->grownDefects = 7;
    EXPECT_EQ(gradedReport(sas).status, DiskHealthStatus::watch);
    sas.scsi->grownDefects = 0;
    sas.scsi->uncorrectedErrors = 2;
    EXPECT_EQ(gradedReport(sas).status, DiskHealthStatus::watch);
}

} // namespace
} // namespace velmox
