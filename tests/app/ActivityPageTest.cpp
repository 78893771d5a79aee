#include "app/pages/ActivityPage.h"

#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/TestFiles.h"

#include <QDir>
#include <QPushButton>
#include <QSignalSpy>
#include <QThread>
#include <QUrl>
#include <gtest/gtest.h>

using namespace velmox;
using namespace std::chrono_literals;
using Filter = ActionHistoryStore::ResultFilter;
using velmox::test::readFile;

namespace {

struct ActivityPageTest : test::WindowFixture {
    ActionHistoryStore& store = services.history();
    ActivityPage page{store};
    QList<ActivityPage::Confirmation> asked;
    bool answer = true;

    ActivityPageTest() {
        page.setConfirmHandler([this](const ActivityPage::Confirmation& request) {
            asked << request;
            return answer;
        });
    }

    ActionHistoryEntry record(const QString& action, const QString& detail, bool success) {
        const ActionHistoryEntry entry = store.record(action, detail, success);
        clock.advance(1min);
        QCoreApplication::processEvents();
        return entry;
    }

    QStringList shownActions() const {
        QStringList actions;
        for (const ActionHistoryEntry& entry : page.shownEntries())
            actions << entry.action;
        return actions;
    }

    // A cache folder really moved to the Trash, and the entry that says so.
    ActionHistoryEntry trashedCacheEntry(const QString& name) {
        const QString cache = PlatformPaths::userCaches() + "/" + name;
        test::writeFile(cache + "/data.bin", "cached");
        const Result<QString> trashName = Trash::moveToTrash(cache);
        EXPECT_TRUE(trashName.has_value());
        return record("Clean User Caches",
                      "Moved 1 item to the Trash." +
                          ActionHistoryStore::undoPayload({{name, *trashName}}),
                      true);
    }
};

} // namespace

TEST_F(ActivityPageTest, SearchPicksTheRowsAndTheEmptyLines) {
    EXPECT_EQ(page.emptyStateText(), "Actions you run in Velmox show up here.");
    record("Flush DNS", "Done.", true);
    record("Verify Disk", "The disk is busy.", false);
    EXPECT_EQ(page.emptyStateText(), "");
    EXPECT_EQ(shownActions(), (QStringList{"Verify Disk", "Flush DNS"}));
    page.setSearchText("BUSY");
    EXPECT_EQ(shownActions(), QStringList{"Verify Disk"});
    page.setSearchText("nothing like this");
    EXPECT_EQ(page.emptyStateText(), "No matching entries");
}

TEST_F(ActivityPageTest, ExportWritesTheEntriesShownAndSaysWhyItFailed) {
    record("Flush DNS", "Done.", true);
    record("Verify Disk", "The disk is busy.", false);
    page.setResultFilter(Filter::failed);

    QString suggested;
    QString target;
    page.setSavePathChooser([&](const QString& path) {
        suggested = path;
        return target;
    });
    page.exportShown(); // cancelled
    EXPECT_EQ(page.reportedMessage(), "");
    EXPECT_TRUE(QFileInfo(suggested).fileName().startsWith("Velmox-Activity-"));
    EXPECT_TRUE(suggested.endsWith(".csv"));

    target = folder.filePath("out.csv");
    page.exportShown();
    EXPECT_EQ(readFile(target), ActionHistoryStore::csv(page.shownEntries()));
    EXPECT_EQ(page.shownEntries().size(), 1);
    EXPECT_EQ(page.reportedMessage(), "Exported 1 entries to " + target + ".");

    target = folder.filePath("missing/out.csv");
    page.exportShown();
    EXPECT_TRUE(page.reportedMessage().startsWith("Couldn't export: "))
        << page.reportedMessage().toStdString();
}

TEST_F(ActivityPageTest, PutBackMovesTheItemsBackOnceAfterConfirmation) {
    const ActionHistoryEntry entry = trashedCacheEntry("com.example.editor");
    page.selectEntry(entry.id);
    EXPECT_EQ(page.putBackButtonText(), "Put Back (1 items)");

    answer = false;
    page.putBackSelected();
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked.first().confirmText, "Put Back (1 items)");
    EXPECT_EQ(asked.first().confirmHelp, ActionHistoryStore::putBackHelp());
    EXPECT_FALSE(QFileInfo::exists(PlatformPaths::userCaches() + "/com.example.editor"));

    answer = true;
    page.putBackSelected();
    EXPECT_EQ(readFile(PlatformPaths::userCaches() + "/com.example.editor/data.bin"), "cached");
    EXPECT_TRUE(page.reportedMessage().startsWith("Put back 1 item(s)"));
    QCoreApplication::processEvents();
    page.selectEntry(entry.id);
    EXPECT_EQ(page.putBackButtonText(), "") << "Put Back is offered only once";
}

TEST_F(ActivityPageTest, AnItemThatStaysInTheTrashIsNamedWithAWayToTheTrash) {
    const ActionHistoryEntry entry = trashedCacheEntry("com.example.viewer");
    QDir().mkpath(PlatformPaths::userCaches() + "/com.example.viewer");
    QList<QUrl> opened;
    page.setUrlOpener([&](const QUrl& url) { opened << url; });
    page.selectEntry(entry.id);
    page.putBackSelected();

    EXPECT_TRUE(page.reportedMessage().contains("still in the Trash (" + Trash::filesFolder()))
        << page.reportedMessage().toStdString();
    ASSERT_TRUE(page.openTrashButton()->isVisibleTo(&page));
    page.openTrashButton()->click();
    EXPECT_EQ(opened, QList<QUrl>{QUrl::fromLocalFile(Trash::filesFolder())});
}

TEST_F(ActivityPageTest, ClearAsksFirstAndEmptiesTheLog) {
    record("Flush DNS", "Done.", true);
    answer = false;
    page.clearLog();
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked.first().question, "Clear the activity log?");
    EXPECT_TRUE(asked.first().informative.startsWith("This removes every entry"));
    EXPECT_EQ(store.entries().size(), 1);

    answer = true;
    page.clearLog();
    EXPECT_TRUE(store.entries().isEmpty());
    EXPECT_EQ(page.emptyStateText(), "Actions you run in Velmox show up here.");
}

TEST_F(ActivityPageTest, EntriesRecordedOnOtherThreadsAppearLive) {
    QSignalSpy changed(&store, &ActionHistoryStore::entriesChanged);
    QThread* worker = QThread::create([this] {
        for (int i = 0; i < 5; ++i)
            store.record(QStringLiteral("Automation: step %1").arg(i), "Done.", true);
    });
    worker->start();
    worker->wait();
    delete worker;
    for (int i = 0; i < 50 && page.shownEntries().size() < 5; ++i)
        changed.wait(100);
    ASSERT_EQ(page.shownEntries().size(), 5);
    EXPECT_EQ(page.shownEntries().first().action, "Automation: step 4");
}
