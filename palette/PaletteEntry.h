#pragma once

#include <QString>

namespace velmox {

// Which list of the palette a row belongs to: the entries (pages, tabs, tasks, routines,
// profiles, custom commands) or the settings index, which shows at most 12 rows.
enum class PaletteSection { entries, settings };

// One searchable row of the palette. `id` never changes between versions ("page:dashboard",
// "task:user-caches", "setting:diskHealthNotify"): favourites, recents and scripts keep it.
struct PaletteEntry {
    QString id;
    QString title;
    // A second descriptive string; settings items have one, other entries leave it empty.
    QString detail;
    // Space-separated words that find the entry without being shown.
    QString keywords;
    PaletteSection section = PaletteSection::entries;

    bool operator==(const PaletteEntry&) const = default;
};

QString rawValue(PaletteSection section);

} // namespace velmox
