#pragma once

#include "storage/ScanJob.h"

#include <QHash>
#include <QObject>

namespace velmox {

// The one owner of every scope's ScanJob (one job per scope, created on first use). With a
// store, every complete scan is kept as its scope's cache and can be shown again from there
// (ScanJob::openCachedScan()); the store must outlive the center.
//
// Whenever a job's tree changes, the center holds the nodes of all jobs within its budget:
// jobs that no view shows and whose full tree is in their cache are reduced to their top
// folder levels (ScanJob::reduceToSummary()), the one viewed longest ago first, until the
// rest fits. Viewing a reduced job again reads it back in full. Main thread only.
class ScanCenter : public QObject {
    Q_OBJECT
public:
    ScanCenter(Clock& clock, AppStatusCenter* status = nullptr,
               StorageCatalogStore* cache = nullptr, QObject* parent = nullptr);

    ScanJob* job(const ScanScope& scope);
    // The change history for incremental rescans of jobs made from now on; it must outlive
    // the center.
    void setChangeHistory(ChangeHistory* history) { history_ = history; }
    QList<ScanJob*> jobs() const { return jobs_.values(); }
    // What every job's scans skip (ScanJob::setExclusionSource), for jobs made before and after.
    void setExclusionSource(const ScanJob::ExclusionSource& source);

    // How many nodes all jobs may hold in full at once.
    int64_t nodeBudget() const { return nodeBudget_; }
    void setNodeBudget(int64_t nodes);
    static int64_t nodeBudgetFor(uint64_t physicalMemory);

signals:
    // A job was made for a scope that had none.
    void jobAdded(velmox::ScanJob* job);

private:
    void keepWithinBudget();

    Clock& clock_;
    AppStatusCenter* status_;
    StorageCatalogStore* cache_;
    ChangeHistory* history_ = nullptr;
    ScanJob::ExclusionSource exclusions_;
    QHash<QString, ScanJob*> jobs_;
    int64_t nodeBudget_;
    bool balancing_ = false;
};

} // namespace velmox
