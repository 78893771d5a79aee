#pragma once

#include "services/Result.h"
#include "storage/FileTree.h"
#include "storage/LinkKeySet.h"
#include "storage/ScanConfiguration.h"
#include "storage/UnreadableReason.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QWaitCondition>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

class QThread;

namespace velmox {

struct DirListing;
struct IncrementalPlan;
struct RestoredScan;

// Published while a scan runs.
struct ScanProgress {
    int64_t folders = 0;
    int64_t bytes = 0; // allocated bytes seen so far
    int64_t unreadable = 0;
    int64_t pendingFolders = 0;
    double elapsed = 0;
    double stalledSeconds = 0; // since the last folder finished
    bool operator==(const ScanProgress&) const = default;
};

// A folder the walk could not open.
struct UnreadableSample {
    QByteArray path;
    UnreadableReason reason;
    bool operator==(const UnreadableSample&) const = default;
};

// A folder the walk had still to read when a checkpoint was taken.
struct PendingFolderRecord {
    int32_t node = 0;
    QByteArray path;
    bool operator==(const PendingFolderRecord&) const = default;
};

// What goes with the rows of a running walk into a checkpoint.
struct WalkSnapshot {
    std::vector<PendingFolderRecord> stack; // every folder still to read, or being read
    int64_t entries = 0;
    int64_t foldersDone = 0;
    int64_t unreadableCount = 0;
    QList<UnreadableSample> unreadableSamples;
    double elapsed = 0;
};

// One walk of a folder tree on dedicated worker threads. Workers share a stack of folders
// still to read; each reads a whole folder on its own, then appends its rows to the tree
// in one step under the lock, so every folder's children stay contiguous.
class DiskScanner {
public:
    enum class State { ready, running, finished, stoppedForSize, paused, cancelled };
    static constexpr qsizetype kMaxUnreadableSamples = 200;

    explicit DiskScanner(ScanConfiguration config, int64_t baseEntryCap = defaultBaseEntryCap());
    // An incremental rescan: the folders that `plan` leaves alone are taken over from
    // `baseline` (a complete earlier scan of the same root, copied here) with everything
    // below them, when their entry in the freshly read parent still matches; the rest is read.
    DiskScanner(ScanConfiguration config, const FileTree& baseline, IncrementalPlan plan,
                int64_t baseEntryCap = defaultBaseEntryCap());
    ~DiskScanner();
    DiskScanner(const DiskScanner&) = delete;
    DiskScanner& operator=(const DiskScanner&) = delete;

    // Called once per run on the last worker thread when the walk ends (finished, stopped
    // at the memory cap, paused or cancelled).
    std::function<void(DiskScanner&)> onFinish;

    // Fails when the root cannot be looked at at all.
    Status start();
    void cancel();
    // Stops the workers after the folders they are reading; resume() continues.
    void pause();
    // Continues from the saved stack; after a stop at the memory cap the cap grows by a
    // tenth of the base cap (at least 1,000,000). Whoever held the partial tree must let go
    // of it first: the walk goes on in the same tree.
    bool resume();
    // A walk continued from a checkpoint: the partial tree (folder sizes not summed), the
    // folders still to read and the counters so far. It comes back paused, its tree summed
    // and marked incomplete like any paused walk, and resume() goes on with it; its item
    // cap is the larger of the base cap and the restored entries plus a tenth of the base
    // cap (at least 1,000,000). Hard-linked files already counted stay counted once: their
    // records travel with the tree. Fails when the checkpoint is of another root.
    static Result<std::unique_ptr<DiskScanner>>
    restore(ScanConfiguration config, RestoredScan&& restored,
            int64_t baseEntryCap = defaultBaseEntryCap());

    // While the walk runs or is stopped (paused or at the memory cap): brings `mirror` up to
    // date with the tree (FileTree::updateMirror) and returns the folders still to read and
    // the counters that go with those rows. The workers wait only while the rows added since
    // the previous snapshot are copied. A stopped walk's tree is changed and changed back
    // meanwhile, so then only its owner's thread may be reading it. The mirror must be empty
    // at the first call and then only be given back to this walk. std::nullopt when the walk
    // has not started or has ended.
    std::optional<WalkSnapshot> snapshot(FileTree& mirror);

    // Waits for the current run; false on time-out.
    bool waitForFinished(std::chrono::milliseconds timeout = std::chrono::hours(24 * 365));

    State state() const;
    ScanProgress progress() const;
    const ScanConfiguration& config() const { return config_; }
    // The tree with folder sizes summed, once the run has ended.
    std::shared_ptr<FileTree> tree() const;
    QString note() const;
    int64_t entries() const;
    int64_t entryCap() const;
    int64_t unreadableCount() const;
    QList<UnreadableSample> unreadableSamples() const;
    // Every folder that could not be opened and every entry that could not be looked at, as
    // nodes of the tree.
    std::vector<int32_t> blockedNodes() const;
    std::chrono::nanoseconds duration() const;

    bool isIncremental() const { return baseline_ != nullptr; }
    // Folders of an incremental rescan read from the disk, and taken over from the baseline.
    int64_t rereadFolders() const;
    int64_t reusedFolders() const;
    // After an incremental rescan: a hard-linked file changed in a way the taken-over folders
    // may not show, so the tree must not be used and everything has to be read again.
    bool needsFullScan() const;

