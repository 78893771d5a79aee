// The inventory of this machine as the Disk Health page reads it (lsblk, blkid as root, the
// mount table, statvfs, sysfs), and the parsing and building alone on recorded outputs.

#include "diskhealth/DiskInventory.h"
#include "diskhealth/DiskutilInventory.h"

#include <QFile>
#include <benchmark/benchmark.h>

namespace {

QByteArray fixture(const char* name) {
    QFile file(QStringLiteral(VELMOX_TEST_DATA "/diskhealth/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void readThisMachine(benchmark::State& state) {
    const velmox::LinuxDiskInventory source;
    for (auto _ : state) {
        auto disks = source.read();
        if (!disks)
            state.SkipWithError(disks.error().toStdString().c_str());
        benchmark::DoNotOptimize(disks);
    }
}
BENCHMARK(readThisMachine)->Unit(benchmark::kMillisecond)->UseRealTime();

void buildFromLsblk(benchmark::State& state) {
    const QByteArray json = fixture("lsblk-loop-gpt-mbr.json");
    const auto support = velmox::FileSystemSupport::everything();
    for (auto _ : state) {
        auto devices = velmox::parseLsblkJson(json);
        benchmark::DoNotOptimize(velmox::inventoryFromLsblk(*devices, support));
    }
}
BENCHMARK(buildFromLsblk)->Unit(benchmark::kMicrosecond);

void buildFromDiskutil(benchmark::State& state) {
    const velmox::DiskutilOutputs outputs{fixture("diskutil-list-catalina.plist"),
                                          fixture("diskutil-apfs-list-one-container.plist"),
                                          {},
                                          {}};
    for (auto _ : state)
        benchmark::DoNotOptimize(velmox::inventoryFromDiskutil(outputs));
}
BENCHMARK(buildFromDiskutil)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
