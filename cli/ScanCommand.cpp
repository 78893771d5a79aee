// velmox scan PATH [--json] [--top N] [--logical] [--workers N] [--max-items N]
//                  [--save NAME [--replace]] [--resume | --cached] [--checkpoint-every SECONDS]
//                  [--largest N] [--types] [--exclude PATTERN]...
//
// A walk writes a checkpoint of the scope now and then (ScanCheckpointer) and deletes it
// when it ends complete, leaving the scope's scan cache instead. --resume continues the
// checkpoint of a walk that was killed; --cached answers from the cache without scanning.
// Otherwise a walk takes over the folders the change history shows unchanged since the
// cached scan (RescanStart), when it safely can. --exclude skips items (ScanExclusions); only
// a walk with the same exclusions takes over from a cached scan or a checkpoint.
//
// Exit status 3: the memory cap stopped the walk, so the totals cover only what was read
// (and nothing is saved).

#include "cli/CliCommand.h"
#include "cli/TreeJson.h"
#include "platform/ChangeHistory.h"
#include "services/ShownText.h"
#include "storage/ChartSegment.h"
#include "storage/DiskScanner.h"
#include "storage/IncrementalPlan.h"
#include "storage/IncrementalRescan.h"
#include "storage/ScanCheckpointer.h"
#include "storage/ScanExclusions.h"
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
    bool resume = false;
    bool cached = false;
    std::chrono::milliseconds checkpointEvery = ScanCheckpointer::kDefaultInterval;
    int largest = 0;    // how many of the largest files to list
    bool types = false; // the sizes by kind of file
    QStringList exclusions;
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
        } else if (arg == QLatin1String("--exclude")) {
            if (i + 1 >= args.size()) {
                err << "velmox scan: --exclude needs a folder, a path or a pattern.\n";
                return std::nullopt;
            }
            const QString pattern = args.at(++i);
            if (const Status usable = ScanExclusions::check(pattern); !usable) {
                err << "velmox scan: " << usable.error() << '\n';
                return std::nullopt;
            }
            options.exclusions.append(pattern);
        } else if (arg == QLatin1String("--replace")) {
            options.replace = true;
        } else if (arg == QLatin1String("--resume")) {
            options.resume = true;
        } else if (arg == QLatin1String("--cached")) {
            options.cached = true;
        } else if (arg == QLatin1String("--checkpoint-every")) {
            bool ok = false;
            const double seconds = args.value(i + 1).toDouble(&ok);
            if (!ok || seconds < 0.01) {
                err << "velmox scan: --checkpoint-every needs a number of seconds of at least "
                       "0.01.\n";
                return std::nullopt;
            }
            options.checkpointEvery = std::chrono::milliseconds(qRound64(seconds * 1000));
            ++i;
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
    if (options.resume && options.cached) {
        err << "velmox scan: --resume and --cached do not go together.\n";
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

// How the result of `velmox scan` came about, and what it covers.
enum class ScanMode { full, incremental, resumed, cache };

QString toString(ScanMode mode) {
    switch (mode) {
    case ScanMode::full:
        return QStringLiteral("full");
    case ScanMode::incremental:
        return QStringLiteral("incremental");
    case ScanMode::resumed:
        return QStringLiteral("resumed");
    case ScanMode::cache:
        return QStringLiteral("cache");
    }
    return {};
}

struct ScanOutcome {
    std::shared_ptr<const FileTree> tree;
    ScanMode mode = ScanMode::full;
    // Why the scan was done as it was, or what its result covers; empty for none.
    QString note;
    bool partial = false; // the memory cap stopped the walk
    int64_t unreadableCount = 0;
    QList<UnreadableSample> unreadableSamples;
    int workers = 0;
    double seconds = 0;
    std::optional<QDateTime> scanDate; // of a result taken from the cache
};

// Says on standard error which folders the totals leave out.
void reportUnreadable(const ScanOutcome& outcome, QTextStream& err) {
    const int64_t count = outcome.unreadableCount;
    if (count == 0)
        return;
    const QList<UnreadableSample>& samples = outcome.unreadableSamples;
    const qsizetype shown = std::min<qsizetype>(samples.size(), 10);
    err << "velmox scan: " << count << (count == 1 ? " item" : " items")
        << " could not be read, so the totals leave them out:\n";
    for (const UnreadableSample& sample : samples.first(shown))
        err << "  " << shownName(QByteArrayView(sample.path)) << " (" << sample.reason.label()
            << ")\n";
    if (count > shown)
        err << "  and " << count - shown << " more.\n";
}

QJsonArray unreadableJson(const QList<UnreadableSample>& samples) {
    QJsonArray folders;
    for (const UnreadableSample& sample : samples)
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

// Walks until the end, writing checkpoints on the way; a walk that ends complete leaves the
// scope's cache (with `stamp`, the change history's position when it began) instead of its
// checkpoint.
ScanOutcome walk(DiskScanner& scanner, StorageCatalogStore& store, const QString& scopeKey,
                 const std::optional<ScanStamp>& stamp, const ScanOptions& options, CliIO& io) {
    const VolumeInfo volume = VolumeInfo::of(options.path);
    const QDateTime started = QDateTime::currentDateTime();
    ScanCheckpointer checkpoints(
        store, scopeKey,
        catalogMetaFor(FileTree(QString::fromUtf8(scanner.config().rootPath), {}), volume, started),
        options.checkpointEvery);
    const auto tick = std::min(options.checkpointEvery, std::chrono::milliseconds(100));
    while (!scanner.waitForFinished(tick)) {
        checkpoints.poll(scanner);
        if (io.progress)
            drawProgress(*io.progress, scanner.progress());
    }
    if (io.progress)
        *io.progress << "\r\033[K" << Qt::flush;
    checkpoints.finishWrite();
    // A walk stopped at the memory cap is kept for --resume.
    if (scanner.state() == DiskScanner::State::stoppedForSize && checkpoints.checkpointNow(scanner))
        checkpoints.finishWrite();
    ScanOutcome outcome;
    outcome.tree = scanner.tree();
    outcome.partial = scanner.state() == DiskScanner::State::stoppedForSize;
    outcome.note = scanner.note();
    outcome.unreadableCount = scanner.unreadableCount();
    outcome.unreadableSamples = scanner.unreadableSamples();
    outcome.workers = scanner.config().workerCount;
    outcome.seconds = scanner.progress().elapsed;
    // An incremental walk that must not be used leaves the cache to the full one after it.
    if (scanner.state() == DiskScanner::State::finished && !scanner.needsFullScan()) {
        checkpoints.discard();
        CatalogMeta meta = catalogMetaFor(*outcome.tree, volume, started);
        meta.scanStamp = stamp.value_or(ScanStamp{1, 0, {}, volume.uuid, started});
        if (Status cached = store.writeCache(scopeKey, outcome.tree, std::move(meta)).get();
            !cached)
            io.err << "velmox scan: "
                   << QStringLiteral("This scan could not be saved (disk full or the "
                                     "saved copy could not be written), so it will have "
                                     "to be scanned again after a restart.")
                   << '\n';
    }
    return outcome;
}

// The scope's last complete scan, from its cache.
Result<ScanOutcome> fromCache(StorageCatalogStore& store, const QString& scopeKey,
                              const QString& path) {
    auto cached = store.readCache(scopeKey);
    if (!cached)
        return failure(QStringLiteral("There is no saved scan of %1 yet. Run velmox scan %1 "
                                      "once, then --cached answers from it.")
                           .arg(path));
    if (!*cached)
        return failure(cached->error());
    ScanOutcome outcome;
    outcome.mode = ScanMode::cache;
    outcome.scanDate = (*cached)->meta.scanDate;
    auto tree = std::make_shared<FileTree>(std::move((*cached)->tree));
    // The cache keeps which folders were blocked, not why, so none is listed.
    for (const uint16_t flags : tree->columns().flags)
        outcome.unreadableCount += (flags & NodeFlag::blocked) ? 1 : 0;
    outcome.note = QStringLiteral("Answered from the saved scan of %1.")
                       .arg(QLocale().toString(*outcome.scanDate, QLocale::ShortFormat));
    outcome.tree = std::move(tree);
    return outcome;
}

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
    StorageCatalogStore store;
    if (!options->saveAs.isEmpty()) {
        const QString file = StorageCatalogStore::catalogFileName(options->saveAs);
        if (file.isEmpty()) {
            io.err << "velmox scan: \"" << options->saveAs
                   << "\" cannot be the name of a catalog.\n";
            return 2;
        }
        // Refused before the walk, not after it.
        if (!options->replace &&
            QFileInfo::exists(store.catalogsFolder() + QLatin1Char('/') + file)) {
            io.err << "A catalog named \"" << StorageCatalogStore::catalogName(options->saveAs)
                   << "\" already exists. Add --replace to save over it.\n";
            return 1;
        }
    }
    ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, options->path, options->path, {}});
    if (options->workers > 0)
        config.workerCount = options->workers;
    config.exclusions = ScanExclusions(options->exclusions, config.rootPath);
    // The resolved path names the scope, however the folder was written.
    const QString scopeKey =
        ScanScope{ScanScope::Kind::folder, QString::fromUtf8(config.rootPath), {}, {}}.identifier();
    const int64_t baseCap =
        options->maxItems > 0 ? options->maxItems : DiskScanner::defaultBaseEntryCap();

    ScanOutcome outcome;
    if (options->cached) {
        auto cached = fromCache(store, scopeKey, options->path);
        if (!cached) {
            io.err << cached.error() << '\n';
            return 1;
        }
        if (!options->exclusions.isEmpty() &&
            cached->tree->exclusions != config.exclusions.patterns()) {
            io.err << QStringLiteral("The saved scan of %1 skipped other items than these "
                                     "exclusions, so it cannot answer for them. Scan again "
                                     "without --cached.")
                          .arg(options->path)
                   << '\n';
            return 1;
        }
        outcome = std::move(*cached);
    } else {
        std::unique_ptr<DiskScanner> scanner;
        QString readNote;
        if (options->resume) {
            auto restored = store.readCheckpoint(scopeKey);
            const int64_t entries = restored ? restored->info.entries : 0;
            auto rebuilt = restored
                               ? DiskScanner::restore(config, std::move(*restored), baseCap)
                               : Result<std::unique_ptr<DiskScanner>>(failure(restored.error()));
            if (rebuilt && (*rebuilt)->resume()) {
                scanner = std::move(*rebuilt);
                readNote =
                    QStringLiteral("Continued the scan interrupted after %1 items.").arg(entries);
            } else {
                const QString why =
                    !QFileInfo::exists(store.checkpointFile(scopeKey))
                        ? QStringLiteral("There was no interrupted scan to continue.")
                    : !rebuilt ? rebuilt.error()
                               : QStringLiteral("The interrupted scan had nothing left to read.");
                readNote = why + (why.endsWith(QLatin1Char('.')) ? "" : ".") +
                           QStringLiteral(" Everything was read again.");
            }
        }
        const bool resumed = scanner != nullptr;
        // A new walk is incremental when the last scan of this folder and a running Velmox's
        // change journal allow it. A checkpoint's walk, or one that replaces it, reads the
        // rest in full: where the history stood when it began is not kept.
        std::optional<ScanStamp> stamp;
        if (!scanner) {
            if (options->resume) {
                scanner = std::make_unique<DiskScanner>(config, baseCap);
            } else {
                const std::unique_ptr<ChangeHistory> history = systemChangeHistory();
                RescanStart start =
                    RescanStart::prepare(config, scopeKey, store, history.get(), baseCap);
                scanner = std::move(start.scanner);
                stamp = start.stamp;
                readNote = start.note;
            }
            if (Status started = scanner->start(); !started) {
                io.err << started.error() << '\n';
                return 1;
            }
        }
        outcome = walk(*scanner, store, scopeKey, stamp, *options, io);
        outcome.mode = resumed ? ScanMode::resumed : ScanMode::full;
        if (scanner->isIncremental() && !outcome.partial) {
            if (scanner->needsFullScan()) {
                readNote = IncrementalText::unsafe();
                if (stamp)
                    stamp->fullScanDate = QDateTime::currentDateTime();
                scanner = std::make_unique<DiskScanner>(config, baseCap);
                if (Status started = scanner->start(); !started) {
                    io.err << started.error() << '\n';
                    return 1;
                }
                outcome = walk(*scanner, store, scopeKey, stamp, *options, io);
            } else {
                outcome.mode = ScanMode::incremental;
                outcome.note = IncrementalText::updated(scanner->rereadFolders(),
                                                        scanner->reusedFolders(), outcome.seconds);
            }
        }
        if (outcome.note.isEmpty())
            outcome.note = readNote;
    }

    const auto& tree = outcome.tree;
    const bool partial = outcome.partial;
    if (partial)
        io.err << "velmox scan: the scan stopped after " << tree->size()
               << " items to protect this computer's memory, so the totals cover only what "
                  "was read. Scan a smaller folder for complete totals, or add --resume to read "
                  "more.\n";
    reportUnreadable(outcome, io.err);
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
    if (!options->saveAs.isEmpty() && !partial) {
        const QDateTime date = outcome.scanDate.value_or(QDateTime::currentDateTime());
        CatalogMeta meta = catalogMetaFor(*tree, volume, date);
        meta.scanStamp = ScanStamp{1, 0, {}, volume.uuid, date};
        const Status written =
            store.saveCatalog(options->saveAs, tree, meta, options->replace).get();
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
            {QStringLiteral("mode"), toString(outcome.mode)},
            {QStringLiteral("note"),
             outcome.note.isEmpty() ? QJsonValue() : QJsonValue(outcome.note)},
            {QStringLiteral("allocated"), qint64(tree->alloc(0))},
            {QStringLiteral("logical"), qint64(tree->logical(0))},
            {QStringLiteral("items"), qint64(tree->items(0))},
            {QStringLiteral("folders"), qint64(folders)},
            {QStringLiteral("unreadable"), qint64(outcome.unreadableCount)},
            {QStringLiteral("unreadableFolders"), unreadableJson(outcome.unreadableSamples)},
            {QStringLiteral("workers"), outcome.workers},
            {QStringLiteral("seconds"), outcome.seconds},
            {QStringLiteral("top"), topJson(*tree, key, options->top)},
            {QStringLiteral("exclusions"), QJsonArray::fromStringList(tree->exclusions)},
            {QStringLiteral("volume"),
             volumeJson(volume.name, volume.format, volume.total, volume.freeAvailable)}};
        if (options->largest > 0)
            result.insert(QStringLiteral("largest"), largestJson(*tree, largest));
        if (options->types)
            result.insert(QStringLiteral("types"), typesJson(kinds));
        if (outcome.scanDate)
            result.insert(QStringLiteral("scanDate"),
                          outcome.scanDate->toOffsetFromUtc(outcome.scanDate->offsetFromUtc())
                              .toString(Qt::ISODate));
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
           << ", unreadable: " << outcome.unreadableCount << '\n';
    if (!tree->exclusions.isEmpty())
        io.out << "Excluded: " << tree->exclusions.join(QStringLiteral(", ")) << '\n';
    if (outcome.mode != ScanMode::cache)
        io.out << "Time: " << QString::asprintf("%.2f", outcome.seconds) << " s with "
               << outcome.workers << (outcome.workers == 1 ? " worker\n" : " workers\n");
    if (!outcome.note.isEmpty() && !partial)
        io.out << outcome.note << '\n';
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
    "[--replace]] [--resume | --cached] [--checkpoint-every SECONDS] [--largest N] [--types] "
    "[--exclude PATTERN]...",
    "Scans a folder or a file: sizes, items, unreadable folders, the volume, the largest "
    "items; --largest N lists the N largest files anywhere inside, --types the sizes by kind "
    "of file; --save keeps the finished scan as a catalog. --exclude skips an absolute path, a "
    "path below PATH, or names matching a glob (*.iso) at any depth; repeat it for more, and "
    "the window's exclusions do not apply. A scan writes a checkpoint every 30 "
    "seconds (--checkpoint-every): --resume continues one that was interrupted, --cached "
    "answers from the last complete scan without scanning. Exit status 3 when the item cap "
    "stopped the scan early.",
    runScan);

} // namespace velmox
