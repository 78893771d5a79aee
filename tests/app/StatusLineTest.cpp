#include "app/GlobalStatusBar.h"
#include "app/MainWindow.h"
#include "app/ScanResumeNotice.h"
#include "app/TaskStatusOverlay.h"
#include "app/pages/NetworkToolsPage.h"
#include "app/pages/PageTabs.h"
#include "app/pages/PowerUserPage.h"
#include "app/pages/StorageManagerPage.h"
#include "storage/CatalogReindexer.h"
#include "storage/ScanCenter.h"
#include "storage/StorageCatalogStore.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/TestFiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace velmox;
using namespace std::chrono_literals;

namespace {
struct StatusLineTest : test::WindowFixture {};
} // namespace

TEST(StatusLineTextTest, PrefixesPickTheLookAndAnEmptyMessageReadsWorking) {
    using Kind = StatusLineText::Kind;
    EXPECT_EQ(statusLineText("", true), (StatusLineText{Kind::working, "Working...", {}}));
    EXPECT_EQ(statusLineText("Success: Cleaned 2 GB.", false),
              (StatusLineText{Kind::success, "Success: Cleaned 2 GB.", "checkmark.circle"}));
    EXPECT_EQ(statusLineText("Error: Disk is busy.", false).kind, Kind::error);
    EXPECT_EQ(statusLineText("Scanning Home...", true).kind, Kind::working);
    EXPECT_EQ(statusLineText("Success:no blank", false).kind, Kind::plain);
}

TEST_F(StatusLineTest, TheArrowLeadsBackToTheTaskPageAndItsSubView) {
    MainWindow window(services);
    window.show();
    window.showPage(Category::powerUser);
    auto* powerUser = qobject_cast<PowerUserPage*>(window.currentPage());
    ASSERT_NE(powerUser, nullptr);
    powerUser->showTab("automation");

    services.status().report("Running routine...", true);
    GlobalStatusBar* line = window.statusLine();
    EXPECT_EQ(line->shownText(), "Running routine...");
    EXPECT_FALSE(line->showsArrow()) << "no arrow on the task's own page";

    window.showPage(Category::diskHealth);
    powerUser->showTab("activity");
    EXPECT_TRUE(line->showsArrow());
    line->goToTask();
    EXPECT_EQ(services.navigation().currentPage(), "powerUser");
    EXPECT_EQ(window.currentPage(), powerUser);
    EXPECT_EQ(powerUser->currentTab(), "automation");
    EXPECT_FALSE(line->showsArrow());
}

TEST_F(StatusLineTest, AMessagePointingToTheActivityLogLinksThere) {
    MainWindow window(services);
    window.show();
    GlobalStatusBar* line = window.statusLine();
    services.status().report("Success: Flushed the DNS cache.", false);
    EXPECT_FALSE(line->showsActivityLink());

    services.status().report("Success: Moved 3 items to the Trash. 3 can be put back from the "
                             "Activity tab.",
                             false);
    ASSERT_TRUE(line->showsActivityLink());
    line->findChild<QToolButton*>("showActivity")->click();
    auto* powerUser = qobject_cast<PowerUserPage*>(window.currentPage());
    ASSERT_NE(powerUser, nullptr);
    EXPECT_EQ(powerUser->currentTab(), "activity");
    EXPECT_FALSE(line->showsActivityLink()) << "no link to the page shown";
}

TEST_F(StatusLineTest, AFinishedMessageIsHiddenWhenTheStatusClearsIt) {
    MainWindow window(services);
    window.show();
    GlobalStatusBar* line = window.statusLine();
    EXPECT_TRUE(line->isHidden());

    services.status().report("Error: The disk is busy.", false);
    EXPECT_EQ(line->shownText(), "Error: The disk is busy.");
    clock.advance(5s);
    EXPECT_TRUE(line->isHidden());
}

TEST_F(StatusLineTest, TheOverlayCoversItsPageAndEndsItsProgressWhenFinished) {
    QWidget page;
    page.resize(500, 400);
    page.show();
    TaskStatusOverlay overlay(&page);
    int dismissed = 0;
    overlay.setDismissAction([&dismissed] { ++dismissed; });
    overlay.showProgress("Cleaning...", 0.4);
    page.resize(640, 480);
    EXPECT_EQ(overlay.geometry(), page.rect());
    overlay.showFinished("Error: Cleaning failed.", false);
    EXPECT_TRUE(overlay.isError());
    EXPECT_FALSE(overlay.progress().has_value());
    overlay.dismiss();
    EXPECT_EQ(dismissed, 1);
    EXPECT_FALSE(overlay.isVisibleTo(&page));
}

TEST_F(StatusLineTest, APageOpensAtTheTabItWasSentToAndRecordsTheTabPicked) {
    MainWindow window(services);
    window.show();
    services.navigation().navigate(QStringLiteral("networkTools"), QStringLiteral("speedTest"));
    auto* tools = qobject_cast<NetworkToolsPage*>(window.currentPage());
    ASSERT_NE(tools, nullptr);
    EXPECT_EQ(tools->tabs().currentKey(), "speedTest");
    tools->tabs().setCurrentIndex(0);
    EXPECT_EQ(services.navigation().detail(QStringLiteral("networkTools")), "blocker");
}

// The app's own start-up pass reaches the window: a scan left unfinished by an earlier run is
// offered above the status line.
TEST_F(StatusLineTest, AScanLeftUnfinishedIsOfferedAboveTheStatusLineAfterTheStartUpPass) {
    QTemporaryDir data;
    for (int folder = 0; folder < 300; ++folder)
        ASSERT_TRUE(QDir(data.path()).mkpath(QStringLiteral("f%1/g").arg(folder)));
    const ScanScope scope = StorageManagerPage::folderScope(data.path());
    {
        ScanCenter earlier(clock, nullptr, &services.catalogStore());
        ScanJob& job = *earlier.job(scope);
        for (int attempt = 0; attempt < 5 && !job.isPaused(); ++attempt) {
            job.start(false, 1);
            job.pause();
            ASSERT_TRUE(test::waitFor([&] { return job.state() != ScanJob::State::scanning; }));
        }
        ASSERT_TRUE(job.isPaused());
        ASSERT_TRUE(test::waitFor([&] {
            return QFile::exists(services.catalogStore().checkpointFile(scope.identifier()));
        }));
    }
    MainWindow window(services);
    auto* notice = window.findChild<ScanResumeNotice*>();
    ASSERT_NE(notice, nullptr);
    EXPECT_TRUE(notice->isHidden());
    bool passed = false;
    QObject::connect(&services.catalogReindexer(), &CatalogReindexer::finished,
                     [&] { passed = true; });
    ASSERT_TRUE(services.catalogReindexer().start());
    ASSERT_TRUE(test::waitFor([&] { return passed; }));
    ASSERT_EQ(notice->shownTexts().size(), 1);
    EXPECT_TRUE(notice->shownTexts().first().contains(data.path()));
}
