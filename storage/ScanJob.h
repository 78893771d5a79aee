#pragma once

#include "services/Clock.h"
#include "storage/DiskScanner.h"
#include "storage/ProtectedScan.h"
#include "storage/ScanScope.h"
#include "storage/VolumeInfo.h"

#include <QObject>
#include <memory>
#include <optional>

namespace velmox {

class AppStatusCenter;

// The state of "Read Blocked Folders" for one job.
struct ProtectedScanState {
    bool running = false;
    std::optional<ProtectedScanOutcome> outcome;
    bool operator==(const ProtectedScanState&) const = default;
};

// One scope's scan as the storage screens see it: state, progress, the finished tree and
// what could not be read. Lives on the main thread; the walk runs on the scanner's own
// workers and reports back with queued calls. Results of an older run (an earlier
// generation) are dropped.
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
    bool canResume() const { return pausedScanner_ != nullptr; }
    bool awaitingProtected() const { return protectedScan_.running; }
    const ProtectedScanState& protectedScan() const { return protectedScan_; }
    std::optional<int32_t> rescanningFolder() const { return rescanningFolder_; }
    QDateTime lastViewed;

    // Starts a full scan; `workers` overrides the count chosen from the disk.
    void start(bool gentle = false, std::optional<int> workers = std::nullopt);
    void pause();
    // "Resume reads more": continues a paused scan or one stopped at the memory cap.
    bool resume();
    void cancel();
    // Reads one folder of the finished tree again and puts the result in its place.
    void rescanFolder(int32_t node);
    // Reads the blocked folders as root with `runner`, Velmox's own verified executable
    // being `executable` (ProtectedScan::verifiedExecutable()).
    void readBlockedFolders(const Result<QString>& executable,
                            ProtectedScan::PrivilegedRunner runner);

signals:
    void stateChanged();
    void progressChanged();
    void treeChanged();
    void messageChanged(const QString& message); // rescans and the administrator pass

private:
    void launch(std::unique_ptr<DiskScanner> scanner);
    void scannerFinished(int generation);
    void startProgressTimer();
    QString title() const;
    void setState(State state);
    void report(const QString& message, bool active);
    void setTree(std::shared_ptr<FileTree> tree);
    // Counts the blocked folders of the current tree again and keeps the samples that are
    // still blocked, followed by `found` (as many as fit).
    void refreshUnreadable(const QList<UnreadableSample>& found);

    ScanScope scope_;
    Clock& clock_;
    AppStatusCenter* status_;
    State state_ = State::idle;
    int generation_ = 0;
    ScanProgress progress_;
    VolumeInfo volume_;
    std::shared_ptr<const FileTree> tree_;
    int64_t unreadableCount_ = 0;
    QList<UnreadableSample> unreadableSamples_;
    QString scanPhase_;
    QString scanNote_;
    ProtectedScanState protectedScan_;
    std::optional<int32_t> rescanningFolder_;
    std::unique_ptr<DiskScanner> scanner_;
    std::unique_ptr<DiskScanner> pausedScanner_;
    std::unique_ptr<ScheduledJob> timer_;
};

} // namespace velmox
