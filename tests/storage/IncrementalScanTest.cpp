#include "ScanTestSupport.h"
#include "platform/linux/ChangeJournal.h"
#include "platform/linux/ChangeRecorder.h"
#include "platform/linux/JournalChangeHistory.h"
#include "services/Clock.h"
#include "storage/IncrementalPlan.h"
#include "storage/ScanJob.h"
#include "storage/StorageCatalogStore.h"
#include "tests/support/VelmoxProcess.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <future>
#include <gtest/gtest.h>
#include <map>
#include <sys/fanotify.h>
#include <thread>

using namespace velmox;
using namespace velmox::test;

namespace {

using namespace std::chrono_literals;

// What a scan says about one path, independent of node order and of which name of a
// hard-linked file carries its size: folder sizes leave hard-linked files out, and those are
// compared file by file.
struct NodeFacts {
    uint16_t flags;
    int64_t alloc;
    int64_t logical;
    int64_t mtime;
    uint32_t items;
    bool operator==(const NodeFacts&) const = default;
};

struct TreeFacts {
    std::map<QByteArray, NodeFacts> nodes;
    std::map<LinkKey, std::tuple<int64_t, int64_t, int>> links; // sizes, names, counted once
    int64_t alloc = 0;
    int64_t logical = 0;
};

TreeFacts factsOf(const FileTree& summed) {
    TreeFacts facts{{}, {}, summed.alloc(0), summed.logical(0)};
    FileTree tree = summed.copy();
    tree.unsumFolderSizes();
    FileTreeColumns columns = tree.columns();
    std::map<LinkKey, int> counted;
    for (const LinkedFile& file : tree.linkedFiles()) {
        columns.alloc[size_t(file.node)] = columns.logical[size_t(file.node)] = 0;
        auto& [alloc, logical, names] = facts.links[file.key];
        alloc = file.alloc;
        logical = file.logical;
        ++names;
        counted[file.key] += file.counted;
    }
    for (const auto& [key, count] : counted)
        EXPECT_EQ(count, 1) << "a hard-linked file is counted " << count << " times";
    auto withoutLinks = FileTree::fromColumns(tree.rootPath, tree.rootName, columns, false);
    EXPECT_TRUE(withoutLinks.has_value());
    withoutLinks->sumFolderSizes();
    for (int32_t node = 0; node < withoutLinks->size(); ++node)
        facts.nodes[withoutLinks->pathBytes(node)] = {
            withoutLinks->flags(node), withoutLinks->alloc(node), withoutLinks->logical(node),
            withoutLinks->mtime(node), withoutLinks->items(node)};
    return facts;
}

// Names the paths where two scans differ, not only that they do.
void expectSameFacts(const TreeFacts& updated, const TreeFacts& full) {
    EXPECT_EQ(updated.alloc, full.alloc);
    EXPECT_EQ(updated.logical, full.logical);
    EXPECT_TRUE(updated.links == full.links) << "the hard-linked files differ";
    for (const auto& [path, facts] : full.nodes) {
        const auto found = updated.nodes.find(path);
        if (found == updated.nodes.end())
            ADD_FAILURE() << "missing after the rescan: " << path.toStdString();
        else if (!(found->second == facts))
            ADD_FAILURE() << "differs: " << path.toStdString() << " flags " << found->second.flags
                          << "/" << facts.flags << " alloc " << found->second.alloc << "/"
                          << facts.alloc << " logical " << found->second.logical << "/"
                          << facts.logical << " mtime " << found->second.mtime << "/" << facts.mtime
                          << " items " << found->second.items << "/" << facts.items;
    }
    for (const auto& [path, facts] : updated.nodes)
        if (!full.nodes.contains(path))
            ADD_FAILURE() << "only in the rescan: " << path.toStdString();
}

ScanConfiguration configFor(const QByteArray& root, const QStringList& exclusions = {}) {
    ScanConfiguration config =
        ScanConfiguration::build({ScanScope::Kind::folder, QString::fromUtf8(root), {}, {}});
    config.workerCount = 2;
    config.exclusions = ScanExclusions(exclusions, config.rootPath);
    return config;
}

std::shared_ptr<FileTree> scan(DiskScanner& scanner) {
    EXPECT_TRUE(scanner.start());
    EXPECT_TRUE(scanner.waitForFinished(120s));
    EXPECT_EQ(scanner.state(), DiskScanner::State::finished);
    return scanner.tree();
}

std::shared_ptr<FileTree> fullScan(const QByteArray& root, const QStringList& exclusions = {}) {
    DiskScanner scanner(configFor(root, exclusions));
    return scan(scanner);
}

void appendTo(const QByteArray& path, qsizetype bytes) {
    QFile file(QString::fromUtf8(path));
    ASSERT_TRUE(file.open(QIODevice::Append));
    ASSERT_EQ(file.write(QByteArray(bytes, 'g')), bytes);
}

// A folder tree below a private app data folder, with the real recorder watching it.
class IncrementalRescanTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        root_ = dir_.path().toUtf8() + "/tree";
        makeFolder(root_);
        for (const char* folder : {"/a", "/a/deep", "/a/deep/er", "/b", "/c", "/c/keep", "/d"})
            makeFolder(root_ + folder);
        for (int i = 0; i < 12; ++i) {
            writeFile(root_ + "/a/f" + QByteArray::number(i), 3000 * i);
            writeFile(root_ + "/c/keep/k" + QByteArray::number(i), 700 * i);
        }
        writeFile(root_ + "/a/deep/er/grow", 100);
        writeFile(root_ + "/b/doomed", 9000);
        writeFile(root_ + "/b/moving", 12000);
        writeFile(root_ + "/d/single", 5000);
        writeFile(root_ + "/a/shared", 40000);
        ASSERT_EQ(::link((root_ + "/a/shared").constData(), (root_ + "/c/shared-2").constData()),
                  0);
    }

    void startRecorder(ChangeRecorder::Method method = ChangeRecorder::Method::inotify) {
        recorder_ = std::make_unique<ChangeRecorder>(appData_, method);
        ASSERT_TRUE(recorder_->start());
    }

    // A full scan taken as the baseline, with the stamp a scan at this moment gets.
    void takeBaseline(const QStringList& exclusions = {}) {
        const auto uuid = history_.uuid(root_);
        ASSERT_TRUE(uuid.has_value());
        const auto position = history_.currentPosition(root_, 30s);
        ASSERT_TRUE(position) << position.error().toStdString();
        stamp_ =
            ScanStamp{1, *position, *uuid, QStringLiteral("volume"), QDateTime::currentDateTime()};
        baseline_ = fullScan(root_, exclusions);
    }

    IncrementalDecision decide(std::optional<ScanStamp> stamp = std::nullopt,
                               const QStringList& exclusions = {}) {
        return IncrementalDecision::decide(
            {baseline_.get(), stamp.value_or(stamp_), baseline_->rootPath, QString::fromUtf8(root_),
             QStringLiteral("volume"), QDateTime::currentDateTime(), &history_,
             ReplayCollector::kTimeLimit, ScanExclusions::normalized(exclusions)});
    }

    // The incremental rescan beside a full scan of the same folder.
    void expectSameAsFullScan(const IncrementalDecision& decision, int64_t* reread = nullptr,
                              const QStringList& exclusions = {}) {
        ASSERT_TRUE(decision.plan) << decision.note.toStdString();
        DiskScanner scanner(configFor(root_, exclusions), *baseline_, *decision.plan);
        const auto updated = scan(scanner);
        EXPECT_FALSE(scanner.needsFullScan());
        const auto full = fullScan(root_, exclusions);
        EXPECT_TRUE(updated->validate());
        expectSameFacts(factsOf(*updated), factsOf(*full));
        if (reread)
            *reread = scanner.rereadFolders();
    }

    QTemporaryDir dir_;
    QString appData_ = dir_.path() + QStringLiteral("/Velmox");
    QByteArray root_;
    std::unique_ptr<ChangeRecorder> recorder_;
    JournalChangeHistory history_{appData_};
    ScanStamp stamp_;
    std::shared_ptr<FileTree> baseline_;
};

