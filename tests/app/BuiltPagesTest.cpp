#include "app/SettingsWindow.h"
#include "app/SettingsWindowPresenter.h"
#include "app/SidebarItems.h"
#include "app/SidebarView.h"
#include "app/pages/PlaceholderPage.h"
#include "app/pages/StorageChildModel.h"
#include "app/pages/StorageManagerPage.h"
#include "tests/app/MacWords.h"
#include "tests/app/WindowFixture.h"
#include "tests/support/TestFiles.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QButtonGroup>
#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QHash>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>
#include <QTabBar>
#include <QTest>
#include <gtest/gtest.h>

using namespace velmox;

namespace {

// What a keyboard user has to be able to reach in `root`: the shown, enabled controls (links
// in labels included). Scroll bars and list headers are driven from their views.
QList<QWidget*> controlsIn(QWidget* root) {
    QList<QWidget*> controls;
    for (QWidget* widget : root->findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(root->window()) || !widget->isEnabled() ||
            qobject_cast<QScrollBar*>(widget) || qobject_cast<QHeaderView*>(widget) ||
            qobject_cast<QTabBar*>(widget->parentWidget()) ||
            qobject_cast<QAbstractSpinBox*>(widget->parentWidget())) // its editor is the box
            continue;
        const auto* label = qobject_cast<QLabel*>(widget);
        const bool link = label && label->text().contains(QLatin1String("<a "));
        if (link || qobject_cast<QAbstractButton*>(widget) || qobject_cast<QComboBox*>(widget) ||
            qobject_cast<QAbstractItemView*>(widget) || qobject_cast<QLineEdit*>(widget) ||
            qobject_cast<QAbstractSpinBox*>(widget) || qobject_cast<QAbstractSlider*>(widget) ||
            qobject_cast<QTabBar*>(widget))
            controls.append(widget);
    }
    return controls;
}

QString describe(const QWidget* widget) {
    QString text;
    if (const auto* button = qobject_cast<const QAbstractButton*>(widget))
        text = button->text();
    else if (const auto* label = qobject_cast<const QLabel*>(widget))
        text = label->text().left(40);
    return QStringLiteral("%1 %2 \"%3\"")
        .arg(QString::fromLatin1(widget->metaObject()->className()), widget->objectName(), text);
}

// Presses Tab from `start` until the focus comes back to it, and returns the widgets that had
// the focus, in order.
QList<QWidget*> tabChain(QWidget* start) {
    start->setFocus(Qt::TabFocusReason);
    QList<QWidget*> chain;
    for (int step = 0; step < 300; ++step) {
        QWidget* focus = QApplication::focusWidget();
        if (!focus || (step > 0 && focus == start))
            break;
        chain.append(focus);
        QTest::keyClick(focus, Qt::Key_Tab);
    }
    return chain;
}

