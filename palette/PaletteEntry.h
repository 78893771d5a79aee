#pragma once

#include <QString>

namespace velmox {

// Which list of the palette a row belongs to: the entries (pages, tabs, tasks, routines,
// profiles, custom commands) or the settings index, which shows at most 12 rows.
enum class PaletteSection { entries, settings };

// One searchable row of the palette. `id` never changes between versions ("page:dashboard",
// "task:user-caches", "setting:autoCleanEnabled"): favourites, recents and scripts keep it.
// Its kind is the part before the colon: page, tab and setting entries open a place; task,
// automation, chain, profile and command entries run something.
struct PaletteEntry {
    QString id;
    QString title;
    // A second descriptive string; settings items have one, other entries leave it empty.
    QString detail;
    // Space-separated words that find the entry without being shown.
    QString keywords;
    PaletteSection section = PaletteSection::entries;
    // Where opening the entry leads: a page identifier, "<page>/<tab>", "settings/<pane>" for
    // the settings window, or "help/about". Empty for an entry that runs in place.
    QString destination;
    // Asked before the entry runs; empty when it runs without asking.
    QString question;

    bool operator==(const PaletteEntry&) const = default;
};

QString rawValue(PaletteSection section);
// "task" for "task:user-caches".
QString paletteKind(const QString& id);
// "user-caches" for "task:user-caches".
QString paletteKey(const QString& id);

} // namespace velmox
