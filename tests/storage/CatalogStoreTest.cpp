#include "ScanTestSupport.h"
#include "storage/CatalogReindexer.h"
#include "storage/StorageCatalogStore.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

using namespace velmox;
using namespace velmox::test;

namespace {

class CatalogStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(data_.isValid());
        ASSERT_TRUE(home_.isValid());
        const QByteArray root = QFile::encodeName(data_.path());
        makeFolder(root + "/docs");
        writeFile(root + "/docs/report", 70000);
        writeFile(root + "/notes", 300);
        tree_ = scanFolder(data_.path());
        ASSERT_TRUE(tree_);
        meta_.scanDate = QDateTime::currentDateTime();
        meta_.rootPath = tree_->rootPath;
        meta_.volumeName = QStringLiteral("Data");
        QObject::connect(&store_, &StorageCatalogStore::catalogsChanged, [this] { ++changes_; });
    }

    QStringList catalogFiles() const {
        return QDir(store_.catalogsFolder()).entryList(QDir::Files, QDir::Name);
    }

    QTemporaryDir data_;
    QTemporaryDir home_;
    StorageCatalogStore store_{home_.path() + QStringLiteral("/Velmox")};
    std::shared_ptr<FileTree> tree_;
    CatalogMeta meta_;
    int changes_ = 0;
};

} // namespace

TEST_F(CatalogStoreTest, SavesListsRenamesAndDeletesCatalogsByName) {
    EXPECT_EQ(store_.saveCatalog(QStringLiteral("March"), nullptr, meta_, false).get().error(),
              QStringLiteral("Run a scan first, then save it as a catalog."));
    ASSERT_TRUE(store_.saveCatalog(QStringLiteral("Photos 2024/March"), tree_, meta_, false).get());
    ASSERT_TRUE(store_.saveCatalog(QStringLiteral("Other"), tree_, meta_, false).get());
    EXPECT_EQ(catalogFiles(), (QStringList{QStringLiteral("Other.vxcatalog"),
                                           QStringLiteral("Photos 2024-March.vxcatalog")}));
    EXPECT_EQ(store_.saveCatalog(QStringLiteral("Other"), tree_, meta_, false).get().error(),
              QStringLiteral("A catalog named \"Other\" already exists."));
    EXPECT_TRUE(store_.saveCatalog(QStringLiteral("Other"), tree_, meta_, true).get());

    const QList<CatalogListEntry> listed = store_.listCatalogs();
    ASSERT_EQ(listed.size(), 2);
    EXPECT_EQ(listed[1].name, QStringLiteral("Photos 2024-March"));
    EXPECT_EQ(listed[1].meta, meta_);
    EXPECT_EQ(listed[1].allocated, tree_->alloc(0));
    EXPECT_EQ(listed[1].logical, tree_->logical(0));
    EXPECT_EQ(listed[1].items, 3);

    EXPECT_EQ(store_.renameCatalog(QStringLiteral("Other"), QStringLiteral("Photos 2024-March"))
                  .get()
                  .error(),
              QStringLiteral("A catalog named \"Photos 2024-March\" already exists, so \"Other\" "
                             "was not renamed."));
    ASSERT_TRUE(store_.renameCatalog(QStringLiteral("Other"), QStringLiteral("Kept")).get());
    ASSERT_TRUE(store_.deleteCatalog(QStringLiteral("Photos 2024-March")).get());
    EXPECT_EQ(catalogFiles(), QStringList{QStringLiteral("Kept.vxcatalog")});
    const auto opened = store_.openCatalog(QStringLiteral("Kept"));
    ASSERT_TRUE(opened.has_value()) << opened.error().toStdString();
    EXPECT_EQ(opened->tree.columns(), tree_->columns());
    EXPECT_EQ(store_.openCatalog(QStringLiteral("Gone")).error(),
              QStringLiteral("There is no catalog named \"Gone\"."));
    EXPECT_TRUE(processEventsUntil([this] { return changes_ == 5; })) << changes_;
}

