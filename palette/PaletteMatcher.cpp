#include "palette/PaletteMatcher.h"

#include "palette/PaletteText.h"

#include <algorithm>
#include <string_view>

namespace velmox {

QString rawValue(PaletteSection section) {
    return section == PaletteSection::settings ? QStringLiteral("settings")
                                               : QStringLiteral("entries");
}

QString paletteKind(const QString& id) {
    return id.left(id.indexOf(u':'));
}

QString paletteKey(const QString& id) {
    return id.mid(id.indexOf(u':') + 1);
}

namespace {

constexpr int kTitleWord = 120;
constexpr int kTitleWordPrefix = 100;
constexpr int kInsideTitle = 60;
constexpr int kOtherWordPrefix = 40;
constexpr int kInsideOther = 20;
constexpr int kSamePhrase = 100;
constexpr int kPhrasePrefix = 50;
constexpr qsizetype kSubstringMinimum = 3;

// Plain UTF-16 comparisons: the words are already folded, and Qt's general-purpose
// QString::contains/startsWith cost more than the comparisons themselves on words this short.
std::u16string_view view(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())};
}

bool anyEquals(const QStringList& words, std::u16string_view q) {
    return std::any_of(words.cbegin(), words.cend(),
                       [&](const QString& word) { return view(word) == q; });
}

bool anyStartsWith(const QStringList& words, std::u16string_view prefix) {
    return std::any_of(words.cbegin(), words.cend(),
                       [&](const QString& word) { return view(word).starts_with(prefix); });
}

bool contains(const QString& text, std::u16string_view part) {
    return view(text).find(part) != std::u16string_view::npos;
}

} // namespace

PaletteIndex::Sketch PaletteIndex::sketchOf(const QString& text) {
    // Every character and every pair of neighbours sets one of 128 bits. A string that
    // contains another has all of the other's bits, so a missing bit rules out rules 1 to 3
    // (or 4 and 5) at once without comparing any text.
    Sketch sketch;
    const auto set = [&](std::uint32_t hash) {
        const std::uint32_t bit = (hash * 2654435761u) >> 25;
        sketch.bits[bit >> 6] |= std::uint64_t{1} << (bit & 63);
    };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const std::uint32_t c = text.at(i).unicode();
        set(c + 0x10000u);
        if (i > 0)
            set((std::uint32_t{text.at(i - 1).unicode()} << 16) | c);
    }
    return sketch;
}

PaletteIndex::PaletteIndex(QList<PaletteEntry> entries) : entries_(std::move(entries)) {
    words_.reserve(static_cast<std::size_t>(entries_.size()));
    for (const PaletteEntry& entry : entries_) {
        Words words;
        words.title = paletteCachedTokens(entry.title);
        words.other = paletteCachedTokens(
            entry.detail.isEmpty() ? entry.keywords : entry.detail + u' ' + entry.keywords);
        words.titleJoined = words.title.join(QString());
        words.otherJoined = words.other.join(QString());
        words.titlePhrase = words.title.join(u' ');
        words.titleSketch = sketchOf(words.titleJoined);
        words.otherSketch = sketchOf(words.otherJoined);
        words_.push_back(std::move(words));
    }
}

PaletteIndex::Query PaletteIndex::prepare(const QStringList& queryTokens) {
    Query query{queryTokens, {}, queryTokens.join(u' ')};
    for (const QString& token : queryTokens)
        query.sketches.push_back(sketchOf(token));
    return query;
}

std::optional<int> PaletteIndex::score(const QStringList& queryTokens, int index) const {
    return score(prepare(queryTokens), index);
}

std::optional<int> PaletteIndex::score(const Query& query, int index) const {
    if (query.tokens.isEmpty())
        return 0;
    const Words& words = words_[static_cast<std::size_t>(index)];
    int total = 0;
    for (qsizetype t = 0; t < query.tokens.size(); ++t) {
        const QString& token = query.tokens.at(t);
        const Sketch& sketch = query.sketches[static_cast<std::size_t>(t)];
        const std::u16string_view q = view(token);
        const bool longEnough = token.size() >= kSubstringMinimum;
        const bool maybeInTitle = sketch.within(words.titleSketch);
        const bool maybeInOther = sketch.within(words.otherSketch);
        if (maybeInTitle && anyEquals(words.title, q))
            total += kTitleWord;
        else if (maybeInTitle && anyStartsWith(words.title, q))
            total += kTitleWordPrefix;
        else if (maybeInTitle && longEnough && contains(words.titleJoined, q))
            total += kInsideTitle;
        else if (maybeInOther && anyStartsWith(words.other, q))
            total += kOtherWordPrefix;
        else if (maybeInOther && longEnough && contains(words.otherJoined, q))
            total += kInsideOther;
        else
            return std::nullopt;
    }
    const QString& queryPhrase = query.phrase;
    if (words.titlePhrase == queryPhrase)
        total += kSamePhrase;
    else if (words.titlePhrase.startsWith(queryPhrase))
        total += kPhrasePrefix;
    return total;
}

QList<PaletteMatch> PaletteIndex::rank(const QString& query) const {
    const Query prepared = prepare(paletteTokens(query));
    QList<PaletteMatch> matches;
    for (int i = 0; i < entries_.size(); ++i) {
        if (const std::optional<int> points = score(prepared, i))
            matches.append({i, *points});
    }
    std::stable_sort(
        matches.begin(), matches.end(),
        [](const PaletteMatch& a, const PaletteMatch& b) { return a.score > b.score; });
    int settingsShown = 0;
    matches.removeIf([&](const PaletteMatch& match) {
        return entries_[match.index].section == PaletteSection::settings &&
               ++settingsShown > settingsRowLimit;
    });
    return matches;
}

} // namespace velmox
