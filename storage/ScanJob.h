#pragma once

#include "services/Clock.h"
#include "storage/CatalogRecords.h"
#include "storage/DiskScanner.h"
#include "storage/ProtectedScan.h"
#include "storage/ScanCheckpointer.h"
#include "storage/ScanScope.h"
#include "storage/VolumeInfo.h"

#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace velmox {

class AppStatusCenter;
class ChangeHistory;
class StorageCatalogStore;

// The state of "Read Blocked Folders" for one job.
struct ProtectedScanState {
    bool running = false;
    std::optional<ProtectedScanOutcome> outcome;
    bool operator==(const ProtectedScanState&) const = default;
};

// One scope's scan as the storage screens see it: state, progress, the finished tree and
// what could not be read. Lives on the main thread; the walk runs on the scanner's own
// workers, a folder rescan and the administrator pass each on one thread of the job's, and
// all of them report back with queued calls. Results of an older run (an earlier
// generation) are dropped.
//
// The job owns every thread that works for it: a cancelled walk is kept until its workers
// have stopped, and the destructor stops the walks and the rescan and waits for them and
// for a running administrator pass (which cannot be stopped: its root child runs to its end
// or its time-out), so no thread calls into a job that has gone.
class ScanJob : public QObject {
    Q_OBJECT
public:
    enum class State { idle, loadingCache, scanning, finished, failed };
    static constexpr std::chrono::milliseconds kProgressInterval{250};

    ScanJob(ScanScope scope, Clock& clock, AppStatusCenter* status = nullptr,
            QObject* parent = nullptr);
    ~ScanJob() override;

    const ScanScope& scope() const { return scope_; }
    State state() const { return state_; }
    int generation() const { return generation_; }
    const ScanProgress& progress() const { return progress_; }
    // The scanned volume, read at the start and again when a scan ends.
    const VolumeInfo& volume() const { return volume_; }
    std::shared_ptr<const FileTree> tree() const { return tree_; }
    int64_t unreadableCount() const { return unreadableCount_; }
    const QList<UnreadableSample>& unreadableSamples() const { return unreadableSamples_; }
    QString scanPhase() const { return scanPhase_; }
    QString scanNote() const { return scanNote_; }
    // A walk is paused (or stopped at the memory cap) and can go on.
    bool isPaused() const { return pausedScanner_ != nullptr; }
    // A rescan or the administrator pass works on a copy of the tree.
    bool isBusy() const { return rescanningFolder_ || protectedScan_.running; }
    // The paused walk goes on in the tree that the screens show, so it cannot while a
    // rescan or the administrator pass copies that tree.
    bool canResume() const { return isPaused() && !isBusy(); }
    bool awaitingProtected() const { return protectedScan_.running; }
    const ProtectedScanState& protectedScan() const { return protectedScan_; }
    std::optional<int32_t> rescanningFolder() const { return rescanningFolder_; }
    QDateTime lastViewed;
    // When the last full scan ended (invalid before one has), on the job's clock.
    const QDateTime& scannedAt() const { return scannedAt_; }
    const Clock& clock() const { return clock_; }
    // The tree shown is the scope's last scan, read from its cache.
    bool isFromCache() const { return isFromCache_; }

    // Where complete scans are kept and read back from; none by default. The store must
    // outlive the job.
    void setCacheStore(StorageCatalogStore* store) { cache_ = store; }
    // With a change history (and a cache store), start() rescans incrementally when the
    // scope's cached scan and the history allow it, and says in scanNote() which it did. The
    // history must outlive the job.
    void setChangeHistory(ChangeHistory* history) { history_ = history; }
    // Gives the patterns that a scan of the scope skips (ScanExclusions); asked on the main
    // thread at each start and before a checkpoint is continued. None by default. A scan
    // whose exclusions differ from those of the scope's cached scan or checkpoint reads
    // everything again.
    using ExclusionSource = std::function<QStringList(const ScanScope&)>;
    void setExclusionSource(ExclusionSource source) { exclusionSource_ = std::move(source); }
    // The patterns the next scan skips.
    QStringList exclusions() const;
    // Shows the scope's last scan when the job has no scan yet: the job is `loadingCache`
    // while the files are read on a thread of its own, then `finished`. A checkpoint left
    // by a scan that did not end comes first: it is offered as a paused scan to continue
    // (restoredFromCheckpoint(), checkpointDate(), resume()); otherwise the scope's cache is
    // shown. The job goes back to `idle` when there is neither, and says why when a file is
    // refused. False when there is nothing to do.
    bool openCachedScan();
    // The paused scan shown was rebuilt from the checkpoint written at checkpointDate().
    bool restoredFromCheckpoint() const { return restoredFromCheckpoint_; }
    const QDateTime& checkpointDate() const { return checkpointDate_; }
    // The node budget of the ScanCenter. A job whose full tree is in its cache may be
    // reduced to the top folder levels while no view shows it (isSummaryOnly()); the next
    // view to show it has it read back in full from the cache (needsFullReload(), then
    // isReloadingFull() while that runs).
    bool isSummaryOnly() const { return isSummaryOnly_; }
    bool fullCacheOnDisk() const { return fullCacheOnDisk_; }
    bool needsFullReload() const { return needsFullReload_; }
    bool isReloadingFull() const { return isReloadingFull_; }
    int visibleViews() const { return visibleViews_; }
    // A view starts (true) or stops (false) showing this job.
    void setViewed(bool viewed);
    // Keeps only the top folder levels of a finished tree that its cache holds in full and
    // no view shows; false when it cannot.
    bool reduceToSummary();
    // The nodes of the full tree this job holds (a walk's included), 0 for a summary.
    int64_t heldNodes() const;

