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
         start.stamp ? history : nullptr, ReplayCollector::kTimeLimit,
         config.exclusions.patterns()});
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

} // namespace velmox
