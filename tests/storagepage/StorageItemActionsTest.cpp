#include "app/pages/StorageItemActions.h"

#include "app/pages/StorageRingChart.h"
#include "platform/Trash.h"
#include "services/ActionHistoryStore.h"
#include "services/Settings.h"
#include "storage/DiskScanner.h"
#include "tests/storagepage/StoragePageFixture.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMenu>
#include <QMutex>
#include <QProcessEnvironment>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

using namespace velmox;
using namespace velmox::test;

namespace {

// The page over the fixture tree, scanned, with an activity log and a desktop that records
// what it is asked to do.
struct StorageItemActionsTest : StoragePageFixture {
    Settings settings{QDir::homePath() + "/settings/Velmox.conf"};
    ActionHistoryStore history{settings, clock};
    std::unique_ptr<StorageManagerPage> page = makePage();
    QStringList desktopCalls;
    QList<StorageItemActions::Confirmation> asked;
    bool confirmAnswer = true;

    void SetUp() override {
        page->setHistory(&history);
        StorageItemActions& actions = *page->itemActions();
        actions.setDesktop({
            [this](const QByteArray& path) { return record("open", path); },
            [this](const QByteArray& path) { return record("reveal", path); },
            [this](const QByteArray& path) { return record("terminal", path); },
        });
        actions.setConfirmHandler([this](const StorageItemActions::Confirmation& request) {
            asked << request;
            return confirmAnswer;
        });
        scan(*page, root);
        page->show();
        page->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(page.get()));
        page->list()->setFocus();
    }

    // The terminal is opened from a thread of the actions'.
    QString record(const char* what, const QByteArray& path) {
        const QMutexLocker locker(&callsLock);
        desktopCalls << QString::fromLatin1(what) + ' ' + QFile::decodeName(path);
        return {};
    }
    QStringList calls() {
        const QMutexLocker locker(&callsLock);
        return desktopCalls;
    }
    QMutex callsLock;

    void select(const QStringList& names) {
        QItemSelectionModel& selection = *page->list()->selectionModel();
        selection.clearSelection();
        for (const QString& name : names) {
            const int row = rowNamed(*page->model(), name);
            ASSERT_GE(row, 0) << name.toStdString();
            selection.select(page->model()->index(row, 0),
                             QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
    }

    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(page->list(), Qt::Key(key), modifiers);
    }

    bool settled() {
        return waitFor([&] {
            return !page->itemActions()->isRemoving() && !page->job()->isBusy() &&
                   !page->messageText().isEmpty();
        });
    }

    // The page's tree against a fresh scan of the same folder: the same figures everywhere.
    void expectSameAsFreshScan() {
        DiskScanner scanner(ScanConfiguration::build({ScanScope::Kind::folder, root, {}, {}}));
        ASSERT_TRUE(scanner.start());
        scanner.waitForFinished();
        const auto fresh = scanner.tree();
        const auto shown = page->job()->tree();
        ASSERT_EQ(shown->size(), fresh->size());
        for (int32_t node = 0; node < fresh->size(); ++node) {
            const auto same = shown->findPath(fresh->pathBytes(node));
            ASSERT_TRUE(same) << fresh->path(node).toStdString();
            EXPECT_EQ(shown->alloc(*same), fresh->alloc(node)) << fresh->path(node).toStdString();
            EXPECT_EQ(shown->logical(*same), fresh->logical(node));
            EXPECT_EQ(shown->items(*same), fresh->items(node));
        }
    }
};

} // namespace