// Every kind of change at once; the rescan reads only the folders they touched.
void makeChanges(const QByteArray& root) {
    writeFile(root + "/a/deep/created", 4321);
    ASSERT_EQ(::unlink((root + "/b/doomed").constData()), 0);
    ASSERT_EQ(::rename((root + "/b/moving").constData(), (root + "/a/deep/er/moved").constData()),
              0);
    appendTo(root + "/a/deep/er/grow", 70000);
    ASSERT_EQ(::link((root + "/a/shared").constData(), (root + "/b/shared-3").constData()), 0);
    makeFolder(root + "/new");
    makeFolder(root + "/new/sub");
    writeFile(root + "/new/sub/inside", 800);
    ASSERT_EQ(::rename((root + "/c/keep").constData(), (root + "/d/kept").constData()), 0);
    writeFile(root + "/d/kept/added", 333);
}

TEST_F(IncrementalRescanTest, RescanAfterRealChangesEqualsAFullScan) {
    startRecorder();
    takeBaseline();
    makeChanges(root_);
    const IncrementalDecision decision = decide();
    int64_t reread = 0;
    expectSameAsFullScan(decision, &reread);
    // Not a full scan in disguise: the untouched folders came from the baseline.
    EXPECT_GT(reread, 0);
    EXPECT_LT(reread, 12);

    // Again from a baseline with nothing changed since.
    takeBaseline();
    const IncrementalDecision unchanged = decide();
    expectSameAsFullScan(unchanged, &reread);
    EXPECT_EQ(reread, 0);

    // Changes inside folders moved or created while the recorder ran are found at their
    // new places.
    takeBaseline();
    appendTo(root_ + "/d/kept/k3", 5000);
    appendTo(root_ + "/new/sub/inside", 5000);
    expectSameAsFullScan(decide(), &reread);
    EXPECT_GT(reread, 0);
    EXPECT_EQ(IncrementalText::updated(0, 9, 1.5),
              QStringLiteral("Updated from the previous scan in 1.5 s: no folders had changed."));
}

