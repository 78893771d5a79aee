#pragma once

#include "platform/ChangeHistory.h"
#include "services/Result.h"
#include "storage/DiskScanner.h"

#include <QString>
#include <functional>
#include <memory>

namespace velmox {

class StorageCatalogStore;

// One scan of a scope that is incremental when it safely can be: it takes the history's
// position, decides against the scope's cached scan, walks (reading only what changed, or
// everything), and caches a finished scan with its stamp for the next time. Blocks the
// calling thread for the whole scan: for the command line and worker threads.
struct IncrementalRescan {
    std::unique_ptr<DiskScanner> scanner; // ended
    bool incremental = false;
    QString note; // the result note of an incremental scan, or why everything was read

    using Waiting = std::function<void(const DiskScanner&)>;
    // `history` may be null (no history on this system). `waiting` is called about four
    // times a second while the walk runs, and with the phase text while the history is read.
    static Result<IncrementalRescan> run(const ScanConfiguration& config, const QString& scopeKey,
                                         StorageCatalogStore& store, ChangeHistory* history,
                                         int64_t baseEntryCap, const Waiting& waiting = {},
                                         const std::function<void(const QString&)>& phase = {});
};

} // namespace velmox
