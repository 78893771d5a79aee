// One sampling tick of the monitor on this machine's live /proc: the processor, memory
// and network counters with their formulas (the part that must stay under 1 ms), and the
// engine's whole tick, which adds disk space, uptime, GPU load, thermal state and
// addresses. Also one read of a desktop's hwmon sensors, the part of a sensor round that
// runs every six seconds on its own thread.
#include "monitor/CpuLoadSampler.h"
#include "monitor/MemoryFigures.h"
#include "monitor/NamedSensorReader.h"
#include "monitor/NetworkRateSampler.h"
#include "monitor/SystemMonitorEngine.h"
#include "platform/linux/HwmonSensorSource.h"
#include "platform/linux/LinuxMachineInfo.h"
#include "platform/linux/ProcHostCounters.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace velmox {
namespace {

void countersTick(benchmark::State& state) {
    ProcHostCounters counters;
    CpuLoadSampler cpu;
    NetworkRateSampler network;
    auto now = std::chrono::steady_clock::now();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            cpu.sample(counters.coreTicks().value_or(std::vector<std::uint32_t>{})));
        benchmark::DoNotOptimize(memoryFigures(counters.memory().value_or(MemoryCounters{})));
        now += std::chrono::seconds(2);
        benchmark::DoNotOptimize(
            network.sample(counters.interfaceCounters().value_or(QList<InterfaceCounters>{}), now));
    }
}
BENCHMARK(countersTick)->Unit(benchmark::kMicrosecond);

void engineTick(benchmark::State& state) {
    QTemporaryDir folder;
    Settings settings(folder.filePath(QStringLiteral("Velmox.conf")));
    SystemMonitorEngine engine(settings, SystemClock::shared(),
                               {systemHostCounters(), systemMachineInfo(), {}});
    engine.startManual();
    for (auto _ : state)
        engine.tick();
    benchmark::DoNotOptimize(engine.stats());
}
BENCHMARK(engineTick)->Unit(benchmark::kMicrosecond);

void writeFile(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
}

// Six chips with 18 inputs: coretemp, amdgpu, two nvme, drivetemp and a board chip.
void layOutDesktop(const QString& root) {
    const std::pair<const char*, int> chips[] = {{"coretemp", 5},  {"amdgpu", 3},  {"nvme", 3},
                                                 {"drivetemp", 1}, {"nct6798", 3}, {"nvme", 3}};
    int index = 0;
    for (const auto& [chip, temperatures] : chips) {
        const QString folder = QStringLiteral("%1/hwmon%2/").arg(root).arg(index++);
        writeFile(folder + "name", QByteArray(chip) + '\n');
        for (int input = 1; input <= temperatures; ++input) {
            writeFile(folder + QStringLiteral("temp%1_input").arg(input), "41250\n");
            writeFile(folder + QStringLiteral("temp%1_label").arg(input), "Sensor\n");
        }
        if (QByteArray(chip) == "nct6798")
            for (int fan = 1; fan <= 3; ++fan)
                writeFile(folder + QStringLiteral("fan%1_input").arg(fan), "1190\n");
    }
}

void hwmonRead(benchmark::State& state) {
    QTemporaryDir root;
    layOutDesktop(root.path());
    NamedSensorReader reader(std::make_unique<HwmonSensorSource>(root.path()),
                             SystemClock::shared());
    if (reader.read().size() != 21)
        state.SkipWithError("the laid-out tree did not read");
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.read());
}
BENCHMARK(hwmonRead)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace velmox

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
