// velmox catalogs list [--json]
// velmox catalogs show NAME [--json] [--top N]
// velmox catalogs rename OLD NEW
// velmox catalogs delete NAME [--yes]
// velmox catalogs diff NAME [NAME2 | --path PATH] [--json] [--top N]

#include "cli/CliCommand.h"
#include "cli/TreeJson.h"
#include "services/ShownText.h"
#include "storage/CatalogDiff.h"
#include "storage/DiskScanner.h"
#include "storage/StorageCatalogStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <unistd.h>

namespace velmox {

namespace {

QString isoDate(const QDateTime& date) {
    return date.toOffsetFromUtc(date.offsetFromUtc()).toString(Qt::ISODate);
}

// The words of a subcommand without its options; --json and --top N taken out.
struct CatalogArgs {
    QStringList words;
    bool json = false;
    bool yes = false;
    int top = 10;
    std::optional<QString> path; // diff: the folder to scan afresh
};

std::optional<CatalogArgs> parse(const QStringList& args, QTextStream& err) {
    CatalogArgs parsed;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--json")) {
            parsed.json = true;
        } else if (arg == QLatin1String("--yes")) {
            parsed.yes = true;
        } else if (arg == QLatin1String("--top")) {
            bool ok = false;
            parsed.top = args.value(i + 1).toInt(&ok);
            if (!ok || parsed.top < 0) {
                err << "velmox catalogs: --top needs a number of at least 0.\n";
                return std::nullopt;
            }
            ++i;
        } else if (arg == QLatin1String("--path")) {
            if (i + 1 >= args.size()) {
                err << "velmox catalogs: --path needs the folder to scan.\n";
                return std::nullopt;
            }
            parsed.path = args.at(++i);
        } else if (arg.startsWith(QLatin1String("--"))) {
            err << "velmox catalogs: '" << arg << "' is not an option of this command.\n";
            return std::nullopt;
        } else {
            parsed.words.append(arg);
        }
    }
    return parsed;
}

int list(StorageCatalogStore& store, const CatalogArgs& args, CliIO& io) {
    const QList<CatalogListEntry> catalogs = store.listCatalogs();
    if (args.json) {
        QJsonArray array;
        for (const CatalogListEntry& entry : catalogs)
            if (entry.error.isEmpty())
                array.append(QJsonObject{{QStringLiteral("name"), entry.name},
                                         {QStringLiteral("file"), entry.file},
                                         {QStringLiteral("volumeName"), entry.meta.volumeName},
                                         {QStringLiteral("format"), entry.meta.format},
                                         {QStringLiteral("rootPath"), entry.meta.rootPath},
                                         {QStringLiteral("scanDate"), isoDate(entry.meta.scanDate)},
                                         {QStringLiteral("allocated"), qint64(entry.allocated)},
                                         {QStringLiteral("logical"), qint64(entry.logical)},
                                         {QStringLiteral("items"), qint64(entry.items)},
                                         {QStringLiteral("isSummary"), entry.meta.isSummary},
                                         {QStringLiteral("exclusions"),
                                          QJsonArray::fromStringList(entry.meta.exclusions)}});
        io.out << QJsonDocument(array).toJson(QJsonDocument::Compact) << '\n';
        return 0;
    }
    if (catalogs.isEmpty())
        io.out << "No catalogs are saved yet. Save one with: velmox scan PATH --save NAME\n";
    for (const CatalogListEntry& entry : catalogs)
        if (!entry.error.isEmpty())
            io.out << entry.name << "  " << entry.error << '\n';
        else
            io.out << entry.name << "  " << shownName(entry.meta.rootPath) << "  "
                   << byteText(entry.allocated) << ", " << entry.items
                   << (entry.items == 1 ? " item, " : " items, ")
                   << entry.meta.scanDate.toString(QStringLiteral("yyyy-MM-dd HH:mm")) << '\n';
    return 0;
}

