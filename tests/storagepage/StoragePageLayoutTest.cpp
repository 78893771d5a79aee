#include "app/pages/StorageManagerPage.h"
#include "app/pages/StorageRingChart.h"
#include "tests/app/WindowFixture.h"
#include "tests/storagepage/StoragePageFixture.h"

#include <QHeaderView>
#include <QSplitter>
#include <QTreeView>

using namespace velmox;
using namespace velmox::test;

namespace {

struct StoragePageLayoutTest : WindowFixture {
    QString root = QDir::homePath() + QStringLiteral("/layout");

    StoragePageLayoutTest() {
        QDir(root).removeRecursively();
        writeFile(root + "/Documents and settings of a long folder name/a.bin", 300'000);
        writeFile(root + "/.local/b.bin", 100'000);
    }

    // The Storage Manager page of a window at its default size, with `root` scanned.
    StorageManagerPage& scannedPage(MainWindow& window) {
        window.showPage(Category::storageManager);
        window.show();
        auto* page = qobject_cast<StorageManagerPage*>(window.page(Category::storageManager));
        EXPECT_NE(page, nullptr);
        page->setScope(StorageManagerPage::folderScope(root));
        page->startScan();
        EXPECT_TRUE(waitFor([&] { return page->job()->state() == ScanJob::State::finished; }));
        QCoreApplication::processEvents();
        return *page;
    }
};

} // namespace

TEST_F(StoragePageLayoutTest, NamesAreReadableAtTheDefaultSizeAndTheLayoutIsRemembered) {
    QList<int> splitter;
    int dateWidth = 0;
    {
        MainWindow window(services);
        StorageManagerPage& page = scannedPage(window);
        QHeaderView& header = *page.list()->header();
        EXPECT_GE(header.sectionSize(StorageChildModel::name), 160);
        for (int column = StorageChildModel::size; column < StorageChildModel::kColumns; ++column)
            EXPECT_EQ(header.sectionResizeMode(column), QHeaderView::Interactive) << column;
        // Every other column shows its title whole.
        const QFontMetrics metrics(header.font());
        for (int column = StorageChildModel::size; column < StorageChildModel::kColumns; ++column)
            EXPECT_GT(
                header.sectionSize(column),
                metrics.horizontalAdvance(
                    page.model()->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString()))
                << column;

        dateWidth = header.sectionSize(StorageChildModel::date) + 30;
        header.resizeSection(StorageChildModel::date, dateWidth);
        page.splitter()->setSizes({300, page.splitter()->width() - 300});
        splitter = page.splitter()->sizes();
        emit page.splitter()->splitterMoved(300, 1);
        window.resize(1240, 800);
        window.close();
        ASSERT_TRUE(waitFor(
            [&] {
                return services.settings().contains(StorageManagerPage::kSplitterKey) &&
                       services.settings().contains(StorageManagerPage::kColumnsKey);
            },
            5000));
    }
    MainWindow window(services);
    EXPECT_EQ(window.size(), QSize(1240, 800));
    StorageManagerPage& page = scannedPage(window);
    EXPECT_EQ(page.splitter()->sizes().first(), splitter.first()) << "the ring keeps its width";
    EXPECT_EQ(page.list()->header()->sectionSize(StorageChildModel::date), dateWidth);
    EXPECT_EQ(page.list()->header()->sectionResizeMode(StorageChildModel::name),
              QHeaderView::Stretch);
}
