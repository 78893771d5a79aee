// Time to grade a saved smartctl report: reading the JSON, grading it, and both together.

#include "diskhealth/SmartAnalyzer.h"
#include "diskhealth/SmartctlJson.h"

#include <QFile>
#include <benchmark/benchmark.h>

namespace {

QByteArray fixture(const char* name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/smart/") + QString::fromLatin1(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void parseAndGrade(benchmark::State& state, const char* name) {
    const QByteArray bytes = fixture(name);
    for (auto _ : state) {
        velmox::Result<velmox::SmartReport> report = velmox::parseSmartctlJson(bytes);
        velmox::SmartAnalyzer::grade(*report);
        benchmark::DoNotOptimize(report->verdict);
    }
}

void gradeOnly(benchmark::State& state, const char* name) {
    const velmox::SmartReport parsed = *velmox::parseSmartctlJson(fixture(name));
    for (auto _ : state) {
        velmox::SmartReport report = parsed;
        velmox::SmartAnalyzer::grade(report);
        benchmark::DoNotOptimize(report.verdict);
    }
}

BENCHMARK_CAPTURE(parseAndGrade, ata_hdd, "sata-hdd-st2000dm006.json");
BENCHMARK_CAPTURE(parseAndGrade, nvme, "nvme-wds100t1x0e.json");
BENCHMARK_CAPTURE(gradeOnly, ata_hdd, "sata-hdd-st2000dm006.json");

} // namespace

BENCHMARK_MAIN();