int show(StorageCatalogStore& store, const CatalogArgs& args, CliIO& io) {
    const auto opened = store.openCatalog(args.words.at(1));
    if (!opened) {
        io.err << opened.error() << '\n';
        return 1;
    }
    const FileTree& tree = opened->tree;
    const CatalogMeta& meta = opened->meta;
    int64_t unreadable = 0;
    for (uint16_t flags : tree.columns().flags)
        unreadable += (flags & NodeFlag::blocked) ? 1 : 0;
    const QString name = StorageCatalogStore::catalogName(args.words.at(1));
    if (args.json) {
        const QJsonObject result{
            {QStringLiteral("name"), name},
            {QStringLiteral("scanDate"), isoDate(meta.scanDate)},
            {QStringLiteral("path"), tree.rootPath},
            {QStringLiteral("allocated"), qint64(tree.alloc(0))},
            {QStringLiteral("logical"), qint64(tree.logical(0))},
            {QStringLiteral("items"), qint64(tree.items(0))},
            {QStringLiteral("folders"), qint64(folderCount(tree))},
            {QStringLiteral("unreadable"), qint64(unreadable)},
            {QStringLiteral("top"), topJson(tree, TreeSortKey::real, args.top)},
            {QStringLiteral("exclusions"), QJsonArray::fromStringList(tree.exclusions)},
            {QStringLiteral("volume"),
             volumeJson(meta.volumeName, meta.format, meta.totalCapacity, meta.availableSpace)}};
        io.out << QJsonDocument(result).toJson(QJsonDocument::Compact) << '\n';
        return 0;
    }
    io.out << name << ": " << shownName(tree.rootPath) << ", scanned "
           << meta.scanDate.toString(QStringLiteral("yyyy-MM-dd HH:mm")) << '\n'
           << "Allocated: " << byteText(tree.alloc(0)) << " (" << tree.alloc(0) << " bytes)\n"
           << "Logical:   " << byteText(tree.logical(0)) << " (" << tree.logical(0) << " bytes)\n"
           << "Items: " << tree.items(0) << ", folders: " << folderCount(tree)
           << ", unreadable: " << unreadable << '\n';
    if (!tree.exclusions.isEmpty())
        io.out << "Excluded: " << tree.exclusions.join(QStringLiteral(", ")) << '\n';
    if (!meta.format.isEmpty())
        io.out << "Volume: " << meta.volumeName << " (" << meta.format << "), "
               << byteText(meta.totalCapacity) << ", " << byteText(meta.availableSpace)
               << " available\n";
    const auto order = tree.sortedChildren(0, TreeSortKey::real);
    const auto shown = std::min<size_t>(order->size(), static_cast<size_t>(args.top));
    if (shown > 0)
        io.out << "Largest:\n";
    for (size_t i = 0; i < shown; ++i) {
        const int32_t child = (*order)[i];
        io.out << "  " << qSetFieldWidth(10) << Qt::right << byteText(tree.alloc(child))
               << qSetFieldWidth(0) << Qt::left << "  " << shownName(tree.nameBytes(child))
               << (tree.hasFlag(child, NodeFlag::directory) ? "/" : "") << '\n';
    }
    return 0;
}

QString signedBytes(int64_t change) {
    return (change < 0 ? QStringLiteral("-") : QStringLiteral("+")) +
           byteText(change < 0 ? -change : change);
}

// One side of a comparison: a saved catalog, or a scan made just now (no name).
struct DiffSide {
    std::optional<QString> name;
    std::shared_ptr<const FileTree> tree;
    QDateTime scanDate;

    QJsonObject json() const {
        return {{QStringLiteral("name"), name ? QJsonValue(*name) : QJsonValue()},
                {QStringLiteral("path"), tree->rootPath},
                {QStringLiteral("scanDate"), isoDate(scanDate)},
                {QStringLiteral("allocated"), qint64(tree->alloc(0))},
                {QStringLiteral("logical"), qint64(tree->logical(0))},
                {QStringLiteral("items"), qint64(tree->items(0))}};
    }
    QString title() const {
        return name ? QStringLiteral("\"%1\" (scanned %2)")
                          .arg(*name, scanDate.toString(QStringLiteral("yyyy-MM-dd HH:mm")))
                    : QStringLiteral("a scan of %1 made now").arg(shownName(tree->rootPath));
    }
};

Result<DiffSide> openSide(StorageCatalogStore& store, const QString& name) {
    auto opened = store.openCatalog(name);
    if (!opened)
        return failure(opened.error());
    return DiffSide{StorageCatalogStore::catalogName(name),
                    std::make_shared<const FileTree>(std::move(opened->tree)),
                    opened->meta.scanDate};
}

Result<DiffSide> scanSide(const QString& path, CliIO& io) {
    DiskScanner scanner(ScanConfiguration::build({ScanScope::Kind::folder, path, path, {}}));
    if (Status started = scanner.start(); !started)
        return failure(started.error());
    while (!scanner.waitForFinished(std::chrono::milliseconds(250)))
        if (io.progress)
            *io.progress << "\r\033[KScanning: " << scanner.progress().folders << " folders"
                         << Qt::flush;
    if (io.progress)
        *io.progress << "\r\033[K" << Qt::flush;
    if (scanner.state() != DiskScanner::State::finished)
        return failure(QStringLiteral("The scan of %1 did not finish, so it cannot be compared. "
                                      "Compare a smaller folder.")
                           .arg(shownName(path)));
    if (scanner.unreadableCount() > 0)
        io.err << "velmox catalogs: " << scanner.unreadableCount()
               << " items of the new scan could not be read, so they count as empty.\n";
    return DiffSide{std::nullopt, scanner.tree(), QDateTime::currentDateTime()};
}

