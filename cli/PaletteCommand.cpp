// velmox palette: the palette's ranking on the command line.
#include "cleaning/OptimizationRegistry.h"
#include "cli/CliCommand.h"
#include "palette/PaletteCatalog.h"
#include "palette/PaletteMatcher.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

struct PaletteArguments {
    QStringList words;
    bool json = false;
    int limit = -1; // every match
};

std::optional<PaletteArguments> parseArguments(const QStringList& args) {
    PaletteArguments parsed;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--json")) {
            parsed.json = true;
        } else if (arg == QLatin1String("--limit")) {
            bool ok = false;
            parsed.limit = i + 1 < args.size() ? args.at(++i).toInt(&ok) : 0;
            if (!ok || parsed.limit < 1)
                return std::nullopt;
        } else if (arg.startsWith(QLatin1String("--"))) {
            return std::nullopt;
        } else {
            parsed.words.append(arg);
        }
    }
    return parsed;
}

int runPalette(const QStringList& args, CliIO& io) {
    const std::optional<PaletteArguments> parsed = parseArguments(args);
    if (!parsed) {
        io.err << usageLine(QStringLiteral("palette")) << '\n';
        return 2;
    }
    const PaletteIndex index(builtInPaletteEntries(OptimizationRegistry()));
    const QList<PaletteEntry>& entries = index.entries();
    const QString query = parsed->words.join(u' ');
    QList<PaletteMatch> matches = index.rank(query);
    if (parsed->limit > 0 && matches.size() > parsed->limit)
        matches.resize(parsed->limit);

    if (parsed->json) {
        QJsonArray array;
        for (const PaletteMatch& match : matches) {
            const PaletteEntry& entry = entries[match.index];
            array.append(QJsonObject{{QStringLiteral("id"), entry.id},
                                     {QStringLiteral("title"), entry.title},
                                     {QStringLiteral("section"), rawValue(entry.section)},
                                     {QStringLiteral("score"), match.score}});
        }
        io.out << QJsonDocument(array).toJson(QJsonDocument::Indented);
        return 0;
    }
    if (matches.isEmpty()) {
        io.out << "Nothing matches “" << query
               << "”. Try another word, for example a page, a tab or a command.\n";
        return 0;
    }
    for (const PaletteMatch& match : matches) {
        const PaletteEntry& entry = entries[match.index];
        io.out << QString::number(match.score).rightJustified(4) << "  " << entry.title << "  ("
               << entry.id << ")\n";
    }
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(palette, "palette [QUERY...] [--json] [--limit N]",
                   "Ranks the palette's pages, tabs and tasks for a query, as the palette does.",
                   runPalette);

} // namespace velmox
