#pragma once

#include "platform/ChangeHistory.h"
#include "services/Result.h"
#include "storage/CatalogRecords.h"
#include "storage/DiskScanner.h"

#include <QString>
#include <functional>
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

// One scan of a scope on the calling thread, incremental when it safely can be, with the
// finished scan cached (with its stamp) for the next time: for the command line.
struct IncrementalRescan {
    std::unique_ptr<DiskScanner> scanner; // ended
    bool incremental = false;
    QString note; // the result note of an incremental scan, or why everything was read

    using Waiting = std::function<void(const DiskScanner&)>;
    // `waiting` is called about four times a second while the walk runs.
    static Result<IncrementalRescan> run(const ScanConfiguration& config, const QString& scopeKey,
                                         StorageCatalogStore& store, ChangeHistory* history,
                                         int64_t baseEntryCap, const Waiting& waiting = {});
};

} // namespace velmox
