#include "cleaning/FolderSize.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "tests/cleaning/CleaningTestSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

namespace {

class TrashTasksTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Every test starts with an empty cache folder and an empty Trash.
        QDir(caches).removeRecursively();
        QDir(world.places.trash).removeRecursively();
        QDir().mkpath(caches);
    }

    QString cache(const QString& name) const { return caches + "/" + name; }

    CleaningWorld world;
    const QString caches = PlatformPaths::userCaches();
};

TEST_F(TrashTasksTest, UserCacheCleanerMovesEveryItemAndPutBackRestoresThemAll) {
    const QStringList names{"org.app", "name with spaces", "it's \"quoted\"", ".hidden",
                            "-starts-with-dash"};
    for (const QString& name : names)
        writeFile(cache(name + "/data.bin"), QByteArray(64 * 1024, 'c'));
    writeFile(cache("loose file.txt"), "text");
    // Items of the same names already in the Trash stay untouched.
    writeFile(caches + "-old/org.app", "earlier");
    ASSERT_TRUE(Trash::moveToTrash(caches + "-old/org.app").has_value());

    const TaskRunResult result = world.run("User Cache Cleaner");

    ASSERT_TRUE(result.success) << result.output.toStdString();
    EXPECT_EQ(result.movedItems, names.size() + 1);
    EXPECT_EQ(result.puttableBack, names.size() + 1);
    EXPECT_GE(result.bytesMovedToTrash(), names.size() * 64 * 1024);
    EXPECT_EQ(result.bytesFreed(), 0) << "the Trash is on the same disk";
    EXPECT_EQ(result.bytesAfter, FolderSize::allocatedBytes(caches));
    EXPECT_TRUE(entries(caches).isEmpty());
    EXPECT_EQ(entries(Trash::filesFolder()).size(), names.size() + 2);
    EXPECT_EQ(entries(Trash::infoFolder()).size(), names.size() + 2);
    EXPECT_EQ(QFile(Trash::itemPath("org.app")).size(), 7) << "the earlier item was replaced";

    const ActionHistoryEntry* entry = world.entry(result);
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(ActionHistoryStore::visibleDetail(*entry).startsWith("Moved 6 items ("));
    ASSERT_TRUE(world.history.canPutBack(*entry));

    const auto back = world.history.putBack(*entry);
    ASSERT_TRUE(back) << back.error().toStdString();
    EXPECT_EQ(back->restored, names.size() + 1);
    EXPECT_TRUE(back->notRestored.isEmpty());
    for (const QString& name : names)
        EXPECT_EQ(QFile(cache(name + "/data.bin")).size(), 64 * 1024) << name.toStdString();
    EXPECT_EQ(QFile(cache("loose file.txt")).size(), 4);
    EXPECT_EQ(entries(Trash::filesFolder()), QStringList{"org.app"});
}

// Names are bytes: one that is not valid UTF-8 goes to the Trash like any other, with a record
// that a file manager restores it from, and the result says that Put Back can't bring it back.
TEST_F(TrashTasksTest, NamesThatAreNotUtf8GoToTheTrashToo) {
    const QByteArray cachesBytes = QFile::encodeName(caches);
    const QByteArray file = "bad\xffname.cache";
    const QByteArray folder = "caf\xe9";
    ASSERT_EQ(::mkdir(cachesBytes + "/" + folder, 0700), 0);
    const int written = ::open(cachesBytes + "/" + folder + "/" + file, O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(written, 0);
    ::close(written);
    const int loose = ::open(cachesBytes + "/" + file, O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(loose, 0);
    ::close(loose);
    writeFile(cache("plain"), "p");

    const TaskRunResult result = world.run("User Cache Cleaner");

    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.movedItems, 3);
    EXPECT_EQ(result.puttableBack, 1);
    EXPECT_TRUE(result.output.startsWith("2 items with a name that is not valid UTF-8 can be "
                                         "restored from the Trash with a file manager"))
        << result.output.toStdString();
    struct stat info {};
    EXPECT_NE(::lstat(cachesBytes + "/" + file, &info), 0) << "left in the caches";
    const QByteArray files = QFile::encodeName(Trash::filesFolder());
    EXPECT_EQ(::lstat(files + "/" + file, &info), 0);
    EXPECT_EQ(::lstat(files + "/" + folder + "/" + file, &info), 0);
    QFile rawRecord;
    const int recordFile =
        ::open(QFile::encodeName(Trash::infoFolder()) + "/" + file + ".trashinfo", O_RDONLY);
    ASSERT_GE(recordFile, 0);
    ASSERT_TRUE(rawRecord.open(recordFile, QIODevice::ReadOnly, QFile::AutoCloseHandle));
    const QByteArray recorded = rawRecord.readAll();
    EXPECT_TRUE(recorded.contains("/bad%FFname.cache\n")) << recorded.toStdString();
}

TEST_F(TrashTasksTest, EmptyCacheFolderSucceedsAndFreesNothing) {
    const TaskRunResult result = world.run("User Cache Cleaner");
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.movedItems, 0);
    EXPECT_EQ(result.bytesFreed(), 0);
    const ActionHistoryEntry* entry = world.entry(result);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(ActionHistoryStore::visibleDetail(*entry), "Moved 0 items (0 bytes) to the Trash.");
    EXPECT_FALSE(world.history.canPutBack(*entry));
}

TEST_F(TrashTasksTest, BrowserCleanerMovesOnlyItsCachesWithoutOfferingPutBack) {
    writeFile(cache("google-chrome/Default/Cache/f_000001"), QByteArray(8192, 'g'));
    writeFile(cache("chromium/Default/Code Cache/js/index"), "c");
    writeFile(cache("other-app/keep"), "k");
    const TaskRunResult result = world.run("Chrome Privacy Cleaner");
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.movedItems, 2);
    EXPECT_EQ(result.puttableBack, 0);
    EXPECT_TRUE(entries(cache("google-chrome")).isEmpty());
    EXPECT_TRUE(exists(cache("other-app/keep")));
    EXPECT_EQ(entries(Trash::filesFolder()), (QStringList{"Default", "Default 2"}));
}

TEST_F(TrashTasksTest, TrashManagementEmptiesTheTrashForReal) {
    writeFile(cache("a/b/c.bin"), QByteArray(100000, 'a'));
    writeFile(cache("b.txt"), "b");
    for (const char* name : {"a", "b.txt"})
        ASSERT_TRUE(Trash::moveToTrash(cache(name)).has_value());
    writeFile(world.places.trash + "/directorysizes", "1 2 a\n");

    const TaskRunResult result = world.run("Trash Management");

    EXPECT_TRUE(result.success) << result.output.toStdString();
    EXPECT_TRUE(entries(Trash::filesFolder()).isEmpty());
    EXPECT_TRUE(entries(Trash::infoFolder()).isEmpty());
    EXPECT_FALSE(exists(world.places.trash + "/directorysizes"));
    EXPECT_GE(result.bytesFreed(), 100000);
}

} // namespace
