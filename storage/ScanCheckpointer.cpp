#include "storage/ScanCheckpointer.h"

#include "storage/DiskScanner.h"
#include "storage/StorageCatalogStore.h"

#include <QDateTime>

namespace velmox {

ScanCheckpointer::ScanCheckpointer(StorageCatalogStore& store, QString scopeKey, CatalogMeta meta,
                                   std::chrono::milliseconds interval)
    : store_(store), scopeKey_(std::move(scopeKey)), meta_(std::move(meta)), interval_(interval) {}

bool ScanCheckpointer::inFlight() const {
    return write_.valid() && write_.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

Status ScanCheckpointer::finishWrite() {
    if (!write_.valid())
        return Done{};
    const Status written = write_.get();
    const auto now = SteadyClock::now();
    due_ = now + std::max<SteadyClock::duration>(interval_, 4 * (now - writeStarted_));
    if (!written)
        qWarning("Checkpoint of %s not written: %s", qPrintable(scopeKey_),
                 qPrintable(written.error()));
    return written;
}

bool ScanCheckpointer::poll(DiskScanner& scanner) {
    const auto now = SteadyClock::now();
    if (&scanner != scanner_) {
        // A new walk: its rows start a new mirror (the one in flight keeps the old rows).
        scanner_ = &scanner;
        contents_.reset();
        due_ = now + interval_;
    }
    if (inFlight())
        return false;
    finishWrite();
    return now >= due_ && take(scanner);
}

bool ScanCheckpointer::checkpointNow(DiskScanner& scanner) {
    if (&scanner != scanner_) {
        scanner_ = &scanner;
        contents_.reset();
    }
    if (inFlight())
        return false;
    finishWrite();
    return take(scanner);
}

bool ScanCheckpointer::take(DiskScanner& scanner) {
    if (!contents_) {
        contents_ = std::make_shared<CatalogContents>();
        contents_->meta = meta_;
    }
    auto snapshot = scanner.snapshot(contents_->tree);
    if (!snapshot)
        return false;
    contents_->stack = std::move(snapshot->stack);
    contents_->checkpoint = ScanCheckpointInfo{scopeKey_,
                                               snapshot->entries,
                                               snapshot->foldersDone,
                                               snapshot->unreadableCount,
                                               std::move(snapshot->unreadableSamples),
                                               snapshot->elapsed,
                                               QDateTime::currentDateTime(),
                                               scanner.isIncremental()};
    writeStarted_ = SteadyClock::now();
    write_ = store_.writeCheckpoint(contents_);
    return true;
}

std::future<Status> ScanCheckpointer::discard() {
    scanner_ = nullptr;
    contents_.reset();
    return store_.deleteCheckpoint(scopeKey_);
}

} // namespace velmox
