#include "palette/PaletteMatcher.h"

#include "cleaning/OptimizationRegistry.h"
#include "palette/PaletteCatalog.h"
#include "palette/PaletteText.h"
#include "services/Category.h"

#include <gtest/gtest.h>

using namespace velmox;

namespace {

PaletteEntry entry(const QString& id, const QString& title, const QString& keywords = {},
                   PaletteSection section = PaletteSection::entries) {
    return {id, title, QString(), keywords, section, QString(), QString()};
}

std::optional<int> scoreOf(const QString& query, const PaletteEntry& row) {
    return PaletteIndex({row}).score(paletteTokens(query), 0);
}

std::optional<int> pageScore(const QString& query, const QString& id) {
    for (const PaletteEntry& row : builtInPaletteEntries(OptimizationRegistry()))
        if (row.id == id)
            return scoreOf(query, row);
    ADD_FAILURE() << "no entry " << id.toStdString();
    return std::nullopt;
}

QStringList rankedIds(const QList<PaletteEntry>& rows, const QString& query) {
    QStringList ids;
    for (const PaletteMatch& match : PaletteIndex(rows).rank(query))
        ids << rows[match.index].id;
    return ids;
}

} // namespace

TEST(PaletteText, FoldsCaseAndMarksWithoutLocaleOrCompatibilityMapping) {
    const struct {
        QString text;
        QString normalized;
    } cases[] = {
        {QStringLiteral("Épée Ñandú"), QStringLiteral("epee nandu")},
        {QStringLiteral("Straße"), QStringLiteral("strasse")},
        {QStringLiteral("ΟΔΟΣ ὁδός"), QStringLiteral("οδοσ οδοσ")},   // final sigma folds to σ
        {QStringLiteral("İSTANBUL"), QStringLiteral("istanbul")},     // the dot above is a mark
        {QStringLiteral("ılık"), QStringLiteral("ılık")},             // dotless i stays itself
        {QStringLiteral("ＡＢＣ１２"), QStringLiteral("ａｂｃ１２")}, // full-width stays full-width
        {QStringLiteral("Fan & Temp-2+x"), QStringLiteral("fan   temp 2 x")},
        {QStringLiteral("磁盘 健康"), QStringLiteral("磁盘 健康")},
        {QStringLiteral("😀ok"), QStringLiteral(" ok")},
    };
    for (const auto& c : cases)
        EXPECT_EQ(paletteNormalized(c.text), c.normalized) << c.text.toStdString();
    EXPECT_EQ(paletteTokens(QStringLiteral("  Fan & Temperature ")),
              (QStringList{"fan", "temperature"}));
    // Full-width digits are numbers, so they are kept as a word of their own.
    EXPECT_EQ(paletteTokens(QStringLiteral("disk１")), QStringList{"disk１"});
}

TEST(PaletteMatcher, ScoresTheRulesInOrderWithThePhraseBonus) {
    EXPECT_EQ(pageScore("fan temp", "page:fanTemp"), 120 + 100 + 50);
    EXPECT_EQ(pageScore("Fan & Temperature", "page:fanTemp"), 120 + 120 + 100);
    // Through the keywords: "licence" and "license" both start with "lic".
    EXPECT_EQ(pageScore("lic", "tab:settings/about"), 40);
    EXPECT_EQ(pageScore("LICENSE", "tab:settings/about"), 40);
    // Typed with accents and capitals, the plain title word still matches exactly.
    EXPECT_EQ(pageScore("DÉFAULTS", "page:defaults"), 120 + 100);

    const PaletteEntry storage = entry("s", "Storage Manager", "disk usage scan");
    EXPECT_EQ(scoreOf("a", storage), std::nullopt) << "substrings need three characters";
    EXPECT_EQ(scoreOf("m", storage), 100);
    EXPECT_EQ(scoreOf("age", storage), 60);  // inside the joined title
    EXPECT_EQ(scoreOf("us", storage), 40);   // a keyword starts with it
    EXPECT_EQ(scoreOf("isku", storage), 20); // inside the joined keywords
    EXPECT_EQ(scoreOf("manager scan", storage), 120 + 40);
    EXPECT_EQ(scoreOf("storage zebra", storage), std::nullopt)
        << "every query word must match somewhere";
    EXPECT_EQ(scoreOf("", storage), 0);
}

TEST(PaletteMatcher, RanksByScoreKeepsTableOrderOnTiesAndCapsSettings) {
    QList<PaletteEntry> rows{entry("first", "Clean Logs"), entry("second", "Clean Caches"),
                             entry("best", "Clean"), entry("none", "Fans")};
    for (int i = 0; i < 15; ++i)
        rows.append(entry(QStringLiteral("setting%1").arg(i),
                          QStringLiteral("Clean setting %1").arg(i), {}, PaletteSection::settings));
    const QStringList ids = rankedIds(rows, "clean");
    ASSERT_EQ(ids.size(), 3 + 12);
    EXPECT_EQ(ids.mid(0, 3), (QStringList{"best", "first", "second"}));
    EXPECT_EQ(ids.at(3), "setting0");
    EXPECT_EQ(ids.last(), "setting11");
    EXPECT_EQ(rankedIds(rows, "").size(), 4 + 12) << "an empty query lists everything";
}

TEST(PaletteText, TheTokenCacheIsEmptiedWholeWhenFull) {
    for (int i = 0; i <= paletteTokenCacheLimit + 1; ++i)
        paletteCachedTokens(QStringLiteral("text %1").arg(i));
    EXPECT_LE(paletteTokenCacheSize(), paletteTokenCacheLimit + 1);
    EXPECT_GE(paletteTokenCacheSize(), 1);
    EXPECT_EQ(paletteCachedTokens(QStringLiteral("Fan & Temperature")),
              (QStringList{"fan", "temperature"}));
}

TEST(PaletteCatalog, EveryPageAndTaskOfBothSystemsHasOneEntryThatLeadsSomewhereOrAsks) {
    for (const auto system :
         {OptimizationRegistry::System::linuxDesktop, OptimizationRegistry::System::macOS}) {
        const OptimizationRegistry registry(TaskPlaces::current(), system);
        const QList<PaletteEntry> entries = builtInPaletteEntries(registry);
        QHash<QString, PaletteEntry> byId;
        for (const PaletteEntry& each : entries) {
            EXPECT_FALSE(byId.contains(each.id)) << "twice: " << each.id.toStdString();
            byId.insert(each.id, each);
        }
        for (const Category category : allCategories())
            EXPECT_EQ(byId.value(QStringLiteral("page:") + rawValue(category)).destination,
                      rawValue(category));
        for (const OptimizationTask& task : registry.allTasks()) {
            const PaletteEntry row =
                byId.value(QStringLiteral("task:") + OptimizationRegistry::key(task));
            EXPECT_EQ(row.title, task.title);
            // Every task runs in place, and one that can do harm asks first.
            EXPECT_TRUE(row.destination.isEmpty()) << task.title.toStdString();
            EXPECT_EQ(!row.question.isEmpty(), task.needsConfirmation())
                << task.title.toStdString();
        }
        for (const AutomationTask& task : automationCatalogue())
            EXPECT_EQ(byId.value(QStringLiteral("automation:") + task.id).title, task.title);
    }
}
