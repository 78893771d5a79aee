#pragma once

#include "palette/PaletteEntry.h"

#include <QList>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <vector>

namespace velmox {

struct PaletteMatch {
    int index = 0; // position in the index's entry list
    int score = 0;
    bool operator==(const PaletteMatch&) const = default;
};

// The palette's entries with their words, ready to be scored against what the user types.
// The entries' strings are tokenised once, through the token cache, when the index is built;
// each keystroke then only tokenises the query and compares words. Read-only after
// construction, so one index may be ranked from several threads.
class PaletteIndex {
public:
    static constexpr int settingsRowLimit = 12;

    explicit PaletteIndex(QList<PaletteEntry> entries);

    const QList<PaletteEntry>& entries() const { return entries_; }

    // The score of entry `index` for the query's tokens; nothing when some query token
    // matches nowhere. An empty query scores 0 for every entry.
    std::optional<int> score(const QStringList& queryTokens, int index) const;

    // The entries that match `query`, highest score first; equal scores keep the list's
    // order. Settings rows past the first 12 are left out.
    QList<PaletteMatch> rank(const QString& query) const;

private:
    struct Sketch {
        std::uint64_t bits[2] = {0, 0};
        bool within(const Sketch& other) const {
            return (bits[0] & ~other.bits[0]) == 0 && (bits[1] & ~other.bits[1]) == 0;
        }
    };
    struct Query {
        QStringList tokens;
        std::vector<Sketch> sketches;
        QString phrase;
    };
    struct Words {
        QStringList title;
        QStringList other; // the descriptive string's and the keywords' words
        QString titleJoined;
        QString otherJoined;
        QString titlePhrase;
        Sketch titleSketch;
        Sketch otherSketch;
    };

    static Sketch sketchOf(const QString& text);
    static Query prepare(const QStringList& queryTokens);
    std::optional<int> score(const Query& query, int index) const;

    QList<PaletteEntry> entries_;
    std::vector<Words> words_;
};

} // namespace velmox