TEST_F(CatalogStoreTest, KeepsCachesAndCheckpointsPerScope) {
    EXPECT_EQ(StorageCatalogStore::fnv1a64(""), 0xcbf29ce484222325ull);
    EXPECT_EQ(StorageCatalogStore::fnv1a64("a"), 0xaf63dc4c8601ec8cull);
    EXPECT_EQ(StorageCatalogStore::scopeStem(QStringLiteral("volume:/")),
              QStringLiteral("volume-root-%1")
                  .arg(StorageCatalogStore::fnv1a64("volume:/"), 16, 16, QLatin1Char('0')));
    const QString key = QStringLiteral("folder:") + tree_->rootPath;
    EXPECT_NE(StorageCatalogStore::scopeStem(key),
              StorageCatalogStore::scopeStem(key + QStringLiteral("/docs")));

    EXPECT_FALSE(store_.readCache(key).has_value());
    ASSERT_TRUE(store_.writeCache(key, tree_, meta_).get());
    EXPECT_TRUE(store_.cacheFile(key).endsWith(QStringLiteral(".vxsummary")));
    const auto cache = store_.readCache(key);
    ASSERT_TRUE(cache && cache->has_value());
    EXPECT_TRUE((*cache)->sameAs(CatalogContents{tree_->copy(), meta_, {}, {}}));

    auto checkpoint =
        std::make_shared<CatalogContents>(CatalogContents{tree_->copy(), meta_, {}, {}});
    checkpoint->checkpoint = ScanCheckpointInfo{key, 3, 1, 0, {}, 1.5, meta_.scanDate, false};
    const QByteArray docs = QFile::encodeName(tree_->rootPath) + "/docs";
    checkpoint->stack = {{*tree_->findPath(docs), docs}};
    ASSERT_TRUE(store_.writeCheckpoint(checkpoint).get());
    const auto restored = store_.readCheckpoint(key);
    ASSERT_TRUE(restored.has_value()) << restored.error().toStdString();
    EXPECT_EQ(restored->info, *checkpoint->checkpoint);
    EXPECT_EQ(restored->stack, checkpoint->stack);
    // A write cut short by a kill leaves an unfinished copy; the next write of the same file
    // removes it once its writer is gone, and leaves those of a live writer alone.
    QProcess gone;
    gone.start(QStringLiteral("/bin/true"));
    ASSERT_TRUE(gone.waitForStarted());
    const qint64 gonePid = gone.processId();
    ASSERT_TRUE(gone.waitForFinished());
    const QString cacheFile = store_.cacheFile(key);
    const QString abandoned = cacheFile + QStringLiteral(".%1.a1b2c3.partial").arg(gonePid);
    const QString live = cacheFile + QStringLiteral(".%1.d4e5f6.partial").arg(::getpid());
    for (const QString& file : {abandoned, live}) {
        QFile partial(file);
        ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    }
    ASSERT_TRUE(store_.writeCache(key, tree_, meta_).get());
    EXPECT_FALSE(QFile::exists(abandoned));
    EXPECT_TRUE(QFile::remove(live));

    ASSERT_TRUE(store_.deleteCheckpoint(key).get());
    EXPECT_TRUE(store_.readCheckpoint(key).error().startsWith(
        QStringLiteral("The file could not be read (")));
    EXPECT_TRUE(QDir(store_.checkpointsFolder()).isEmpty());
}

TEST_F(CatalogStoreTest, AFailedWriteLeavesTheOldFileWhole) {
    ASSERT_TRUE(store_.saveCatalog(QStringLiteral("Kept"), tree_, meta_, false).get());
    const QString path = store_.catalogsFolder() + QStringLiteral("/Kept.vxcatalog");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();

    auto zero = std::make_shared<FileTree>(QStringLiteral("/z"), QString());
    zero->append(-1, NodeFlag::directory, 0, 0, 0, "z");
    zero->append(0, 0, 1, 1, 0, QByteArrayView("a\0b", 3));
    EXPECT_EQ(store_.saveCatalog(QStringLiteral("Kept"), zero, meta_, true).get().error(),
              QStringLiteral("Could not save the catalog: a name contains a zero byte"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), before);
    EXPECT_EQ(catalogFiles(), QStringList{QStringLiteral("Kept.vxcatalog")});

    // A file that is no catalog at all, and a file cut short.
    QFile other(store_.catalogsFolder() + QStringLiteral("/Notes.vxcatalog"));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.write("just some notes\n");
    other.close();
    EXPECT_EQ(store_.openCatalog(QStringLiteral("Notes")).error(),
              QStringLiteral("The catalog file is damaged (unknown file format)"));
    ASSERT_TRUE(QFile::resize(path, before.size() / 2));
    EXPECT_TRUE(store_.openCatalog(QStringLiteral("Kept"))
                    .error()
                    .startsWith(QStringLiteral("The catalog file is damaged (")));
}

