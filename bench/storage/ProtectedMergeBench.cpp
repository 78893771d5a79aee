// Merging the administrator pass's listing into a scan: a tree of 100,000 nodes in which
// 10 to 2,000 folders could not be opened, each read again with 20 entries. "OneRebuild" is
// ProtectedScan::merge; "RebuildPerFolder" replaces the folders one at a time, which
// rebuilds and re-sums the whole tree for each.
#include "storage/ProtectedScan.h"

#include <benchmark/benchmark.h>

using namespace velmox;

namespace {

constexpr int kFolders = 2'000;
constexpr int kFilesPerFolder = 49; // 2,000 x 50 nodes

struct Fixture {
    FileTree tree{QStringLiteral("/data"), QStringLiteral("data")};
    QList<QByteArray> blockedPaths;
    std::vector<ProtectedScanListing::Section> sections;
};

// The first `blocked` folders are closed (no children); every other folder has its files.
Fixture makeFixture(int blocked) {
    Fixture f;
    FileTree& tree = f.tree;
    tree.append(-1, NodeFlag::directory, 4096, 4096, 0, "data");
    for (int i = 0; i < kFolders; ++i) {
        const uint16_t flags =
            NodeFlag::directory | (i < blocked ? NodeFlag::blocked | NodeFlag::notRead : 0);
        tree.append(0, flags, 4096, 4096, 0, "folder" + QByteArray::number(i));
    }
    for (int i = blocked; i < kFolders; ++i)
        for (int j = 0; j < kFilesPerFolder; ++j)
            tree.append(1 + i, 0, 8192, 5000, 0, "file" + QByteArray::number(j));
    tree.sumFolderSizes();
    for (int i = 0; i < blocked; ++i) {
        const QByteArray path = "/data/folder" + QByteArray::number(i);
        FileTree fresh(QString::fromUtf8(path), QStringLiteral("folder"));
        fresh.append(-1, NodeFlag::directory, 4096, 4096, 0, "folder");
        for (int j = 0; j < 20; ++j)
            fresh.append(0, 0, 4096, 3000, 0, "secret" + QByteArray::number(j));
        fresh.sumFolderSizes();
        f.blockedPaths.append(path);
        f.sections.push_back({path, 0, std::move(fresh)});
    }
    return f;
}

void OneRebuild(benchmark::State& state) {
    const Fixture f = makeFixture(int(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        FileTree tree = f.tree.copy();
        state.ResumeTiming();
        benchmark::DoNotOptimize(ProtectedScan::merge(tree, f.sections, f.blockedPaths));
    }
}

void RebuildPerFolder(benchmark::State& state) {
    const Fixture f = makeFixture(int(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        FileTree tree = f.tree.copy();
        state.ResumeTiming();
        for (const ProtectedScanListing::Section& section : f.sections)
            tree.replaceSubtree(*tree.findPath(section.path), *section.tree);
        benchmark::DoNotOptimize(tree.alloc(0));
    }
}

} // namespace

BENCHMARK(OneRebuild)->Arg(10)->Arg(100)->Arg(1000)->Arg(2000)->Unit(benchmark::kMillisecond);
BENCHMARK(RebuildPerFolder)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
