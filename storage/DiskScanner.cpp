#include "storage/DiskScanner.h"

#include "storage/CatalogRecords.h"
#include "storage/DirectoryReader.h"
#include "storage/IncrementalPlan.h"

#include <QDeadlineTimer>
#include <QThread>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmox {

namespace {

constexpr int64_t kMinimumCapGrowth = 1'000'000;
constexpr size_t kWorkerStackBytes = 1024 * 1024;

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Gentle scans leave the disk and processor about a quarter of the time to others.
void gentlePause(int64_t workNs) {
    if (workNs > 57'142'999)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    else if (workNs >= 858'000)
        std::this_thread::sleep_for(std::chrono::nanoseconds(static_cast<int64_t>(0.35 * workNs)));
}

QByteArray childPath(const QByteArray& folder, QByteArrayView name) {
    QByteArray path;
    path.reserve(folder.size() + name.size() + 1);
    path += folder;
    if (!folder.endsWith('/'))
        path += '/';
    path += name;
    return path;
}

QByteArrayView baseName(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 || path.size() == 1 ? QByteArrayView(path)
                                         : QByteArrayView(path).sliced(slash + 1);
}

} // namespace

DiskScanner::FolderHandle::~FolderHandle() {
    ::close(fd);
    openCount->fetch_sub(1, std::memory_order_relaxed);
}

DiskScanner::DiskScanner(ScanConfiguration config, int64_t baseEntryCap)
    : config_(std::move(config)), baseEntryCap_(baseEntryCap) {}

DiskScanner::DiskScanner(ScanConfiguration config, const FileTree& baseline, IncrementalPlan plan,
                         int64_t baseEntryCap)
    : config_(std::move(config)), baseEntryCap_(baseEntryCap),
      baseline_(std::make_unique<FileTree>(baseline.copy())), marks_(std::move(plan.mark)) {
    baseline_->unsumFolderSizes();
    marks_.resize(size_t(baseline_->size()), IncrementalPlan::read);
    for (const LinkedFile& file : baseline_->linkedFiles())
        baselineLinks_.insert(file.key);
}

DiskScanner::~DiskScanner() {
    cancel();
    for (const auto& thread : threads_)
        thread->wait();
}

uint64_t DiskScanner::physicalMemory() {
    const long pages = ::sysconf(_SC_PHYS_PAGES);
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0 ? uint64_t(pages) * uint64_t(pageSize) : 0;
}

int64_t DiskScanner::baseEntryCap(uint64_t memory) {
    if (memory < 24'000'000'000ULL)
        return std::max<int64_t>(static_cast<int64_t>(memory / 400), 8'000'000);
    return 60'000'000;
}

int64_t DiskScanner::defaultBaseEntryCap() {
    return baseEntryCap(physicalMemory());
}

Status DiskScanner::start() {
    QMutexLocker locker(&condition_);
    if (state_ != State::ready)
        return failure(QStringLiteral("This scan has already been started."));
    struct stat root {};
    if (::stat(config_.rootPath.constData(), &root) != 0) {
        const int error = errno;
        const QString name = QString::fromUtf8(config_.rootPath);
        if (error == ENOENT || error == ENOTDIR)
            return failure(
                QStringLiteral("\"%1\" does not exist, so it cannot be scanned.").arg(name));
        return failure(QStringLiteral("\"%1\" could not be opened, so it cannot be scanned "
                                      "(%2).")
                           .arg(name, QString::fromLocal8Bit(std::strerror(error))));
    }
    tree_ = std::make_shared<FileTree>(QString::fromUtf8(config_.rootPath), config_.rootName);
    tree_->exclusions = config_.exclusions.patterns();
    const bool isFolder = S_ISDIR(root.st_mode);
    tree_->append(-1, isFolder ? NodeFlag::directory : 0, int64_t(root.st_blocks) * 512,
                  root.st_size, root.st_mtim.tv_sec, baseName(config_.rootPath));
    if (isFolder) {
        const bool fromBaseline =
            baseline_ && baseline_->size() > 0 && marks_[0] != IncrementalPlan::readAll;
        stack_.push_back({0, config_.rootPath, nullptr, 0, fromBaseline ? 0 : -1});
        seenDirs_.insert(linkKey(root.st_ino, root.st_dev));
    }
    entries_ = 1;
    entryCap_ = baseEntryCap_;
    bytesSeen_ = tree_->alloc(0);
    startTime_ = std::chrono::steady_clock::now();
    launchWorkers();
    return Done{};
}

void DiskScanner::launchWorkers() {
    for (const auto& thread : threads_)
        thread->wait();
    threads_.clear();
    state_ = State::running;
    stopRequested_ = false;
    lastActivityNs_ = nowNs();
    const int count = std::max(config_.workerCount, 1);
    runningThreads_ = count;
    for (int index = 0; index < count; ++index) {
        std::unique_ptr<QThread> thread(QThread::create([this] { workerLoop(); }));
        thread->setObjectName(QStringLiteral("Velmox.DiskScanner.%1").arg(index));
        thread->setStackSize(kWorkerStackBytes);
        thread->start(config_.gentle ? QThread::IdlePriority : QThread::InheritPriority);
        threads_.push_back(std::move(thread));
    }
}

void DiskScanner::folderDone(int32_t node) {
    std::erase_if(reading_, [node](const PendingFolderRecord& r) { return r.node == node; });
    ++foldersDone_;
    if (entries_ >= entryCap_ && !stack_.empty()) {
        stoppedForSize_ = true;
        stopRequested_ = true;
    }
    wake_.wakeAll();
}

bool DiskScanner::isExcluded(const QByteArray& path) const {
    return !config_.excludedPaths.isEmpty() && config_.excludedPaths.contains(path);
}

void DiskScanner::workerLoop() {
    DirectoryReader reader;
    DirListing listing;
    std::vector<FolderCandidate> candidates;
    std::vector<FailedEntry> failed;
    std::vector<RestatedFolder> restated;
    for (;;) {
        PendingFolder folder;
        bool descend = false;
        {
            QMutexLocker locker(&condition_);
            while (stack_.empty() && activeWorkers_ > 0 && !stopRequested_)
                wake_.wait(&condition_);
            if (stopRequested_ || stack_.empty())
                break;
            folder = std::move(stack_.back());
            stack_.pop_back();
            if (canReuse(folder)) {
                reuseBaseline(folder.node, folder.base);
                folderDone(folder.node);
                continue;
            }
            ++activeWorkers_;
            reading_.push_back({folder.node, folder.path});
            descend = canDescend(folder);
            if (baseline_ && !descend)
                ++rereadFolders_;
        }
        if (descend) {
            // A folder on the way to changes below it: its own entries are those of the
            // baseline, with fresh ones for the folders on that way.
            const bool restatted = restatMarkedFolders(folder, restated);
            QMutexLocker locker(&condition_);
            if (restatted) {
                descendBaseline(folder, restated);
                --activeWorkers_;
                folderDone(folder.node);
                continue;
            }
            ++rereadFolders_; // changed after all: read it
        }
        const int64_t began = nowNs();
        const bool keepOpen = openFolders_.load(std::memory_order_relaxed) < kMaxOpenFolders;
        const auto result = folder.parent ? reader.read(folder.parent->fd,
                                                        folder.path.constData() + folder.nameStart,
                                                        listing, false, keepOpen)
                                          : reader.read(AT_FDCWD, folder.path.constData(), listing,
                                                        folder.node == 0, keepOpen);
        folder.parent.reset();
        std::shared_ptr<FolderHandle> handle;
        if (result.keptFd >= 0) {
            openFolders_.fetch_add(1, std::memory_order_relaxed);
            handle = std::make_shared<FolderHandle>(result.keptFd, &openFolders_);
        }
        if (result.outcome == DirectoryReader::Outcome::listing)
            sortOutFolders(folder, listing, candidates, failed);
        {
            QMutexLocker locker(&condition_);
            if (result.outcome == DirectoryReader::Outcome::listing)
                commit(folder, listing, candidates, failed, handle);
            else if (result.outcome == DirectoryReader::Outcome::blocked)
                markBlocked(folder.node, folder.path, result.errorNumber);
            --activeWorkers_;
            folderDone(folder.node);
        }
        const int64_t ended = nowNs();
        lastActivityNs_.store(ended, std::memory_order_relaxed);
        if (config_.gentle)
            gentlePause(ended - began);
    }
    bool last = false;
    {
        QMutexLocker locker(&condition_);
        wake_.wakeAll();
        last = --runningThreads_ == 0;
    }
    if (last)
        finishRun();
}

void DiskScanner::sortOutFolders(const PendingFolder& folder, DirListing& listing,
                                 std::vector<FolderCandidate>& candidates,
                                 std::vector<FailedEntry>& failed) const {
    candidates.clear();
    failed.clear();
    applyExclusions(folder, listing);
    if (listing.folderEntries.empty() && listing.failedEntries.empty())
        return;
    std::vector<qsizetype> nameStarts(listing.size());
    qsizetype at = 0;
    for (size_t i = 0; i < listing.size(); ++i) {
        nameStarts[i] = at;
        at += listing.nameLengths[i];
    }
    const auto pathOf = [&](uint32_t entry) {
        return childPath(folder.path, QByteArrayView(listing.nameBytes.data() + nameStarts[entry],
                                                     listing.nameLengths[entry]));
    };
    const qsizetype nameStart = folder.path.size() + (folder.path.endsWith('/') ? 0 : 1);
    for (size_t j = 0; j < listing.folderEntries.size(); ++j) {
        const uint32_t entry = listing.folderEntries[j];
        QByteArray path = pathOf(entry);
        // The mount table knows every mount point; a btrfs subvolume has a device number of
        // its own without being one. Only without a table does another device count.
        const bool otherDevice = !config_.allowedDevices.contains(listing.folderDevices[j]);
        if (isExcluded(path) || (!config_.mountsFromTable && otherDevice)) {
            listing.flags[entry] |= NodeFlag::mountPoint;
            listing.alloc[entry] = listing.logical[entry] = 0;
        } else {
            const int32_t base = folder.base >= 0 ? baselineChild(folder.base, baseName(path)) : -1;
            candidates.push_back({entry, listing.folderKeys[j], std::move(path), nameStart, base});
        }
    }
    for (size_t j = 0; j < listing.failedEntries.size(); ++j) {
        const uint32_t entry = listing.failedEntries[j];
        QByteArray path = pathOf(entry);
        // A mount point that does not answer (a network share whose server is gone) is
        // still just another disk.
        if (isExcluded(path))
            listing.flags[entry] = (listing.flags[entry] & ~NodeFlag::notRead) |
                                   NodeFlag::directory | NodeFlag::mountPoint;
        else
            failed.push_back({entry, std::move(path), listing.failedErrors[j]});
    }
}

void DiskScanner::applyExclusions(const PendingFolder& folder, DirListing& listing) const {
    const ScanExclusions::Folder matcher = config_.exclusions.inFolder(folder.path);
    if (!matcher.active())
        return;
    std::vector<uint8_t> excluded(listing.size(), 0);
    bool any = false;
    qsizetype at = 0;
    for (size_t i = 0; i < listing.size(); ++i) {
        const QByteArrayView name(listing.nameBytes.data() + at, listing.nameLengths[i]);
        at += listing.nameLengths[i];
        if (!matcher.excludes(name))
            continue;
        excluded[i] = any = true;
        // Only the kind and what the name says stay.
        listing.flags[i] =
            (listing.flags[i] & (NodeFlag::directory | NodeFlag::symbolicLink |
                                 NodeFlag::otherKind | NodeFlag::hidden | NodeFlag::package)) |
            NodeFlag::excluded;
        listing.alloc[i] = listing.logical[i] = 0;
    }
    if (!any)
        return;
    // Drops the excluded positions from a list of positions and the lists parallel to it.
    const auto keep = [&excluded](std::vector<uint32_t>& positions, auto&... parallel) {
        size_t kept = 0;
        for (size_t j = 0; j < positions.size(); ++j) {
            if (excluded[positions[j]])
                continue;
            positions[kept] = positions[j];
            ((j < parallel.size() ? void(parallel[kept] = parallel[j]) : void()), ...);
            ++kept;
        }
        positions.resize(kept);
        (parallel.resize(std::min(parallel.size(), kept)), ...);
    };
    keep(listing.folderEntries, listing.folderDevices, listing.folderKeys);
    keep(listing.linkEntries, listing.linkKeys, listing.linkCounts);
    keep(listing.failedEntries, listing.failedErrors);
}

void DiskScanner::commit(const PendingFolder& folder, DirListing& listing,
                         std::vector<FolderCandidate>& candidates,
                         const std::vector<FailedEntry>& failed,
                         const std::shared_ptr<FolderHandle>& handle) {
    const auto first = static_cast<int32_t>(tree_->size());
    for (size_t i = 0; i < listing.linkEntries.size(); ++i) {
        const uint32_t entry = listing.linkEntries[i];
        if (baseline_)
            freshLinks_.push_back({listing.linkKeys[i],
                                   i < listing.linkCounts.size() ? listing.linkCounts[i] : 2u,
                                   first + static_cast<int32_t>(entry)});
        const bool counted = seenLinks_.insert(listing.linkKeys[i]);
        tree_->addLinkedFile({first + static_cast<int32_t>(entry), counted, listing.linkKeys[i],
                              listing.alloc[entry], listing.logical[entry]});
        if (!counted)
            listing.alloc[entry] = listing.logical[entry] = 0;
    }
    for (FolderCandidate& candidate : candidates) {
        if (seenDirs_.insert(candidate.key)) {
            stack_.push_back({first + static_cast<int32_t>(candidate.entry),
                              std::move(candidate.path), handle, candidate.nameStart,
                              candidate.base});
        } else {
            listing.flags[candidate.entry] |= NodeFlag::linkedFolder;
            listing.alloc[candidate.entry] = listing.logical[candidate.entry] = 0;
        }
    }
    if (tracksChanges_)
        changedRows_.push_back(folder.node);
    tree_->appendChildren(
        folder.node,
        {listing.size(), listing.flags.data(), listing.alloc.data(), listing.logical.data(),
         listing.mtime.data(), listing.nameLengths.data(),
         QByteArrayView(listing.nameBytes.data(), qsizetype(listing.nameBytes.size()))});
    for (const FailedEntry& entry : failed)
        markBlocked(first + static_cast<int32_t>(entry.entry), entry.path, entry.errorNumber);
    for (const int64_t bytes : listing.alloc)
        bytesSeen_ += bytes;
    entries_ += static_cast<int64_t>(listing.size());
}

int32_t DiskScanner::baselineChild(int32_t base, QByteArrayView name) const {
    const uint32_t first = baseline_->firstChild(base);
    const uint32_t end = first + baseline_->childCount(base);
    for (uint32_t child = first; child < end; ++child) {
        const auto node = static_cast<int32_t>(child);
        if (baseline_->nameBytes(node) == name) {
            const bool folder = baseline_->hasFlag(node, NodeFlag::directory) &&
                                !baseline_->hasFlag(node, NodeFlag::mountPoint);
            return folder && marks_[child] != IncrementalPlan::readAll ? node : -1;
        }
    }
    return -1;
}

bool DiskScanner::canReuse(const PendingFolder& folder) const {
    // The folder's entry was just read in its parent: a changed time means its entries
    // changed, whatever the history said.
    return folder.base >= 0 && marks_[size_t(folder.base)] == IncrementalPlan::reuse &&
           tree_->mtime(folder.node) == baseline_->mtime(folder.base) &&
           tree_->hasFlag(folder.node, NodeFlag::directory);
}

int32_t DiskScanner::appendBaselineChildren(int32_t into, int32_t source,
                                            const std::vector<RestatedFolder>& restated) {
    const FileTreeColumns& from = baseline_->columns();
    const uint32_t first = from.firstChild[size_t(source)];
    const uint32_t count = from.childCount[size_t(source)];
    if (count == 0)
        return tree_->size();
    // A folder's names lie end to end in a tree the scanner built; a loaded one may order
    // them otherwise.
    const uint64_t nameStart = from.nameOffset[first];
    uint64_t nameEnd = nameStart;
    bool together = true;
    for (uint32_t child = first; child < first + count && together; ++child) {
        together = from.nameOffset[child] == nameEnd;
        nameEnd += from.nameLength[child];
    }
    QByteArray names;
    QByteArrayView batchNames;
    if (together) {
        batchNames =
            QByteArrayView(from.names).sliced(qsizetype(nameStart), qsizetype(nameEnd - nameStart));
    } else {
        for (uint32_t child = first; child < first + count; ++child)
            names += baseline_->nameBytes(int32_t(child));
        batchNames = names;
    }
    FileTree::ChildBatch batch{count,
                               from.flags.data() + first,
                               from.alloc.data() + first,
                               from.logical.data() + first,
                               from.mtime.data() + first,
                               from.nameLength.data() + first,
                               batchNames};
    // Folders looked at again get their fresh entries.
    std::vector<int64_t> alloc, logical, mtime;
    if (!restated.empty()) {
        alloc.assign(batch.alloc, batch.alloc + count);
        logical.assign(batch.logical, batch.logical + count);
        mtime.assign(batch.mtime, batch.mtime + count);
        for (const RestatedFolder& folder : restated) {
            alloc[folder.index] = folder.alloc;
            logical[folder.index] = folder.logical;
            mtime[folder.index] = folder.mtime;
        }
        batch.alloc = alloc.data();
        batch.logical = logical.data();
        batch.mtime = mtime.data();
    }
    if (tracksChanges_)
        changedRows_.push_back(into);
    const int32_t added = tree_->appendChildren(into, batch);
    const std::vector<LinkedFile>& links = baseline_->linkedFiles();
    auto link =
        std::lower_bound(links.begin(), links.end(), int32_t(first),
                         [](const LinkedFile& file, int32_t index) { return file.node < index; });
    for (; link != links.end() && link->node < int32_t(first + count); ++link) {
        LinkedFile file = *link;
        file.node = added + (link->node - int32_t(first));
        tree_->addLinkedFile(file);
    }
    for (uint32_t i = 0; i < count; ++i)
        bytesSeen_ += batch.alloc[i];
    entries_ += count;
    return added;
}

bool DiskScanner::canDescend(const PendingFolder& folder) const {
    return folder.base >= 0 && marks_[size_t(folder.base)] == IncrementalPlan::descend &&
           tree_->mtime(folder.node) == baseline_->mtime(folder.base) &&
           tree_->hasFlag(folder.node, NodeFlag::directory);
}

void DiskScanner::reuseBaseline(int32_t node, int32_t base) {
    const FileTreeColumns& from = baseline_->columns();
    std::vector<std::pair<int32_t, int32_t>> folders{{node, base}}; // new node, baseline node
    while (!folders.empty()) {
        const auto [into, source] = folders.back();
        folders.pop_back();
        ++reusedFolders_;
        const int32_t added = appendBaselineChildren(into, source, {});
        const uint32_t first = from.firstChild[size_t(source)];
        for (uint32_t i = 0; i < from.childCount[size_t(source)]; ++i) {
            const uint16_t flags = from.flags[first + i];
            if ((flags & NodeFlag::directory) &&
                !(flags & (NodeFlag::mountPoint | NodeFlag::excluded)))
                folders.push_back({added + int32_t(i), int32_t(first + i)});
        }
    }
}

bool DiskScanner::restatMarkedFolders(const PendingFolder& folder,
                                      std::vector<RestatedFolder>& restated) const {
    restated.clear();
    const uint32_t first = baseline_->firstChild(folder.base);
    for (uint32_t i = 0; i < baseline_->childCount(folder.base); ++i) {
        if (marks_[first + i] == IncrementalPlan::reuse)
            continue;
        const QByteArray path = childPath(folder.path, baseline_->nameBytes(int32_t(first + i)));
        struct stat status {};
        if (::lstat(path.constData(), &status) != 0 || !S_ISDIR(status.st_mode))
            return false;
        restated.push_back(
            {i, int64_t(status.st_blocks) * 512, status.st_size, status.st_mtim.tv_sec});
    }
    return true;
}

void DiskScanner::descendBaseline(const PendingFolder& folder,
                                  const std::vector<RestatedFolder>& restated) {
    const int32_t added = appendBaselineChildren(folder.node, folder.base, restated);
    const uint32_t first = baseline_->firstChild(folder.base);
    for (uint32_t i = 0; i < baseline_->childCount(folder.base); ++i) {
        const auto child = int32_t(first + i);
        if (!baseline_->hasFlag(child, NodeFlag::directory) ||
            baseline_->hasFlag(child, NodeFlag::mountPoint | NodeFlag::excluded))
            continue;
        stack_.push_back({added + int32_t(i), childPath(folder.path, baseline_->nameBytes(child)),
                          nullptr, 0,
                          marks_[size_t(child)] == IncrementalPlan::readAll ? -1 : child});
    }
}

void DiskScanner::settleLinkedFiles() {
    // Every name of a file read again has to agree with the names taken over, and a file
    // that was not hard-linked before must have no names in folders taken over: such a name
    // would still show it as a file of its own.
    struct Seen {
        int64_t alloc, logical, mtime;
        uint32_t names;
    };
    QHash<LinkKey, Seen> fresh;
    const std::vector<LinkedFile>& links = tree_->linkedFiles();
    for (const FreshLink& link : freshLinks_) {
        const auto found = std::lower_bound(
            links.begin(), links.end(), link.node,
            [](const LinkedFile& file, int32_t index) { return file.node < index; });
        if (found != links.end() && found->node == link.node && !fresh.contains(link.key))
            fresh.insert(link.key, {found->alloc, found->logical, tree_->mtime(link.node), 0});
    }
    for (const LinkedFile& file : links) {
        const auto seen = fresh.find(file.key);
        if (seen == fresh.end())
            continue;
        ++seen->names;
        if (seen->alloc != file.alloc || seen->logical != file.logical ||
            seen->mtime != tree_->mtime(file.node))
            needsFullScan_ = true;
    }
    for (const FreshLink& link : freshLinks_)
        if (!baselineLinks_.contains(link.key) && fresh.value(link.key).names < link.names)
            needsFullScan_ = true;
    tree_->recountLinkedFiles();
}

void DiskScanner::markBlocked(int32_t node, const QByteArray& path, int errorNumber) {
    tree_->setFlags(node, tree_->flags(node) | NodeFlag::blocked | NodeFlag::notRead);
    if (tracksChanges_)
        changedRows_.push_back(node);
    ++unreadableCount_;
    blockedNodes_.push_back(node);
    if (unreadableSamples_.size() < kMaxUnreadableSamples)
        unreadableSamples_.append({path, UnreadableReason::fromOpenError(errorNumber)});
}

void DiskScanner::finishRun() {
    State outcome = State::finished;
    {
        QMutexLocker locker(&condition_);
        endTime_ = std::chrono::steady_clock::now();
        if (cancelled_)
            outcome = State::cancelled;
        else if (!stack_.empty())
            outcome = stoppedForSize_ ? State::stoppedForSize : State::paused;
        if (baseline_ && outcome == State::finished)
            settleLinkedFiles();
        markStopped();
        state_ = outcome;
    }
    if (onFinish)
        onFinish(*this);
    QMutexLocker locker(&condition_);
    finished_.wakeAll();
}

void DiskScanner::markStopped() {
    if (!stack_.empty()) {
        tree_->setFlags(0, tree_->flags(0) | NodeFlag::incompleteRoot);
        for (const PendingFolder& folder : stack_)
            tree_->setFlags(folder.node, tree_->flags(folder.node) | NodeFlag::notRead);
    }
    tree_->sumFolderSizes();
}

void DiskScanner::unmarkStopped() {
    tree_->unsumFolderSizes();
    tree_->setFlags(0, tree_->flags(0) & ~NodeFlag::incompleteRoot);
    for (const PendingFolder& folder : stack_)
        tree_->setFlags(folder.node, tree_->flags(folder.node) & ~NodeFlag::notRead);
}

void DiskScanner::cancel() {
    QMutexLocker locker(&condition_);
    cancelled_ = true;
    stopRequested_ = true;
    wake_.wakeAll();
}

void DiskScanner::pause() {
    QMutexLocker locker(&condition_);
    stopRequested_ = true;
    wake_.wakeAll();
}

bool DiskScanner::resume() {
    const auto resumable = [this] {
        return (state_ == State::paused || state_ == State::stoppedForSize) && !cancelled_;
    };
    {
        QMutexLocker locker(&condition_);
        if (!resumable())
            return false;
    }
    // The last worker takes the lock once more after it has published the paused state, so
    // it is waited for without the lock. Only the owner's thread starts or replaces workers.
    for (const auto& thread : threads_)
        thread->wait();
    QMutexLocker locker(&condition_);
    if (!resumable())
        return false;
    unmarkStopped();
    if (stoppedForSize_)
        entryCap_ = entries_ + std::max(baseEntryCap_ / 10, kMinimumCapGrowth);
    stoppedForSize_ = false;
    launchWorkers();
    return true;
}

Result<std::unique_ptr<DiskScanner>>
DiskScanner::restore(ScanConfiguration config, RestoredScan&& restored, int64_t baseEntryCap) {
    FileTree& tree = restored.tree;
    if (tree.size() == 0 || tree.sizesSummed() || tree.rootPath.toUtf8() != config.rootPath)
        return failure(QStringLiteral("The checkpoint belongs to another scan, so it cannot be "
                                      "continued."));
    if (tree.exclusions != config.exclusions.patterns())
        return failure(QStringLiteral("The interrupted scan skipped other items than the "
                                      "exclusions now set, so it cannot be continued."));
    for (const PendingFolderRecord& folder : restored.stack)
        if (folder.node < 0 || folder.node >= tree.size() ||
            !tree.hasFlag(folder.node, NodeFlag::directory) || tree.childCount(folder.node) != 0)
            return failure(QStringLiteral("The checkpoint belongs to another scan, so it cannot "
                                          "be continued."));
    auto scanner = std::make_unique<DiskScanner>(std::move(config), baseEntryCap);
    DiskScanner& s = *scanner;
    // Every name of a hard-linked file seen so far is in the tree's records, and every folder
    // entered so far is a folder of the tree that was not skipped.
    // A walk that took folders over from an earlier scan may have counted a file under two
    // of its names so far: each is counted once from here on.
    tree.recountLinkedFiles();
    for (const LinkedFile& file : tree.linkedFiles())
        s.seenLinks_.insert(file.key);
    for (int32_t node = 0; node < tree.size(); ++node) {
        if (!tree.hasFlag(node, NodeFlag::directory) ||
            tree.hasFlag(node, NodeFlag::mountPoint | NodeFlag::linkedFolder | NodeFlag::excluded))
            continue;
        struct stat folder {};
        if (::lstat(tree.pathBytes(node).constData(), &folder) == 0 && S_ISDIR(folder.st_mode))
            s.seenDirs_.insert(linkKey(folder.st_ino, folder.st_dev));
    }
    for (int32_t node = 0; node < tree.size(); ++node) {
        if (tree.hasFlag(node, NodeFlag::blocked))
            s.blockedNodes_.push_back(node);
        s.bytesSeen_ += tree.alloc(node);
    }
    const ScanCheckpointInfo& info = restored.info;
    s.entries_ = tree.size();
    s.entryCap_ =
        std::max(baseEntryCap, s.entries_ + std::max(baseEntryCap / 10, kMinimumCapGrowth));
    s.foldersDone_ = info.foldersDone;
    s.unreadableCount_ = info.unreadableCount;
    s.unreadableSamples_ = info.unreadableSamples;
    s.startTime_ = s.endTime_ = std::chrono::steady_clock::now() -
                                std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                    std::chrono::duration<double>(std::max(info.elapsed, 0.0)));
    for (PendingFolderRecord& folder : restored.stack)
        s.stack_.push_back({folder.node, std::move(folder.path), nullptr, 0});
    // Left as a paused walk leaves it.
    s.tree_ = std::make_shared<FileTree>(std::move(tree));
    s.markStopped();
    s.state_ = s.stack_.empty() ? State::finished : State::paused;
    return scanner;
}

std::optional<WalkSnapshot> DiskScanner::snapshot(FileTree& mirror) {
    QMutexLocker locker(&condition_);
    const bool stopped = state_ == State::paused || state_ == State::stoppedForSize;
    if (state_ != State::running && !stopped)
        return std::nullopt;
    // A stopped walk's rows are taken as they were while it ran.
    if (stopped)
        unmarkStopped();
    tree_->updateMirror(mirror, changedRows_);
    if (stopped)
        markStopped();
    changedRows_.clear();
    tracksChanges_ = true;
    WalkSnapshot snapshot;
    snapshot.stack.reserve(stack_.size() + reading_.size());
    for (const PendingFolder& folder : stack_)
        snapshot.stack.push_back({folder.node, folder.path});
    snapshot.stack.insert(snapshot.stack.end(), reading_.begin(), reading_.end());
    snapshot.entries = entries_;
    snapshot.foldersDone = foldersDone_;
    snapshot.unreadableCount = unreadableCount_;
    snapshot.unreadableSamples = unreadableSamples_;
    snapshot.elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - startTime_).count();
    return snapshot;
}

