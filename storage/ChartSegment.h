#pragma once

#include "storage/FileTree.h"
#include "storage/VolumeInfo.h"

#include <QList>
#include <QString>
#include <cstdint>
#include <optional>

namespace velmox {

struct ChartSegment {
    enum class Kind { item, other, unscanned, purgeable, free };
    QString label;
    int64_t bytes = 0;
    int colorIndex = 0;
    Kind kind = Kind::item;
    int32_t node = -1; // the child a segment of kind item stands for
    bool operator==(const ChartSegment&) const = default;
};

struct ChartSlice {
    ChartSegment segment;
    double startAngle = 0;
    double endAngle = 0;
    bool operator==(const ChartSlice&) const = default;
};

struct StorageChart {
    static constexpr int kMaxOwnSegments = 9;

    // A folder's ring: its largest children (each at least 1 % of it, at most nine), then
    // "Other files"; for a whole volume also the space the scan did not see, purgeable and
    // free space.
    static QList<ChartSegment> segments(const FileTree& tree, int32_t node, TreeSortKey key,
                                        const std::optional<VolumeInfo>& volume = std::nullopt);
    // Places the segments around a full circle (degrees, clockwise from the top).
    static QList<ChartSlice> slices(const QList<ChartSegment>& segments);

    // "<0.1%", "9.5%", "42%".
    static QString percentLabel(int64_t part, int64_t whole);
    // "1 item", "12 items".
    static QString itemCount(int64_t count);
};

} // namespace velmox
