#include "ScanTestSupport.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "storage/ScanCenter.h"
#include "storage/StorageCatalogStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTemporaryDir>
#include <future>
#include <gtest/gtest.h>
#include <thread>

using namespace velmox;
using namespace velmox::test;

namespace {

class ScanJobTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        root_ = dir_.path().toUtf8() + "/Music";
        makeFolder(root_);
        makeFolder(root_ + "/albums");
        for (int i = 0; i < 20; ++i)
            writeFile(root_ + "/albums/track" + QByteArray::number(i), 10000);
    }
    ScanScope scope() const {
        return {ScanScope::Kind::folder, QString::fromUtf8(root_), QStringLiteral("Music"), {}};
    }
    // Enough folders that one worker is still walking when the test pauses or cancels.
    void addFolders(int count, int first = 0) {
        for (int i = first; i < first + count; ++i) {
            const QByteArray folder = root_ + "/more" + QByteArray::number(i);
            makeFolder(folder);
            writeFile(folder + "/song", 100);
        }
    }

    QTemporaryDir dir_;
    QByteArray root_;
    AppNavigationState navigation_;
    AppStatusCenter status_{navigation_, SystemClock::shared()};
    ScanCenter center_{SystemClock::shared(), &status_};
};

} // namespace

TEST_F(ScanJobTest, OneJobPerScopeScans) {
    ScanJob* job = center_.job(scope());
    EXPECT_EQ(center_.job(scope()), job);
    EXPECT_NE(center_.job({ScanScope::Kind::home, QString::fromUtf8(root_), {}, {}}), job);

    job->start();
    EXPECT_EQ(job->state(), ScanJob::State::scanning);
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    ASSERT_TRUE(job->tree());
    EXPECT_EQ(job->tree()->items(0), 21u);
    EXPECT_EQ(job->progress().folders, 2);
    EXPECT_FALSE(job->canResume());
}

TEST_F(ScanJobTest, ALaterStartDropsTheResultsOfTheEarlierRun) {
    ScanJob* job = center_.job(scope());
    job->start();
    const int first = job->generation();
    writeFile(root_ + "/added", 50000);
    job->start();
    EXPECT_EQ(job->generation(), first + 1);
    int trees = 0;
    QObject::connect(job, &ScanJob::treeChanged, [&] { trees += job->tree() ? 1 : 0; });
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(trees, 1);
    EXPECT_EQ(job->tree()->items(0), 22u);

    job->start();
    job->cancel();
    EXPECT_EQ(job->state(), ScanJob::State::idle);
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_EQ(job->state(), ScanJob::State::idle);
    EXPECT_FALSE(job->tree());
}

// Every report a run starts on the status line is ended, however the run ends.
TEST_F(ScanJobTest, TheStatusLineLeavesItsBusyStateWhenAScanIsCancelledPausedOrResumed) {
    ScanJob* job = center_.job(scope());
    addFolders(300);
    job->start(false, 1);
    ASSERT_TRUE(status_.isActive());
    job->cancel();
    EXPECT_FALSE(status_.isActive());
    EXPECT_EQ(status_.message(), QStringLiteral("Cancelled the scan of Music."));
    QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
    EXPECT_FALSE(status_.isActive());

    ASSERT_TRUE(startPaused(*job));
    EXPECT_FALSE(status_.isActive());
    EXPECT_EQ(status_.message(), QStringLiteral("Paused the scan of Music."));

    ASSERT_TRUE(job->resume());
    EXPECT_TRUE(status_.isActive());
    EXPECT_EQ(status_.message(), QStringLiteral("Scanning Storage: Music..."));
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_FALSE(status_.isActive());
    EXPECT_EQ(status_.message(), QStringLiteral("Success: Scanned Music."));
    EXPECT_EQ(job->tree()->items(0), 21u + 600u);
}

