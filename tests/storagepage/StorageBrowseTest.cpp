#include "app/pages/StorageBreakdownPanel.h"
#include "app/pages/StorageItemActions.h"
#include "platform/Trash.h"
#include "tests/storagepage/StoragePageFixture.h"

#include <QLineEdit>
#include <QTest>
#include <QTreeView>
#include <QTreeWidget>

using namespace velmox;
using namespace velmox::test;

namespace {

struct StorageBrowseTest : StoragePageFixture {
    std::unique_ptr<StorageManagerPage> page = makePage();

    void SetUp() override {
        scan(*page, root);
        page->show();
        page->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(page.get()));
    }

    QStringList largestNames() {
        EXPECT_TRUE(waitFor([&] { return !page->breakdown()->isComputing(); }));
        QStringList list;
        for (int32_t node : page->breakdown()->largestNodes())
            list << page->job()->tree()->name(node);
        return list;
    }

    static QStringList sorted(QStringList list) {
        list.sort();
        return list;
    }
};

} // namespace

TEST_F(StorageBrowseTest, FindNarrowsTheFolderListAndTheLargestFiles) {
    page->findField()->setText("*.BIN");
    EXPECT_EQ(names(*page->model()), QStringList{"medium.bin"});
    page->findField()->setText("a");
    EXPECT_EQ(sorted(names(*page->model())), (QStringList{"small.txt", "sparse.img"}));

    page->setListView(StorageManagerPage::ListView::largest);
    EXPECT_EQ(sorted(largestNames()), (QStringList{"a.bin", "small.txt", "sparse.img"}));
    page->findField()->setText("*.bin");
    EXPECT_EQ(largestNames(), (QStringList{"a.bin", "b.bin", "medium.bin", "c.bin"}));
    // Inside a folder only what is below it.
    page->findField()->clear();
    page->enterFolder(*page->job()->tree()->findPath(QFile::encodeName(root + "/big")));
    EXPECT_EQ(largestNames(), (QStringList{"a.bin", "b.bin", "c.bin"}));
}

// A kind in the file types opens its largest files, and they can be acted on there.
TEST_F(StorageBrowseTest, TypesOpenAFilteredListWhoseItemsCanBeMovedToTheTrash) {
    page->setListView(StorageManagerPage::ListView::types);
    ASSERT_TRUE(waitFor([&] { return !page->breakdown()->isComputing(); }));
    QTreeWidget& types = *page->breakdown()->typesList();
    const auto found = types.findItems("Disk Images", Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1);
    emit types.itemActivated(found.first(), 0);
    EXPECT_EQ(page->breakdown()->view(), StorageBreakdownPanel::View::largest);
    EXPECT_EQ(largestNames(), QStringList{"sparse.img"});

    QTreeView& largest = *page->breakdown()->largestList();
    largest.setFocus();
    largest.selectionModel()->select(largest.model()->index(0, 0),
                                     QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QTest::keyClick(&largest, Qt::Key_Delete);
    ASSERT_TRUE(waitFor(
        [&] { return !page->itemActions()->isRemoving() && !page->messageText().isEmpty(); }));
    EXPECT_TRUE(QFile::exists(Trash::itemPath("sparse.img")));
    EXPECT_TRUE(largestNames().isEmpty());
    EXPECT_EQ(rowNamed(*page->model(), "sparse.img"), -1);
}

TEST_F(StorageBrowseTest, BackAndForwardGoThroughTheVisitedFolders) {
    const auto tree = page->job()->tree();
    page->enterFolder(*tree->findPath(QFile::encodeName(root + "/big")));
    page->enterFolder(*tree->findPath(QFile::encodeName(root + "/big/sub")));
    QWidget* list = page->list();
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Left, Qt::AltModifier);
    EXPECT_EQ(page->breadcrumb().last(), "big");
    page->goBack();
    EXPECT_EQ(page->breadcrumb().size(), 1);
    EXPECT_FALSE(page->canGoBack());
    QTest::keyClick(list, Qt::Key_Right, Qt::AltModifier);
    EXPECT_EQ(page->breadcrumb().last(), "big");
    // Going somewhere new drops the way forward.
    page->goUp(1);
    EXPECT_FALSE(page->canGoForward());
    page->goBack();
    EXPECT_EQ(page->breadcrumb().last(), "big");
}