// Changes inside excluded folders show only in their entries; changes elsewhere create and
// remove items that the exclusions match.
TEST_F(IncrementalRescanTest, RescanWithExclusionsEqualsAFullScanWithThem) {
    const QStringList exclusions{QStringLiteral("c/keep"), QStringLiteral("*.tmp"),
                                 QString::fromUtf8(root_ + "/a/deep")};
    startRecorder();
    takeBaseline(exclusions);
    ASSERT_TRUE(baseline_->hasFlag(*baseline_->findPath(root_ + "/a/deep"), NodeFlag::excluded));
    writeFile(root_ + "/c/keep/inside", 5000);
    makeFolder(root_ + "/c/keep/newer");
    appendTo(root_ + "/a/deep/er/grow", 9000);
    writeFile(root_ + "/b/scratch.tmp", 7000);
    makeFolder(root_ + "/d/more.tmp");
    writeFile(root_ + "/d/more.tmp/x", 100);
    writeFile(root_ + "/d/counted", 2500);
    int64_t reread = 0;
    expectSameAsFullScan(decide(std::nullopt, exclusions), &reread, exclusions);
    EXPECT_LT(reread, 6);

    // Other exclusions make another scan.
    takeBaseline(exclusions);
    const IncrementalDecision other = decide(std::nullopt, {QStringLiteral("*.tmp")});
    EXPECT_FALSE(other.plan);
    EXPECT_EQ(other.note, QStringLiteral("The exclusions changed, so everything was read again."));
    EXPECT_TRUE(decide(std::nullopt, exclusions).plan);
}

TEST_F(IncrementalRescanTest, RescanWithFanotifyEqualsAFullScan) {
    startRecorder(ChangeRecorder::Method::automatic);
    if (!recorder_->usesFanotify())
        GTEST_SKIP() << "fanotify file-system marks need CAP_SYS_ADMIN and a kernel that "
                        "reports directory entries; the recorder uses inotify here";
    takeBaseline();
    makeChanges(root_);
    expectSameAsFullScan(decide());
}

