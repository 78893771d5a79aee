#pragma once

#include "palette/PaletteEntry.h"

#include <QList>

namespace velmox {

class OptimizationRegistry;

// The palette's built-in rows, written once as data: every page with its keyword string,
// the tabs of the pages that have them, and every maintenance task of the registry.
// Built afresh on each call (the registry's tasks follow the system Velmox runs on).
QList<PaletteEntry> builtInPaletteEntries(const OptimizationRegistry& registry);

} // namespace velmox
