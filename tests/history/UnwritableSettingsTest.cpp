#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"
#include "tests/support/ManualClock.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

using namespace velmox;
using namespace velmox::test;

namespace {

constexpr QFileDevice::Permissions readOnly =
    QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadUser | QFileDevice::ExeUser;
constexpr QFileDevice::Permissions writable =
    readOnly | QFileDevice::WriteOwner | QFileDevice::WriteUser;

// Runs as an ordinary account, so that permissions really refuse.
class UnwritableSettingsTest : public ::testing::Test {
protected:
    void allowWrites(const QString& path, bool allowed) {
        ASSERT_TRUE(QFile::setPermissions(path, allowed ? writable : readOnly));
    }
    QString notWritten() const {
        return "The settings file “" + settings.filePath() +
               "” could not be written; check that its folder exists and that you may write to "
               "it.";
    }

    FreshDataFolders dataFolders;
    QTemporaryDir folder;
    Settings settings{folder.filePath("Velmox.conf")};
    ManualClock clock;
};

} // namespace

TEST_F(UnwritableSettingsTest, AWriteThatFailsSaysSoAndChangesNothing) {
    ASSERT_TRUE(settings.setValue("appearance", "dark"));
    // A folder that takes no new files, then a file that cannot be replaced.
    for (const QString& path : {folder.path(), settings.filePath()}) {
        allowWrites(path, false);
        for (const Status& refused :
             {settings.setValue("appearance", "light"), settings.remove("appearance"),
              settings.setValue("language", "de")}) {
            ASSERT_FALSE(refused);
            EXPECT_EQ(refused.error(), notWritten());
        }
        EXPECT_EQ(settings.stringValue("appearance"), "dark");
        EXPECT_FALSE(settings.contains("language"));
        EXPECT_TRUE(settings.writeMissingTrueDefaults({"showMenuBarIcon"}).isEmpty());

        allowWrites(path, true);
        EXPECT_TRUE(settings.setValue("language", path));
        EXPECT_TRUE(settings.remove("language"));
    }
    EXPECT_EQ(readFile(settings.filePath()), "[General]\nappearance=dark\n");
}

TEST_F(UnwritableSettingsTest, EntriesAndPutBackThatCannotBeSavedAreNotLost) {
    const QString cache = PlatformPaths::userCaches() + "/com.example.app";
    writeFile(cache + "/blob", "cached");
    const Result<QString> trashName = Trash::moveToTrash(cache);
    ASSERT_TRUE(trashName);
    auto store = std::make_unique<ActionHistoryStore>(settings, clock);
    const ActionHistoryEntry cleaning = store->record(
        "User Cache Cleaner",
        "Moved 1 item." + ActionHistoryStore::undoPayload({{"com.example.app", *trashName}}), true);
    deliverRecords();

    allowWrites(folder.path(), false);
    // Put Back that could not be noted would be offered again after a restart: nothing moves.
    const auto refused = store->putBack(cleaning);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), "Nothing was put back. " + notWritten());
    EXPECT_FALSE(exists(cache));
    store = std::make_unique<ActionHistoryStore>(settings, clock);
    EXPECT_TRUE(store->canPutBack(cleaning));

    QStringList failures;
    QObject::connect(store.get(), &ActionHistoryStore::saveFailed,
                     [&](const QString& message) { failures << message; });
    const ActionHistoryEntry unsaved = store->record("Flush DNS", "", true);
    deliverRecords();
    EXPECT_EQ(failures, QStringList{notWritten()});
    EXPECT_EQ(store->entries(), (QList<ActionHistoryEntry>{unsaved, cleaning}));
    EXPECT_EQ(store->clear(), Status(failure(notWritten())));
    EXPECT_EQ(store->entries().size(), 2);

    // The next save that succeeds takes the earlier entry with it.
    allowWrites(folder.path(), true);
    const ActionHistoryEntry later = store->record("Verify Disk", "", true);
    deliverRecords();
    EXPECT_EQ(failures.size(), 1);
    const QList<ActionHistoryEntry> all{later, unsaved, cleaning};
    EXPECT_EQ(ActionHistoryStore(settings, clock).entries(), all);
    EXPECT_EQ(store->putBack(cleaning), (ActionHistoryStore::PutBackResult{1, {}}));
    EXPECT_EQ(readFile(cache + "/blob"), "cached");
}
