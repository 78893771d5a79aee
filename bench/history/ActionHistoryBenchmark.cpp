// The cost of recording into the activity log, with its trim to 200 entries and its save into
// the settings file (a QSettings INI written atomically, so every save waits for the disk).
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <atomic>
#include <benchmark/benchmark.h>
#include <thread>

using namespace velmox;

namespace {

constexpr int recordCount = 10000;

QString detailText(int i) {
    return QStringLiteral("Removed %1 items from the user caches and freed 12.3 MB.").arg(i);
}

// Each record reaches the main thread on its own, so each one is trimmed and saved on its own.
void recordOneByOne(benchmark::State& state) {
    for (auto _ : state) {
        QTemporaryDir folder;
        Settings settings(folder.filePath(QStringLiteral("Velmox.conf")));
        ActionHistoryStore store(settings, SystemClock::shared());
        for (int i = 0; i < recordCount; ++i) {
            store.record(QStringLiteral("User Cache Cleaner"), detailText(i), true);
            QCoreApplication::processEvents();
        }
        benchmark::DoNotOptimize(store.entries().size());
    }
    state.counters["per record"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * recordCount,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// A worker records while the main thread takes in whatever has arrived each turn.
void recordFromWorker(benchmark::State& state) {
    for (auto _ : state) {
        QTemporaryDir folder;
        Settings settings(folder.filePath(QStringLiteral("Velmox.conf")));
        ActionHistoryStore store(settings, SystemClock::shared());
        std::atomic<bool> done = false;
        std::thread worker([&] {
            for (int i = 0; i < recordCount; ++i)
                store.record(QStringLiteral("Automation: Flush DNS"), detailText(i), i % 3 != 0);
            done = true;
        });
        while (!done)
            QCoreApplication::processEvents();
        worker.join();
        QCoreApplication::processEvents();
        benchmark::DoNotOptimize(store.entries().size());
    }
    state.counters["per record"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * recordCount,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The processor's share of one save: encoding a full log.
void encodeFullLog(benchmark::State& state) {
    QList<ActionHistoryEntry> entries;
    for (int i = 0; i < ActionHistoryStore::maxEntries; ++i)
        entries.append({QUuid::createUuid(), QDateTime::currentDateTimeUtc(),
                        QStringLiteral("User Cache Cleaner"), detailText(i), true});
    for (auto _ : state)
        benchmark::DoNotOptimize(toJson(entries));
}

} // namespace

BENCHMARK(recordOneByOne)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(recordFromWorker)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(encodeFullLog)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
