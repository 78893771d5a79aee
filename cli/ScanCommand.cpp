// velmox scan PATH [--json] [--top N] [--logical] [--workers N] [--max-items N]
//                  [--save NAME [--replace]] [--largest N] [--types]
//
// Exit status 3: the memory cap stopped the walk, so the totals cover only what was read
// (and nothing is saved).

#include "cli/CliCommand.h"
#include "cli/TreeJson.h"
#include "services/ShownText.h"
#include "storage/ChartSegment.h"
#include "storage/DiskScanner.h"
#include "storage/StorageCatalogStore.h"
#include "storage/TreeBreakdown.h"
#include "storage/VolumeInfo.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmox {

namespace {

struct ScanOptions {
    QString path;
    bool json = false;
    bool logical = false;
    int top = 10;
    int workers = 0;      // 0: chosen from the disk
    int64_t maxItems = 0; // 0: the memory cap of this machine
    QString saveAs;       // the catalog to save the finished scan as
    bool replace = false; // of that name
    int largest = 0;      // how many of the largest files to list
    bool types = false;   // the sizes by kind of file
};

std::optional<ScanOptions> parseOptions(const QStringList& args, QTextStream& err) {
    ScanOptions options;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        const auto number = [&](int minimum) -> std::optional<int> {
            bool ok = false;
            const int value = args.value(i + 1).toInt(&ok);
            if (!ok || value < minimum) {
                err << "velmox scan: " << arg << " needs a number of at least " << minimum << ".\n";
                return std::nullopt;
            }
            ++i;
            return value;
        };
        if (arg == QLatin1String("--json")) {
            options.json = true;
        } else if (arg == QLatin1String("--logical")) {
            options.logical = true;
        } else if (arg == QLatin1String("--top")) {
            const auto value = number(0);
            if (!value)
                return std::nullopt;
            options.top = *value;
        } else if (arg == QLatin1String("--workers")) {
            const auto value = number(1);
            if (!value)
                return std::nullopt;
            options.workers = *value;
        } else if (arg == QLatin1String("--max-items")) {
            const auto value = number(1);
            if (!value)
                return std::nullopt;
            options.maxItems = *value;
        } else if (arg == QLatin1String("--save")) {
            if (i + 1 >= args.size() || args.at(i + 1).startsWith(QLatin1String("--"))) {
                err << "velmox scan: --save needs the name of the catalog.\n";
                return std::nullopt;
            }
            options.saveAs = args.at(++i);
        } else if (arg == QLatin1String("--largest")) {
            const auto value = number(1);
            if (!value)
                return std::nullopt;
            options.largest = *value;
        } else if (arg == QLatin1String("--types")) {
            options.types = true;
        } else if (arg == QLatin1String("--replace")) {
            options.replace = true;
        } else if (arg.startsWith(QLatin1String("--")) || !options.path.isEmpty()) {
            err << "velmox scan: '" << arg << "' is not an option of this command.\n";
            return std::nullopt;
        } else {
            options.path = arg;
        }
    }
    if (options.path.isEmpty()) {
        err << "velmox scan: name the folder to scan.\n";
        return std::nullopt;
    }
    if (options.replace && options.saveAs.isEmpty()) {
        err << "velmox scan: --replace goes with --save NAME.\n";
        return std::nullopt;
    }
    return options;
}

void drawProgress(QTextStream& terminal, const ScanProgress& progress) {
    terminal << "\r\033[KScanning: " << progress.folders << " folders, " << byteText(progress.bytes)
             << ", " << progress.pendingFolders << " waiting" << Qt::flush;
}

// Says on standard error which folders the totals leave out.
void reportUnreadable(const DiskScanner& scanner, QTextStream& err) {
    const int64_t count = scanner.unreadableCount();
    if (count == 0)
        return;
    const QList<UnreadableSample> samples = scanner.unreadableSamples();
    const qsizetype shown = std::min<qsizetype>(samples.size(), 10);
    err << "velmox scan: " << count << (count == 1 ? " item" : " items")
        << " could not be read, so the totals leave them out:\n";
    for (const UnreadableSample& sample : samples.first(shown))
        err << "  " << shownName(QByteArrayView(sample.path)) << " (" << sample.reason.label()
            << ")\n";
    if (count > shown)
        err << "  and " << count - shown << " more.\n";
}

