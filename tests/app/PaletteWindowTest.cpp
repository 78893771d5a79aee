#include "app/PaletteWindow.h"

#include "app/MainWindow.h"
#include "app/PageWindow.h"
#include "app/SettingsWindow.h"
#include "app/SettingsWindowPresenter.h"
#include "app/pages/PageTabs.h"
#include "automation/AutomationEngine.h"
#include "automation/AutomationModel.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "tests/app/WindowFixture.h"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
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
            texts.append(list->item(row)->text().remove(QStringLiteral("☆ ")));
        return texts;
    }

    QString status() { return services.status().message().value_or(QString()); }

    // The palette, its questions collected in `questions` and answered with `answer`.
    QStringList questions;
    bool answer = false;
    PaletteWindow* answeredHere() {
        window.commandPalette()->setConfirm([this](const QString& question) {
            questions << question;
            return answer;
        });
        return window.commandPalette();
    }

    QString lastAction() {
        const QList<ActionHistoryEntry>& entries = services.history().entries();
        return entries.isEmpty() ? QString() : entries.first().action;
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

    // A click on a row's star pins it, a click on its title does not.
    QListWidget* list = palette->results();
    const QRect first = list->visualItemRect(list->currentItem());
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, first.center() + QPoint(80, 0));
    EXPECT_TRUE(palette->favorites().isEmpty());
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      QPoint(first.left() + 3, first.center().y()));
    EXPECT_EQ(palette->favorites(), QStringList{QStringLiteral("page:cleanup")});

    // The menu key opens the current row's menu from the search field.
    QStringList offered;
    QTimer::singleShot(0, [&] {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            for (const QAction* action : menu->actions())
                offered << action->text();
            menu->close();
        }
    });
    QContextMenuEvent menuKey(QContextMenuEvent::Keyboard, QPoint(), QPoint());
    QApplication::sendEvent(palette->searchField(), &menuKey);
    EXPECT_EQ(offered, QStringList{QStringLiteral("Remove from favorites")});
}

TEST_F(PaletteWindowTest, EveryTabAndSettingsPaneIsAnEntryThatOpensIt) {
    PaletteWindow* palette = window.commandPalette();
    QHash<QString, QString> destinations; // entry id -> destination
    for (const PaletteEntry& entry : palette->index().entries())
        destinations.insert(entry.id, entry.destination);

    // Each tab the pages really have has its entry, and opening it shows that tab.
    int tabs = 0;
    for (Category category : allCategories()) {
        for (PageTabs* pageTabs : window.page(category)->findChildren<PageTabs*>()) {
            for (const QString& key : pageTabs->keys()) {
                const QString place = rawValue(category) + u'/' + key;
                ASSERT_EQ(destinations.value(QStringLiteral("tab:") + place), place);
                palette->open(QStringLiteral("tab:") + place);
                EXPECT_EQ(window.currentPage(), window.page(category));
                EXPECT_EQ(pageTabs->currentKey(), key);
                ++tabs;
            }
        }
    }
    EXPECT_GE(tabs, 4);

    // Every settings pane has its entry, and no entry leads anywhere that does not exist.
    const QStringList panes = SettingsView::sectionIds();
    for (const QString& pane : panes)
        EXPECT_TRUE(destinations.contains(QStringLiteral("tab:settings/") + pane))
            << pane.toStdString();
    for (const auto& [id, destination] : destinations.asKeyValueRange()) {
        if (destination.isEmpty())
            continue;
        const QString page = destination.section(u'/', 0, 0);
        const QString tab = destination.section(u'/', 1);
        if (page == QLatin1String("settings")) {
            EXPECT_TRUE(panes.contains(tab)) << id.toStdString();
        } else if (page != QLatin1String("help")) {
            const auto category = categoryFromRaw(page);
            ASSERT_TRUE(category) << id.toStdString();
            if (!tab.isEmpty()) {
                const auto pageTabs = window.page(*category)->findChildren<PageTabs*>();
                EXPECT_TRUE(!pageTabs.isEmpty() && pageTabs.first()->keys().contains(tab))
                    << id.toStdString();
            }
        }
    }

    // Every setting has a control of its title in its pane.
    SettingsView settingsView(services, QString());
    for (const PaletteEntry& entry : palette->index().entries()) {
        if (entry.section != PaletteSection::settings)
            continue;
        settingsView.selectSection(entry.destination.section(u'/', 1));
        EXPECT_TRUE(settingsView.focusSetting(entry.title)) << entry.id.toStdString();
    }

    // A setting opens the settings window at its pane.
    QSignalSpy settings(&window, &MainWindow::settingsRequested);
    QSignalSpy section(&services.notifications(), &AppNotifications::openSettingsSection);
    palette->open(QStringLiteral("setting:adminUsername"));
    EXPECT_EQ(settings.size(), 1);
    ASSERT_EQ(section.size(), 1);
    EXPECT_EQ(section.at(0).at(0).toString(), QStringLiteral("access"));
}