int diff(StorageCatalogStore& store, const CatalogArgs& args, CliIO& io) {
    auto base = openSide(store, args.words.at(1));
    if (!base) {
        io.err << base.error() << '\n';
        return 1;
    }
    auto other = args.words.size() == 3 ? openSide(store, args.words.at(2))
                                        : scanSide(args.path.value_or(base->tree->rootPath), io);
    if (!other) {
        io.err << other.error() << '\n';
        return 1;
    }
    const auto compared = CatalogDiff::compare(*base->tree, *other->tree);
    if (!compared) {
        io.err << compared.error() << '\n';
        return 1;
    }
    const std::vector<int32_t> rows = compared->largestChanges(static_cast<size_t>(args.top));
    if (args.json) {
        QJsonArray array;
        for (const int32_t row : rows) {
            const CatalogDiff::Row& item = compared->row(row);
            array.append(QJsonObject{{QStringLiteral("path"), compared->path(row)},
                                     {QStringLiteral("before"), qint64(item.before)},
                                     {QStringLiteral("after"), qint64(item.after)},
                                     {QStringLiteral("change"), qint64(item.change())},
                                     {QStringLiteral("kind"), CatalogDiff::toString(item.kind)}});
        }
        const QJsonObject result{{QStringLiteral("base"), base->json()},
                                 {QStringLiteral("other"), other->json()},
                                 {QStringLiteral("rows"), array}};
        io.out << QJsonDocument(result).toJson(QJsonDocument::Compact) << '\n';
        return 0;
    }
    const CatalogDiff::Row& root = compared->row(0);
    io.out << "Compared " << base->title() << " with " << other->title() << ".\n"
           << "Total: " << byteText(root.before) << " -> " << byteText(root.after) << " ("
           << signedBytes(root.change()) << ")\n";
    if (rows.empty())
        io.out << "Nothing changed in size.\n";
    for (const int32_t row : rows) {
        const CatalogDiff::Row& item = compared->row(row);
        io.out << "  " << qSetFieldWidth(10) << Qt::right << signedBytes(item.change())
               << qSetFieldWidth(0) << Qt::left << "  " << qSetFieldWidth(9)
               << CatalogDiff::toString(item.kind) << qSetFieldWidth(0) << ' '
               << shownName(QByteArrayView(compared->pathBytes(row))) << (item.isFolder ? "/" : "")
               << '\n';
    }
    return 0;
}

int runCatalogs(const QStringList& rawArgs, CliIO& io) {
    const auto args = parse(rawArgs, io.err);
    if (!args)
        return 2;
    const QString verb = args->words.value(0);
    const qsizetype wanted = verb == QLatin1String("list")     ? 1
                             : verb == QLatin1String("show")   ? 2
                             : verb == QLatin1String("delete") ? 2
                             : verb == QLatin1String("rename") ? 3
                             : verb == QLatin1String("diff")   ? 2
                                                               : -1;
    // diff takes a second catalog or --path, not both.
    const bool diffShape = verb == QLatin1String("diff") &&
                           (args->words.size() == 2 || (args->words.size() == 3 && !args->path));
    if (wanted < 0 || (args->words.size() != wanted && !diffShape) ||
        (args->path && verb != QLatin1String("diff"))) {
        io.err << usageLine(QStringLiteral("catalogs")) << '\n';
        return 2;
    }
    StorageCatalogStore store;
    if (verb == QLatin1String("list"))
        return list(store, *args, io);
    if (verb == QLatin1String("show"))
        return show(store, *args, io);
    if (verb == QLatin1String("diff"))
        return diff(store, *args, io);
    if (verb == QLatin1String("delete") && !args->yes && ::isatty(STDIN_FILENO) == 0) {
        io.err << "velmox catalogs: deleting a catalog cannot be undone; add --yes to delete \""
               << args->words.at(1) << "\".\n";
        return 2;
    }
    const Status done = verb == QLatin1String("rename")
                            ? store.renameCatalog(args->words.at(1), args->words.at(2)).get()
                            : store.deleteCatalog(args->words.at(1)).get();
    if (!done) {
        io.err << done.error() << '\n';
        return 1;
    }
    if (verb == QLatin1String("rename"))
        io.out << "Renamed \"" << args->words.at(1) << "\" to \""
               << StorageCatalogStore::catalogName(args->words.at(2)) << "\".\n";
    else
        io.out << "Deleted the catalog \"" << args->words.at(1) << "\".\n";
    return 0;
}

} // namespace

VELMOX_CLI_COMMAND(catalogs,
                   "catalogs list [--json] | show NAME [--json] [--top N] | rename OLD NEW | "
                   "delete NAME [--yes] | diff NAME [NAME2 | --path PATH] [--json] [--top N]",
                   "Lists, shows, renames, deletes and compares the catalogs saved with "
                   "velmox scan PATH --save NAME.",
                   runCatalogs);

} // namespace velmox
