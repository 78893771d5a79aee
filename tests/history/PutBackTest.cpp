#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"
#include "tests/support/ManualClock.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

QString cachePath(const QString& name) {
    return PlatformPaths::userCaches() + "/" + name;
}

class PutBackTest : public ::testing::Test {
protected:
    // Moves cache items to the real Trash the way the cache cleaner does and records the entry.
    ActionHistoryEntry recordCleaning(const QList<ActionHistoryStore::UndoPair>& extraPairs,
                                      const QStringList& cacheNames) {
        QList<ActionHistoryStore::UndoPair> moved;
        for (const QString& name : cacheNames) {
            const Result<QString> trashName = Trash::moveToTrash(cachePath(name));
            EXPECT_TRUE(trashName.has_value());
            moved.append({name, trashName.value_or(QString())});
        }
        const ActionHistoryEntry entry = store->record(
            "User Cache Cleaner",
            "Moved items." + ActionHistoryStore::undoPayload(moved + extraPairs), true);
        deliverRecords();
        return entry;
    }

    FreshDataFolders dataFolders;
    QTemporaryDir folder;
    Settings settings{folder.filePath("Velmox.conf")};
    ManualClock clock;
    std::unique_ptr<ActionHistoryStore> store =
        std::make_unique<ActionHistoryStore>(settings, clock);
};

} // namespace

TEST_F(PutBackTest, MovesTheItemsBackOnceEvenAcrossARestart) {
    writeFile(cachePath("com.example.app/blob"), "folder content");
    writeFile(cachePath("thumbnails.db"), "file content");
    writeFile(Trash::itemPath("thumbnails.db"), "someone else's older item");
    const ActionHistoryEntry cleaning = recordCleaning({}, {"com.example.app", "thumbnails.db"});
    ASSERT_EQ(ActionHistoryStore::undoItems(cleaning).size(), 2);
    ASSERT_TRUE(store->canPutBack(cleaning));

    EXPECT_EQ(store->putBack(cleaning), (ActionHistoryStore::PutBackResult{2, {}}));
    EXPECT_EQ(readFile(cachePath("com.example.app/blob")), "folder content");
    EXPECT_EQ(readFile(cachePath("thumbnails.db")), "file content");
    EXPECT_EQ(readFile(Trash::itemPath("thumbnails.db")), "someone else's older item");
    EXPECT_TRUE(QDir(Trash::infoFolder()).isEmpty());

    deliverRecords();
    ASSERT_EQ(store->entries().size(), 2);
    const ActionHistoryEntry outcome = store->entries().first();
    EXPECT_EQ(outcome.action, "Automation: Put Back");
    EXPECT_EQ(outcome.detail,
              "Put back 2 item(s) into " + PlatformPaths::userCachesDisplay() + ".");
    EXPECT_TRUE(outcome.success);
    EXPECT_FALSE(store->canPutBack(cleaning));

    store = std::make_unique<ActionHistoryStore>(settings, clock);
    EXPECT_FALSE(store->canPutBack(store->entries().last()));
    EXPECT_EQ(store->putBack(cleaning), (ActionHistoryStore::PutBackResult{}));
    deliverRecords();
    EXPECT_EQ(store->entries().size(), 2);
}

TEST_F(PutBackTest, ConflictsMissingItemsAndHostileNamesMoveNothing) {
    writeFile(cachePath("replaced"), "old cache");
    writeFile(cachePath("vanished"), "gone later");
    writeFile(Trash::itemPath("bait"), "must stay in the Trash");
    const ActionHistoryEntry cleaning = recordCleaning({{"stolen", ".."},
                                                        {"..", "bait"},
                                                        {"x/../../escape", "bait"},
                                                        {"taken", "../files/bait"},
                                                        {"", "bait"},
                                                        {"skipped", ""}},
                                                       {"replaced", "vanished"});
    writeFile(cachePath("replaced"), "new cache");
    ASSERT_TRUE(QFile::remove(Trash::itemPath("vanished")));

    const auto result = store->putBack(cleaning);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->restored, 0);
    QStringList stayed;
    for (const auto& item : result->notRestored)
        stayed << item.name + (item.trashPath.isEmpty() ? "" : " in " + item.trashPath);
    // Only the conflicting item is still in the Trash, and it is named with where it is.
    EXPECT_EQ(stayed, (QStringList{"replaced in " + Trash::itemPath("replaced"), "vanished",
                                   "stolen", "..", "x/../../escape", "taken"}));
    EXPECT_EQ(readFile(cachePath("replaced")), "new cache");
    EXPECT_EQ(readFile(Trash::itemPath("replaced")), "old cache");
    EXPECT_EQ(readFile(Trash::itemPath("bait")), "must stay in the Trash");
    EXPECT_FALSE(exists(cachePath("stolen")));
    EXPECT_FALSE(exists(cachePath("taken")));
    EXPECT_FALSE(exists(cachePath("skipped")));
    EXPECT_TRUE(QFileInfo(Trash::filesFolder()).isDir());

    deliverRecords();
    const ActionHistoryEntry outcome = store->entries().first();
    const QString caches = PlatformPaths::userCachesDisplay();
    EXPECT_TRUE(outcome.detail.startsWith("Put back 0 item(s) into " + caches +
                                          ". 6 couldn't be restored:\n"));
    EXPECT_TRUE(outcome.detail.contains("\n• “replaced”: A newer item of that name is in " +
                                        caches + ". It is still in the Trash (" +
                                        Trash::itemPath("replaced") + ")."));
    EXPECT_TRUE(outcome.detail.contains("\n• “vanished”: It is no longer in the Trash."))
        << outcome.detail.toStdString();
    EXPECT_FALSE(outcome.success);
    EXPECT_FALSE(store->canPutBack(cleaning));
}
