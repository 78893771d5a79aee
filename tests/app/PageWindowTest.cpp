#include "app/PageWindow.h"

#include "app/AppDelegate.h"
#include "app/MainWindow.h"
#include "tests/app/WindowFixture.h"

#include <QMenuBar>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

struct PageWindowTest : test::LaunchFixture {
    // The main window's "Open Page in New Window", as the user chooses it.
    void openFromMenu() {
        for (QAction* menu : delegate->mainWindow()->menuBar()->actions())
            for (QAction* action : menu->menu()->actions())
                if (action->text().remove(u'&') == QStringLiteral("Open Page in New Window"))
                    action->trigger();
        QCoreApplication::processEvents();
    }
};

} // namespace

TEST_F(PageWindowTest, TheMenuOpensTheShownPageInAWindowOfItsOwnOncePerPage) {
    launchDelegate("/usr/bin/velmox");
    delegate->mainWindow()->showPage(Category::fanTemp);
    openFromMenu();
    openFromMenu();
    ASSERT_EQ(delegate->pageWindows().size(), 1);
    PageWindow* window = delegate->pageWindows().constFirst();
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Velmox · Fan & Temperature"));
    // Its page is its own: the main window moving on leaves it where it was.
    delegate->mainWindow()->showPage(Category::dashboard);
    EXPECT_NE(window->page(), delegate->mainWindow()->currentPage());
    openFromMenu();
    EXPECT_EQ(delegate->pageWindows().size(), 2);
}

TEST_F(PageWindowTest, VelmoxQuitsOnlyWhenTheLastOfItsWindowsCloses) {
    launchDelegate("/usr/bin/velmox");
    PageWindow& page = delegate->openPageWindow(Category::dashboard);
    delegate->mainWindow()->close();
    QCoreApplication::processEvents();
    EXPECT_EQ(quits, 0) << "the page window is still open";

    page.close();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(delegate->pageWindows().isEmpty()) << "a closed page window is deleted";
}
