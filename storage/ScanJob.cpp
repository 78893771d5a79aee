#include "storage/ScanJob.h"

#include "services/AppStatusCenter.h"
#include "storage/DirectoryReader.h"
#include "storage/IncrementalPlan.h"
#include "storage/IncrementalRescan.h"
#include "storage/StorageCatalogStore.h"

#include <QCoreApplication>
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
    emit treeChanged();
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

void ScanJob::start(bool gentle, std::optional<int> workers) {
    ScanConfiguration config = ScanConfiguration::build(scope_, gentle);
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
    prepareThread_ = std::jthread([this, config = std::move(config), generation,
                                   history = history_, store = cache_,
                                   key = scope_.identifier()] {
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

void ScanJob::retireScanner() {
    if (!scanner_)
        return;
    scanner_->cancel();
    retired_.push_back(std::move(scanner_));
}

void ScanJob::launch(std::unique_ptr<DiskScanner> scanner) {
    // The scanner is owned by this job and stops before it, so its workers may call in.
    scanner->onFinish = [this](DiskScanner& finished) {
        const DiskScanner* which = &finished;
        QMetaObject::invokeMethod(
            this, [this, which] { scannerFinished(which); }, Qt::QueuedConnection);
    };
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
    timer_ = clock_.schedule(
        kProgressInterval,
        [this] {
            if (scanner_) {
                progress_ = scanner_->progress();
                emit progressChanged();
            }
        },
        true, kProgressInterval / 5);
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
    if (paused)
        pausedScanner_ = std::move(scanner);
    setState(State::finished);
    if (outcome == DiskScanner::State::finished)
        writeCache();
    report(paused ? QStringLiteral("Paused the scan of %1.").arg(title())
                  : QStringLiteral("Success: Scanned %1.").arg(title()),
           false);
}

void ScanJob::writeCache() {
    if (!cache_ || !tree_)
        return;
    CatalogMeta meta = catalogMetaFor(*tree_, volume_, scannedAt_);
    meta.scanStamp = stamp_.value_or(ScanStamp{1, 0, {}, volume_.uuid, scannedAt_});
    // The write may end after the job has gone, so its answer goes through the application
    // object and finds the job again there.
    const QPointer<ScanJob> job(this);
    const QString scope = title();
    cache_->writeCache(scope_.identifier(), tree_, std::move(meta),
                       [job, scope](const Status& written) {
                           QCoreApplication* app = QCoreApplication::instance();
                           if (written || !app)
                               return;
                           QMetaObject::invokeMethod(
                               app,
                               [job, scope, reason = written.error()] {
                                   qWarning("Scan cache of %s not written: %s", qPrintable(scope),
                                            qPrintable(reason));
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
    if (!cache_ || tree_ || state_ != State::idle)
        return false;
    const int generation = ++generation_;
    setState(State::loadingCache);
    // Joined by the next load or the job's end.
    cacheThread_ = std::jthread(
        [this, generation, store = cache_, key = scope_.identifier(), path = scope_.path] {
            std::optional<Result<CatalogContents>> cached = store->readCache(key);
            std::shared_ptr<FileTree> tree;
            CatalogMeta meta;
            QString refused;
            VolumeInfo volume;
            if (cached && *cached) {
                tree = std::make_shared<FileTree>(std::move((*cached)->tree));
                meta = std::move((*cached)->meta);
                volume = VolumeInfo::of(path);
            } else if (cached) {
                refused = cached->error();
            }
            QMetaObject::invokeMethod(
                this,
                [this, generation, tree, meta, refused, volume] {
                    if (generation != generation_)
                        return;
                    if (!tree) {
                        setState(State::idle);
                        if (!refused.isEmpty())
                            emit messageChanged(refused);
                        return;
                    }
                    scannedAt_ = meta.scanDate;
                    volume_ = volume;
                    isFromCache_ = true;
                    unreadableSamples_.clear();
                    setTree(tree);
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
    pausedScanner_.reset();
    scanPhase_.clear();
    setState(tree_ ? State::finished : State::idle);
    if (walking)
        report(QStringLiteral("Cancelled the scan of %1.").arg(title()), false);
}

void ScanJob::rescanFolder(int32_t node) {
    if (!tree_ || node < 0 || node >= tree_->size() || isBusy())
        return;
    const QByteArray path = tree_->pathBytes(node);
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
        DiskScanner scanner(ScanConfiguration::build(folderScope));
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
                }
                emit stateChanged();
            },
            Qt::QueuedConnection);
    });
}

void ScanJob::readBlockedFolders(const Result<QString>& executable,
                                 ProtectedScan::PrivilegedRunner runner) {
    if (!tree_ || isBusy())
        return;
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
                }
                emit stateChanged();
                emit messageChanged(outcome.message);
            },
            Qt::QueuedConnection);
    });
}

} // namespace velmox