QJsonArray unreadableJson(const DiskScanner& scanner) {
    QJsonArray folders;
    for (const UnreadableSample& sample : scanner.unreadableSamples())
        folders.append(QJsonObject{{QStringLiteral("path"), QString::fromUtf8(sample.path)},
                                   {QStringLiteral("reason"), sample.reason.label()}});
    return folders;
}

} // namespace

int64_t folderCount(const FileTree& tree) {
    int64_t folders = 0;
    for (uint16_t flags : tree.columns().flags)
        folders += (flags & NodeFlag::directory) ? 1 : 0;
    return folders;
}

QJsonArray topJson(const FileTree& tree, TreeSortKey key, int count) {
    const auto order = tree.sortedChildren(0, key);
    const auto shown = std::min<size_t>(order->size(), static_cast<size_t>(count));
    QJsonArray top;
    for (size_t i = 0; i < shown; ++i) {
        const int32_t child = (*order)[i];
        top.append(QJsonObject{{QStringLiteral("name"), tree.name(child)},
                               {QStringLiteral("allocated"), qint64(tree.alloc(child))},
                               {QStringLiteral("logical"), qint64(tree.logical(child))}});
    }
    return top;
}

QJsonObject volumeJson(const QString& name, const QString& format, int64_t capacity,
                       int64_t available) {
    return {{QStringLiteral("name"), name},
            {QStringLiteral("format"), format},
            {QStringLiteral("capacity"), qint64(capacity)},
            {QStringLiteral("available"), qint64(available)}};
}

