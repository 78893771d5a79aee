#include "palette/PaletteText.h"

#include <QHash>
#include <QMutex>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <utility>

namespace velmox {

namespace {

constexpr std::uint32_t kMarkMask = U_GC_MN_MASK | U_GC_MC_MASK | U_GC_ME_MASK;
constexpr std::uint32_t kKeptMask = U_GC_L_MASK | U_GC_N_MASK;

struct TokenCache {
    QMutex lock;
    QHash<QString, QStringList> tokens;
};

TokenCache& tokenCache() {
    static TokenCache cache;
    return cache;
}

} // namespace

QString paletteNormalized(const QString& text) {
    icu::UnicodeString folded(false, reinterpret_cast<const char16_t*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
    folded.foldCase(U_FOLD_CASE_DEFAULT);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString decomposed;
    if (U_SUCCESS(status))
        decomposed = nfd->normalize(folded, status);
    if (U_FAILURE(status))
        decomposed = folded;

    const char16_t* units = std::as_const(decomposed).getBuffer();
    QString result;
    result.reserve(decomposed.length());
    for (int32_t i = 0; i < decomposed.length(); i = decomposed.moveIndex32(i, 1)) {
        const UChar32 scalar = decomposed.char32At(i);
        const std::uint32_t category = U_GET_GC_MASK(scalar);
        if (category & kMarkMask)
            continue;
        if (!(category & kKeptMask))
            result.append(QLatin1Char(' '));
        else
            result.append(reinterpret_cast<const QChar*>(units + i), U16_LENGTH(scalar));
    }
    return result;
}

QStringList paletteTokens(const QString& text) {
    return paletteNormalized(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QStringList paletteCachedTokens(const QString& text) {
    TokenCache& cache = tokenCache();
    {
        QMutexLocker locked(&cache.lock);
        const auto found = cache.tokens.constFind(text);
        if (found != cache.tokens.cend())
            return *found;
    }
    QStringList tokens = paletteTokens(text);
    QMutexLocker locked(&cache.lock);
    if (cache.tokens.size() > paletteTokenCacheLimit)
        cache.tokens.clear();
    cache.tokens.insert(text, tokens);
    return tokens;
}

int paletteTokenCacheSize() {
    TokenCache& cache = tokenCache();
    QMutexLocker locked(&cache.lock);
    return static_cast<int>(cache.tokens.size());
}

} // namespace velmox
