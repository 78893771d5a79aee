#include "storage/IncrementalRescan.h"

#include "storage/IncrementalPlan.h"
#include "storage/StorageCatalogStore.h"
#include "storage/VolumeInfo.h"

namespace velmox {

RescanStart RescanStart::prepare(const ScanConfiguration& config, const QString& scopeKey,
                                 const StorageCatalogStore& store, ChangeHistory* history,
                                 int64_t baseEntryCap) {
    const QString root = QString::fromUtf8(config.rootPath);
    const VolumeInfo volume = VolumeInfo::of(root);
    const QDateTime now = QDateTime::currentDateTime();
    RescanStart start;
    if (history)
        if (const std::optional<QString> uuid = history->uuid(config.rootPath))
            if (const Result<uint64_t> position =
                    history->currentPosition(config.rootPath, ReplayCollector::kTimeLimit))
                start.stamp = ScanStamp{1, *position, *uuid, volume.uuid, now};
    std::optional<CatalogContents> cached;
    if (std::optional<Result<CatalogContents>> read = store.readCache(scopeKey); read && *read)
        cached = std::move(**read);
    IncrementalDecision decision = IncrementalDecision::decide(
        {cached ? &cached->tree : nullptr, cached ? cached->meta.scanStamp : std::nullopt,
         cached ? cached->meta.rootPath : QString(), root, volume.uuid, now,
         start.stamp ? history : nullptr});
    if (decision.plan) {
        // An update keeps the date of the last complete scan.
        start.stamp->fullScanDate = cached->meta.scanStamp->fullScanDate;
        start.scanner = std::make_unique<DiskScanner>(config, cached->tree,
                                                      std::move(*decision.plan), baseEntryCap);
    } else {
        start.scanner = std::make_unique<DiskScanner>(config, baseEntryCap);
        start.note = decision.note;
    }
    return start;
}

Result<IncrementalRescan> IncrementalRescan::run(const ScanConfiguration& config,
                                                 const QString& scopeKey,
                                                 StorageCatalogStore& store, ChangeHistory* history,
                                                 int64_t baseEntryCap, const Waiting& waiting) {
    RescanStart start = RescanStart::prepare(config, scopeKey, store, history, baseEntryCap);
    const auto walk = [&waiting](DiskScanner& scanner) -> Status {
        if (Status started = scanner.start(); !started)
            return started;
        while (!scanner.waitForFinished(std::chrono::milliseconds(250)))
            if (waiting)
                waiting(scanner);
        return Done{};
    };
    if (const Status walked = walk(*start.scanner); !walked)
        return failure(walked.error());
    IncrementalRescan outcome{std::move(start.scanner), false, start.note};
    if (outcome.scanner->isIncremental()) {
        if (outcome.scanner->needsFullScan()) {
            outcome.note = IncrementalText::unsafe();
            if (start.stamp)
                start.stamp->fullScanDate = QDateTime::currentDateTime();
            outcome.scanner = std::make_unique<DiskScanner>(config, baseEntryCap);
            if (const Status walked = walk(*outcome.scanner); !walked)
                return failure(walked.error());
        } else {
            outcome.incremental = true;
            outcome.note = IncrementalText::updated(outcome.scanner->rereadFolders(),
                                                    outcome.scanner->reusedFolders(),
                                                    outcome.scanner->progress().elapsed);
        }
    }
    if (outcome.scanner->state() == DiskScanner::State::finished) {
        const std::shared_ptr<FileTree> tree = outcome.scanner->tree();
        const VolumeInfo volume = VolumeInfo::of(tree->rootPath);
        const QDateTime now = QDateTime::currentDateTime();
        CatalogMeta meta = catalogMetaFor(*tree, volume, now);
        meta.scanStamp = start.stamp.value_or(ScanStamp{1, 0, {}, volume.uuid, now});
        if (const Status written = store.writeCache(scopeKey, tree, std::move(meta)).get();
            !written)
            qWarning("Scan cache of %s not written: %s", qPrintable(tree->rootPath),
                     qPrintable(written.error()));
    }
    return outcome;
}

} // namespace velmox