TEST_F(StorageItemActionsTest, DeleteKeyMovesTheSelectionToTheTrashAndThePagePutsItBack) {
    select({"medium.bin", "small.txt"});
    EXPECT_EQ(page->selectedNodes().size(), 2);
    const QString totalBefore = page->progressText();
    press(Qt::Key_Delete);
    ASSERT_TRUE(settled());

    EXPECT_FALSE(QFile::exists(root + "/medium.bin"));
    EXPECT_EQ(QFile(Trash::itemPath("medium.bin")).size(), 150'000);
    EXPECT_TRUE(QFile::exists(Trash::infoFolder() + "/small.txt.trashinfo"));
    EXPECT_EQ(page->messageText(), "Moved 2 items to the Trash.");
    EXPECT_EQ(names(*page->model()), (QStringList{"big", "sparse.img"}));
    EXPECT_NE(page->progressText(), totalBefore);
    const auto tree = page->job()->tree();
    EXPECT_EQ(tree->deletedChildCount(0), 2u);
    EXPECT_TRUE(tree->hasFlag(0, NodeFlag::edited));
    expectSameAsFreshScan();
    waitFor([&] { return !history.entries().isEmpty(); });
    ASSERT_EQ(history.entries().size(), 1);
    const ActionHistoryEntry entry = history.entries().first();
    EXPECT_EQ(entry.action, "Storage Manager: Move to Trash");
    EXPECT_EQ(ActionHistoryStore::trashedItems(entry).size(), 2);

    auto* putBack = page->findChild<QPushButton*>("putBackLast");
    ASSERT_TRUE(putBack && putBack->isVisible());
    putBack->click();
    ASSERT_TRUE(waitFor([&] { return rowNamed(*page->model(), "medium.bin") >= 0; }));
    ASSERT_TRUE(settled());
    EXPECT_EQ(QFile(root + "/medium.bin").size(), 150'000);
    EXPECT_TRUE(page->messageText().startsWith("Put back 2 item(s)"))
        << page->messageText().toStdString();
    EXPECT_FALSE(putBack->isVisible());
    EXPECT_EQ(page->progressText(), totalBefore);
    expectSameAsFreshScan();
}

// Shift+Delete asks first, with the size and the number of items; no means nothing happens.
TEST_F(StorageItemActionsTest, DeletePermanentlyAsksAndThenDeletesFolderAndContents) {
    select({"big"});
    confirmAnswer = false;
    press(Qt::Key_Delete, Qt::ShiftModifier);
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked[0].title, "Delete “" + root + "/big” permanently?");
    EXPECT_TRUE(asked[0].text.contains(" in 5 items will be deleted for good."))
        << asked[0].text.toStdString();
    EXPECT_TRUE(QFile::exists(root + "/big/sub/c.bin"));

    confirmAnswer = true;
    press(Qt::Key_Delete, Qt::ShiftModifier);
    ASSERT_TRUE(settled());
    EXPECT_FALSE(QFileInfo::exists(root + "/big"));
    EXPECT_TRUE(QDir(Trash::filesFolder()).isEmpty());
    EXPECT_EQ(page->messageText(), "Deleted 1 item permanently.");
    EXPECT_FALSE(page->findChild<QPushButton*>("putBackLast")->isVisible());
    expectSameAsFreshScan();
}

// An item the user may not remove stays, in the folder and in the tree, and the page says why.
TEST_F(StorageItemActionsTest, ItemsThatCannotBeRemovedSayWhy) {
    writeFile(root + "/locked/kept.bin", 4096);
    page->job()->rescanFolder(0);
    ASSERT_TRUE(waitFor([&] { return !page->job()->isBusy(); }));
    ASSERT_EQ(::chmod(QFile::encodeName(root + "/locked").constData(), 0555), 0);
    page->enterFolder(*page->job()->tree()->findPath(QFile::encodeName(root + "/locked")));
    select({"kept.bin"});
    page->itemActions()->action(StorageItemActions::moveToTrash)->trigger();
    ASSERT_TRUE(settled());
    ::chmod(QFile::encodeName(root + "/locked").constData(), 0755);
    EXPECT_TRUE(QFile::exists(root + "/locked/kept.bin"));
    EXPECT_EQ(names(*page->model()), QStringList{"kept.bin"});
    EXPECT_EQ(page->messageText(),
              "Nothing was moved to the Trash:\n• “" + root +
                  "/locked/kept.bin” can't be removed: you don't have permission to change the "
                  "folder “" +
                  root + "/locked”.");
    // Nothing was moved, so there is nothing to put back.
    EXPECT_FALSE(page->findChild<QPushButton*>("putBackLast")->isVisible());
}

TEST_F(StorageItemActionsTest, KeysAndMenusActOnTheSelectionOrTheFolderShown) {
    StorageItemActions& actions = *page->itemActions();
    select({"medium.bin", "small.txt"});
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), root + "/medium.bin\n" + root + "/small.txt");
    press(Qt::Key_Return);
    actions.action(StorageItemActions::openTerminal)->trigger();
    EXPECT_TRUE(waitFor([&] { return calls().size() == 3; }));
    EXPECT_EQ(calls(), (QStringList{"open " + root + "/medium.bin", "open " + root + "/small.txt",
                                    "terminal " + root}));

    // Enter on one folder opens it in the page; with nothing selected the folder shown is
    // what the commands act on, and it cannot be removed from here.
    select({"big"});
    press(Qt::Key_Enter);
    EXPECT_EQ(page->breadcrumb().last(), "big");
    EXPECT_TRUE(page->selectedNodes().isEmpty());
    EXPECT_FALSE(actions.action(StorageItemActions::moveToTrash)->isEnabled());
    desktopCalls.clear();
    actions.action(StorageItemActions::showInFiles)->trigger();
    EXPECT_EQ(calls(), QStringList{"reveal " + root + "/big"});

    std::unique_ptr<QMenu> menu(actions.makeMenu(nullptr));
    QStringList titles;
    for (QAction* action : menu->actions())
        if (!action->isSeparator())
            titles << action->text();
    EXPECT_EQ(titles,
              (QStringList{"Open", "Show in Files", "Copy Path", "Open Terminal Here",
                           "Rescan This Folder", "Move to Trash", "Delete Permanently..."}));

    // The chart's menu acts on the slice under the pointer.
    StorageRingChart& chart = *page->chart();
    const ChartSlice& largest = chart.slices().first();
    QPoint point(-1, -1);
    for (int y = 0; y < chart.height() && point.x() < 0; y += 3)
        for (int x = 0; x < chart.width() && point.x() < 0; x += 3)
            if (chart.sliceAt(QPointF(x, y)) == 0)
                point = QPoint(x, y);
    ASSERT_GE(point.x(), 0);
    emit chart.customContextMenuRequested(point);
    EXPECT_EQ(actions.targets(), QList<int32_t>{largest.segment.node});
    EXPECT_TRUE(actions.action(StorageItemActions::moveToTrash)->isEnabled());
    QMenu* shown = page->findChild<QMenu*>();
    ASSERT_TRUE(shown);
    shown->close();
}

