#pragma once

#include "services/Clock.h"
#include "storage/CatalogRecords.h"

#include <QObject>
#include <QStringList>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace velmox {

class StorageCatalogStore;

// What one pass over the catalog folders found and did.
struct ReindexReport {
    QStringList converted; // names of older catalogs now in the compact form
    QStringList setAside;  // where each file set aside went
    // The checkpoints that read back whole and whose scope still exists: scans to offer to
    // continue.
    QList<ScanCheckpointInfo> checkpoints;
};

// The start-up pass over the three folders of the store: converts catalogs of the older
// JSON form (keeping the original beside them), moves scan caches and checkpoints that do
// not read back whole, or whose scanned folder no longer exists, into a "Set Aside" folder
// next to them, and tells the catalog lists to read again. Every file converted or set
// aside gets a note through `note` (the activity log); nothing is set aside silently.
// Catalogs saved by the user are never moved: a damaged one stays listed with its error.
//
// Lives on the main thread. The pass runs on a thread of its own; the checks of caches and
// checkpoints run on the store's queue of their kind, after the writes already queued.
// `finished` comes on the main thread. The destructor waits for a pass under way; the
// store must outlive the reindexer.
class CatalogReindexer : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::seconds kStartDelay{30};
    // action, detail, success; called from the pass's thread.
    using Note = std::function<void(const QString&, const QString&, bool)>;

    CatalogReindexer(StorageCatalogStore& store, Note note, QObject* parent = nullptr);
    ~CatalogReindexer() override;

    // Runs one pass `delay` after now on `clock`.
    void schedule(Clock& clock, std::chrono::milliseconds delay = kStartDelay);
    // Starts a pass now; false while one is under way.
    bool start();
    bool isRunning() const { return running_; }

    // The pass itself, on the calling thread (not a thread of the store's queues).
    static ReindexReport run(StorageCatalogStore& store, const Note& note);

signals:
    // Also the hook for offering to continue a scan from `report.checkpoints`.
    void finished(const velmox::ReindexReport& report);

private:
    StorageCatalogStore& store_;
    Note note_;
    bool running_ = false;
    std::unique_ptr<ScheduledJob> timer_;
    std::jthread pass_; // declared last: joined first
};

} // namespace velmox
