#include "storage/ScanCenter.h"

namespace velmox {

ScanCenter::ScanCenter(Clock& clock, AppStatusCenter* status, StorageCatalogStore* cache,
                       QObject* parent)
    : QObject(parent), clock_(clock), status_(status), cache_(cache),
      nodeBudget_(nodeBudgetFor(DiskScanner::physicalMemory())) {}

ScanJob* ScanCenter::job(const ScanScope& scope) {
    ScanJob*& job = jobs_[scope.identifier()];
    if (!job) {
        job = new ScanJob(scope, clock_, status_, this);
        job->setCacheStore(cache_);
        job->setChangeHistory(history_);
    }
    return job;
}

int64_t ScanCenter::nodeBudgetFor(uint64_t physicalMemory) {
    if (physicalMemory < 48'000'000'000ULL)
        return std::max<int64_t>(static_cast<int64_t>(physicalMemory / 2000), 6'000'000);
    return 24'000'000;
}

} // namespace velmox