// The desktop's terminal, looked for in order among real programs in a PATH of their own; each
// one found is taken away in turn.
TEST(StorageTerminalChoice, FollowsTheDesktopsOrderAndOpensInTheFolder) {
    QTemporaryDir bin;
    const QString dir = bin.path() + '/';
    const auto program = [&](const QString& name, const QByteArray& body = "exit 0") {
        QFile file(dir + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n" + body + "\n");
        file.close();
        ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    };
    program("xdg-terminal-exec", "pwd > \"$0.ran\"");
    for (const char* name : {"chosen-term", "settings-term", "x-terminal-emulator", "konsole"})
        program(name);
    program("gsettings", "[ \"$*\" = 'get org.gnome.desktop.default-applications.terminal exec' ] "
                         "&& echo \"'settings-term --tab'\"");
    QProcessEnvironment environment;
    environment.insert("PATH", bin.path());
    environment.insert("TERMINAL", "chosen-term -e sh");
    environment.insert("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
    const auto choice = [&] {
        const auto command = StorageItemActions::chooseTerminal(environment);
        return command ? command->join(' ') : command.error();
    };

    EXPECT_EQ(choice(), dir + "xdg-terminal-exec");
    // Opened for real, in the folder asked for.
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", bin.path().toUtf8());
    EXPECT_EQ(StorageItemActions::systemDesktop().openTerminal(QFile::encodeName(QDir::homePath())),
              QString());
    qputenv("PATH", oldPath);
    QFile ran(dir + "xdg-terminal-exec.ran");
    ASSERT_TRUE(waitFor([&] { return ran.size() > 0; }));
    ASSERT_TRUE(ran.open(QIODevice::ReadOnly));
    EXPECT_EQ(ran.readAll().trimmed(), QFile::encodeName(QDir::homePath()));

    QFile::remove(dir + "xdg-terminal-exec");
    EXPECT_EQ(choice(), dir + "chosen-term -e sh");
    environment.insert("TERMINAL", "not-installed");
    EXPECT_EQ(choice(), dir + "settings-term --tab");
    environment.insert("XDG_CURRENT_DESKTOP", "KDE");
    EXPECT_EQ(choice(), dir + "x-terminal-emulator");
    QFile::remove(dir + "x-terminal-emulator");
    EXPECT_EQ(choice(), dir + "konsole");
    QFile::remove(dir + "konsole");
    EXPECT_EQ(choice(), "No terminal program was found. Install one (for example GNOME Terminal, "
                        "Konsole or xterm), or name yours in the TERMINAL environment variable.");
}
