#pragma once

#include "storage/CatalogFormat.h"

#include <QString>
#include <chrono>
#include <future>
#include <memory>

namespace velmox {

class DiskScanner;
class StorageCatalogStore;

// Writes checkpoints of one scope's running walk, so that a crash or a kill loses only what
// was read since the last one. A checkpoint is due `interval` after the walk was first seen
// and then `interval` after the previous write ended, and never sooner than four times as
// long as that write took, so the checkpoint queue stays below a fifth of one core on big
// trees. Never two in flight: while one is written, poll() does nothing.
//
// The walk is held only while the rows added since the previous checkpoint are copied into
// a mirror of the tree (DiskScanner::snapshot()); the mirror is encoded, written, read back
// and verified on the store's "Velmox.checkpoints" queue. The mirror costs a second copy of
// the tree's columns for as long as the walk runs.
//
// Used on one thread (its owner's). The store must outlive it; a write in flight keeps what
// it writes alive on its own, so the checkpointer may go at any time.
class ScanCheckpointer {
public:
    static constexpr std::chrono::milliseconds kDefaultInterval{30'000};

    ScanCheckpointer(StorageCatalogStore& store, QString scopeKey, CatalogMeta meta,
                     std::chrono::milliseconds interval = kDefaultInterval);

    // Takes a checkpoint of `scanner` when one is due and none is in flight; true when one
    // was handed to the queue. A walk other than the last one seen starts a new mirror.
    bool poll(DiskScanner& scanner);
    // Takes a checkpoint now, due or not, unless one is in flight (a walk that has just
    // stopped, so that it can be continued after a restart).
    bool checkpointNow(DiskScanner& scanner);
    // The write of the last checkpoint is still running.
    bool inFlight() const;
    // Waits for the checkpoint in flight; its outcome, or success when there was none.
    Status finishWrite();
    // The scan ended or was given up: its checkpoint is deleted after any write in flight.
    std::future<Status> discard();

private:
    bool take(DiskScanner& scanner);

    using SteadyClock = std::chrono::steady_clock;

    StorageCatalogStore& store_;
    const QString scopeKey_;
    const CatalogMeta meta_;
    const std::chrono::milliseconds interval_;
    const DiskScanner* scanner_ = nullptr;
    std::shared_ptr<CatalogContents> contents_; // the mirror and what goes with it
    std::future<Status> write_;
    SteadyClock::time_point writeStarted_;
    SteadyClock::time_point due_;
};

} // namespace velmox
