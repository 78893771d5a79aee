// Cache cleaning speed: moving 10,000 small cache items to the Trash and putting them back,
// and measuring a folder of 100,000 files against `du -s` on the same folder.
// Everything happens inside a private temporary HOME, never in the user's own folders.
#include "cleaning/FolderSize.h"
#include "cleaning/TrashMover.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "services/Clock.h"
#include "services/Settings.h"
#include "services/ToolRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace velmox;

namespace {

QTemporaryDir& world() {
    static QTemporaryDir dir;
    return dir;
}

void fill(const QString& folder, int files, int perFolder) {
    const QByteArray content(100, 'x');
    for (int i = 0; i < files; ++i) {
        const QString sub = folder + QStringLiteral("/d%1").arg(i / perFolder);
        if (i % perFolder == 0)
            QDir().mkpath(sub);
        QFile file(sub + QStringLiteral("/f%1.bin").arg(i));
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
    }
}

void MoveCacheItemsToTrashAndPutBack(benchmark::State& state) {
    constexpr int items = 10000;
    const QString caches = PlatformPaths::userCaches();
    Settings settings(world().filePath(QStringLiteral("bench.conf")));
    ActionHistoryStore history(settings, SystemClock::shared());
    double moveSeconds = 0;
    double putBackSeconds = 0;
    for (auto _ : state) {
        state.PauseTiming();
        QDir(caches).removeRecursively();
        QDir(PlatformPaths::appDataParent() + QStringLiteral("/Trash")).removeRecursively();
        QDir().mkpath(caches);
        const QByteArray content(100, 'c');
        for (int i = 0; i < items; ++i) {
            QFile file(caches + QStringLiteral("/item %1").arg(i));
            if (file.open(QIODevice::WriteOnly))
                file.write(content);
        }
        state.ResumeTiming();

        auto start = std::chrono::steady_clock::now();
        const TrashMover::Outcome outcome = TrashMover::moveContents({caches});
        moveSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        QList<ActionHistoryStore::UndoPair> pairs;
        for (const TrashMover::Moved& moved : outcome.moved)
            pairs.append({moved.name, moved.trashName});
        const ActionHistoryEntry entry = history.record(
            QStringLiteral("User Cache Cleaner"), ActionHistoryStore::undoPayload(pairs), true);
        start = std::chrono::steady_clock::now();
        const ActionHistoryStore::PutBackResult back = history.putBack(entry);
        putBackSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (back.restored != items || outcome.moved.size() != items)
            state.SkipWithError("not every item went to the Trash and back");
    }
    state.counters["move_s"] = benchmark::Counter(moveSeconds, benchmark::Counter::kAvgIterations);
    state.counters["putback_s"] =
        benchmark::Counter(putBackSeconds, benchmark::Counter::kAvgIterations);
}
BENCHMARK(MoveCacheItemsToTrashAndPutBack)->Unit(benchmark::kMillisecond)->Iterations(3);

QString measuredFolder() {
    static const QString folder = [] {
        const QString path = world().filePath(QStringLiteral("measured"));
        fill(path, 100000, 500);
        return path;
    }();
    return folder;
}

void MeasureFolderOf100kFiles(benchmark::State& state) {
    const QString folder = measuredFolder();
    qint64 bytes = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(bytes = FolderSize::allocatedBytes(folder));
    state.counters["bytes"] = double(bytes);
}
BENCHMARK(MeasureFolderOf100kFiles)->Unit(benchmark::kMillisecond)->Iterations(5);

void DuOnTheSameFolder(benchmark::State& state) {
    const QString folder = measuredFolder();
    qint64 bytes = 0;
    for (auto _ : state) {
        const ToolRunResult result = ToolRunner::run(
            QStringLiteral("/usr/bin/du"), {QStringLiteral("-s"), QStringLiteral("-B1"), folder});
        bytes = result.standardOutput.section(QLatin1Char('\t'), 0, 0).toLongLong();
    }
    state.counters["bytes"] = double(bytes);
}
BENCHMARK(DuOnTheSameFolder)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

int main(int argc, char** argv) {
    const QString home = world().filePath(QStringLiteral("home"));
    QDir().mkpath(home);
    qputenv("HOME", QFile::encodeName(home));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home + QStringLiteral("/.local/share")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home + QStringLiteral("/.cache")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home + QStringLiteral("/.config")));
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
