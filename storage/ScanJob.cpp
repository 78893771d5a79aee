#include "storage/ScanJob.h"

#include "services/AppStatusCenter.h"
#include "storage/DirectoryReader.h"
#include "storage/IncrementalPlan.h"
#include "storage/IncrementalRescan.h"
#include "storage/StorageCatalogStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <QPointer>
#include <stop_token>
#include <unistd.h>

namespace velmox {

ScanJob::ScanJob(ScanScope scope, Clock& clock, AppStatusCenter* status, QObject* parent)
    : QObject(parent), scope_(std::move(scope)), clock_(clock), status_(status) {}

ScanJob::~ScanJob() = default;

void ScanJob::report(const QString& message, bool active) {
    if (status_)
        status_->report(message, active);
}

void ScanJob::setState(State state) {
    if (state_ == state)
        return;
    state_ = state;
    emit stateChanged();
}

void ScanJob::setTree(std::shared_ptr<FileTree> tree) {
    tree_ = std::move(tree);
    fullCacheOnDisk_ = false;
    isSummaryOnly_ = needsFullReload_ = false;
    emit treeChanged();
}

int64_t ScanJob::heldNodes() const {
    if (scanner_)
        return scanner_->entries();
    return tree_ && !isSummaryOnly_ ? tree_->size() : 0;
}

void ScanJob::setViewed(bool viewed) {
    visibleViews_ = std::max(visibleViews_ + (viewed ? 1 : -1), 0);
    if (!viewed)
        return;
    lastViewed = clock_.now();
    if (needsFullReload_)
        reloadFull();
}

bool ScanJob::reduceToSummary() {
    constexpr int kSummaryLevels = 2;
    if (visibleViews_ > 0 || !fullCacheOnDisk_ || isSummaryOnly_ || !tree_ || scanner_ ||
        pausedScanner_ || isBusy() || removing_ || isReloadingFull_ || state_ != State::finished)
        return false;
    tree_ = std::make_shared<FileTree>(tree_->topLevels(kSummaryLevels));
    isSummaryOnly_ = needsFullReload_ = true;
    emit treeChanged();
    emit stateChanged();
    return true;
}

void ScanJob::reloadFull() {
    if (!cache_ || isReloadingFull_)
        return;
    isReloadingFull_ = true;
    emit stateChanged();
    const int generation = generation_;
    const std::shared_ptr<const FileTree> summary = tree_;
    // Joined by the next load or the job's end.
    cacheThread_ =
        std::jthread([this, generation, summary, store = cache_, key = scope_.identifier()] {
            std::optional<Result<CatalogContents>> cached = store->readCache(key);
            std::shared_ptr<FileTree> tree;
            if (cached && *cached && !(*cached)->meta.isSummary)
                tree = std::make_shared<FileTree>(std::move((*cached)->tree));
            QMetaObject::invokeMethod(
                this,
                [this, generation, summary, tree] {
                    isReloadingFull_ = false;
                    if (generation != generation_ || summary != tree_) {
                        emit stateChanged();
                        return;
                    }
                    if (!tree) {
                        needsFullReload_ = false;
                        fullCacheOnDisk_ = false;
                        emit stateChanged();
                        emit messageChanged(QStringLiteral(
                            "The saved copy of this scan could not be read back, so only the top "
                            "folder levels are available. Rescan to see every folder again."));
                        return;
                    }
                    setTree(tree);
                    fullCacheOnDisk_ = true;
                    refreshUnreadable({});
                    emit stateChanged();
                },
                Qt::QueuedConnection);
        });
}

void ScanJob::refreshUnreadable(const QList<UnreadableSample>& found) {
    unreadableCount_ = 0;
    for (const uint16_t flags : tree_->columns().flags)
        unreadableCount_ += (flags & NodeFlag::blocked) ? 1 : 0;
    QList<UnreadableSample> samples;
    for (const UnreadableSample& sample : std::as_const(unreadableSamples_) + found) {
        const auto node = tree_->findPath(sample.path);
        if (node && tree_->hasFlag(*node, NodeFlag::blocked) && !samples.contains(sample) &&
            samples.size() < DiskScanner::kMaxUnreadableSamples)
            samples.append(sample);
    }
    unreadableSamples_ = samples;
}

QStringList ScanJob::exclusions() const {
    return exclusionSource_ ? ScanExclusions::normalized(exclusionSource_(scope_)) : QStringList();
}

void ScanJob::start(bool gentle, std::optional<int> workers) {
    ScanConfiguration config = ScanConfiguration::build(scope_, gentle);
    config.exclusions = ScanExclusions(exclusions(), config.rootPath);
    if (workers)
        config.workerCount = *workers;
    retireScanner();
    pausedScanner_.reset();
    ++generation_;
    unreadableCount_ = 0;
    unreadableSamples_.clear();
    scanNote_.clear();
    isFromCache_ = false;
    protectedScan_ = {};
    volume_ = VolumeInfo::of(scope_.path);
    setTree(nullptr);
    checkpoints_.reset();
    restoredFromCheckpoint_ = false;
    stamp_.reset();
    rescanNote_.clear();
    if (history_ && cache_)
        prepareRescan(std::move(config));
    else
        launch(std::make_unique<DiskScanner>(std::move(config)));
}

void ScanJob::prepareRescan(ScanConfiguration config) {
    scanPhase_ = IncrementalText::checkingPhase();
    setState(State::scanning);
    report(QStringLiteral("Scanning Storage: %1...").arg(title()), true);
    const int generation = generation_;
    // Joined by the next start or the job's end.
    prepareThread_ = std::jthread([this, config = std::move(config), generation, history = history_,
                                   store = cache_, key = scope_.identifier()] {
        // Shared, so that a walk whose job has gone is still destroyed.
        auto start =
            std::make_shared<RescanStart>(RescanStart::prepare(config, key, *store, history));
        QMetaObject::invokeMethod(
            this,
            [this, generation, start] {
                if (generation != generation_)
                    return;
                stamp_ = start->stamp;
                rescanNote_ = start->note;
                launch(std::move(start->scanner));
            },
            Qt::QueuedConnection);
    });
}

void ScanJob::keepCheckpoints() {
    if (!cache_ || checkpoints_)
        return;
    checkpoints_ = std::make_unique<ScanCheckpointer>(
        *cache_, scope_.identifier(),
        catalogMetaFor(FileTree(scope_.path, title()), volume_, clock_.now()), checkpointInterval_);
}

void ScanJob::discardCheckpoint() {
    if (checkpoints_)
        checkpoints_->discard();
    else if (cache_ && restoredFromCheckpoint_)
        cache_->deleteCheckpoint(scope_.identifier());
    checkpoints_.reset();
    restoredFromCheckpoint_ = false;
}

void ScanJob::retireScanner() {
    if (!scanner_)
        return;
    scanner_->cancel();
    retired_.push_back(std::move(scanner_));
}

void ScanJob::watch(DiskScanner& scanner) {
    // The scanner is owned by this job and stops before it, so its workers may call in.
    scanner.onFinish = [this](DiskScanner& finished) {
        const DiskScanner* which = &finished;
        QMetaObject::invokeMethod(
            this, [this, which] { scannerFinished(which); }, Qt::QueuedConnection);
    };
}

void ScanJob::launch(std::unique_ptr<DiskScanner> scanner) {
    watch(*scanner);
    scanner_ = std::move(scanner);
    if (const Status started = scanner_->start(); !started) {
        scanner_.reset();
        scanPhase_.clear();
        scanNote_ = started.error();
        setState(State::failed);
        report(QStringLiteral("Error: ") + started.error(), false);
        return;
    }
    scanPhase_ = QStringLiteral("Scanning...");
    setState(State::scanning);
    report(QStringLiteral("Scanning Storage: %1...").arg(title()), true);
    startProgressTimer();
}

void ScanJob::startProgressTimer() {
    keepCheckpoints();
    // The checkpoint interval counts from here.
    if (checkpoints_ && scanner_)
        checkpoints_->poll(*scanner_);
    // A checkpoint interval shorter than the progress interval is polled at its own pace.
    const auto tick = std::min(kProgressInterval, checkpointInterval_);
    timer_ = clock_.schedule(
        tick,
        [this] {
            if (scanner_) {
                progress_ = scanner_->progress();
                emit progressChanged();
                if (checkpoints_)
                    checkpoints_->poll(*scanner_);
            }
        },
        true, tick / 5);
}

QString ScanJob::title() const {
    return scope_.title.isEmpty() ? scope_.path : scope_.title;
}

void ScanJob::scannerFinished(const DiskScanner* which) {
    // A walk is only destroyed once its end has arrived here (or with the job), so the
    // address names one walk.
    if (which != scanner_.get()) {
        // A cancelled or replaced walk whose workers have now stopped.
        std::erase_if(retired_, [which](const auto& retired) { return retired.get() == which; });
        return;
    }
    timer_.reset();
    std::unique_ptr<DiskScanner> scanner = std::move(scanner_);
    scanner->waitForFinished();
    if (scanner->isIncremental() && scanner->state() == DiskScanner::State::finished &&
        scanner->needsFullScan()) {
        rescanNote_ = IncrementalText::unsafe();
        if (stamp_)
            stamp_->fullScanDate = clock_.now();
        launch(std::make_unique<DiskScanner>(scanner->config()));
        return;
    }
    progress_ = scanner->progress();
    emit progressChanged();
    unreadableCount_ = scanner->unreadableCount();
    unreadableSamples_ = scanner->unreadableSamples();
    scanPhase_.clear();
    scannedAt_ = clock_.now();
    const DiskScanner::State outcome = scanner->state();
    setTree(scanner->tree());
    volume_ = VolumeInfo::of(scope_.path);
    scanNote_ = scanner->note();
    if (scanNote_.isEmpty())
        scanNote_ = scanner->isIncremental()
                        ? IncrementalText::updated(scanner->rereadFolders(),
                                                   scanner->reusedFolders(), progress_.elapsed)
                        : rescanNote_;
    const bool paused =
        outcome == DiskScanner::State::paused || outcome == DiskScanner::State::stoppedForSize;
    if (paused) {
        // So that the paused scan can be continued after a restart too.
        if (checkpoints_)
            checkpoints_->checkpointNow(*scanner);
        pausedScanner_ = std::move(scanner);
    }
    setState(State::finished);
    if (outcome == DiskScanner::State::finished) {
        discardCheckpoint();
        writeCache();
    }
    report(paused ? QStringLiteral("Paused the scan of %1.").arg(title())
                  : QStringLiteral("Success: Scanned %1.").arg(title()),
           false);
}

void ScanJob::writeCache() {
    // Only a complete tree stands for the scope's last scan.
    if (!cache_ || !tree_ || isSummaryOnly_ || pausedScanner_ ||
        (tree_->flags(0) & NodeFlag::incompleteRoot) == NodeFlag::incompleteRoot)
        return;
    CatalogMeta meta = catalogMetaFor(*tree_, volume_, scannedAt_);
    meta.scanStamp = stamp_.value_or(ScanStamp{1, 0, {}, volume_.uuid, scannedAt_});
    // The write may end after the job has gone, so its answer goes through the application
    // object and finds the job again there.
    const QPointer<ScanJob> job(this);
    const QString scope = title();
    const std::shared_ptr<const FileTree> tree = tree_;
    cache_->writeCache(scope_.identifier(), tree_, std::move(meta),
                       [job, scope, tree](const Status& written) {
                           QCoreApplication* app = QCoreApplication::instance();
                           if (!app)
                               return;
                           QMetaObject::invokeMethod(
                               app,
                               [job, scope, tree, written] {
                                   if (written) {
                                       // The cache holds this tree in full until it changes.
                                       if (job && job->tree_ == tree)
                                           job->fullCacheOnDisk_ = true;
                                       return;
                                   }
                                   qWarning("Scan cache of %s not written: %s", qPrintable(scope),
                                            qPrintable(written.error()));
                                   if (job)
                                       emit job->messageChanged(QStringLiteral(
                                           "This scan could not be saved (disk full or the saved "
                                           "copy could not be written), so it will have to be "
                                           "scanned again after a restart."));
                               },
                               Qt::QueuedConnection);
                       });
}

bool ScanJob::openCachedScan() {
    if (!cache_ || tree_ || state_ != State::idle || pausedScanner_)
        return false;
    const int generation = ++generation_;
    setState(State::loadingCache);
    // What the loading thread hands over; a paused walk is owned by whoever takes it.
    struct Loaded {
        std::unique_ptr<DiskScanner> paused;
        QDateTime checkpointDate;
        std::shared_ptr<FileTree> tree;
        CatalogMeta meta;
        VolumeInfo volume;
        QStringList refused;
    };
    // Joined by the next load or the job's end.
    cacheThread_ = std::jthread([this, generation, store = cache_, scope = scope_,
                                 exclusions = exclusions()] {
        auto loaded = std::make_shared<Loaded>();
        const QString key = scope.identifier();
        if (QFileInfo::exists(store->checkpointFile(key))) {
            auto restored = store->readCheckpoint(key);
            const QDateTime savedAt = restored ? restored->info.savedAt : QDateTime();
            ScanConfiguration config = ScanConfiguration::build(scope);
            config.exclusions = ScanExclusions(exclusions, config.rootPath);
            auto rebuilt = restored
                               ? DiskScanner::restore(std::move(config), std::move(*restored))
                               : Result<std::unique_ptr<DiskScanner>>(failure(restored.error()));
            if (rebuilt) {
                loaded->paused = std::move(*rebuilt);
                loaded->checkpointDate = savedAt;
            } else {
                loaded->refused.append(rebuilt.error());
            }
        }
        if (!loaded->paused) {
            std::optional<Result<CatalogContents>> cached = store->readCache(key);
            if (cached && *cached) {
                loaded->tree = std::make_shared<FileTree>(std::move((*cached)->tree));
                loaded->meta = std::move((*cached)->meta);
            } else if (cached) {
                loaded->refused.append(cached->error());
            }
        }
        loaded->volume = VolumeInfo::of(scope.path);
        QMetaObject::invokeMethod(
            this,
            [this, generation, loaded] {
                if (generation != generation_)
                    return;
                for (const QString& reason : std::as_const(loaded->refused))
                    emit messageChanged(reason);
                volume_ = loaded->volume;
                unreadableSamples_.clear();
                if (loaded->paused) {
                    pausedScanner_ = std::move(loaded->paused);
                    watch(*pausedScanner_);
                    restoredFromCheckpoint_ = true;
                    checkpointDate_ = loaded->checkpointDate;
                    // Where the walk began in the change history is not kept with it.
                    stamp_.reset();
                    rescanNote_.clear();
                    progress_ = pausedScanner_->progress();
                    unreadableCount_ = pausedScanner_->unreadableCount();
                    unreadableSamples_ = pausedScanner_->unreadableSamples();
                    scanNote_ =
                        QStringLiteral("This scan was interrupted on %1. Resume reads the rest.")
                            .arg(QLocale().toString(checkpointDate_, QLocale::ShortFormat));
                    setTree(pausedScanner_->tree());
                    setState(State::finished);
                    emit progressChanged();
                    return;
                }
                if (!loaded->tree) {
                    setState(State::idle);
                    return;
                }
                scannedAt_ = loaded->meta.scanDate;
                // Written back with the tree when removals edit it.
                stamp_ = loaded->meta.scanStamp;
                isFromCache_ = true;
                setTree(loaded->tree);
                fullCacheOnDisk_ = !loaded->meta.isSummary;
                refreshUnreadable({});
                setState(State::finished);
            },
            Qt::QueuedConnection);
    });
    return true;
}

void ScanJob::pause() {
    if (scanner_)
        scanner_->pause();
}

bool ScanJob::resume() {
    if (!canResume())
        return false;
    // The walk goes on in the same tree, so the screens let go of it first.
    setTree(nullptr);
    if (!pausedScanner_->resume()) {
        setTree(pausedScanner_->tree());
        return false;
    }
    scanner_ = std::move(pausedScanner_);
    scanNote_.clear();
    scanPhase_ = QStringLiteral("Scanning...");
    setState(State::scanning);
    report(QStringLiteral("Scanning Storage: %1...").arg(title()), true);
    startProgressTimer();
    return true;
}

void ScanJob::cancel() {
    ++generation_;
    timer_.reset();
    const bool walking = scanner_ != nullptr;
    retireScanner();
    if (walking || pausedScanner_)
        discardCheckpoint();
    pausedScanner_.reset();
    scanPhase_.clear();
    setState(tree_ ? State::finished : State::idle);
    if (walking)
        report(QStringLiteral("Cancelled the scan of %1.").arg(title()), false);
}

void ScanJob::rescanFolder(int32_t node) {
    if (!tree_ || node < 0 || node >= tree_->size() || isBusy() || isSummaryOnly_)
        return;
    if (tree_->hasFlag(node, NodeFlag::excluded)) {
        emit messageChanged(QStringLiteral("\"%1\" is excluded from this scan, so it was not "
                                           "rescanned. Remove it from the exclusions and scan "
                                           "again to count it.")
                                .arg(tree_->name(node)));
        return;
    }
    const QByteArray path = tree_->pathBytes(node);
    if (removing_) {
        afterRemovals_.push_back([this, path] {
            if (const auto again = tree_ ? tree_->findPath(path) : std::nullopt)
                rescanFolder(*again);
        });
        return;
    }
    const int fd = DirectoryReader::openFolder(path, node == 0);
    if (fd < 0) {
        emit messageChanged(QStringLiteral("\"%1\" could not be opened, so it was not rescanned "
                                           "and the previous result is kept.")
                                .arg(tree_->name(node)));
        return;
    }
    ::close(fd);
    rescanningFolder_ = node;
    emit stateChanged();
    const std::shared_ptr<const FileTree> base = tree_;
    const int generation = generation_;
    const ScanScope folderScope{ScanScope::Kind::folder, QString::fromUtf8(path), {}, {}};
    // Joined by the next rescan or the job's end, which also stops the walk.
    rescanThread_ = std::jthread([this, base, node, generation, folderScope](std::stop_token stop) {
        // The folder skips what the rest of the tree skipped.
        ScanConfiguration config = ScanConfiguration::build(folderScope);
        config.exclusions = ScanExclusions(base->exclusions, base->rootPath.toUtf8());
        DiskScanner scanner(std::move(config));
        std::shared_ptr<FileTree> updated;
        if (scanner.start()) {
            const std::stop_callback cancelWalk(stop, [&scanner] { scanner.cancel(); });
            scanner.waitForFinished();
            if (scanner.state() == DiskScanner::State::finished) {
                updated = std::make_shared<FileTree>(base->copy());
                updated->replaceSubtree(node, *scanner.tree());
            }
        }
        const QList<UnreadableSample> found = scanner.unreadableSamples();
        QMetaObject::invokeMethod(
            this,
            [this, updated, generation, base, found] {
                rescanningFolder_.reset();
                if (generation == generation_ && base == tree_ && updated) {
                    setTree(updated);
                    refreshUnreadable(found);
                    writeCache();
                }
                emit stateChanged();
            },
            Qt::QueuedConnection);
    });
}

void ScanJob::removeFromTree(const QList<QByteArray>& paths) {
    if (!tree_ || paths.isEmpty())
        return;
    pendingRemovals_ += paths;
    if (!removing_)
        startRemoval();
}

void ScanJob::startRemoval() {
    removing_ = true;
    const std::shared_ptr<const FileTree> base = tree_;
    const QList<QByteArray> paths = std::exchange(pendingRemovals_, {});
    // The tree shown is only read here: it is never changed in place. Joined by the next
    // pass or the job's end.
    removeThread_ = std::jthread([this, base, paths] {
        std::vector<int32_t> nodes;
        for (const QByteArray& path : paths)
            if (const auto node = base->findPath(path); node && *node > 0)
                nodes.push_back(*node);
        std::shared_ptr<FileTree> updated;
        if (!nodes.empty()) {
            updated = std::make_shared<FileTree>(base->copy());
            updated->removeSubtrees(nodes);
        }
        QMetaObject::invokeMethod(
            this, [this, base, paths, updated] { removalApplied(base, paths, updated); },
            Qt::QueuedConnection);
    });
    emit stateChanged();
}

void ScanJob::removalApplied(const std::shared_ptr<const FileTree>& base,
                             const QList<QByteArray>& paths, std::shared_ptr<FileTree> updated) {
    removing_ = false;
    if (tree_ == base) {
        if (updated) {
            setTree(std::move(updated));
            refreshUnreadable({});
            writeCache();
        }
    } else if (tree_ && !isSummaryOnly_) {
        // A rescan replaced the tree meanwhile: the items go from the tree it left.
        pendingRemovals_ = paths + pendingRemovals_;
    }
    if (!tree_ || isSummaryOnly_)
        pendingRemovals_.clear();
    if (!pendingRemovals_.isEmpty()) {
        startRemoval();
        return;
    }
    for (const auto& then : std::exchange(afterRemovals_, {}))
        then();
    emit stateChanged();
}

void ScanJob::readBlockedFolders(const Result<QString>& executable,
                                 ProtectedScan::PrivilegedRunner runner) {
    if (!tree_ || isBusy() || isSummaryOnly_)
        return;
    if (removing_) {
        afterRemovals_.push_back(
            [this, executable, runner] { readBlockedFolders(executable, runner); });
        return;
    }
    if (!executable) {
        protectedScan_.outcome = ProtectedScanOutcome{false, executable.error(), 0, 0, 0};
        emit messageChanged(executable.error());
        return;
    }
    QList<QByteArray> blocked;
    for (int32_t node = 0; node < tree_->size(); ++node)
        if (tree_->hasFlag(node, NodeFlag::blocked))
            blocked.append(tree_->pathBytes(node));
    protectedScan_ = {true, std::nullopt};
    scanPhase_ = QStringLiteral("Reading protected folders...");
    emit stateChanged();
    const std::shared_ptr<const FileTree> base = tree_;
    const int generation = generation_;
    // Joined by the next pass or the job's end.
    passThread_ = std::jthread([this, base, blocked, exe = *executable, runner, generation] {
        auto updated = std::make_shared<FileTree>(base->copy());
        const auto phase = [this](const QString& text) {
            QMetaObject::invokeMethod(
                this,
                [this, text] {
                    scanPhase_ = text;
                    emit stateChanged();
                },
                Qt::QueuedConnection);
        };
        const ProtectedScanOutcome outcome =
            ProtectedScan::run(*updated, blocked, exe, runner, phase);
        QMetaObject::invokeMethod(
            this,
            [this, updated, outcome, generation, base] {
                protectedScan_ = {false, outcome};
                scanPhase_.clear();
                if (generation == generation_ && base == tree_ && outcome.success) {
                    setTree(updated);
                    refreshUnreadable({});
                    writeCache();
                }
                emit stateChanged();
                emit messageChanged(outcome.message);
            },
            Qt::QueuedConnection);
    });
}

} // namespace velmox
