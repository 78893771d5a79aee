// Catalog write (with its read-back verify), read, and file size for the tree named by
// $VELMOX_BENCH_TREE (default /var/tmp/velmox-bench-tree, made by make-tree.py), scanned
// once before the timings.

#include "storage/DiskScanner.h"
#include "storage/StorageCatalogStore.h"

#include <QDateTime>
#include <QFileInfo>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>

using namespace velmox;

namespace {

struct Fixture {
    CatalogContents contents;
    QTemporaryDir folder;
    QString file;
};

Fixture& fixture() {
    static Fixture* made = [] {
        const char* tree = std::getenv("VELMOX_BENCH_TREE");
        const QString path = QString::fromLocal8Bit(tree ? tree : "/var/tmp/velmox-bench-tree");
        DiskScanner scanner(ScanConfiguration::build({ScanScope::Kind::folder, path, {}, {}}));
        if (!scanner.start() || !scanner.waitForFinished() ||
            scanner.state() != DiskScanner::State::finished) {
            std::fprintf(stderr, "The tree %s could not be scanned.\n", qPrintable(path));
            std::exit(1);
        }
        auto* f = new Fixture;
        f->contents.tree = std::move(*scanner.tree());
        f->contents.meta.rootPath = f->contents.tree.rootPath;
        f->contents.meta.scanDate = QDateTime::currentDateTime();
        f->file = f->folder.path() + QStringLiteral("/bench.vxcatalog");
        return f;
    }();
    return *made;
}

void WriteWithVerify(benchmark::State& state) {
    Fixture& f = fixture();
    for (auto _ : state)
        if (!StorageCatalogStore::writeFile(f.file, f.contents))
            state.SkipWithError("the write failed");
    state.counters["nodes"] = f.contents.tree.size();
    state.counters["fileBytes"] = static_cast<double>(QFileInfo(f.file).size());
    state.counters["bytesPerNode"] =
        static_cast<double>(QFileInfo(f.file).size()) / f.contents.tree.size();
}

void Read(benchmark::State& state) {
    Fixture& f = fixture();
    if (!QFileInfo::exists(f.file))
        (void)StorageCatalogStore::writeFile(f.file, f.contents);
    for (auto _ : state) {
        auto read = StorageCatalogStore::readFile(f.file);
        if (!read)
            state.SkipWithError("the read failed");
        benchmark::DoNotOptimize(read);
    }
}

} // namespace

BENCHMARK(WriteWithVerify)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Read)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_MAIN();