// The last worker locks the scanner once more after it has published the paused state;
// a resume that came in just then must not hold the lock while it waits for that worker.
TEST(DiskScannerResume, AResumeRightAfterThePauseIsPublishedDoesNotDeadlock) {
    QTemporaryDir dir;
    for (int i = 0; i < 300; ++i)
        makeFolder(dir.path().toUtf8() + "/f" + QByteArray::number(i));
    ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, dir.path(), {}, {}});
    config.workerCount = 1;
    for (int attempt = 0; attempt < 5; ++attempt) {
        DiskScanner scanner(config);
        QSemaphore published;
        std::atomic<int> runs{0};
        scanner.onFinish = [&](DiskScanner&) {
            published.release();
            // Widens the moment between publishing and the worker's last lock.
            if (runs.fetch_add(1) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
        };
        ASSERT_TRUE(scanner.start());
        scanner.pause();
        published.acquire();
        if (scanner.state() != DiskScanner::State::paused)
            continue; // a busy machine let the walk end before the pause
        auto resumed = std::async(std::launch::async, [&] { return scanner.resume(); });
        if (resumed.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "resume() deadlocked with the last worker";
            std::_Exit(1); // the blocked threads cannot be joined
        }
        EXPECT_TRUE(resumed.get());
        ASSERT_TRUE(scanner.waitForFinished(std::chrono::seconds(30)));
        EXPECT_EQ(scanner.state(), DiskScanner::State::finished);
        EXPECT_EQ(scanner.tree()->items(0), 300u);
        return;
    }
    FAIL() << "the walk never paused";
}

// Destroying a job stops and joins every thread that works for it, so nothing calls back
// into the freed job: once it has gone, nothing holds the tree a rescan was copying.
TEST_F(ScanJobTest, DestroyingAJobWhileItsWorkRunsLeavesNothingRunning) {
    addFolders(300);
    {
        ScanJob job(scope(), SystemClock::shared(), &status_);
        job.start(false, 1);
    }
    auto job = std::make_unique<ScanJob>(scope(), SystemClock::shared(), &status_);
    job->start();
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    const std::weak_ptr<const FileTree> tree = job->tree();
    job->rescanFolder(0);
    ASSERT_TRUE(job->rescanningFolder());
    job.reset();
    EXPECT_TRUE(tree.expired());
    // Whatever a freed job's threads would have posted must not run.
    QCoreApplication::processEvents(QEventLoop::AllEvents, 500);
}

TEST_F(ScanJobTest, RescanningAFolderReplacesItsSubtree) {
    ScanJob* job = center_.job(scope());
    job->start();
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    const int64_t before = job->tree()->logical(0);
    for (int i = 0; i < 5; ++i)
        writeFile(root_ + "/albums/bonus" + QByteArray::number(i), 1000);
    const int32_t albums = job->tree()->findPath(root_ + "/albums").value();
    job->rescanFolder(albums);
    EXPECT_EQ(job->rescanningFolder(), albums);
    ASSERT_TRUE(processEventsUntil([&] { return !job->rescanningFolder(); }));
    EXPECT_EQ(job->tree()->logical(0), before + 5000);
    EXPECT_EQ(job->tree()->items(0), 26u);
    EXPECT_TRUE(job->tree()->validate().has_value());
}

// Removed items leave the tree on a thread of the job's: the tree shown stays until the edited
// one replaces it, and removals and a rescan asked for meanwhile follow in order.
TEST_F(ScanJobTest, RemovalsAndARescanQueueBehindTheTreeEditAndEndAsAFreshScan) {
    addFolders(3);
    ScanJob* job = center_.job(scope());
    job->start();
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    const std::shared_ptr<const FileTree> before = job->tree();
    ASSERT_EQ(::unlink(root_ + "/albums/track0"), 0);
    ASSERT_TRUE(QDir(QString::fromUtf8(root_ + "/more0")).removeRecursively());
    ASSERT_EQ(::unlink(root_ + "/more1/song"), 0);
    writeFile(root_ + "/more2/extra", 3000);

    job->removeFromTree({root_ + "/albums/track0", root_ + "/more0"});
    job->removeFromTree({root_ + "/more1/song", root_ + "/not-in-the-scan"});
    job->rescanFolder(*before->findPath(root_ + "/more2"));
    EXPECT_TRUE(job->isRemoving());
    EXPECT_EQ(job->tree(), before);
    EXPECT_FALSE(job->rescanningFolder());
    ASSERT_TRUE(processEventsUntil([&] { return !job->isRemoving() && !job->rescanningFolder(); }));

    const std::shared_ptr<const FileTree> after = job->tree();
    const auto fresh = scanFolder(QString::fromUtf8(root_));
    ASSERT_TRUE(after->validate() && fresh);
    EXPECT_EQ(folderFigures(*after), folderFigures(*fresh));
    EXPECT_EQ(after->deletedChildCount(0), 1u);
    EXPECT_EQ(after->deletedChildCount(*after->findPath(root_ + "/albums")), 1u);
    EXPECT_EQ(after->deletedChildCount(*after->findPath(root_ + "/more1")), 1u);
    EXPECT_EQ(after->deletedChildCount(*after->findPath(root_ + "/more2")), 0u);
    EXPECT_EQ(before->items(0), 21u + 6u); // the tree that was shown was left alone
}

