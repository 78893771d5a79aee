// velmox scan PATH [--json] [--top N] [--logical] [--workers N] [--max-items N]
//                  [--save NAME [--replace]]
//
// Exit status 3: the memory cap stopped the walk, so the totals cover only what was read
// (and nothing is saved).

#include "cli/CliCommand.h"
#include "cli/TreeJson.h"
#include "platform/ChangeHistory.h"
#include "services/ShownText.h"
#include "storage/DiskScanner.h"
#include "storage/IncrementalRescan.h"
#include "storage/StorageCatalogStore.h"
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
    // Incremental when the last scan of this folder and a running Velmox's change journal
    // allow it; every finished scan is cached as the baseline of the next.
    StorageCatalogStore cache;
    const std::unique_ptr<ChangeHistory> history = systemChangeHistory();
    const QString scopeKey =
        ScanScope{ScanScope::Kind::folder, QString::fromUtf8(config.rootPath), {}, {}}.identifier();
    auto rescan = IncrementalRescan::run(config, scopeKey, cache, history.get(),
                                         options->maxItems > 0 ? options->maxItems
                                                               : DiskScanner::defaultBaseEntryCap(),
                                         [&io](const DiskScanner& running) {
                                             if (io.progress)
                                                 drawProgress(*io.progress, running.progress());
                                         });
    if (!rescan) {
        io.err << rescan.error() << '\n';
        return 1;
    }
    const DiskScanner& scanner = *rescan->scanner;
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
        result.insert(QStringLiteral("mode"),
                      rescan->incremental ? QStringLiteral("incremental") : QStringLiteral("full"));
        const QString note = partial ? scanner.note() : rescan->note;
        result.insert(QStringLiteral("note"), note.isEmpty() ? QJsonValue() : QJsonValue(note));
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
    if (rescan->incremental || !rescan->note.isEmpty())
        io.out << (rescan->incremental ? "Incremental: " : "Full scan: ") << rescan->note << '\n';
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
    "[--replace]]",
    "Scans a folder or a file: sizes, items, unreadable folders, the volume, the largest "
    "items; --save keeps the finished scan as a catalog. Exit status 3 when the item cap "
    "stopped the scan early.",
    runScan);

} // namespace velmox
