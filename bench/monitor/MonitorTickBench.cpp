// One sampling tick of the monitor on this machine's live /proc: the processor, memory
// and network counters with their formulas (the part that must stay under 1 ms), and the
// engine's whole tick, which adds disk space, uptime, GPU load, thermal state and
// addresses.
#include "monitor/CpuLoadSampler.h"
#include "monitor/MemoryFigures.h"
#include "monitor/NetworkRateSampler.h"
#include "monitor/SystemMonitorEngine.h"
#include "platform/linux/LinuxMachineInfo.h"
#include "platform/linux/ProcHostCounters.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace velmox {
namespace {

void countersTick(benchmark::State& state) {
    ProcHostCounters counters;
    CpuLoadSampler cpu;
    NetworkRateSampler network;
    QDateTime now = QDateTime::currentDateTimeUtc();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            cpu.sample(counters.coreTicks().value_or(std::vector<std::uint32_t>{})));
        benchmark::DoNotOptimize(memoryFigures(counters.memory().value_or(MemoryCounters{})));
        now = now.addSecs(2);
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

} // namespace
} // namespace velmox

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
