#include "app/AppDelegate.h"
#include "app/MainWindow.h"
#include "app/ScanResumeOffers.h"
#include "app/StatusPopover.h"
#include "app/TrayIcon.h"
#include "app/pages/MonitorDemand.h"
#include "tests/app/WindowFixture.h"

#include "storage/CatalogReindexer.h"

#include <QMenu>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <gtest/gtest.h>

using namespace velmox;

// Under Xvfb with a StatusNotifierWatcher (with-system-tray.sh): a desktop with a tray.
namespace {

struct TrayTest : test::LaunchFixture {
    void launch() {
        ASSERT_TRUE(QSystemTrayIcon::isSystemTrayAvailable());
        launchDelegate();
    }
};

} // namespace

TEST_F(TrayTest, AFirstLaunchShowsTheIconAndTheWindowAndClosingItKeepsVelmoxInTheTray) {
    launch();
    ASSERT_NE(delegate->statusItem(), nullptr);
    EXPECT_TRUE(delegate->statusItem()->isVisible());
    EXPECT_TRUE(windowShown());
    delegate->mainWindow()->close();
    QCoreApplication::processEvents();
    EXPECT_EQ(quits, 0);
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::accessory);
}

TEST_F(TrayTest, ALoginItemLaunchStaysInTheTrayWithoutMakingTheWindow) {
    loginItem = true;
    launch();
    EXPECT_TRUE(delegate->startingInMenuBar());
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::accessory);
    EXPECT_EQ(delegate->mainWindow(), nullptr);
    ASSERT_NE(delegate->statusItem(), nullptr);

    delegate->reopen();
    EXPECT_TRUE(windowShown());
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::regular);
}

TEST_F(TrayTest, SwitchingTheIconOffWithNoWindowOpenBringsTheWindowBack) {
    loginItem = true;
    launch();
    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", false));
    services.notifications().postToggleMenuBarIcon();
    EXPECT_EQ(delegate->statusItem(), nullptr);
    EXPECT_TRUE(windowShown());
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::regular);

    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", true));
    services.notifications().postToggleMenuBarIcon();
    ASSERT_NE(delegate->statusItem(), nullptr);
    EXPECT_TRUE(delegate->statusItem()->isVisible());
}

TEST_F(TrayTest, TheIconTogglesThePopoverAndItsButtonsReachTheApp) {
    loginItem = true;
    launch();
    TrayIcon& tray = *delegate->statusItem();
    tray.togglePopover();
    StatusPopover& popover = tray.popover();
    EXPECT_TRUE(popover.isVisible());
    EXPECT_EQ(popover.width(), 300);
    EXPECT_GE(popover.height(), 120);
    tray.togglePopover();
    EXPECT_FALSE(popover.isVisible());

    QSignalSpy opened(&tray, &TrayIcon::openWindowRequested);
    tray.togglePopover();
    emit popover.openWindowRequested();
    EXPECT_EQ(opened.size(), 1);
    EXPECT_TRUE(windowShown());
}

TEST_F(TrayTest, TheMenuLeadsToTheInterruptedScansWhileThereAreAny) {
    loginItem = true;
    launch();
    const auto entry = [this]() -> QAction* {
        for (QAction* action : delegate->statusItem()->menu()->actions())
            if (action->text() == QStringLiteral("Continue Interrupted Scan..."))
                return action;
        return nullptr;
    };
    ASSERT_NE(entry(), nullptr);
    EXPECT_FALSE(entry()->isVisible());

    ScanResumeOffers& offers = services.scanResumeOffers();
    ReindexReport found;
    found.checkpoints.append(
        {QStringLiteral("folder:") + folder.path(), 10, 1, 0, {}, 1.0, clock.now(), false});
    offers.add(found);
    ASSERT_TRUE(entry()->isVisible());
    entry()->trigger();
    EXPECT_TRUE(windowShown());
    EXPECT_EQ(services.navigation().currentPage(), QStringLiteral("storageManager"));

    offers.discard(offers.offers().first().scope.identifier());
    EXPECT_FALSE(entry()->isVisible());
}

TEST_F(TrayTest, TheChosenFigureReplacesTheIconAndTheReadoutsFillTheToolTip) {
    launch();
    TrayIcon& tray = *delegate->statusItem();
    const qint64 appIconKey = tray.systemIcon()->icon().cacheKey();
    const int windowWatchers = services.monitor().watchers();

    EXPECT_TRUE(services.settings().setValue("trayFigure", "memory"));
    EXPECT_EQ(services.monitor().watchers(), windowWatchers + 1);
    EXPECT_NE(tray.systemIcon()->icon().cacheKey(), appIconKey);
    EXPECT_TRUE(tray.systemIcon()->toolTip().contains("Memory: "))
        << tray.systemIcon()->toolTip().toStdString();

    // The figure follows the appearance at once, and lets go of the monitor with the icon.
    const qint64 darkKey = tray.systemIcon()->icon().cacheKey();
    EXPECT_TRUE(services.settings().setValue("appAppearance", "light"));
    EXPECT_NE(tray.systemIcon()->icon().cacheKey(), darkKey);
    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", false));
    services.notifications().postToggleMenuBarIcon();
    EXPECT_EQ(services.monitor().watchers(), windowWatchers);
}
