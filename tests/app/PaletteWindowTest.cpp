#include "app/PaletteWindow.h"

#include "app/MainWindow.h"
#include "tests/app/WindowFixture.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTest>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

struct PaletteWindowTest : test::WindowFixture {
    MainWindow window{services};

    PaletteWindowTest() {
        window.show();
        QApplication::setActiveWindow(&window);
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    PaletteWindow* shortcut(QWidget* from) {
        QTest::keyClick(from, Qt::Key_K, Qt::ControlModifier);
        return window.commandPalette();
    }

    void type(const QString& text) {
        QTest::keyClicks(window.commandPalette()->searchField(), text);
    }

    void press(Qt::Key key) { QTest::keyClick(window.commandPalette()->searchField(), key); }

    QStringList rows() {
        QStringList texts;
        const QListWidget* list = window.commandPalette()->results();
        for (int row = 0; row < list->count(); ++row)
            texts.append(list->item(row)->text().trimmed());
        return texts;
    }

    QString currentId() {
        const QListWidgetItem* item = window.commandPalette()->results()->currentItem();
        return item ? item->data(PaletteWindow::kIdRole).toString() : QString();
    }
};

TEST_F(PaletteWindowTest, CtrlKOpensItFromAnyWindowAndEnterOpensTheBestRow) {
    // From a search field of another window of the app, which must not take the keys.
    QLineEdit elsewhere(QStringLiteral("keep this"));
    elsewhere.show();
    QApplication::setActiveWindow(&elsewhere);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&elsewhere));
    elsewhere.setCursorPosition(0);
    PaletteWindow* palette = shortcut(&elsewhere);
    ASSERT_TRUE(palette->isVisible());
    EXPECT_EQ(elsewhere.text(), QStringLiteral("keep this"));
    EXPECT_EQ(palette->searchField()->placeholderText(),
              QStringLiteral("Search commands, pages and settings..."));
    const auto* clear = palette->searchField()->findChild<QAction*>();
    ASSERT_NE(clear, nullptr);
    EXPECT_EQ(clear->text(), QStringLiteral("Clear the search"));

    type(QStringLiteral("fan temp"));
    ASSERT_FALSE(rows().isEmpty());
    EXPECT_EQ(rows().first(), QStringLiteral("Fan & Temperature"));
    palette->grab().save(QStringLiteral("/tmp/palette-fan-temp.png"));
    press(Qt::Key_Return);
    EXPECT_FALSE(palette->isVisible());
    EXPECT_EQ(services.navigation().currentPage(), QStringLiteral("fanTemp"));
    EXPECT_EQ(window.currentPage(), window.page(Category::fanTemp));

    // Opened again, the field is empty and the page just opened leads the recents.
    shortcut(&window);
    ASSERT_TRUE(palette->isVisible());
    EXPECT_TRUE(palette->searchField()->text().isEmpty());
    EXPECT_TRUE(palette->message()->text().contains(QStringLiteral("the last 8 commands")));
    ASSERT_GE(rows().size(), 3);
    EXPECT_EQ(rows().mid(0, 3),
              (QStringList{QStringLiteral("Favorites & Recents"),
                           QStringLiteral("Fan & Temperature"), QStringLiteral("All Commands")}));
    EXPECT_EQ(currentId(), QStringLiteral("page:fanTemp"));
    press(Qt::Key_Escape);
    EXPECT_FALSE(palette->isVisible());
    EXPECT_EQ(services.settings().value(PaletteWindow::kRecentsKey).toStringList(),
              QStringList{QStringLiteral("page:fanTemp")});
}

TEST_F(PaletteWindowTest, TheKeyboardMovesOverRowsOnlyAndTabsOpenAtTheirTab) {
    PaletteWindow* palette = shortcut(&window);
    type(QStringLiteral("zzqx"));
    EXPECT_EQ(rows(), QStringList());
    EXPECT_TRUE(palette->message()->isVisibleTo(palette));
    EXPECT_EQ(palette->message()->text(),
              QStringLiteral("Nothing matches “zzqx”. Try another word, for example a page, a "
                             "tab or a command."));
    press(Qt::Key_Return); // nothing to open: the palette stays
    EXPECT_TRUE(palette->isVisible());

    palette->searchField()->clear();
    type(QStringLiteral("a"));
    EXPECT_FALSE(palette->message()->isVisibleTo(palette));
    const QString first = currentId();
    press(Qt::Key_Down);
    EXPECT_NE(currentId(), first);
    press(Qt::Key_Up);
    EXPECT_EQ(currentId(), first);
    press(Qt::Key_PageDown);
    EXPECT_FALSE(currentId().isEmpty());

    palette->searchField()->clear();
    type(QStringLiteral("speed test"));
    EXPECT_EQ(currentId(), QStringLiteral("tab:networkTools/speedTest"));
    press(Qt::Key_Enter);
    EXPECT_EQ(services.navigation().currentPage(), QStringLiteral("networkTools"));
    EXPECT_EQ(services.navigation().detail(QStringLiteral("networkTools")),
              QStringLiteral("speedTest"));

    // With the field empty, headers are skipped: the first row that opens something is
    // current, and Up from it stays on a row.
    shortcut(&window);
    EXPECT_FALSE(currentId().isEmpty());
    press(Qt::Key_Up);
    EXPECT_FALSE(currentId().isEmpty());
}

TEST_F(PaletteWindowTest, FavouritesPinAboveRecentsAndRecentsKeepTheLastFew) {
    PaletteWindow* palette = window.commandPalette();
    const QStringList pages{QStringLiteral("page:dashboard"),    QStringLiteral("page:cleanup"),
                            QStringLiteral("page:maintenance"),  QStringLiteral("page:appManager"),
                            QStringLiteral("page:diskHealth"),   QStringLiteral("page:fanTemp"),
                            QStringLiteral("page:networkTools"), QStringLiteral("page:systemTools"),
                            QStringLiteral("page:diagnostics")};
    for (const QString& id : pages)
        palette->open(id);
    palette->open(QStringLiteral("page:cleanup"));
    QStringList expected = pages.mid(1);
    std::reverse(expected.begin(), expected.end());
    expected.removeAll(QStringLiteral("page:cleanup"));
    expected.prepend(QStringLiteral("page:cleanup"));
    EXPECT_EQ(palette->recents(), expected.mid(0, PaletteWindow::kRecentCount));

    shortcut(&window);
    type(QStringLiteral("fan temp"));
    QTest::keyClick(palette->results(), Qt::Key_D, Qt::ControlModifier);
    EXPECT_EQ(palette->favorites(), QStringList{QStringLiteral("page:fanTemp")});
    palette->searchField()->clear();
    EXPECT_EQ(rows().mid(0, 3), (QStringList{QStringLiteral("Favorites & Recents"),
                                             QStringLiteral("★ Fan & Temperature"),
                                             QStringLiteral("System Cleanup")}));
    EXPECT_EQ(rows().count(QStringLiteral("★ Fan & Temperature")), 2); // pinned and in the list
    palette->grab().save(QStringLiteral("/tmp/palette-empty.png"));

    // The shortcut removes it again; the stored list is what the next start sees.
    QTest::keyClick(palette->results(), Qt::Key_D, Qt::ControlModifier);
    EXPECT_TRUE(palette->favorites().isEmpty());
    EXPECT_EQ(rows().at(1), QStringLiteral("System Cleanup"));
}

} // namespace