TEST_F(CatalogStoreTest, ConvertsAnOlderJsonCatalogAndKeepsTheOriginal) {
    // Dates as the older encoder wrote them: seconds since 2001-01-01.
    const QByteArray older = R"({"volumeName": "Macintosh HD", "format": "apfs",
        "totalCapacity": 500000000000, "availableSpace": 120000000000, "scanDate": 700000000,
        "rootNode": {"name": "Users", "path": "/Users", "isDirectory": true, "size": 5000,
          "fileCount": 3, "modificationDate": 699999000, "children": [
            {"name": "anna", "path": "/Users/anna", "isDirectory": true, "size": 4500,
             "fileCount": 2, "modificationDate": 699999500, "children": [
               {"name": "a.mov", "path": "/Users/anna/a.mov", "isDirectory": false,
                "size": 4000, "fileCount": 1, "modificationDate": 699999600, "children": []}]},
            {"name": "notes.txt", "path": "/Users/notes.txt", "isDirectory": false,
             "size": 500, "fileCount": 1, "modificationDate": 699999700}]}})";
    QDir().mkpath(store_.catalogsFolder());
    const QString path = store_.catalogsFolder() + QStringLiteral("/Old Mac.vxcatalog");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(older);
    file.close();

    ASSERT_EQ(store_.listCatalogs().value(0).allocated, 5000);
    const auto opened = store_.openCatalog(QStringLiteral("Old Mac"));
    ASSERT_TRUE(opened.has_value()) << opened.error().toStdString();
    const FileTree& tree = opened->tree;
    EXPECT_EQ(tree.alloc(0), 5000);
    EXPECT_EQ(tree.alloc(*tree.findPath("/Users/anna")), 4500);
    EXPECT_EQ(tree.items(0), 3u);
    EXPECT_EQ(opened->meta.scanDate, QDateTime(QDate(2023, 3, 8), QTime(20, 26, 40), Qt::UTC));

    QFile backup(store_.catalogsFolder() + QStringLiteral("/Old Mac.vxcatalog-legacy-backup"));
    ASSERT_TRUE(backup.open(QIODevice::ReadOnly));
    EXPECT_EQ(backup.readAll(), older);
    const auto reread = StorageCatalogStore::readFile(path);
    ASSERT_TRUE(reread.has_value()) << reread.error().toStdString();
    EXPECT_TRUE(reread->sameAs(*opened));
}