    // Entries before the memory cap for a machine with `physicalMemory` bytes of RAM.
    static int64_t baseEntryCap(uint64_t physicalMemory);
    static int64_t defaultBaseEntryCap();
    static uint64_t physicalMemory();

private:
    // An open folder whose sub-folders are still on the stack; closed with the last one.
    struct FolderHandle {
        int fd;
        std::atomic<int>* openCount;
        ~FolderHandle();
    };
    struct PendingFolder {
        int32_t node;
        QByteArray path;
        std::shared_ptr<FolderHandle> parent; // when set, open the name relative to it
        qsizetype nameStart = 0;
        int32_t base = -1; // the same folder in the baseline of an incremental rescan
    };
    // Folders kept open at once; beyond it sub-folders are opened by their full path.
    static constexpr int kMaxOpenFolders = 256;

    // A sub-folder that may be descended, unless it was entered before.
    struct FolderCandidate {
        uint32_t entry;
        LinkKey key;
        QByteArray path;
        qsizetype nameStart;
        int32_t base;
    };

    // An entry that could not be looked at; it counts as unreadable.
    struct FailedEntry {
        uint32_t entry;
        QByteArray path;
        int errorNumber;
    };

    void launchWorkers();
    void workerLoop();
    // Outside the lock: marks mount points, lists the sub-folders to descend and the
    // entries that could not be looked at.
    void sortOutFolders(const PendingFolder& folder, DirListing& listing,
                        std::vector<FolderCandidate>& candidates,
                        std::vector<FailedEntry>& failed) const;
    // Under the lock: counts each hard-linked file and each folder once, appends the rows.
    void commit(const PendingFolder& folder, DirListing& listing,
                std::vector<FolderCandidate>& candidates, const std::vector<FailedEntry>& failed,
                const std::shared_ptr<FolderHandle>& handle);
    // A folder that could not be opened, or an entry that could not be looked at.
    void markBlocked(int32_t node, const QByteArray& path, int errorNumber);
    // Under the lock: whether a popped folder is taken over from the baseline, and doing so.
    bool canReuse(const PendingFolder& folder) const;
    void reuseBaseline(int32_t node, int32_t base);
    // A folder only on the way to changes: its entries are the baseline's, the folders on
    // the way looked at again (outside the lock); false when one is not a folder any more.
    struct RestatedFolder {
        uint32_t index; // among the folder's children
        int64_t alloc, logical, mtime;
    };
    bool canDescend(const PendingFolder& folder) const;
    bool restatMarkedFolders(const PendingFolder& folder,
                             std::vector<RestatedFolder>& restated) const;
    void descendBaseline(const PendingFolder& folder, const std::vector<RestatedFolder>& restated);
    // Appends the baseline children of `source` below `into`, with their hard-link records;
    // the index of the first.
    int32_t appendBaselineChildren(int32_t into, int32_t source,
                                   const std::vector<RestatedFolder>& restated);
    // The baseline folder of that name below `base`, or -1.
    int32_t baselineChild(int32_t base, QByteArrayView name) const;
    // After an incremental walk: checks the hard-linked files read again, then lets each be
    // counted once.
    void settleLinkedFiles();
    // Under the lock: counts a folder done and stops at the memory cap.
    void folderDone(int32_t node);
    void finishRun();
    // Under the lock: a stopped walk's tree shows like a finished one (sizes summed, the root
    // and the folders still to read marked as not read), and back.
    void markStopped();
    void unmarkStopped();
    bool isExcluded(const QByteArray& path) const;
    // Outside the lock: flags the entries the user's exclusions match and takes them out of
    // the folder's lists of sub-folders, hard-linked files and failed entries.
    void applyExclusions(const PendingFolder& folder, DirListing& listing) const;

    const ScanConfiguration config_;
    const int64_t baseEntryCap_;

    mutable QMutex condition_;
    QWaitCondition wake_;
    QWaitCondition finished_;
    std::vector<PendingFolder> stack_;
    std::shared_ptr<FileTree> tree_;
    LinkKeySet seenLinks_;
    LinkKeySet seenDirs_;
    int activeWorkers_ = 0;
    int runningThreads_ = 0;
    State state_ = State::ready;
    bool stopRequested_ = false;
    bool cancelled_ = false;
    bool stoppedForSize_ = false;
    int64_t entries_ = 0;
    int64_t entryCap_ = 0;
    int64_t foldersDone_ = 0;
    int64_t bytesSeen_ = 0;
    int64_t unreadableCount_ = 0;
    QList<UnreadableSample> unreadableSamples_;
    std::vector<int32_t> blockedNodes_;
    // For snapshot(): folders taken off the stack and not yet committed, and the older rows
    // changed in place since the last snapshot (tracked from the first one on).
    std::vector<PendingFolderRecord> reading_;
    std::vector<int32_t> changedRows_;
    bool tracksChanges_ = false;
    std::chrono::steady_clock::time_point startTime_;
    std::chrono::steady_clock::time_point endTime_;
    std::atomic<int64_t> lastActivityNs_{0};
    std::atomic<int> openFolders_{0};
    std::vector<std::unique_ptr<QThread>> threads_;

    // Incremental rescans only.
    struct FreshLink {
        LinkKey key;
        uint32_t names;
        int32_t node;
    };
    std::unique_ptr<FileTree> baseline_; // sizes not summed
    std::vector<uint8_t> marks_;         // IncrementalPlan::mark
    LinkKeySet baselineLinks_;
    std::vector<FreshLink> freshLinks_;
    int64_t rereadFolders_ = 0;
    int64_t reusedFolders_ = 0;
    bool needsFullScan_ = false;
};

} // namespace velmox
