#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "tests/history/HistoryTestSupport.h"
#include "tests/support/ManualClock.h"

#include <QTemporaryDir>
#include <fcntl.h>
#include <unistd.h>
#include <gtest/gtest.h>

using namespace velmox;
using namespace velmox::test;

namespace {

using Item = ActionHistoryStore::TrashedItem;

struct TrashedPutBack : ::testing::Test {
    FreshDataFolders dataFolders;
    QTemporaryDir folder;
    QTemporaryDir places{PlatformPaths::home() + "/places-XXXXXX"};
    Settings settings{folder.filePath("Velmox.conf")};
    ManualClock clock;
    ActionHistoryStore store{settings, clock};

    QByteArray place(const QByteArray& relative) const {
        return QFile::encodeName(places.path()) + '/' + relative;
    }
    // Moves each path to the real Trash and records one entry for all of them.
    ActionHistoryEntry trash(const QList<QByteArray>& paths, const QList<Item>& extra = {}) {
        QList<Item> moved;
        for (const QByteArray& path : paths) {
            const Result<QByteArray> name = Trash::moveToTrashBytes(path);
            EXPECT_TRUE(name.has_value()) << path.constData();
            moved.append({path, name.value_or(QByteArray())});
        }
        const ActionHistoryEntry entry = store.record(
            "Storage Manager: Move to Trash",
            "Moved 2 items to the Trash." + ActionHistoryStore::trashedPayload(moved + extra),
            true);
        deliverRecords();
        return entry;
    }
};

} // namespace

TEST_F(TrashedPutBack, PutsItemsBackWhereTheyWereByteForByte) {
    const QByteArray odd = place("caf\xe9 report.txt"); // Latin-1, not UTF-8
    const QByteArray nested = place("deep/er/folder");
    writeFile(QFile::decodeName(nested + "/inner.bin"), "inner");
    // Written by its bytes: the name does not survive a trip through text.
    const int fd = ::open(odd.constData(), O_WRONLY | O_CREAT | O_EXCL, 0644);
    ASSERT_GE(fd, 0);
    ::close(fd);
    const ActionHistoryEntry entry = trash({odd, nested});
    ASSERT_FALSE(exists(QFile::decodeName(nested)));
    EXPECT_EQ(ActionHistoryStore::trashedItems(entry).size(), 2);
    EXPECT_EQ(ActionHistoryStore::trashedItems(entry).first().originalPath, odd);
    EXPECT_EQ(ActionHistoryStore::visibleDetail(entry), "Moved 2 items to the Trash.");
    EXPECT_TRUE(store.filtered(ActionHistoryStore::ResultFilter::all, "deep").isEmpty());
    ASSERT_TRUE(store.canPutBack(entry));
    EXPECT_EQ(ActionHistoryStore::putBackItemCount(entry), 2);

    QList<QList<QByteArray>> putBack;
    QObject::connect(&store, &ActionHistoryStore::itemsPutBack,
                     [&](const QList<QByteArray>& paths) { putBack << paths; });
    const auto result = store.putBack(entry);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->restored, 2);
    EXPECT_EQ(result->restoredPaths, (QList<QByteArray>{odd, nested}));
    EXPECT_EQ(readFile(QFile::decodeName(nested + "/inner.bin")), "inner");
    struct stat status {};
    EXPECT_EQ(::lstat(odd.constData(), &status), 0);
    EXPECT_TRUE(QDir(Trash::infoFolder()).isEmpty());
    ASSERT_EQ(putBack.size(), 1);
    EXPECT_EQ(putBack.first(), (QList<QByteArray>{odd, nested}));
    EXPECT_FALSE(store.canPutBack(entry));
    deliverRecords();
    EXPECT_EQ(store.entries().first().detail,
              "Put back 2 item(s) into the folders they came from.");
}

// A new item at the old place is never replaced, and a payload cannot reach a place it does
// not name exactly; what stays says why.
TEST_F(TrashedPutBack, NeverOverwritesAndRefusesPathsThatAreNotPlain) {
    const QByteArray taken = place("notes.txt");
    writeFile(QFile::decodeName(taken), "old");
    const ActionHistoryEntry entry =
        trash({taken}, {Item{place("sub/../escape"), "notes.txt"}, Item{"relative/x", "x"},
                        Item{place("gone.txt"), "never-trashed"}});
    writeFile(QFile::decodeName(taken), "new");
    ASSERT_EQ(ActionHistoryStore::putBackItemCount(entry), 4);

    const auto result = store.putBack(entry);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->restored, 0);
    ASSERT_EQ(result->notRestored.size(), 4);
    EXPECT_EQ(readFile(QFile::decodeName(taken)), "new");
    EXPECT_EQ(readFile(Trash::itemPath("notes.txt")), "old");
    EXPECT_EQ(result->notRestored[0].reason, "A newer item of that name is in its folder.");
    EXPECT_EQ(result->notRestored[0].trashPath, Trash::itemPath("notes.txt"));
    EXPECT_TRUE(result->notRestored[1].reason.startsWith("The log does not name it"));
    EXPECT_TRUE(result->notRestored[2].reason.startsWith("The log does not name it"));
    EXPECT_EQ(result->notRestored[3].reason, "It is no longer in the Trash.");
    EXPECT_TRUE(ActionHistoryStore::putBackSummary(*result).contains(
        "It is still in the Trash (" + Trash::itemPath("notes.txt") + ")."));
}