bool DiskScanner::waitForFinished(std::chrono::milliseconds timeout) {
    QMutexLocker locker(&condition_);
    const QDeadlineTimer deadline(timeout.count());
    while (state_ == State::running || runningThreads_ > 0)
        if (!finished_.wait(&condition_, deadline))
            return false;
    return true;
}

DiskScanner::State DiskScanner::state() const {
    QMutexLocker locker(&condition_);
    return state_;
}

ScanProgress DiskScanner::progress() const {
    QMutexLocker locker(&condition_);
    const auto end = state_ == State::running ? std::chrono::steady_clock::now() : endTime_;
    const int64_t now = nowNs();
    const double stalled = state_ == State::running
                               ? double(now - lastActivityNs_.load(std::memory_order_relaxed)) / 1e9
                               : 0.0;
    return {foldersDone_,
            bytesSeen_,
            unreadableCount_,
            static_cast<int64_t>(stack_.size()),
            std::chrono::duration<double>(end - startTime_).count(),
            std::max(stalled, 0.0)};
}

std::shared_ptr<FileTree> DiskScanner::tree() const {
    QMutexLocker locker(&condition_);
    return state_ == State::running ? nullptr : tree_;
}

QString DiskScanner::note() const {
    QMutexLocker locker(&condition_);
    if (state_ != State::stoppedForSize)
        return {};
    return QStringLiteral("The scan was paused after %1 items to protect this computer's "
                          "memory. What was read so far is shown; Resume reads more. Scanning "
                          "a smaller folder of the drive is faster and lighter.")
        .arg(entries_);
}

int64_t DiskScanner::entries() const {
    QMutexLocker locker(&condition_);
    return entries_;
}

int64_t DiskScanner::entryCap() const {
    QMutexLocker locker(&condition_);
    return entryCap_;
}

int64_t DiskScanner::unreadableCount() const {
    QMutexLocker locker(&condition_);
    return unreadableCount_;
}

QList<UnreadableSample> DiskScanner::unreadableSamples() const {
    QMutexLocker locker(&condition_);
    return unreadableSamples_;
}

std::vector<int32_t> DiskScanner::blockedNodes() const {
    QMutexLocker locker(&condition_);
    return blockedNodes_;
}

int64_t DiskScanner::rereadFolders() const {
    QMutexLocker locker(&condition_);
    return rereadFolders_;
}

int64_t DiskScanner::reusedFolders() const {
    QMutexLocker locker(&condition_);
    return reusedFolders_;
}

bool DiskScanner::needsFullScan() const {
    QMutexLocker locker(&condition_);
    return needsFullScan_;
}

std::chrono::nanoseconds DiskScanner::duration() const {
    QMutexLocker locker(&condition_);
    const auto end = state_ == State::running ? std::chrono::steady_clock::now() : endTime_;
    return end - startTime_;
}

} // namespace velmox
