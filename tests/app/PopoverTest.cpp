#include "app/MenuBarUtility.h"
#include "app/PopoverHeight.h"
#include "app/StatusPopover.h"
#include "tests/app/WindowFixture.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace velmox;

TEST(PopoverHeightTest, TheHeightStaysBetween120AndTheScreenLessForty) {
    EXPECT_EQ(PopoverHeight::applied(50, 1000.0), 120);
    EXPECT_EQ(PopoverHeight::applied(900, 700.0), 660);
    EXPECT_EQ(PopoverHeight::applied(400, 700.0), 400);
    EXPECT_EQ(PopoverHeight::applied(50, std::nullopt), 120);
    EXPECT_EQ(PopoverHeight::applied(2000, std::nullopt), 760);
    EXPECT_FALSE(PopoverHeight::needsResize(300, 300.5));
    EXPECT_TRUE(PopoverHeight::needsResize(300, 300.6));
}

namespace {
struct PopoverTest : test::WindowFixture {};
} // namespace

TEST_F(PopoverTest, ContentIsMadeOnOpeningAndDroppedOnClosing) {
    services.status().report("Cleaning caches...", true);
    StatusPopover popover(services.status());
    EXPECT_TRUE(popover.applyWantedHeight(420, 900.0));
    EXPECT_FALSE(popover.applyWantedHeight(420.4, 900.0)) << "below half a point";
    EXPECT_EQ(popover.height(), 420);
    popover.open(QRect());
    ASSERT_TRUE(popover.hasContent());
    EXPECT_GE(popover.height(), 120);
    bool statusShown = false;
    for (const QLabel* label : popover.findChildren<QLabel*>())
        statusShown = statusShown || label->text() == "Cleaning caches...";
    EXPECT_TRUE(statusShown);
    // Exactly the utilities installed here get a button.
    QStringList shown, installed;
    for (const QToolButton* button : popover.findChildren<QToolButton*>("utilityButton"))
        shown << button->text();
    for (MenuBarUtility utility : allMenuBarUtilities())
        if (!installedProgram(utility).isEmpty())
            installed << desktopTitle(utility);
    shown.sort();
    installed.sort();
    EXPECT_EQ(shown, installed);
    popover.hide();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(popover.hasContent());
}

TEST_F(PopoverTest, AStateThatPointsToTheActivityLogOpensItInTheWindow) {
    StatusPopover popover(services.status());
    QSignalSpy window(&popover, &StatusPopover::openWindowRequested);
    QSignalSpy activity(&popover, &StatusPopover::activityRequested);
    services.status().report("Success: Flushed the DNS cache.", false);
    popover.buildContent();
    EXPECT_EQ(popover.findChild<QPushButton*>("showActivity"), nullptr);

    services.status().report("Success: Smart Scan finished. 2 can be put back from the Activity "
                             "tab.",
                             false);
    popover.open(QRect());
    auto* show = popover.findChild<QPushButton*>("showActivity");
    ASSERT_NE(show, nullptr);
    show->click();
    EXPECT_FALSE(popover.isVisible());
    EXPECT_EQ(window.size(), 1);
    EXPECT_EQ(activity.size(), 1);
}

TEST(MenuBarUtilityTest, UtilitiesResolveToTheFirstInstalledCandidate) {
    const auto find = [](const QString& program) {
        return program == "konsole" || program == "xterm" ? "/usr/bin/" + program : QString();
    };
    EXPECT_EQ(installedProgram(MenuBarUtility::terminal, find), "/usr/bin/konsole");
    EXPECT_EQ(installedProgram(MenuBarUtility::diskUtility, find), "");
}