namespace {

QJsonArray largestJson(const FileTree& tree, const std::vector<int32_t>& largest) {
    QJsonArray files;
    for (const int32_t node : largest)
        files.append(QJsonObject{{QStringLiteral("path"), tree.path(node)},
                                 {QStringLiteral("allocated"), qint64(tree.alloc(node))},
                                 {QStringLiteral("logical"), qint64(tree.logical(node))}});
    return files;
}

// The kinds that hold anything, largest first under `key`.
QList<KindTotal> presentKinds(const FileTree& tree, TreeSortKey key) {
    QList<KindTotal> kinds = TreeBreakdown::fileTypes(tree, 0);
    kinds.removeIf([](const KindTotal& kind) { return kind.items == 0; });
    std::stable_sort(kinds.begin(), kinds.end(), [key](const KindTotal& a, const KindTotal& b) {
        return key == TreeSortKey::logical ? a.logical > b.logical : a.allocated > b.allocated;
    });
    return kinds;
}

QJsonArray typesJson(const QList<KindTotal>& kinds) {
    QJsonArray types;
    for (const KindTotal& kind : kinds) {
        QJsonArray extensions;
        for (const ExtensionTotal& extension : kind.extensions)
            extensions.append(
                QJsonObject{{QStringLiteral("extension"), QString::fromUtf8(extension.extension)},
                            {QStringLiteral("allocated"), qint64(extension.allocated)},
                            {QStringLiteral("logical"), qint64(extension.logical)},
                            {QStringLiteral("items"), qint64(extension.items)}});
        types.append(QJsonObject{{QStringLiteral("kind"), toString(kind.kind)},
                                 {QStringLiteral("allocated"), qint64(kind.allocated)},
                                 {QStringLiteral("logical"), qint64(kind.logical)},
                                 {QStringLiteral("items"), qint64(kind.items)},
                                 {QStringLiteral("extensions"), extensions}});
    }
    return types;
}

int runScan(const QStringList& args, CliIO& io) {
    const auto options = parseOptions(args, io.err);
    if (!options)
        return 2;
    std::unique_ptr<StorageCatalogStore> store;
    if (!options->saveAs.isEmpty()) {
        store = std::make_unique<StorageCatalogStore>();
        const QString file = StorageCatalogStore::catalogFileName(options->saveAs);
        if (file.isEmpty()) {
            io.err << "velmox scan: \"" << options->saveAs
                   << "\" cannot be the name of a catalog.\n";
            return 2;
        }
        // Refused before the walk, not after it.
        if (!options->replace &&
            QFileInfo::exists(store->catalogsFolder() + QLatin1Char('/') + file)) {
            io.err << "A catalog named \"" << StorageCatalogStore::catalogName(options->saveAs)
                   << "\" already exists. Add --replace to save over it.\n";
            return 1;
        }
    }
    ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, options->path, options->path, {}});
    if (options->workers > 0)
        config.workerCount = options->workers;
    const int workers = config.workerCount;
    DiskScanner scanner(std::move(config), options->maxItems > 0
                                               ? options->maxItems
                                               : DiskScanner::defaultBaseEntryCap());
    if (Status started = scanner.start(); !started) {
        io.err << started.error() << '\n';
        return 1;
    }
    while (!scanner.waitForFinished(std::chrono::milliseconds(250)))
        if (io.progress)
            drawProgress(*io.progress, scanner.progress());
    if (io.progress)
        *io.progress << "\r\033[K" << Qt::flush;

    const auto tree = scanner.tree();
    const ScanProgress progress = scanner.progress();
    const bool partial = scanner.state() == DiskScanner::State::stoppedForSize;
    if (partial)
        io.err << "velmox scan: the scan stopped after " << scanner.entries()
               << " items to protect this computer's memory, so the totals cover only what "
                  "was read. Scan a smaller folder for complete totals.\n";
    reportUnreadable(scanner, io.err);
    const int status = partial ? 3 : 0;
    const bool isFolder = tree->hasFlag(0, NodeFlag::directory);
    const TreeSortKey key = options->logical ? TreeSortKey::logical : TreeSortKey::real;
    const int64_t folders = folderCount(*tree);
    const VolumeInfo volume = VolumeInfo::of(options->path);
    const auto order = tree->sortedChildren(0, key);
    const auto shown = std::min<size_t>(order->size(), static_cast<size_t>(options->top));
    const std::vector<int32_t> largest =
        options->largest > 0 ? TreeBreakdown::largestFiles(*tree, 0, key, size_t(options->largest))
                             : std::vector<int32_t>{};
    const QList<KindTotal> kinds = options->types ? presentKinds(*tree, key) : QList<KindTotal>{};

    QString saved;
    if (store && !partial) {
        CatalogMeta meta = catalogMetaFor(*tree, volume, QDateTime::currentDateTime());
        meta.scanStamp = ScanStamp{1, 0, {}, volume.uuid, meta.scanDate};
        const Status written =
            store->saveCatalog(options->saveAs, tree, meta, options->replace).get();
        if (!written) {
            io.err << written.error() << '\n';
            return 1;
        }
        saved = StorageCatalogStore::catalogName(options->saveAs);
    }

    if (options->json) {
        QJsonObject result{
            {QStringLiteral("path"), tree->rootPath},
            {QStringLiteral("kind"), isFolder ? QStringLiteral("folder") : QStringLiteral("file")},
            {QStringLiteral("state"),
             partial ? QStringLiteral("stoppedForSize") : QStringLiteral("finished")},
            {QStringLiteral("allocated"), qint64(tree->alloc(0))},
            {QStringLiteral("logical"), qint64(tree->logical(0))},
            {QStringLiteral("items"), qint64(tree->items(0))},
            {QStringLiteral("folders"), qint64(folders)},
            {QStringLiteral("unreadable"), qint64(scanner.unreadableCount())},
            {QStringLiteral("unreadableFolders"), unreadableJson(scanner)},
            {QStringLiteral("workers"), workers},
            {QStringLiteral("seconds"), progress.elapsed},
            {QStringLiteral("top"), topJson(*tree, key, options->top)},
            {QStringLiteral("volume"),
             volumeJson(volume.name, volume.format, volume.total, volume.freeAvailable)}};
        if (options->largest > 0)
            result.insert(QStringLiteral("largest"), largestJson(*tree, largest));
        if (options->types)
            result.insert(QStringLiteral("types"), typesJson(kinds));
        if (partial)
            result.insert(QStringLiteral("note"), scanner.note());
        if (!saved.isEmpty())
            result.insert(QStringLiteral("savedAs"), saved);
        io.out << QJsonDocument(result).toJson(QJsonDocument::Compact) << '\n';
        return status;
    }
    const QString shownRoot = shownName(tree->rootPath);
    if (!isFolder) {
        io.out << shownRoot << " is a file of " << byteText(tree->logical(0)) << " ("
               << tree->logical(0) << " bytes, " << byteText(tree->alloc(0))
               << " allocated on disk).\n";
        return status;
    }
    io.out << shownRoot << '\n'
           << "Allocated: " << byteText(tree->alloc(0)) << " (" << tree->alloc(0) << " bytes)\n"
           << "Logical:   " << byteText(tree->logical(0)) << " (" << tree->logical(0) << " bytes)\n"
           << "Items: " << tree->items(0) << ", folders: " << folders
           << ", unreadable: " << scanner.unreadableCount() << '\n'
           << "Time: " << QString::asprintf("%.2f", progress.elapsed) << " s with " << workers
           << (workers == 1 ? " worker\n" : " workers\n");
    if (!volume.format.isEmpty())
        io.out << "Volume: " << volume.name << " (" << volume.format << "), "
               << byteText(volume.total) << ", " << byteText(volume.freeAvailable)
               << " available\n";
    if (shown > 0)
        io.out << "Largest:\n";
    for (size_t i = 0; i < shown; ++i) {
        const int32_t child = (*order)[i];
        io.out << "  " << qSetFieldWidth(10) << Qt::right << byteText(tree->size(child, key))
               << qSetFieldWidth(0) << Qt::left << "  " << shownName(tree->nameBytes(child))
               << (tree->hasFlag(child, NodeFlag::directory) ? "/" : "") << '\n';
    }
    if (!largest.empty())
        io.out << "Largest files:\n";
    for (const int32_t node : largest)
        io.out << "  " << qSetFieldWidth(10) << Qt::right << byteText(tree->size(node, key))
               << qSetFieldWidth(0) << Qt::left << "  "
               << shownName(QByteArrayView(tree->pathBytes(node))) << '\n';
    if (!kinds.isEmpty())
        io.out << "File types:\n";
    for (const KindTotal& kind : kinds) {
        QStringList extensions;
        for (const ExtensionTotal& extension :
             kind.extensions.first(std::min<qsizetype>(kind.extensions.size(), 5)))
            extensions << (extension.extension.isEmpty()
                               ? QStringLiteral("none")
                               : shownName(QByteArrayView(extension.extension)));
        io.out << "  " << qSetFieldWidth(10) << Qt::right
               << byteText(key == TreeSortKey::logical ? kind.logical : kind.allocated)
               << qSetFieldWidth(0) << Qt::left << "  " << fileKindTitle(kind.kind) << ", "
               << StorageChart::itemCount(kind.items) << " ("
               << extensions.join(QStringLiteral(", "))
               << (kind.extensions.size() > 5 ? QStringLiteral(", ...)") : QStringLiteral(")"))
               << '\n';
    }
    if (!saved.isEmpty())
        io.out << QStringLiteral("Saved %1").arg(saved) << '\n';
    else if (!options->saveAs.isEmpty())
        io.err << "velmox scan: the scan stopped early, so it was not saved as a catalog.\n";
    return status;
}

} // namespace

VELMOX_CLI_COMMAND(
    scan,
    "scan PATH [--json] [--top N] [--logical] [--workers N] [--max-items N] [--save NAME "
    "[--replace]] [--largest N] [--types]",
    "Scans a folder or a file: sizes, items, unreadable folders, the volume, the largest "
    "items; --largest N lists the N largest files anywhere inside, --types the sizes by kind "
    "of file; --save keeps the finished scan as a catalog. Exit status 3 when the item cap "
    "stopped the scan early.",
    runScan);

} // namespace velmox
