#include "storage/IncrementalRescan.h"

#include "storage/IncrementalPlan.h"
#include "storage/StorageCatalogStore.h"
#include "storage/VolumeInfo.h"

namespace velmox {

namespace {

constexpr std::chrono::seconds kPositionLimit{120};

Result<std::unique_ptr<DiskScanner>> walk(std::unique_ptr<DiskScanner> scanner,
                                          const IncrementalRescan::Waiting& waiting) {
    if (Status started = scanner->start(); !started)
        return failure(started.error());
    while (!scanner->waitForFinished(std::chrono::milliseconds(250)))
        if (waiting)
            waiting(*scanner);
    return scanner;
}

} // namespace

Result<IncrementalRescan> IncrementalRescan::run(const ScanConfiguration& config,
                                                 const QString& scopeKey,
                                                 StorageCatalogStore& store, ChangeHistory* history,
                                                 int64_t baseEntryCap, const Waiting& waiting,
                                                 const std::function<void(const QString&)>& phase) {
    const QString root = QString::fromUtf8(config.rootPath);
    const VolumeInfo volume = VolumeInfo::of(root);
    const QDateTime now = QDateTime::currentDateTime();
    // The position is taken before the history is replayed and the walk starts: a change
    // in between is read now and replayed again next time, never lost.
    std::optional<ScanStamp> stamp;
    if (history)
        if (const std::optional<QString> uuid = history->uuid(config.rootPath))
            if (const Result<uint64_t> position =
                    history->currentPosition(config.rootPath, kPositionLimit))
                stamp = ScanStamp{1, *position, *uuid, volume.uuid, now};

    IncrementalRescan outcome;
    std::optional<CatalogContents> cached;
    if (std::optional<Result<CatalogContents>> read = store.readCache(scopeKey); read && *read)
        cached = std::move(**read);
    if (phase)
        phase(IncrementalText::checkingPhase());
    IncrementalDecision decision = IncrementalDecision::decide(
        {cached ? &cached->tree : nullptr, cached ? cached->meta.scanStamp : std::nullopt,
         cached ? cached->meta.rootPath : QString(), root, volume.uuid, now,
         stamp ? history : nullptr});
    if (decision.plan) {
        auto scanner = walk(std::make_unique<DiskScanner>(config, cached->tree,
                                                          std::move(*decision.plan), baseEntryCap),
                            waiting);
        if (!scanner)
            return failure(scanner.error());
        if (!(*scanner)->needsFullScan()) {
            outcome.incremental = true;
            outcome.scanner = std::move(*scanner);
            outcome.note = IncrementalText::updated(outcome.scanner->rereadFolders(),
                                                    outcome.scanner->reusedFolders(),
                                                    outcome.scanner->progress().elapsed);
            if (stamp)
                stamp->fullScanDate = cached->meta.scanStamp->fullScanDate;
        } else {
            decision.note = IncrementalText::unsafe();
        }
    }
    cached.reset();
    if (!outcome.incremental) {
        if (phase)
            phase(QStringLiteral("Scanning..."));
        auto scanner = walk(std::make_unique<DiskScanner>(config, baseEntryCap), waiting);
        if (!scanner)
            return failure(scanner.error());
        outcome.scanner = std::move(*scanner);
        outcome.note = decision.note;
    }
    if (outcome.scanner->state() == DiskScanner::State::finished) {
        const std::shared_ptr<FileTree> tree = outcome.scanner->tree();
        CatalogMeta meta = catalogMetaFor(*tree, volume, now);
        meta.scanStamp = stamp.value_or(ScanStamp{1, 0, {}, volume.uuid, now});
        if (const Status written = store.writeCache(scopeKey, tree, std::move(meta)).get();
            !written)
            qWarning("Scan cache of %s not written: %s", qPrintable(root),
                     qPrintable(written.error()));
    }
    return outcome;
}

} // namespace velmox