// After a restart the edited tree comes back from the cache as it was left, marked edited.
TEST_F(ScanJobTest, ATreeEditedByRemovalsIsCachedAndComesBackEdited) {
    QTemporaryDir data;
    StorageCatalogStore store(data.path());
    addFolders(1);
    {
        ScanCenter center(SystemClock::shared(), &status_, &store);
        ScanJob* job = center.job(scope());
        job->start();
        ASSERT_TRUE(processEventsUntil([&] { return job->fullCacheOnDisk(); }));
        ASSERT_TRUE(QDir(QString::fromUtf8(root_ + "/more0")).removeRecursively());
        ASSERT_EQ(::unlink(root_ + "/albums/track3"), 0);
        job->removeFromTree({root_ + "/more0", root_ + "/albums/track3"});
        ASSERT_TRUE(processEventsUntil([&] { return job->tree()->items(0) == 20u; }));
        ASSERT_TRUE(processEventsUntil([&] { return job->fullCacheOnDisk(); }));
    }
    ScanCenter center(SystemClock::shared(), &status_, &store);
    ScanJob* job = center.job(scope());
    ASSERT_TRUE(job->openCachedScan());
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    const FileTree& tree = *job->tree();
    EXPECT_EQ(folderFigures(tree), folderFigures(*scanFolder(QString::fromUtf8(root_))));
    EXPECT_TRUE(tree.hasFlag(0, NodeFlag::edited));
    EXPECT_EQ(tree.flags(0) & NodeFlag::incomplete, 0);
    EXPECT_EQ(tree.deletedChildCount(0), 1u);
    EXPECT_EQ(tree.deletedChildCount(*tree.findPath(root_ + "/albums")), 1u);
}

TEST_F(ScanJobTest, OnlyAPausedScanResumesAndARefusedPassIsReported) {
    ScanJob* job = center_.job(scope());
    job->start();
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_FALSE(job->resume());

    job->readBlockedFolders(failure(QStringLiteral("Could not find the app's own executable.")),
                            [](const QString&) { return CommandResult(QString()); });
    ASSERT_TRUE(job->protectedScan().outcome);
    EXPECT_EQ(job->protectedScan().outcome->message,
              QStringLiteral("Could not find the app's own executable."));
}

TEST_F(ScanJobTest, AFinishedScanIsCachedAndShownAgainByTheNextCenter) {
    QTemporaryDir data;
    StorageCatalogStore store(data.path());
    const QString key = scope().identifier();
    QDateTime scannedAt;
    int64_t allocated = 0;
    {
        ScanCenter center(SystemClock::shared(), &status_, &store);
        ScanJob* job = center.job(scope());
        job->start();
        ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
        scannedAt = job->scannedAt();
        allocated = job->tree()->size(0, TreeSortKey::real);
        ASSERT_TRUE(processEventsUntil([&] { return QFile::exists(store.cacheFile(key)); }));
    }
    // What changes on disk afterwards is not in the cached tree.
    writeFile(root_ + "/added", 50000);

    ScanCenter center(SystemClock::shared(), &status_, &store);
    ScanJob* job = center.job(scope());
    EXPECT_FALSE(job->isFromCache());
    ASSERT_TRUE(job->openCachedScan());
    EXPECT_EQ(job->state(), ScanJob::State::loadingCache);
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_TRUE(job->isFromCache());
    EXPECT_EQ(job->tree()->items(0), 21u);
    EXPECT_EQ(job->tree()->size(0, TreeSortKey::real), allocated);
    EXPECT_EQ(job->scannedAt().toSecsSinceEpoch(), scannedAt.toSecsSinceEpoch());
    EXPECT_FALSE(job->openCachedScan());

    // A scope that was never scanned goes back to idle without a word.
    ScanJob* other = center.job({ScanScope::Kind::folder, dir_.path(), {}, {}});
    int otherMessages = 0;
    QObject::connect(other, &ScanJob::messageChanged, [&] { ++otherMessages; });
    ASSERT_TRUE(other->openCachedScan());
    ASSERT_TRUE(processEventsUntil([&] { return other->state() == ScanJob::State::idle; }));
    EXPECT_FALSE(other->tree());
    EXPECT_EQ(otherMessages, 0);
}

