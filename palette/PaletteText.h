#pragma once

#include <QString>
#include <QStringList>

namespace velmox {

// How the palette reads text: folded for case and diacritics with no locale (full Unicode
// case folding, then canonical decomposition with every combining mark removed; no
// compatibility mapping, so full-width digits stay as they are), with every scalar that is
// not a letter or a number turned into a space.
QString paletteNormalized(const QString& text);

// The words of a text after normalisation, empty pieces dropped.
QStringList paletteTokens(const QString& text);

// paletteTokens() through the process-wide token cache: a text is tokenised once and kept
// until the cache holds more than `paletteTokenCacheLimit` texts; then it is emptied whole
// before the next insert. Safe from any thread (a lock guards each lookup and insert; the
// tokenising runs outside it).
QStringList paletteCachedTokens(const QString& text);
inline constexpr int paletteTokenCacheLimit = 3000;
int paletteTokenCacheSize();

} // namespace velmox
