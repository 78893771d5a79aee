// One keystroke of the palette: 5,000 entries ranked for a three-word query, their words
// already taken from the token cache, as while the user types.
#include "palette/PaletteMatcher.h"

#include <benchmark/benchmark.h>

using namespace velmox;

namespace {

QList<PaletteEntry> manyEntries(int count) {
    static const QStringList words{"disk",  "clean",  "cache", "memory", "network", "fan",
                                   "trash", "health", "scan",  "block",  "speed",   "log"};
    QList<PaletteEntry> entries;
    for (int i = 0; i < count; ++i) {
        const QString title = QStringLiteral("%1 %2 Tool %3")
                                  .arg(words[i % words.size()], words[(i / 7) % words.size()])
                                  .arg(i);
        const QString keywords =
            QStringLiteral("%1 %2 settings options entry%3")
                .arg(words[(i / 3) % words.size()], words[(i / 11) % words.size()])
                .arg(i);
        entries.append({QStringLiteral("bench:%1").arg(i), title, QString(), keywords,
                        i % 5 == 0 ? PaletteSection::settings : PaletteSection::entries, QString(),
                        QString()});
    }
    return entries;
}

void rankFiveThousand(benchmark::State& state) {
    const PaletteIndex index(manyEntries(5000));
    const QString query = QStringLiteral("disk cle tool");
    for (auto _ : state)
        benchmark::DoNotOptimize(index.rank(query));
}
BENCHMARK(rankFiveThousand)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
