// The Storage Manager's views of a large tree: the sunburst's full repaint (offscreen, four
// levels) and the largest files and file types of the whole tree. The tree has the shape
// make-tree.py gives the disk (100 groups of 1000 folders of 10 files: 1.1 M nodes), built in
// memory so that no scan is timed. Its sizes are uneven (a group weighs 1 to 10 times another,
// a few files are far larger than most), so the chart has slices and arcs to draw: with
// make-tree.py's nearly equal sizes every group is under 1 % and lands in "Other files". Each
// figure is the median of its repetitions.
//
// Removals from the page: RemovalRebuild is the whole edit of the tree for one removal (copy and
// renumber), which the job does on a thread of its own; RemovalMainThreadStall is the longest
// time the main thread works without a break (its own processor time) from the request until
// the edited tree is shown (the job's tree read from a real cache file, as after a restart).

#include "app/pages/StorageRingChart.h"
#include "services/Clock.h"
#include "storage/ChartSegment.h"
#include "storage/ScanJob.h"
#include "storage/StorageCatalogStore.h"
#include "storage/TreeBreakdown.h"

#include <QApplication>
#include <QImage>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <ctime>

using namespace velmox;

namespace {

// Files of uneven sizes (a few far larger than most), so that folders differ.
int64_t fileBytes(size_t seed) {
    return int64_t(4096) * 4096 / int64_t(1 + seed % 4096);
}

// make-tree.py's shape: 100 groups of 1000 folders of 10 files.
std::shared_ptr<FileTree> generatedTree() {
    static const std::shared_ptr<FileTree> tree = [] {
        constexpr int groups = 100;
        constexpr int foldersPerGroup = 1000;
        constexpr int filesPerFolder = 10;
        auto made = std::make_shared<FileTree>(QStringLiteral("/bench"), QStringLiteral("bench"));
        made->append(-1, NodeFlag::directory, 4096, 4096, 0, "bench");
        std::vector<int32_t> groupNodes;
        for (int g = 0; g < groups; ++g)
            groupNodes.push_back(made->append(0, NodeFlag::directory, 4096, 4096, 0,
                                              QByteArray("group") + QByteArray::number(g)));
        std::vector<int32_t> folders;
        for (int g = 0; g < groups; ++g)
            for (int f = 0; f < foldersPerGroup; ++f)
                folders.push_back(made->append(groupNodes[size_t(g)], NodeFlag::directory, 4096,
                                               4096, 0,
                                               QByteArray("folder") + QByteArray::number(f)));
        for (size_t index = 0; index < folders.size(); ++index)
            for (int number = 0; number < filesPerFolder; ++number) {
                const auto group = int64_t(index / foldersPerGroup);
                const int64_t bytes =
                    (group % 10 + 1) * fileBytes(index * 7 + size_t(number) * 131);
                made->append(folders[index], 0, (bytes + 4095) / 4096 * 4096, bytes, 0,
                             QByteArray("file-") + QByteArray::number(number) + ".dat");
            }
        made->sumFolderSizes();
        return made;
    }();
    return tree;
}

// The same number of nodes four folders deep, ten folders to a folder, 1100 files in each of
// the deepest: every ring has as many arcs wide enough to draw as fit.
std::shared_ptr<FileTree> deepTree() {
    static const std::shared_ptr<FileTree> tree = [] {
        auto made = std::make_shared<FileTree>(QStringLiteral("/deep"), QStringLiteral("deep"));
        made->append(-1, NodeFlag::directory, 4096, 4096, 0, "deep");
        std::vector<int32_t> level{0};
        for (int depth = 0; depth < 3; ++depth) {
            std::vector<int32_t> next;
            for (const int32_t parent : level)
                for (int i = 0; i < 10; ++i)
                    next.push_back(made->append(parent, NodeFlag::directory, 4096, 4096, 0,
                                                QByteArray("d") + QByteArray::number(i)));
            level = std::move(next);
        }
        size_t seed = 0;
        for (const int32_t parent : level)
            for (int i = 0; i < 1100; ++i) {
                const int64_t bytes = fileBytes(seed++ * 7919);
                made->append(parent, 0, (bytes + 4095) / 4096 * 4096, bytes, 0,
                             QByteArray("f") + QByteArray::number(i));
            }
        made->sumFolderSizes();
        return made;
    }();
    return tree;
}

void SunburstRepaint(benchmark::State& state) {
    const auto tree = state.range(1) == 0 ? generatedTree() : deepTree();
    StorageRingChart chart;
    chart.resize(640, 860);
    chart.setTree(tree, TreeSortKey::real);
    chart.setSegments(StorageChart::segments(*tree, 0, TreeSortKey::real), "bench");
    chart.setLevels(int(state.range(0)));
    QImage image(chart.size(), QImage::Format_ARGB32_Premultiplied);
    chart.render(&image); // the tree's sorted child orders are made once, as on screen
    for (auto _ : state) {
        // A full repaint after the tree changed: the rings are laid out again too.
        chart.setTree(tree, TreeSortKey::real);
        chart.render(&image);
    }
    state.counters["arcs"] = double(chart.arcCount());
    state.counters["nodes"] = tree->size();
}

void LargestFiles(benchmark::State& state) {
    const auto tree = generatedTree();
    for (auto _ : state)
        benchmark::DoNotOptimize(TreeBreakdown::largestFiles(*tree, 0, TreeSortKey::real, 100));
    state.counters["nodes"] = tree->size();
}

void FileTypes(benchmark::State& state) {
    const auto tree = generatedTree();
    for (auto _ : state)
        benchmark::DoNotOptimize(TreeBreakdown::fileTypes(*tree, 0));
}

// Ten files of the `index`-th folder of the tree (each repetition takes other ones).
QList<QByteArray> removalPaths(int index) {
    QList<QByteArray> paths;
    const QByteArray folder = "/bench/group" + QByteArray::number(index % 100) + "/folder" +
                              QByteArray::number(index / 100);
    for (int number = 0; number < 10; ++number)
        paths << folder + "/file-" + QByteArray::number(number) + ".dat";
    return paths;
}

void RemovalRebuild(benchmark::State& state) {
    const auto tree = generatedTree();
    int index = 0;
    for (auto _ : state) {
        std::vector<int32_t> nodes;
        for (const QByteArray& path : removalPaths(index++))
            nodes.push_back(*tree->findPath(path));
        FileTree edited = tree->copy();
        edited.removeSubtrees(nodes);
        benchmark::DoNotOptimize(edited.size());
    }
}

void RemovalMainThreadStall(benchmark::State& state) {
    static QTemporaryDir data;
    static StorageCatalogStore store(data.path());
    static const ScanScope scope{ScanScope::Kind::folder, QStringLiteral("/bench"), {}, {}};
    static const std::unique_ptr<ScanJob> job = [] {
        if (!store.writeCache(scope.identifier(), generatedTree(), CatalogMeta{}).get())
            std::abort();
        auto made = std::make_unique<ScanJob>(scope, SystemClock::shared());
        made->setCacheStore(&store);
        made->openCachedScan();
        while (made->state() != ScanJob::State::finished)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        return made;
    }();
    static int index = 0;
    for (auto _ : state) {
        // The main thread's own processor time, so that other programs on a busy machine do
        // not count as a stall.
        const auto now = [] {
            timespec time{};
            clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
            return int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
        };
        int64_t start = now();
        job->removeFromTree(removalPaths(index++));
        int64_t longest = now() - start;
        while (job->isRemoving()) {
            start = now();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            longest = std::max(longest, now() - start);
        }
        state.SetIterationTime(double(longest) / 1e9);
    }
    state.counters["nodes"] = job->tree()->size();
}

} // namespace

// Levels, then the tree: 0 make-tree.py's shape, 1 four folders deep.
BENCHMARK(SunburstRepaint)
    ->Args({4, 0})
    ->Args({4, 1})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(100)
    ->ReportAggregatesOnly(true);
BENCHMARK(LargestFiles)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true);
BENCHMARK(FileTypes)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true);

BENCHMARK(RemovalRebuild)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true);
BENCHMARK(RemovalMainThreadStall)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
