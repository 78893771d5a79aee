#include "storage/DiskScanner.h"

#include "storage/CatalogRecords.h"
#include "storage/DirectoryReader.h"

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
    const bool isFolder = S_ISDIR(root.st_mode);
    tree_->append(-1, isFolder ? NodeFlag::directory : 0, int64_t(root.st_blocks) * 512,
                  root.st_size, root.st_mtim.tv_sec, baseName(config_.rootPath));
    if (isFolder) {
        stack_.push_back({0, config_.rootPath, nullptr, 0});
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

bool DiskScanner::isExcluded(const QByteArray& path) const {
    return !config_.excludedPaths.isEmpty() && config_.excludedPaths.contains(path);
}

void DiskScanner::workerLoop() {
    DirectoryReader reader;
    DirListing listing;
    std::vector<FolderCandidate> candidates;
    std::vector<FailedEntry> failed;
    for (;;) {
        PendingFolder folder;
        {
            QMutexLocker locker(&condition_);
            while (stack_.empty() && activeWorkers_ > 0 && !stopRequested_)
                wake_.wait(&condition_);
            if (stopRequested_ || stack_.empty())
                break;
            folder = std::move(stack_.back());
            stack_.pop_back();
            ++activeWorkers_;
            reading_.push_back({folder.node, folder.path});
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
            std::erase_if(reading_,
                          [&](const PendingFolderRecord& r) { return r.node == folder.node; });
            ++foldersDone_;
            --activeWorkers_;
            if (entries_ >= entryCap_ && !stack_.empty()) {
                stoppedForSize_ = true;
                stopRequested_ = true;
            }
            wake_.wakeAll();
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
            candidates.push_back({entry, listing.folderKeys[j], std::move(path), nameStart});
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

void DiskScanner::commit(const PendingFolder& folder, DirListing& listing,
                         std::vector<FolderCandidate>& candidates,
                         const std::vector<FailedEntry>& failed,
                         const std::shared_ptr<FolderHandle>& handle) {
    const auto first = static_cast<int32_t>(tree_->size());
    for (size_t i = 0; i < listing.linkEntries.size(); ++i) {
        const uint32_t entry = listing.linkEntries[i];
        const bool counted = seenLinks_.insert(listing.linkKeys[i]);
        tree_->addLinkedFile({first + static_cast<int32_t>(entry), counted, listing.linkKeys[i],
                              listing.alloc[entry], listing.logical[entry]});
        if (!counted)
            listing.alloc[entry] = listing.logical[entry] = 0;
    }
    for (FolderCandidate& candidate : candidates) {
        if (seenDirs_.insert(candidate.key)) {
            stack_.push_back({first + static_cast<int32_t>(candidate.entry),
                              std::move(candidate.path), handle, candidate.nameStart});
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
    for (const PendingFolderRecord& folder : restored.stack)
        if (folder.node < 0 || folder.node >= tree.size() ||
            !tree.hasFlag(folder.node, NodeFlag::directory) || tree.childCount(folder.node) != 0)
            return failure(QStringLiteral("The checkpoint belongs to another scan, so it cannot "
                                          "be continued."));
    auto scanner = std::make_unique<DiskScanner>(std::move(config), baseEntryCap);
    DiskScanner& s = *scanner;
    // Every name of a hard-linked file seen so far is in the tree's records, and every folder
    // entered so far is a folder of the tree that was not skipped.
    for (const LinkedFile& file : tree.linkedFiles())
        s.seenLinks_.insert(file.key);
    for (int32_t node = 0; node < tree.size(); ++node) {
        if (!tree.hasFlag(node, NodeFlag::directory) ||
            tree.hasFlag(node, NodeFlag::mountPoint | NodeFlag::linkedFolder))
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

std::chrono::nanoseconds DiskScanner::duration() const {
    QMutexLocker locker(&condition_);
    const auto end = state_ == State::running ? std::chrono::steady_clock::now() : endTime_;
    return end - startTime_;
}

} // namespace velmox
