#include "app/AppDelegate.h"

#include "app/MainWindow.h"
#include "cleaning/OptimizationTaskRunner.h"
#include "services/ActionHistoryStore.h"
#include "tests/app/WindowFixture.h"

#include <QDialog>
#include <QSystemTrayIcon>
#include <gtest/gtest.h>

using namespace velmox;

// Offscreen there is no system tray: these are the paths of a desktop without one.
namespace {

struct AppDelegateTest : test::LaunchFixture {
    void launch() {
        ASSERT_FALSE(QSystemTrayIcon::isSystemTrayAvailable());
        launchDelegate("/usr/bin/velmox");
    }
};

} // namespace

TEST_F(AppDelegateTest, AFirstLaunchTurnsTheIconSettingOnAndOpensTheWindow) {
    launch();
    EXPECT_TRUE(services.settings().boolValue("showMenuBarIcon", false));
    EXPECT_TRUE(windowShown());
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::regular);
    EXPECT_EQ(delegate->statusItem(), nullptr);
}

TEST_F(AppDelegateTest, ALoginItemLaunchWithoutATrayStillOpensTheWindow) {
    loginItem = true;
    launch();
    EXPECT_FALSE(delegate->startingInMenuBar());
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::regular);
    EXPECT_TRUE(windowShown());
}

TEST_F(AppDelegateTest, ALoginItemLaunchWithTheIconOffIsAnOrdinaryStart) {
    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", false));
    loginItem = true;
    launch();
    EXPECT_EQ(loginItemQuestions, 0);
    EXPECT_TRUE(windowShown());
}

TEST_F(AppDelegateTest, SwitchingTheIconAtRunTimeNeverLeavesVelmoxWithNothing) {
    launch();
    delegate->mainWindow()->hide();
    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", false));
    services.notifications().postToggleMenuBarIcon();
    EXPECT_TRUE(services.settings().setValue("showMenuBarIcon", true));
    services.notifications().postToggleMenuBarIcon();
    // No tray to create the icon in: the window is what remains.
    EXPECT_EQ(delegate->statusItem(), nullptr);
    delegate->reopen();
    EXPECT_TRUE(windowShown());
    EXPECT_EQ(delegate->activationPolicy(), ActivationPolicy::regular);
}

TEST_F(AppDelegateTest, QuittingEndsOpenDialogsFirst) {
    launch();
    QDialog dialog(delegate->mainWindow());
    dialog.setModal(true);
    dialog.open();
    ASSERT_TRUE(dialog.isVisible());
    delegate->requestQuit();
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_EQ(quits, 1);
}

// As the window's start function ends: the event loop returns while a task runs on a worker,
// then the delegate and the services go. The task must not outlive them, and its entry stays.
TEST_F(AppDelegateTest, QuittingWhileATaskRunsFinishesItAndKeepsItsActivityEntry) {
    const QString file = folder.filePath("quitting.conf");
    {
        AppServices app(clock, file);
        AppDelegate::Options options;
        options.startBackgroundServices = false;
        options.quit = [] {};
        AppDelegate running(app, options);
        running.willFinishLaunching();
        running.didFinishLaunching();
        OptimizationTask slow;
        slow.title = "Slow Task";
        slow.shellScript = "/bin/sleep 1; echo finished";
        app.taskRunner().run(slow);
        running.requestQuit();
    }
    Settings settings(file);
    const QList<ActionHistoryEntry> entries = ActionHistoryStore(settings, clock).entries();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries.first().action, "Slow Task");
    EXPECT_TRUE(entries.first().success);
    EXPECT_TRUE(entries.first().detail.endsWith("finished"))
        << entries.first().detail.toStdString();
}