// One pass over a set made of real files: an older catalog, caches and checkpoints that read
// back, damaged ones (cut short), and ones of a folder deleted since.
TEST_F(CatalogStoreTest, ReindexerConvertsOlderCatalogsAndSetsAsideWhatCannotBeUsed) {
    QDir().mkpath(store_.catalogsFolder());
    QFile older(store_.catalogsFolder() + QStringLiteral("/Old.vxcatalog"));
    ASSERT_TRUE(older.open(QIODevice::WriteOnly));
    older.write(R"({"volumeName": "Data", "format": "ext4", "totalCapacity": 9,
        "availableSpace": 1, "scanDate": 700000000, "rootNode": {"name": "x", "path": "/x",
        "isDirectory": true, "size": 10, "fileCount": 1, "modificationDate": 1}})");
    older.close();
    ASSERT_TRUE(store_.saveCatalog(QStringLiteral("Good"), tree_, meta_, false).get());

    const QString gone = data_.path() + QStringLiteral("/gone");
    makeFolder(QFile::encodeName(gone));
    const auto goneTree = scanFolder(gone);
    CatalogMeta goneMeta = meta_;
    goneMeta.rootPath = gone;
    const auto checkpoint = [](const QString& scope, const std::shared_ptr<FileTree>& tree,
                               const CatalogMeta& meta) {
        ScanCheckpointInfo info;
        info.scopeKey = scope;
        info.savedAt = QDateTime::currentDateTime();
        return std::make_shared<const CatalogContents>(
            CatalogContents{tree->copy(), meta, info, {}});
    };
    const QString here = QStringLiteral("folder:") + data_.path();
    const QString there = QStringLiteral("folder:") + gone;
    const QString cut = QStringLiteral("folder:/cut");
    ASSERT_TRUE(store_.writeCache(here, tree_, meta_).get());
    ASSERT_TRUE(store_.writeCache(there, goneTree, goneMeta).get());
    ASSERT_TRUE(store_.writeCache(cut, tree_, meta_).get());
    ASSERT_TRUE(store_.writeCheckpoint(checkpoint(here, tree_, meta_)).get());
    ASSERT_TRUE(store_.writeCheckpoint(checkpoint(there, goneTree, goneMeta)).get());
    ASSERT_TRUE(store_.writeCheckpoint(checkpoint(cut, tree_, meta_)).get());
    for (const QString& file : {store_.cacheFile(cut), store_.checkpointFile(cut)})
        ASSERT_TRUE(QFile::resize(file, QFileInfo(file).size() - 7));
    ASSERT_TRUE(QDir(gone).removeRecursively());

    QStringList notes;
    CatalogReindexer reindexer(
        store_, [&notes](const QString& action, const QString& detail, bool success) {
            notes << action + QStringLiteral(" | ") + detail + (success ? "" : " | failed");
        });
    std::optional<ReindexReport> report;
    QObject::connect(&reindexer, &CatalogReindexer::finished,
                     [&report](const ReindexReport& done) { report = done; });
    changes_ = 0;
    ASSERT_TRUE(reindexer.start());
    ASSERT_TRUE(processEventsUntil([&] { return report && changes_ > 0; }));

    EXPECT_EQ(report->converted, QStringList{QStringLiteral("Old")});
    EXPECT_TRUE(store_.openCatalog(QStringLiteral("Good")));
    EXPECT_TRUE(QFileInfo::exists(store_.cacheFile(here)));
    ASSERT_EQ(report->checkpoints.size(), 1);
    EXPECT_EQ(report->checkpoints.first().scopeKey, here);
    const QString cacheAside = store_.cacheFolder() + QStringLiteral("/Set Aside/");
    const QString checkpointAside = store_.checkpointsFolder() + QStringLiteral("/Set Aside/");
    EXPECT_EQ(
        QSet<QString>(report->setAside.begin(), report->setAside.end()),
        (QSet<QString>{cacheAside + QFileInfo(store_.cacheFile(cut)).fileName(),
                       cacheAside + QFileInfo(store_.cacheFile(there)).fileName(),
                       checkpointAside + QFileInfo(store_.checkpointFile(cut)).fileName(),
                       checkpointAside + QFileInfo(store_.checkpointFile(there)).fileName()}));
    for (const QString& file : report->setAside)
        EXPECT_TRUE(QFileInfo::exists(file)) << file.toStdString();
    // One note per file converted or set aside, saying what and why.
    ASSERT_EQ(notes.size(), 5) << notes.join('\n').toStdString();
    EXPECT_TRUE(notes.filter(QStringLiteral("Converted an older catalog | \"Old\"")).size() == 1);
    EXPECT_EQ(notes.filter(QStringLiteral("The catalog file is damaged (")).size(), 2);
    EXPECT_EQ(notes.filter(gone + QStringLiteral(" it was made of no longer exists")).size(), 2);

    // A second pass finds nothing left to do.
    report.reset();
    ASSERT_TRUE(reindexer.start());
    ASSERT_TRUE(processEventsUntil([&] { return report.has_value(); }));
    EXPECT_TRUE(report->converted.isEmpty());
    EXPECT_TRUE(report->setAside.isEmpty());
    EXPECT_EQ(notes.size(), 5);
}
