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
#include <QFileInfo>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

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
    // Each round starts with an empty Trash. The last round's Trash is set aside rather than
    // deleted: on an ext4 without a journal (this machine's), the inode allocator skips, one by
    // one, the inodes freed in the last seconds, so deleting 20,000 items between rounds would
    // make every new .trashinfo pay for a scan of them.
    const QString trash = PlatformPaths::appDataParent() + QStringLiteral("/Trash");
    QStringList setAside;
    for (auto _ : state) {
        state.PauseTiming();
        if (QFileInfo::exists(trash)) {
            setAside.append(trash + QStringLiteral(".%1").arg(setAside.size()));
            QDir().rename(trash, setAside.last());
        }
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
            pairs.append({QString::fromUtf8(moved.name), QString::fromUtf8(moved.trashName)});
        const ActionHistoryEntry entry = history.record(
            QStringLiteral("User Cache Cleaner"), ActionHistoryStore::undoPayload(pairs), true);
        start = std::chrono::steady_clock::now();
        const auto back = history.putBack(entry);
        putBackSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (!back || back->restored != items || outcome.moved.size() != items)
            state.SkipWithError("not every item went to the Trash and back");
    }
    for (const QString& folder : setAside)
        QDir(folder).removeRecursively();
    state.counters["move_s"] = benchmark::Counter(moveSeconds, benchmark::Counter::kAvgIterations);
    state.counters["putback_s"] =
        benchmark::Counter(putBackSeconds, benchmark::Counter::kAvgIterations);
}
BENCHMARK(MoveCacheItemsToTrashAndPutBack)->Unit(benchmark::kMillisecond)->Iterations(3);

// The floor under the move: per item only what the Trash rules require (an info file created
// exclusively, then one rename), with no checks, no names and no Qt.
void BareInfoFileAndRenamePerItem(benchmark::State& state) {
    constexpr int items = 10000;
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QString base = world().filePath(QStringLiteral("bare%1").arg(round++));
        for (const char* sub : {"/src", "/files", "/info"})
            QDir().mkpath(base + QLatin1String(sub));
        const QByteArray content(100, 'c');
        for (int i = 0; i < items; ++i) {
            QFile file(base + QStringLiteral("/src/item %1").arg(i));
            if (file.open(QIODevice::WriteOnly))
                file.write(content);
        }
        const QByteArray root = QFile::encodeName(base);
        const QByteArray info = "[Trash Info]\nPath=/somewhere\nDeletionDate=2026-01-01T00:00:00\n";
        state.ResumeTiming();
        for (int i = 0; i < items; ++i) {
            const QByteArray name = "/item " + QByteArray::number(i);
            const int fd = ::open(root + "/info" + name + ".trashinfo",
                                  O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (fd < 0 || ::write(fd, info.constData(), size_t(info.size())) < 0 || ::close(fd))
                state.SkipWithError("info file");
            if (::rename(root + "/src" + name, root + "/files" + name) != 0)
                state.SkipWithError("rename");
        }
    }
}
BENCHMARK(BareInfoFileAndRenamePerItem)->Unit(benchmark::kMillisecond)->Iterations(3);

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
