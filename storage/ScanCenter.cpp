#include "storage/ScanCenter.h"

#include <QScopedValueRollback>
#include <algorithm>

namespace velmox {

ScanCenter::ScanCenter(Clock& clock, AppStatusCenter* status, StorageCatalogStore* cache,
                       QObject* parent)
    : QObject(parent), clock_(clock), status_(status), cache_(cache),
      nodeBudget_(nodeBudgetFor(DiskScanner::physicalMemory())) {}

ScanJob* ScanCenter::job(const ScanScope& scope) {
    if (ScanJob* known = jobs_.value(scope.identifier()))
        return known;
    auto* job = new ScanJob(scope, clock_, status_, this);
    job->setCacheStore(cache_);
    job->setChangeHistory(history_);
    job->setExclusionSource(exclusions_);
    connect(job, &ScanJob::treeChanged, this, &ScanCenter::keepWithinBudget);
    connect(job, &ScanJob::stateChanged, this, &ScanCenter::keepWithinBudget);
    jobs_.insert(scope.identifier(), job);
    emit jobAdded(job);
    return job;
}

void ScanCenter::setExclusionSource(const ScanJob::ExclusionSource& source) {
    exclusions_ = source;
    for (ScanJob* job : std::as_const(jobs_))
        job->setExclusionSource(source);
}

void ScanCenter::setNodeBudget(int64_t nodes) {
    nodeBudget_ = nodes;
    keepWithinBudget();
}

void ScanCenter::keepWithinBudget() {
    // Reducing a job changes its tree, which calls back in; this pass finishes the work.
    if (balancing_)
        return;
    const QScopedValueRollback balancing(balancing_, true);
    int64_t held = 0;
    QList<ScanJob*> candidates;
    for (ScanJob* job : std::as_const(jobs_)) {
        held += job->heldNodes();
        if (job->visibleViews() == 0 && job->fullCacheOnDisk() && !job->isSummaryOnly())
            candidates.append(job);
    }
    if (held <= nodeBudget_)
        return;
    std::sort(candidates.begin(), candidates.end(),
              [](const ScanJob* a, const ScanJob* b) { return a->lastViewed < b->lastViewed; });
    for (ScanJob* job : std::as_const(candidates)) {
        if (held <= nodeBudget_)
            break;
        const int64_t before = job->heldNodes();
        if (job->reduceToSummary())
            held -= before;
    }
}

int64_t ScanCenter::nodeBudgetFor(uint64_t physicalMemory) {
    if (physicalMemory < 48'000'000'000ULL)
        return std::max<int64_t>(static_cast<int64_t>(physicalMemory / 2000), 6'000'000);
    return 24'000'000;
}

} // namespace velmox
