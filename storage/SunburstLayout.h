#pragma once

#include "storage/ChartSegment.h"
#include "storage/FileTree.h"

#include <QList>
#include <cstdint>
#include <optional>
#include <vector>

namespace velmox {

// One piece of an outer ring of the chart: a node of the tree placed on the circle (degrees,
// clockwise from the top) and the inner slice it descends from (its colour).
struct SunburstArc {
    float start = 0;
    float sweep = 0;
    int32_t node = -1;
    int16_t slice = 0;
    bool operator==(const SunburstArc&) const = default;
};

// The rings outside the chart's inner ring of slices: each item slice that is a folder is
// divided among its children, largest first, and so on outward. An arc narrower than one pixel
// at its ring's outer edge is left out with everything after it (children come largest first),
// so the work depends on the size of the drawing, not of the tree: a million-node tree lays
// out as fast as a small one once its sorted child orders are cached.
struct SunburstLayout {
    static constexpr int kMaxLevels = 6;

    // rings[0] lies just outside the slices; `outerRadii[i]` is ring i's outer radius in
    // pixels (as many rings as radii, at most kMaxLevels - 1). Within a ring the arcs come in
    // clockwise order.
    static std::vector<std::vector<SunburstArc>> build(const FileTree& tree, TreeSortKey key,
                                                       const QList<ChartSlice>& slices,
                                                       const std::vector<double>& outerRadii);
    // The arc of a ring at an angle (degrees, clockwise from the top), or nothing.
    static std::optional<SunburstArc> arcAt(const std::vector<SunburstArc>& ring, double angle);
};

} // namespace velmox