TEST_F(IncrementalRescanTest, NewHardLinkToAFileTakenOverIsNotTrusted) {
    startRecorder();
    takeBaseline();
    // The other name lies in a folder without events of its own, where it still shows a
    // file with one name.
    ASSERT_EQ(::link((root_ + "/d/single").constData(), (root_ + "/b/single-2").constData()), 0);
    const IncrementalDecision decision = decide();
    ASSERT_TRUE(decision.plan);
    DiskScanner scanner(configFor(root_), *baseline_, *decision.plan);
    ASSERT_TRUE(scanner.start());
    ASSERT_TRUE(scanner.waitForFinished(60s));
    EXPECT_TRUE(scanner.needsFullScan());
}

TEST_F(IncrementalRescanTest, AnyGapOrOtherHistoryMeansAFullScan) {
    startRecorder();
    takeBaseline();
    const auto expectFull = [&](const IncrementalDecision& decision, const char* note) {
        EXPECT_FALSE(decision.plan);
        EXPECT_EQ(decision.note, QString::fromUtf8(note));
    };
    ScanStamp old = stamp_;
    old.fullScanDate = QDateTime::currentDateTime().addDays(-8);
    expectFull(decide(old), "The last complete scan is more than a week old, so everything was "
                            "read again.");
    ScanStamp unfinished = stamp_;
    unfinished.fullScanDate.reset();
    expectFull(decide(unfinished),
               "The earlier scan cannot be updated, so everything was read again.");
    ScanStamp beyond = stamp_;
    beyond.eventID += 1;
    expectFull(decide(beyond), "The change history has gaps. Everything was read again.");

    baseline_->setFlags(3, baseline_->flags(3) | NodeFlag::edited);
    expectFull(decide(),
               "The earlier scan was edited or incomplete, so everything was read again.");
    baseline_->setFlags(3, baseline_->flags(3) & ~NodeFlag::edited);
    ASSERT_TRUE(baseline_->setDeletedChildCounts({{3, 2}}));
    expectFull(decide(),
               "The earlier scan was edited or incomplete, so everything was read again.");
    ASSERT_TRUE(baseline_->setDeletedChildCounts({}));

    // A restarted recorder keeps a new journal; a stopped one keeps none.
    startRecorder();
    expectFull(decide(), "The disk or its change history is not the one the earlier scan saw, so "
                         "everything was read again.");
    recorder_.reset();
    expectFull(decide(), "The change history is not available for this disk, so everything was "
                         "read again.");
}

// The window's scans: the second start of the job reads only what changed.
TEST_F(IncrementalRescanTest, ScanJobRescansIncrementally) {
    startRecorder();
    StorageCatalogStore store(dir_.path() + QStringLiteral("/store"));
    const ScanScope scope{ScanScope::Kind::folder, QString::fromUtf8(root_), {}, {}};
    ScanJob job(scope, SystemClock::shared());
    job.setCacheStore(&store);
    job.setChangeHistory(&history_);
    const auto scanned = [&] {
        job.start();
        return processEventsUntil([&] { return job.state() == ScanJob::State::finished; });
    };
    ASSERT_TRUE(scanned());
    EXPECT_EQ(job.scanNote(),
              QStringLiteral("The earlier scan cannot be updated, so everything was read again."));
    ASSERT_TRUE(
        processEventsUntil([&] { return QFile::exists(store.cacheFile(scope.identifier())); }));
    makeChanges(root_);
    ASSERT_TRUE(scanned());
    EXPECT_TRUE(job.scanNote().startsWith(QStringLiteral("Updated ")))
        << job.scanNote().toStdString();
    expectSameFacts(factsOf(*job.tree()), factsOf(*fullScan(root_)));

    // Items removed from the page leave an edited tree in the cache: the next scan reads
    // everything, and still equals a full scan.
    ASSERT_TRUE(processEventsUntil([&] { return job.fullCacheOnDisk(); }));
    ASSERT_EQ(::unlink((root_ + "/d/single").constData()), 0);
    job.removeFromTree({root_ + "/d/single"});
    ASSERT_TRUE(processEventsUntil([&] { return !job.isRemoving() && job.fullCacheOnDisk(); }));
    ASSERT_TRUE(scanned());
    EXPECT_EQ(job.scanNote(), QStringLiteral("The earlier scan was edited or incomplete, so "
                                             "everything was read again."));
    expectSameFacts(factsOf(*job.tree()), factsOf(*fullScan(root_)));
}

