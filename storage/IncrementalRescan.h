#pragma once

#include "platform/ChangeHistory.h"
#include "storage/CatalogRecords.h"
#include "storage/DiskScanner.h"

#include <QString>
#include <memory>
#include <optional>

namespace velmox {

class StorageCatalogStore;

// How a scan of a scope starts: it takes the history's position first (a change made while
// the history is read is then read now and replayed again next time, never lost), then
// decides against the scope's cached scan. Blocks for as long as the history takes (at most
// two minutes): call it off the main thread.
struct RescanStart {
    std::unique_ptr<DiskScanner> scanner; // not started; incremental when it can be
    std::optional<ScanStamp> stamp;       // for the cache of the finished scan
    QString note;                         // why everything is read; empty for an incremental walk

    // `history` may be null (no history on this system).
    static RescanStart prepare(const ScanConfiguration& config, const QString& scopeKey,
                               const StorageCatalogStore& store, ChangeHistory* history,
                               int64_t baseEntryCap = DiskScanner::defaultBaseEntryCap());
};

} // namespace velmox
