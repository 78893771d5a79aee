#pragma once

#include "storage/ScanScope.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <functional>
#include <optional>

namespace velmox {

class AppNavigationState;
class AppStatusCenter;
class ScanCenter;
class ScanJob;
class StorageCatalogStore;
struct ReindexReport;

// A scan that did not end, left as a checkpoint, that Velmox offers to continue.
struct ScanResumeOffer {
    ScanScope scope;
    QDateTime savedAt; // when the checkpoint was written
    int64_t entries = 0;
    bool operator==(const ScanResumeOffer&) const = default;

    // "The scan of Music (/home/me/Music) was interrupted on 22/11/2026 14:03 with 1,200
    // items read."
    QString text() const;
    // This checkpoint, whichever pass found it: a newer one of the same scope differs.
    QString checkpointId() const;
};

// The scans to continue that the start-up pass over the catalog folders found, one offer per
// checkpoint, for the window to show on every page. Continue opens the Storage Manager at the
// scope and resumes the walk rebuilt from the checkpoint; Discard deletes the checkpoint and
// says so in the activity log. An offer goes as soon as the Storage Manager takes the
// checkpoint up itself (the scope is opened there, or scanned again), so a checkpoint is
// never offered twice.
//
// Lives on the main thread. The center, the store, the navigation state and the status
// centre must outlive it; the destructor waits for a discard still running.
class ScanResumeOffers : public QObject {
    Q_OBJECT
public:
    // action, detail, success: the activity log. Called on the main thread.
    using Note = std::function<void(const QString&, const QString&, bool)>;

    ScanResumeOffers(ScanCenter& center, StorageCatalogStore& store, AppNavigationState& navigation,
                     AppStatusCenter* status, Note note, QObject* parent = nullptr);
    ~ScanResumeOffers() override;

    const QList<ScanResumeOffer>& offers() const { return offers_; }
    // Offers the checkpoints of a pass that are not offered or taken up already.
    void add(const ReindexReport& report);
    void continueScan(const QString& scopeKey);
    void discard(const QString& scopeKey);
    // The offer of this checkpoint while it is still offered.
    std::optional<ScanResumeOffer> find(const QString& checkpointId) const;
    // Turns the navigation to the Storage Manager, where the window shows the offers.
    void showStorageManager();

    // The scope a checkpoint's scope key stands for, titled as the Storage Manager titles it;
    // std::nullopt for a key that names no scope.
    static std::optional<ScanScope> scopeFor(const QString& scopeKey);

signals:
    void changed();

private:
    std::optional<ScanResumeOffer> take(const QString& scopeKey);
    void watch(ScanJob* job);
    // The scope's job has the checkpoint in hand: a paused scan rebuilt from it, or a new walk.
    static bool tookUp(const ScanJob& job);

    ScanCenter& center_;
    StorageCatalogStore& store_;
    AppNavigationState& navigation_;
    AppStatusCenter* status_;
    Note note_;
    QList<ScanResumeOffer> offers_;
    QSet<QString> offered_; // every checkpoint offered once, by scope and date
    QThreadPool workers_;   // last: destroyed, and so waited for, first
};

} // namespace velmox