// The journal as the recorder leaves it after lost events, answered by hand.
TEST(ChangeJournalTest, ReplayStopsAtAGapBelowTheRootOnly) {
    QTemporaryDir dir;
    const QString appData = dir.path();
    ASSERT_TRUE(QDir().mkpath(ChangeJournal::requestsFolder(appData)));
    auto writer = ChangeJournal::Writer::create(ChangeJournal::journalFile(appData));
    ASSERT_TRUE(writer);
    ChangeJournal::Writer& journal = **writer;
    ASSERT_TRUE(journal.append(ChangeJournal::Kind::covered, "/data"));
    const uint64_t from = journal.position();
    ASSERT_TRUE(journal.append(ChangeJournal::Kind::folderChanged, "/data/x"));
    ASSERT_TRUE(journal.append(ChangeJournal::Kind::folderChanged, "/other/y"));
    ASSERT_TRUE(journal.append(ChangeJournal::Kind::gap, "/other"));
    ASSERT_TRUE(journal.append(ChangeJournal::Kind::wholeTree, "/data/x/new"));

    JournalChangeHistory history(appData);
    const QString uuid = journal.uuid().toString(QUuid::WithoutBraces);
    const auto replay = [&] {
        auto collected = std::async(std::launch::async, [&] {
            return ReplayCollector::replay(history, "/data", {1, from, uuid, {}, {}}, 20s);
        });
        // Answers the request the replay sends, as the recorder would.
        QDir requests(ChangeJournal::requestsFolder(appData));
        for (int i = 0; i < 2000 && requests.entryList(QDir::Files).isEmpty(); ++i)
            std::this_thread::sleep_for(5ms);
        const QStringList asked = requests.entryList(QDir::Files);
        EXPECT_EQ(asked.size(), 1);
        for (const QString& id : asked) {
            requests.remove(id);
            EXPECT_TRUE(journal.append(ChangeJournal::Kind::sync, id.toUtf8()));
        }
        return collected.get();
    };
    ReplayCollector clean = replay();
    EXPECT_EQ(clean.problem, QString());
    EXPECT_TRUE(clean.historyReached);
    EXPECT_EQ(clean.paths, QSet<QByteArray>{"/data/x"});
    EXPECT_EQ(clean.wholeTrees, QSet<QByteArray>{"/data/x/new"});

    ASSERT_TRUE(journal.append(ChangeJournal::Kind::gap, {})); // the queue overflowed
    const ReplayCollector gap = replay();
    EXPECT_EQ(gap.problem, QStringLiteral("The change history has gaps."));
}

// The command line against a recorder running in this process, as the tray would run it.
TEST_F(IncrementalRescanTest, CommandLineSaysWhichScanItDid) {
    const QString data = qEnvironmentVariable("XDG_DATA_HOME");
    ASSERT_FALSE(data.isEmpty());
    const auto scanJson = [&] {
        const VelmoxRun run =
            runVelmox({QStringLiteral("scan"), QString::fromUtf8(root_), QStringLiteral("--json")});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        return QJsonDocument::fromJson(run.out).object();
    };
    QJsonObject first = scanJson();
    EXPECT_EQ(first.value("mode").toString(), QStringLiteral("full"));
    EXPECT_EQ(first.value("note").toString(),
              QStringLiteral("The change history is not available for this disk, so everything "
                             "was read again."));

    ChangeRecorder recorder(data + QStringLiteral("/Velmox"), ChangeRecorder::Method::inotify);
    ASSERT_TRUE(recorder.start());
    scanJson(); // the baseline, from which on changes are recorded
    makeChanges(root_);
    const QJsonObject updated = scanJson();
    EXPECT_EQ(updated.value("mode").toString(), QStringLiteral("incremental"))
        << updated.value("note").toString().toStdString();
    EXPECT_TRUE(updated.value("note").toString().startsWith(QStringLiteral("Updated ")));
    const auto full = fullScan(root_);
    EXPECT_EQ(updated.value("allocated").toInteger(), full->alloc(0));
    EXPECT_EQ(updated.value("items").toInteger(), full->items(0));
}

} // namespace
