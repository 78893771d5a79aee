#include "storage/SunburstLayout.h"

#include <algorithm>
#include <numbers>

namespace velmox {

namespace {

struct Builder {
    const FileTree& tree;
    TreeSortKey key;
    std::vector<double> minSweep; // degrees, per ring
    std::vector<std::vector<SunburstArc>>& rings;

    void divide(int32_t folder, double start, double sweep, size_t ring, int16_t slice) {
        const int64_t total = tree.size(folder, key);
        if (ring >= rings.size() || total <= 0 || tree.childCount(folder) == 0)
            return;
        const double perByte = sweep / double(total);
        double at = start;
        for (const int32_t child : *tree.sortedChildren(folder, key)) {
            const double part = double(tree.size(child, key)) * perByte;
            if (part < minSweep[ring])
                break;
            rings[ring].push_back({float(at), float(part), child, slice});
            if (tree.hasFlag(child, NodeFlag::directory))
                divide(child, at, part, ring + 1, slice);
            at += part;
        }
    }
};

} // namespace

std::vector<std::vector<SunburstArc>> SunburstLayout::build(const FileTree& tree, TreeSortKey key,
                                                            const QList<ChartSlice>& slices,
                                                            const std::vector<double>& outerRadii) {
    std::vector<std::vector<SunburstArc>> rings(
        std::min(outerRadii.size(), size_t(kMaxLevels - 1)));
    Builder builder{tree, key, {}, rings};
    for (size_t ring = 0; ring < rings.size(); ++ring)
        builder.minSweep.push_back(180.0 / std::numbers::pi / std::max(outerRadii[ring], 1.0));
    for (qsizetype i = 0; i < slices.size(); ++i) {
        const ChartSlice& slice = slices[i];
        const int32_t node = slice.segment.node;
        if (slice.segment.kind != ChartSegment::Kind::item || node < 0 || node >= tree.size() ||
            !tree.hasFlag(node, NodeFlag::directory))
            continue;
        builder.divide(node, slice.startAngle, slice.endAngle - slice.startAngle, 0, int16_t(i));
    }
    return rings;
}

std::optional<SunburstArc> SunburstLayout::arcAt(const std::vector<SunburstArc>& ring,
                                                 double angle) {
    // The last arc starting at or before the angle.
    const auto after =
        std::upper_bound(ring.begin(), ring.end(), angle, [](double value, const SunburstArc& arc) {
            return value < double(arc.start);
        });
    if (after == ring.begin())
        return std::nullopt;
    const SunburstArc& arc = *(after - 1);
    if (angle >= double(arc.start) + double(arc.sweep))
        return std::nullopt;
    return arc;
}

} // namespace velmox
