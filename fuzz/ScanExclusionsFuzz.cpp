// Exclusion patterns as a settings file or a command line gives them, one per line, then paths
// to match: writing the patterns one way is stable, and matching never reads out of bounds.
#include "storage/ScanExclusions.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QList<QByteArray> parts = bytes.split('\0');
    QStringList patterns;
    for (const QByteArray& line : parts.value(0).split('\n'))
        patterns.append(QString::fromUtf8(line));
    const QStringList normalized = velmox::ScanExclusions::normalized(patterns);
    if (velmox::ScanExclusions::normalized(normalized) != normalized)
        std::abort();
    for (const QString& pattern : normalized)
        if (!velmox::ScanExclusions::check(pattern))
            std::abort();
    const velmox::ScanExclusions exclusions(patterns, QByteArrayLiteral("/scan/root"));
    for (qsizetype i = 1; i < parts.size(); ++i) {
        (void)exclusions.excludes(parts[i]);
        (void)exclusions.inFolder(parts[i]).excludes(QByteArrayLiteral("name.iso"));
    }
    return 0;
}
