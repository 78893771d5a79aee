#include "app/MainWindow.h"
#include "app/SidebarItems.h"
#include "app/SidebarView.h"
#include "app/pages/PowerUserPage.h"
#include "tests/app/WindowFixture.h"

#include <QAction>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

struct SidebarTest : test::WindowFixture {};

QStringList shownTexts(const SidebarView& sidebar) {
    QStringList texts;
    for (int i = 0; i < sidebar.count(); ++i)
        texts << sidebar.item(i)->text();
    return texts;
}

// Runs the window's command bound to `keys`, as the shortcut does.
bool runShortcut(MainWindow& window, const QKeySequence& keys) {
    for (QAction* action : window.findChildren<QAction*>())
        if (action->shortcuts().contains(keys) && action->isEnabled()) {
            action->trigger();
            return true;
        }
    return false;
}

} // namespace

TEST_F(SidebarTest, MouseAndKeyboardReachEveryRowActivityAndSettings) {
    MainWindow window(services);
    window.show();
    EXPECT_EQ(services.navigation().currentPage(), "dashboard");
    for (int i = 0; i < window.sidebar()->count(); ++i)
        if (window.sidebar()->item(i)->text() == "Disk Health")
            window.sidebar()->setCurrentRow(i);
    EXPECT_EQ(services.navigation().currentPage(), "diskHealth");
    EXPECT_EQ(window.currentPage(), window.page(Category::diskHealth));
    EXPECT_TRUE(window.windowTitle().startsWith("Disk Health"));

    QList<Category> rows;
    for (const SidebarGroup& group : sidebarGroups())
        for (const SidebarRow& row : group.rows)
            rows << row.category;

    ASSERT_TRUE(runShortcut(window, QKeySequence("Ctrl+2")));
    EXPECT_EQ(window.sidebar()->selection(), rows.at(1));
    ASSERT_TRUE(runShortcut(window, QKeySequence("Ctrl+9")));
    EXPECT_EQ(window.sidebar()->selection(), rows.at(8));
    ASSERT_TRUE(runShortcut(window, QKeySequence("Alt+3")));
    EXPECT_EQ(window.sidebar()->selection(), rows.at(2));

    window.sidebar()->setFocus();
    QTest::keyClick(window.sidebar(), Qt::Key_End);
    EXPECT_EQ(services.navigation().currentPage(), rawValue(rows.last()));
    QTest::keyClick(window.sidebar(), Qt::Key_Home);
    EXPECT_EQ(services.navigation().currentPage(), rawValue(rows.first()))
        << "Home skips the group header";

    window.showPage(Category::maintenance);
    ASSERT_TRUE(runShortcut(window, QKeySequence("Ctrl+Shift+A")));
    auto* powerUser = qobject_cast<PowerUserPage*>(window.currentPage());
    ASSERT_NE(powerUser, nullptr);
    EXPECT_EQ(powerUser->currentTab(), "activity");

    QSignalSpy settings(&window, &MainWindow::settingsRequested);
    ASSERT_TRUE(runShortcut(window, QKeySequence("Ctrl+,")));
    EXPECT_EQ(settings.size(), 1);
}

TEST_F(SidebarTest, GroupsAndRowsAppearInTheirFixedOrder) {
    SidebarView sidebar;
    EXPECT_EQ(shownTexts(sidebar),
              (QStringList{
                  "Dashboard",         "Dashboard",       "Optimization",     "System Cleanup",
                  "Storage Optimizer", "Disk Health",     "Maintenance",      "Management",
                  "Defaults",          "Storage Manager", "Disk Catalogs",    "App Manager",
                  "Services",          "TCC Permissions", "Advanced",         "Network Dashboard",
                  "Network Tools",     "Security",        "Diagnostics",      "System Tools",
                  "OpenCore & OCLP",   "Hardware",        "Fan & Temperature"}));
    // Headers cannot be chosen; every row has an icon, from the theme or drawn.
    for (int i = 0; i < sidebar.count(); ++i) {
        const QListWidgetItem* item = sidebar.item(i);
        if (item->flags() == Qt::NoItemFlags)
            continue;
        EXPECT_FALSE(item->icon().pixmap(18, 18).isNull()) << item->text().toStdString();
    }
    sidebar.setOpenCore(false);
    EXPECT_FALSE(shownTexts(sidebar).contains("OpenCore & OCLP"));
}

TEST_F(SidebarTest, PowerUserIsReachedFromMaintenanceAndStaysWithNoRowSelected) {
    MainWindow window(services);
    window.show();
    window.showPage(Category::maintenance);
    auto* open = window.currentPage()->findChild<QPushButton*>("openPowerUser");
    ASSERT_NE(open, nullptr);
    open->click();

    EXPECT_EQ(services.navigation().currentPage(), "powerUser");
    ASSERT_NE(qobject_cast<PowerUserPage*>(window.currentPage()), nullptr);
    EXPECT_EQ(window.sidebar()->selection(), std::nullopt);
    // Focus moving into the sidebar must not jump back to the first row.
    window.sidebar()->setFocus();
    QCoreApplication::processEvents();
    EXPECT_EQ(services.navigation().currentPage(), "powerUser");
}

TEST_F(SidebarTest, PagesAreMadeOnlyWhenFirstShown) {
    MainWindow window(services);
    const int before = window.findChildren<PowerUserPage*>().size();
    EXPECT_EQ(before, 0);
    window.showPage(Category::powerUser);
    window.showPage(Category::dashboard);
    window.showPage(Category::powerUser);
    EXPECT_EQ(window.findChildren<PowerUserPage*>().size(), 1);
}