    // How often a running scan writes its checkpoint (with a store); see ScanCheckpointer.
    void setCheckpointInterval(std::chrono::milliseconds interval) {
        checkpointInterval_ = interval;
    }

    // Starts a full scan; `workers` overrides the count chosen from the disk.
    void start(bool gentle = false, std::optional<int> workers = std::nullopt);
    void pause();
    // "Resume reads more": continues a paused scan or one stopped at the memory cap; false
    // when canResume() is false.
    bool resume();
    // Stops a running or paused walk without waiting for its workers.
    void cancel();
    // Reads one folder of the tree again and puts the result in its place; one rescan or
    // administrator pass at a time. An excluded folder is not read; the job says so instead.
    // Asked for while removals are applied, it waits for them and then reads the folder at
    // the same path.
    void rescanFolder(int32_t node);
    // Takes items that were removed from the disk out of the tree shown (paths not in it are
    // passed over) without reading anything again. The edited copy is built on a thread of
    // the job's from the tree shown, which stays on screen until the copy replaces it; paths
    // given meanwhile wait and are taken out in the next pass. The edited tree goes to the
    // scope's cache, marked edited, so that the next scan reads everything.
    void removeFromTree(const QList<QByteArray>& paths);
    // Removed items are being taken out of the tree (isRemoving() changes emit stateChanged).
    bool isRemoving() const { return removing_; }
    // Reads the blocked folders as root with `runner`, Velmox's own verified executable
    // being `executable` (ProtectedScan::verifiedExecutable()). Asked for while removals
    // are applied, it starts after them.
    void readBlockedFolders(const Result<QString>& executable,
                            ProtectedScan::PrivilegedRunner runner);

signals:
    // Also when a rescan or the administrator pass starts or ends.
    void stateChanged();
    void progressChanged();
    void treeChanged();
    void messageChanged(const QString& message); // rescans and the administrator pass

private:
    // Hands the end of the scanner's runs to scannerFinished().
    void watch(DiskScanner& scanner);
    void launch(std::unique_ptr<DiskScanner> scanner);
    // Reads the history and the cached scan on a thread of the job's, then launches an
    // incremental walk or a full one.
    void prepareRescan(ScanConfiguration config);
    void scannerFinished(const DiskScanner* scanner);
    // Cancels the running walk and keeps it until its workers have stopped.
    void retireScanner();
    void startProgressTimer();
    QString title() const;
    void setState(State state);
    void report(const QString& message, bool active);
    void setTree(std::shared_ptr<FileTree> tree);
    // Counts the blocked folders of the current tree again and keeps the samples that are
    // still blocked, followed by `found` (as many as fit).
    void refreshUnreadable(const QList<UnreadableSample>& found);
    // Hands a complete scan to the cache's write queue.
    void writeCache();
    // Checkpoints for the walk about to run, when there is a store and none yet.
    void keepCheckpoints();
    // Reads the full tree back from the cache in place of the summary shown.
    void reloadFull();
    void discardCheckpoint();
    // Takes the waiting removal paths out of a copy of the tree on removeThread_.
    void startRemoval();
    void removalApplied(const std::shared_ptr<const FileTree>& base, const QList<QByteArray>& paths,
                        std::shared_ptr<FileTree> updated);

    ScanScope scope_;
    Clock& clock_;
    AppStatusCenter* status_;
    State state_ = State::idle;
    int generation_ = 0;
    ScanProgress progress_;
    QDateTime scannedAt_;
    VolumeInfo volume_;
    std::shared_ptr<const FileTree> tree_;
    int64_t unreadableCount_ = 0;
    QList<UnreadableSample> unreadableSamples_;
    QString scanPhase_;
    QString scanNote_;
    bool isFromCache_ = false;
    StorageCatalogStore* cache_ = nullptr;
    ChangeHistory* history_ = nullptr;
    ExclusionSource exclusionSource_;
    std::optional<ScanStamp> stamp_; // of the walk under way, for its cache
    QString rescanNote_;             // why the walk under way reads everything
    ProtectedScanState protectedScan_;
    std::optional<int32_t> rescanningFolder_;
    std::unique_ptr<ScheduledJob> timer_;
    std::unique_ptr<ScanCheckpointer> checkpoints_;
    std::chrono::milliseconds checkpointInterval_ = ScanCheckpointer::kDefaultInterval;
    bool restoredFromCheckpoint_ = false;
    bool isSummaryOnly_ = false;
    bool fullCacheOnDisk_ = false;
    bool needsFullReload_ = false;
    bool isReloadingFull_ = false;
    int visibleViews_ = 0;
    QDateTime checkpointDate_;
    bool removing_ = false;
    QList<QByteArray> pendingRemovals_; // wait for the pass under way
    // Rescans and administrator passes asked for during removals, run after them in order.
    std::vector<std::function<void()>> afterRemovals_;
    // Declared last, so they are stopped before anything they report into goes.
    std::unique_ptr<DiskScanner> scanner_;
    std::unique_ptr<DiskScanner> pausedScanner_;
    std::vector<std::unique_ptr<DiskScanner>> retired_; // cancelled, workers still stopping
    std::jthread rescanThread_;                         // stopped (cancelled) and joined
    std::jthread passThread_;                           // joined
    std::jthread cacheThread_;                          // joined
    std::jthread prepareThread_;                        // joined
    std::jthread removeThread_;                         // joined
};

} // namespace velmox
