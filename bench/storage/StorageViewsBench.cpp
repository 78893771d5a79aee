// The Storage Manager's views of a large tree: the sunburst's full repaint (offscreen, four
// levels) and the largest files and file types of the whole tree. The tree has the shape
// make-tree.py gives the disk (100 groups of 1000 folders of 10 files: 1.1 M nodes), built in
// memory so that no scan is timed. Each figure is the median of its repetitions.

#include "app/pages/StorageRingChart.h"
#include "storage/ChartSegment.h"
#include "storage/TreeBreakdown.h"

#include <QApplication>
#include <QImage>
#include <benchmark/benchmark.h>

using namespace velmox;

namespace {

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
                const int64_t bytes = int64_t((index * 7 + size_t(number) * 131) % 4096);
                made->append(folders[index], 0, (bytes + 4095) / 4096 * 4096, bytes, 0,
                             QByteArray("file-") + QByteArray::number(number) + ".dat");
            }
        made->sumFolderSizes();
        return made;
    }();
    return tree;
}

void SunburstRepaint(benchmark::State& state) {
    const auto tree = generatedTree();
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

} // namespace

BENCHMARK(SunburstRepaint)
    ->Arg(4)
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

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
