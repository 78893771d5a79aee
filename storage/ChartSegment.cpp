#include "storage/ChartSegment.h"

#include <algorithm>

namespace velmox {

namespace {

constexpr int kOtherColor = StorageChart::kMaxOwnSegments;

} // namespace

QList<ChartSegment> StorageChart::segments(const FileTree& tree, int32_t node, TreeSortKey key,
                                           const std::optional<VolumeInfo>& volume) {
    const TreeSortKey sizeKey = key == TreeSortKey::logical ? key : TreeSortKey::real;
    const int64_t total = tree.size(node, sizeKey);
    const int64_t minimum = std::max<int64_t>(total / 100, 1);
    QList<ChartSegment> result;
    int64_t own = 0;
    for (int32_t child : *tree.sortedChildren(node, sizeKey)) {
        if (result.size() == kMaxOwnSegments)
            break;
        const int64_t bytes = tree.size(child, sizeKey);
        if (bytes < minimum)
            break;
        result.append({tree.name(child), bytes, static_cast<int>(result.size()),
                       ChartSegment::Kind::item, child});
        own += bytes;
    }
    if (total > own)
        result.append(
            {QStringLiteral("Other files"), total - own, kOtherColor, ChartSegment::Kind::other});
    if (volume) {
        const int64_t free = std::min(volume->freeAvailable, volume->freeImportant);
        const int64_t purgeable = std::abs(volume->freeAvailable - volume->freeImportant);
        const int64_t used = volume->total - free - purgeable;
        if (used > total)
            result.append({QStringLiteral("System & other (not scanned)"), used - total,
                           kOtherColor + 1, ChartSegment::Kind::unscanned});
        if (purgeable > 0)
            result.append({QStringLiteral("Purgeable"), purgeable, kOtherColor + 2,
                           ChartSegment::Kind::purgeable});
        if (free > 0)
            result.append(
                {QStringLiteral("Free"), free, kOtherColor + 3, ChartSegment::Kind::free});
    }
    return result;
}

QList<ChartSlice> StorageChart::slices(const QList<ChartSegment>& segments) {
    double sum = 0;
    for (const ChartSegment& segment : segments)
        sum += static_cast<double>(segment.bytes);
    QList<ChartSlice> result;
    double angle = 0;
    for (const ChartSegment& segment : segments) {
        const double sweep = sum > 0 ? 360.0 * static_cast<double>(segment.bytes) / sum : 0;
        result.append({segment, angle, angle + sweep});
        angle += sweep;
    }
    return result;
}

QString StorageChart::percentLabel(int64_t part, int64_t whole) {
    const double percent =
        whole > 0 ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
    if (percent < 0.1)
        return QStringLiteral("<0.1%");
    if (percent < 10)
        return QString::asprintf("%.1f%%", percent);
    return QString::asprintf("%.0f%%", percent);
}

QString StorageChart::itemCount(int64_t count) {
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

} // namespace velmox