TEST_F(ScanJobTest, ADamagedOrUnwritableCacheIsReportedAndAScanStillRuns) {
    QTemporaryDir data;
    StorageCatalogStore store(data.path());
    const QString file = store.cacheFile(scope().identifier());
    {
        ScanCenter center(SystemClock::shared(), &status_, &store);
        center.job(scope())->start();
        ASSERT_TRUE(processEventsUntil([&] { return QFile::exists(file); }));
    }
    QFile cache(file);
    ASSERT_TRUE(cache.open(QIODevice::ReadWrite));
    QByteArray damaged = cache.readAll();
    damaged[damaged.size() - 3] = char(damaged.at(damaged.size() - 3) ^ 0x5a);
    ASSERT_TRUE(cache.seek(0));
    ASSERT_EQ(cache.write(damaged), damaged.size());
    cache.close();

    ScanCenter center(SystemClock::shared(), &status_, &store);
    ScanJob* job = center.job(scope());
    QStringList messages;
    QObject::connect(job, &ScanJob::messageChanged,
                     [&](const QString& message) { messages.append(message); });
    ASSERT_TRUE(job->openCachedScan());
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::idle; }));
    EXPECT_FALSE(job->tree());
    ASSERT_EQ(messages.size(), 1);
    EXPECT_TRUE(messages.at(0).startsWith(QStringLiteral("The catalog file is damaged (")))
        << messages.at(0).toStdString();
    // The refused file is left as it was, and a new scan replaces it.
    ASSERT_TRUE(cache.open(QIODevice::ReadOnly));
    EXPECT_EQ(cache.readAll(), damaged);
    cache.close();
    job->start();
    ASSERT_TRUE(processEventsUntil([&] {
        const auto cached = store.readCache(scope().identifier());
        return cached && cached->has_value();
    }));
    EXPECT_EQ(messages.size(), 1);

    // A cache that cannot be written leaves the scan on screen and says so.
    QTemporaryDir blocked;
    ASSERT_TRUE(QDir(blocked.path()).mkdir(QStringLiteral("ScanCache")));
    StorageCatalogStore unwritable(blocked.path());
    ASSERT_TRUE(QDir(unwritable.cacheFolder()).removeRecursively());
    writeFile(QFile::encodeName(unwritable.cacheFolder()), 1);
    ScanCenter full(SystemClock::shared(), &status_, &unwritable);
    ScanJob* unsaved = full.job(scope());
    QStringList unsavedMessages;
    QObject::connect(unsaved, &ScanJob::messageChanged,
                     [&](const QString& message) { unsavedMessages.append(message); });
    unsaved->start();
    ASSERT_TRUE(processEventsUntil([&] { return !unsavedMessages.isEmpty(); }));
    EXPECT_EQ(unsaved->state(), ScanJob::State::finished);
    EXPECT_EQ(unsaved->tree()->items(0), 21u);
    EXPECT_TRUE(unsavedMessages.at(0).startsWith(QStringLiteral("This scan could not be saved")));
}

// A scan that did not end (the app was killed) is offered again from its checkpoint as a
// paused scan, and resuming it ends with the totals of a full scan and no checkpoint left.
TEST_F(ScanJobTest, AnInterruptedScanIsOfferedFromItsCheckpointAndResumesToTheFullTotals) {
    QTemporaryDir data;
    StorageCatalogStore store(data.path());
    const QString checkpoint = store.checkpointFile(scope().identifier());
    bool interrupted = false;
    // A fast machine may finish a small walk before its first checkpoint: then grow it.
    for (int attempt = 0, made = 0; attempt < 4 && !interrupted; ++attempt) {
        addFolders(1000 << attempt, made);
        made += 1000 << attempt;
        ScanCenter center(SystemClock::shared(), &status_, &store);
        ScanJob* job = center.job(scope());
        job->setCheckpointInterval(std::chrono::milliseconds(1));
        job->start(false, 1);
        ASSERT_TRUE(processEventsUntil(
            [&] { return QFile::exists(checkpoint) || job->state() != ScanJob::State::scanning; }));
        interrupted = job->state() == ScanJob::State::scanning;
        // Leaving the center now is what a crash leaves behind: the checkpoint stays.
    }
    ASSERT_TRUE(interrupted);
    ASSERT_TRUE(QFile::exists(checkpoint));
    const auto full = scanFolder(QString::fromUtf8(root_));

    ScanCenter center(SystemClock::shared(), &status_, &store);
    ScanJob* job = center.job(scope());
    ASSERT_TRUE(job->openCachedScan());
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_TRUE(job->restoredFromCheckpoint());
    EXPECT_TRUE(job->checkpointDate().isValid());
    EXPECT_TRUE(job->scanNote().startsWith(QStringLiteral("This scan was interrupted on ")));
    ASSERT_TRUE(job->canResume());
    EXPECT_TRUE(job->tree()->hasFlag(0, NodeFlag::incompleteRoot));
    EXPECT_LT(job->tree()->items(0), full->items(0));

    ASSERT_TRUE(job->resume());
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_FALSE(job->isPaused());
    EXPECT_EQ(job->tree()->items(0), full->items(0));
    EXPECT_EQ(job->tree()->alloc(0), full->alloc(0));
    EXPECT_EQ(job->tree()->logical(0), full->logical(0));
    EXPECT_TRUE(processEventsUntil([&] { return !QFile::exists(checkpoint); }));
    EXPECT_TRUE(
        processEventsUntil([&] { return QFile::exists(store.cacheFile(scope().identifier())); }));
}