TEST_F(PaletteWindowTest, AutomationRunsAskFirstWhenTheyCanDoHarmAndReportTheirResult) {
    ASSERT_TRUE(services.settings().setValue(AutomationSettingsKeys::dryRun, true));
    AutomationEngine& engine = services.automation();
    ASSERT_TRUE(engine.setChains({{QStringLiteral("r1"),
                                   QStringLiteral("Evening Tidy"),
                                   {QStringLiteral("emptyTrash")},
                                   {}}}));
    PaletteWindow* palette = answeredHere();

    // The routine the engine just got is listed, and refusing its question runs nothing.
    shortcut(&window);
    type(QStringLiteral("evening tidy"));
    EXPECT_EQ(currentId(), QStringLiteral("chain:r1"));
    press(Qt::Key_Return);
    ASSERT_EQ(questions.size(), 1);
    EXPECT_EQ(questions.first(), QStringLiteral("This runs the routine “Evening Tidy”.\n\nIt can "
                                                "change or delete data."));
    EXPECT_TRUE(palette->recents().isEmpty());
    EXPECT_FALSE(services.status().message());

    answer = true;
    palette->open(QStringLiteral("automation:flushDNS"));
    EXPECT_EQ(questions.last(), QStringLiteral("This runs the automation task “Flush DNS Cache”."
                                               "\n\nThis needs administrator rights."));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return status().startsWith(QStringLiteral("Success: Dry run:")); }, 10000));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return lastAction() == QStringLiteral("Automation (dry run): Flush DNS Cache"); },
        10000));
    EXPECT_EQ(palette->recents().first(), QStringLiteral("automation:flushDNS"));

    // A task that can do no harm runs without a question.
    palette->open(QStringLiteral("automation:rebuildLaunchServices"));
    EXPECT_EQ(questions.size(), 2);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return lastAction() ==
                   QStringLiteral("Automation (dry run): Rebuild Desktop Databases");
        },
        10000));
}

TEST_F(PaletteWindowTest, ATaskThatDeletesForGoodSaysWhatGoesAndHowMuchFirst) {
    const QString trashed = Trash::filesFolder() + QStringLiteral("/old notes.txt");
    ASSERT_TRUE(QDir().mkpath(Trash::filesFolder()));
    for (const QString& path : {trashed, Trash::filesFolder() + QStringLiteral("/draft.txt")}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(5000, 'x'));
    }
    // Other tests of this program may have left items there too.
    const qsizetype items =
        QDir(Trash::filesFolder())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)
            .size();
    PaletteWindow* palette = answeredHere();

    // The question counts what goes, measured when asked; a no deletes nothing.
    palette->open(QStringLiteral("task:empty-trash"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return questions.size() == 1; }, 10000));
    EXPECT_TRUE(questions.first().startsWith(
        QStringLiteral("This runs the task “Trash Management”.\n\nIt can change or delete data."
                       "\n\nThis permanently deletes %1 items (")
            .arg(items)))
        << questions.first().toStdString();
    EXPECT_TRUE(
        questions.first().endsWith(QStringLiteral(") from the Trash. This cannot be undone.")));
    EXPECT_TRUE(QFile::exists(trashed));
    EXPECT_TRUE(palette->recents().isEmpty());
    EXPECT_EQ(status(), QString());

    answer = true;
    palette->open(QStringLiteral("task:empty-trash"));
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return lastAction() == QStringLiteral("Trash Management"); }, 15000));
    EXPECT_FALSE(QFile::exists(trashed));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return status().startsWith(QStringLiteral("Success: Trash Management freed")); },
        10000));
    EXPECT_EQ(palette->recents(), QStringList{QStringLiteral("task:empty-trash")});
}

struct PaletteShortcutTest : test::LaunchFixture {};

TEST_F(PaletteShortcutTest, CtrlKOpensItFromTheSettingsWindowAndPageWindowsAlone) {
    launchDelegate();
    MainWindow* main = delegate->mainWindow();
    ASSERT_NE(main, nullptr);
    PageWindow& page = delegate->openPageWindow(Category::fanTemp);
    delegate->showSettings();
    for (QWidget* window : {delegate->settings().window(), static_cast<QWidget*>(&page)}) {
        SCOPED_TRACE(window->windowTitle().toStdString());
        main->commandPalette()->hide();
        main->hide(); // the window the palette belongs to is not in view
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_K, Qt::ControlModifier);
        EXPECT_TRUE(main->commandPalette()->isVisible());
        EXPECT_TRUE(main->isVisible());
    }
}

} // namespace