// Every control of `root` is reached by Tab from `start`, and top to bottom: no control is
// reached after one that lies wholly below it.
void expectReachableInOrder(QWidget* start, QWidget* root, const QString& where) {
    // Where each control lies before Tab scrolls anything into view.
    QHash<QWidget*, std::pair<int, int>> rows;
    for (QWidget* control : controlsIn(root)) {
        const int top = control->mapTo(root, QPoint(0, 0)).y();
        rows.insert(control, {top, top + control->height()});
    }
    const QList<QWidget*> chain = tabChain(start);
    ASSERT_FALSE(chain.isEmpty()) << where.toStdString() << ": nothing took the focus";
    const auto reachedAt = [&](QWidget* control) {
        // Tab stops at one button of an exclusive group; the arrow keys move between them.
        QList<QWidget*> stops{control};
        if (const auto* button = qobject_cast<QAbstractButton*>(control);
            button && button->group() && button->group()->exclusive())
            for (QAbstractButton* other : button->group()->buttons())
                stops << other;
        for (qsizetype i = 0; i < chain.size(); ++i)
            for (QWidget* stop : stops)
                if (chain[i] == stop || stop->isAncestorOf(chain[i]))
                    return i;
        return qsizetype(-1);
    };
    QList<std::pair<qsizetype, QWidget*>> reached;
    for (QWidget* control : rows.keys()) {
        const qsizetype at = reachedAt(control);
        EXPECT_GE(at, 0) << where.toStdString() << ": Tab never reaches "
                         << describe(control).toStdString();
        if (at >= 0)
            reached.append({at, control});
    }
    std::sort(reached.begin(), reached.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (qsizetype i = 1; i < reached.size(); ++i) {
        QWidget* before = reached[i - 1].second;
        QWidget* after = reached[i].second;
        EXPECT_LT(rows[before].first, rows[after].second)
            << where.toStdString() << ": " << describe(after).toStdString() << " comes after "
            << describe(before).toStdString() << ", which lies below it";
    }
}

// Every text `root` shows or shows on hover: labels, buttons, tabs, lists and their cells,
// boxes' choices, placeholders and tool tips.
QStringList shownTexts(QWidget* root) {
    QStringList texts{root->windowTitle()};
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    for (QWidget* widget : widgets) {
        if (!widget->isVisibleTo(root->window()))
            continue;
        texts << widget->toolTip() << widget->accessibleName();
        if (const auto* label = qobject_cast<QLabel*>(widget))
            texts << label->text();
        if (const auto* button = qobject_cast<QAbstractButton*>(widget))
            texts << button->text();
        if (const auto* box = qobject_cast<QGroupBox*>(widget))
            texts << box->title();
        if (const auto* line = qobject_cast<QLineEdit*>(widget))
            texts << line->placeholderText();
        if (const auto* tabs = qobject_cast<QTabBar*>(widget))
            for (int i = 0; i < tabs->count(); ++i)
                texts << tabs->tabText(i) << tabs->tabToolTip(i);
        if (const auto* combo = qobject_cast<QComboBox*>(widget))
            for (int i = 0; i < combo->count(); ++i)
                texts << combo->itemText(i);
        if (const auto* view = qobject_cast<QAbstractItemView*>(widget); view && view->model()) {
            const QAbstractItemModel& model = *view->model();
            for (int column = 0; column < model.columnCount(); ++column)
                texts << model.headerData(column, Qt::Horizontal).toString();
            QList<QModelIndex> parents{QModelIndex()};
            while (!parents.isEmpty()) {
                const QModelIndex parent = parents.takeFirst();
                for (int row = 0; row < model.rowCount(parent); ++row)
                    for (int column = 0; column < model.columnCount(parent); ++column) {
                        const QModelIndex cell = model.index(row, column, parent);
                        texts << cell.data(Qt::DisplayRole).toString()
                              << cell.data(Qt::ToolTipRole).toString();
                        if (column == 0 && model.hasChildren(cell))
                            parents << cell;
                    }
            }
        }
    }
    texts.removeAll(QString());
    return texts;
}

void expectNoMacWords(QWidget* root, const QString& where) {
    for (const QString& text : shownTexts(root))
        EXPECT_EQ(test::macWordIn(text), "")
            << where.toStdString() << " shows \"" << text.toStdString() << "\"";
}

// The main window, shown and active, as a keyboard user meets it.
struct BuiltPagesTest : test::WindowFixture {
    MainWindow window{services};

    void SetUp() override {
        window.show();
        window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    // Runs `check` on every page that is built (placeholders left out), by its title.
    template <typename Check> void forEachBuiltPage(Check check) {
        int built = 0;
        QList<std::pair<Category, QString>> pages;
        for (const SidebarGroup& group : sidebarGroups())
            for (const SidebarRow& row : group.rows)
                pages.append({row.category, row.title});
        pages.append({Category::powerUser, pageTitle(Category::powerUser)});
        for (const auto& [category, title] : pages) {
            window.showPage(category);
            if (qobject_cast<PlaceholderPage*>(window.currentPage()))
                continue;
            ++built;
            QCoreApplication::processEvents();
            check(window.currentPage(), title);
        }
        EXPECT_GE(built, 6);
    }

    // Runs `check` on every settings pane, by its section.
    template <typename Check> void forEachSettingsPane(Check check) {
        SettingsWindowPresenter presenter(services, "/usr/bin/velmox");
        presenter.show();
        presenter.window()->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(presenter.window()));
        auto* sections = presenter.view()->findChild<QListWidget*>("sidebar");
        ASSERT_NE(sections, nullptr);
        for (const QString& section : SettingsView::sectionIds()) {
            presenter.view()->selectSection(section);
            QCoreApplication::processEvents();
            check(sections, presenter.view()->pane(section), section);
        }
    }
};

TEST_F(BuiltPagesTest, TabReachesEveryControlInReadingOrder) {
    forEachBuiltPage([this](QWidget* page, const QString& title) {
        expectReachableInOrder(window.sidebar(), page, title);
    });
    forEachSettingsPane([](QWidget* sections, QWidget* pane, const QString& section) {
        expectReachableInOrder(sections, pane, QStringLiteral("Settings > ") + section);
    });
}

TEST_F(BuiltPagesTest, TabFollowsTheStorageManagerThroughAScannedFolder) {
    const QString root = QDir::homePath() + QStringLiteral("/tree");
    test::writeFile(root + QStringLiteral("/inner/deeper/notes.txt"), {});
    window.showPage(Category::storageManager);
    auto* page = qobject_cast<StorageManagerPage*>(window.currentPage());
    ASSERT_NE(page, nullptr);
    page->setScope(StorageManagerPage::folderScope(root));
    page->startScan();
    ASSERT_TRUE(test::waitFor([&] { return page->job()->state() == ScanJob::State::finished; }));
    // Two levels down, the breadcrumb has a button; a rescan that fails leaves its message.
    page->enterFolder(page->model()->nodeAt(0));
    page->enterFolder(page->model()->nodeAt(0));
    ASSERT_EQ(page->breadcrumb().size(), 3);
    QDir(root + QStringLiteral("/inner")).removeRecursively();
    for (QPushButton* button : page->findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("Rescan Folder"))
            button->click();
    ASSERT_NE(page->messageText(), "");
    QCoreApplication::processEvents();
    expectReachableInOrder(window.sidebar(), page, QStringLiteral("Storage Manager, scanned"));
}

TEST_F(BuiltPagesTest, LinuxPagesUseLinuxWords) {
#ifdef Q_OS_MACOS
    GTEST_SKIP() << "the Mac's own words are right there";
#endif
    forEachBuiltPage([](QWidget* page, const QString& title) { expectNoMacWords(page, title); });
    expectNoMacWords(&window, QStringLiteral("The window"));
    forEachSettingsPane([](QWidget*, QWidget* pane, const QString& section) {
        expectNoMacWords(pane, QStringLiteral("Settings > ") + section);
    });
}

} // namespace