// Over the node budget a scan that no view shows keeps only its top folder levels, and is
// read back in full when it is shown again; a rescanned folder goes into the cache too.
TEST_F(ScanJobTest, ScansNotOnScreenShrinkToTheirTopLevelsWithinTheBudgetAndComeBackInFull) {
    QTemporaryDir data;
    StorageCatalogStore store(data.path());
    const QByteArray deep = dir_.path().toUtf8() + "/Deep";
    makeFolder(deep);
    makeFolder(deep + "/a");
    makeFolder(deep + "/a/b");
    writeFile(deep + "/a/b/file", 5000);
    ScanCenter center(SystemClock::shared(), &status_, &store);
    ScanJob* music = center.job(scope());
    const ScanScope deepScope{ScanScope::Kind::folder, QString::fromUtf8(deep), {}, {}};
    ScanJob* other = center.job(deepScope);
    for (ScanJob* job : {music, other}) {
        job->start();
        ASSERT_TRUE(processEventsUntil([&] { return job->fullCacheOnDisk(); }));
    }
    const int64_t deepAllocated = other->tree()->alloc(0);
    music->setViewed(true);

    center.setNodeBudget(music->tree()->size());
    EXPECT_FALSE(music->isSummaryOnly());
    ASSERT_TRUE(other->isSummaryOnly());
    EXPECT_EQ(other->tree()->size(), 3); // the root, a and b
    EXPECT_EQ(other->tree()->items(0), 3u);
    EXPECT_EQ(other->tree()->alloc(0), deepAllocated);

    music->setViewed(false);
    other->setViewed(true);
    EXPECT_TRUE(other->isReloadingFull());
    ASSERT_TRUE(processEventsUntil([&] { return !other->isReloadingFull(); }));
    EXPECT_FALSE(other->isSummaryOnly());
    EXPECT_EQ(other->tree()->size(), 4);
    EXPECT_TRUE(music->isSummaryOnly()); // now the one no view shows

    writeFile(deep + "/a/new", 7000);
    other->rescanFolder(*other->tree()->findPath(deep + "/a"));
    ASSERT_TRUE(processEventsUntil([&] { return !other->rescanningFolder(); }));
    ASSERT_TRUE(processEventsUntil([&] { return other->fullCacheOnDisk(); }));
    const auto cached = store.readCache(deepScope.identifier());
    ASSERT_TRUE(cached && *cached);
    EXPECT_EQ((*cached)->tree.items(0), 4u);
}

// A paused scan leaves a checkpoint at once; declining the offer (cancel) deletes it.
TEST_F(ScanJobTest, APausedScanIsOfferedAfterARestartUntilItIsCancelled) {
    QTemporaryDir data;
    StorageCatalogStore store(data.path());
    const QString checkpoint = store.checkpointFile(scope().identifier());
    addFolders(200);
    {
        ScanCenter center(SystemClock::shared(), &status_, &store);
        ASSERT_TRUE(startPaused(*center.job(scope())));
        ASSERT_TRUE(processEventsUntil([&] { return QFile::exists(checkpoint); }));
    }
    ScanCenter center(SystemClock::shared(), &status_, &store);
    ScanJob* job = center.job(scope());
    ASSERT_TRUE(job->openCachedScan());
    ASSERT_TRUE(processEventsUntil([&] { return job->state() == ScanJob::State::finished; }));
    EXPECT_TRUE(job->restoredFromCheckpoint());
    EXPECT_TRUE(job->canResume());
    job->cancel();
    EXPECT_FALSE(job->restoredFromCheckpoint());
    EXPECT_TRUE(processEventsUntil([&] { return !QFile::exists(checkpoint); }));
}
