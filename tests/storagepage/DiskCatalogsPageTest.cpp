#include "app/pages/DiskCatalogsPage.h"

#include "app/Appearance.h"
#include "app/pages/CatalogDiffModel.h"
#include "app/pages/StorageBreakdownPanel.h"
#include "app/pages/StorageCatalogScope.h"
#include "app/pages/StorageItemActions.h"
#include "app/pages/StorageRingChart.h"
#include "services/Settings.h"
#include "services/ShownText.h"
#include "tests/storagepage/StoragePageFixture.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTreeView>

using namespace velmox;
using namespace velmox::test;

namespace {

// Catalogs written by the real store in the temporary home, of real scans of the
// fixture's folder made through the Storage Manager page.
struct DiskCatalogsPageTest : StoragePageFixture {
    StorageCatalogStore store{QDir::homePath() + QStringLiteral("/VelmoxData")};
    std::unique_ptr<StorageManagerPage> manager = makePage(&store);

    DiskCatalogsPageTest() { QDir(store.catalogsFolder()).removeRecursively(); }

    std::unique_ptr<DiskCatalogsPage> makeCatalogsPage(ScanCenter& scans) {
        auto page = std::make_unique<DiskCatalogsPage>(store, scans, navigation, &status);
        page->resize(1000, 640);
        return page;
    }

    static QStringList listed(const DiskCatalogsPage& page, int column) {
        QStringList cells;
        for (int row = 0; row < page.listModel()->rowCount(); ++row)
            cells << page.listModel()->item(row, column)->text();
        return cells;
    }

    static bool waitForMessage(const DiskCatalogsPage& page, const QString& text) {
        return waitFor([&] { return page.messageText() == text; }, 30000);
    }

    static bool waitForView(DiskCatalogsPage& page, auto action) {
        QSignalSpy ready(&page, &DiskCatalogsPage::viewReady);
        action();
        return waitFor([&] { return ready.count() > 0; }, 30000);
    }

    static QStringList diffRows(const CatalogDiffModel& model, int column) {
        QStringList cells;
        for (int row = 0; row < model.rowCount(); ++row)
            cells << model.data(model.index(row, column), Qt::DisplayRole).toString();
        return cells;
    }
};

TEST_F(DiskCatalogsPageTest, SavesRenamesAndDeletesWithEveryPageInStep) {
    auto page = makeCatalogsPage(center);
    auto other = makeCatalogsPage(center);
    ScanCenter empty{clock, &status};
    auto unscanned = makeCatalogsPage(empty);
    unscanned->saveCurrentScan(QStringLiteral("Nothing"));
    EXPECT_TRUE(waitForMessage(*unscanned, "Run a scan first, then save it as a catalog."));

    ASSERT_NO_FATAL_FAILURE(scan(*manager, root));
    const auto tree = manager->job()->tree();
    page->saveCurrentScan(QStringLiteral("Week 1"));
    ASSERT_TRUE(waitForMessage(*page, "Saved Week 1"));
    ASSERT_TRUE(waitFor([&] { return listed(*other, DiskCatalogsPage::nameColumn).size() == 1; }));
    EXPECT_EQ(listed(*other, DiskCatalogsPage::sizeColumn), QStringList{byteText(tree->alloc(0))});
    EXPECT_EQ(listed(*other, DiskCatalogsPage::itemsColumn),
              QStringList{QLocale().toString(qint64(tree->items(0)))});
    EXPECT_TRUE(listed(*other, DiskCatalogsPage::volumeColumn).first().contains(root));
    EXPECT_FALSE(listed(*other, DiskCatalogsPage::dateColumn).first().isEmpty());

    page->saveCurrentScan(QStringLiteral("Week 1"));
    EXPECT_TRUE(waitForMessage(*page, "A catalog named \"Week 1\" already exists."));
    // Renamed on one page while another compares it.
    ASSERT_TRUE(
        waitForView(*page, [&] { page->compareWithCurrentScan(QStringLiteral("Week 1")); }));
    other->renameCatalog(QStringLiteral("Week 1"), QStringLiteral("Week/2"));
    EXPECT_TRUE(waitForMessage(*other, "Renamed \"Week 1\" to \"Week-2\"."));
    EXPECT_TRUE(waitForMessage(*page, "\"Week 1\" was renamed or deleted since it was opened; "
                                      "this is the copy read then."));
    page->showList();
    EXPECT_TRUE(waitFor([&] { return listed(*page, 0) == QStringList{"Week-2"}; }));

    // A file that is no catalog is listed with the reason it cannot be opened.
    QFile broken(store.catalogsFolder() + QStringLiteral("/Broken.vxcatalog"));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("VXCATLOG and then nothing that makes sense");
    broken.close();
    page->deleteCatalog(QStringLiteral("Week-2"));
    EXPECT_TRUE(waitForMessage(*page, "Deleted the catalog \"Week-2\"."));
    ASSERT_TRUE(waitFor([&] { return listed(*other, 0) == QStringList{"Broken"}; }));
    EXPECT_TRUE(listed(*other, DiskCatalogsPage::volumeColumn)
                    .first()
                    .startsWith(QStringLiteral("The catalog file is damaged (")));
    // Refused where it is listed, without leaving the page.
    navigation.setCurrentPage(QStringLiteral("diskCatalogs"));
    other->openCatalog(QStringLiteral("Broken"));
    EXPECT_TRUE(other->messageText().startsWith(QStringLiteral("The catalog file is damaged (")));
    EXPECT_EQ(navigation.currentPage(), QStringLiteral("diskCatalogs"));
}

TEST_F(DiskCatalogsPageTest, ComparesWithTheCurrentScanAndDrillsDownFolderByFolder) {
    auto page = makeCatalogsPage(center);
    ScanCenter empty{clock, &status};
    auto unscanned = makeCatalogsPage(empty);
    clock.setWallClock(QDateTime(QDate(2026, 11, 1), QTime(9, 0)));
    ASSERT_NO_FATAL_FAILURE(scan(*manager, root));
    page->saveCurrentScan(QStringLiteral("Before"));
    ASSERT_TRUE(waitForMessage(*page, "Saved Before"));

    EXPECT_TRUE(waitForView(*unscanned,
                            [&] { unscanned->compareWithCurrentScan(QStringLiteral("Before")); }));
    EXPECT_EQ(unscanned->messageText(), "Open a finished, complete scan first.");

    writeFile(root + "/big/sub/c.bin", 900'000);
    ASSERT_TRUE(QFile::remove(root + "/medium.bin"));
    writeFile(root + "/new/d.bin", 40'000);
    clock.setWallClock(QDateTime(QDate(2026, 11, 8), QTime(9, 0)));
    manager->startScan();
    ASSERT_TRUE(waitFor([&] { return manager->job()->state() == ScanJob::State::finished; }));

    ASSERT_TRUE(waitForView(*page, [&] { page->compareWithCurrentScan("Before"); }));
    ASSERT_EQ(page->view(), DiskCatalogsPage::View::comparison)
        << page->messageText().toStdString();
    CatalogDiffModel& model = *page->diffModel();
    EXPECT_EQ(diffRows(model, CatalogDiffModel::name), (QStringList{"big/", "medium.bin", "new/"}));
    EXPECT_EQ(diffRows(model, CatalogDiffModel::kind), (QStringList{"Grew", "Gone", "New"}));
    EXPECT_TRUE(page->comparisonSummary().contains("1 grew, 0 shrank, 1 new, 1 gone"))
        << page->comparisonSummary().toStdString();

    page->enterDiffFolder(model.rowAt(0));
    EXPECT_EQ(diffRows(model, CatalogDiffModel::name), QStringList{"sub/"});
    page->enterDiffFolder(model.rowAt(0));
    EXPECT_EQ(page->diffBreadcrumb(), (QStringList{"big", "sub"}));
    EXPECT_EQ(diffRows(model, CatalogDiffModel::name), QStringList{"c.bin"});
    EXPECT_TRUE(diffRows(model, CatalogDiffModel::change).first().startsWith('+'));
    page->enterDiffFolder(model.rowAt(0)); // a file: nothing to enter
    EXPECT_EQ(page->diffBreadcrumb(), (QStringList{"big", "sub"}));
    page->goUp();
    page->goUp();
    EXPECT_TRUE(page->diffBreadcrumb().isEmpty());

    // Two catalogs: the older one is the base, whichever is named first. Without a name the
    // scan is saved under its folder's name and day.
    page->saveCurrentScan(QString());
    ASSERT_TRUE(waitForMessage(*page, "Saved fixture 2026-11-08"));
    ASSERT_TRUE(waitForView(*page, [&] { page->compareCatalogs("fixture 2026-11-08", "Before"); }));
    EXPECT_TRUE(page->comparisonTitle().startsWith("\"Before\""))
        << page->comparisonTitle().toStdString();
    EXPECT_EQ(diffRows(model, CatalogDiffModel::kind), (QStringList{"Grew", "Gone", "New"}));

    // A scan of another folder viewed since does not stand in for the catalog's own.
    ASSERT_NO_FATAL_FAILURE(scan(*manager, root + "/big"));
    ASSERT_TRUE(waitForView(*page, [&] { page->compareWithCurrentScan("Before"); }));
    EXPECT_EQ(diffRows(model, CatalogDiffModel::kind), (QStringList{"Grew", "Gone", "New"}));

    // Pictures of the list and of a comparison in both appearances, for a look.
    Settings settings(QDir::homePath() + "/appearance.conf");
    const QString folder = qEnvironmentVariable("VELMOX_STORAGEPAGE_SHOTS");
    for (const QString theme : {"dark", "light"}) {
        EXPECT_TRUE(settings.setValue(kAppearanceKey, theme));
        AppearanceController(settings).apply();
        page->show();
        QCoreApplication::processEvents();
        const QImage comparison = page->grab().toImage();
        page->showList();
        QCoreApplication::processEvents();
        const QImage list = page->grab().toImage();
        ASSERT_FALSE(comparison.isNull() || list.isNull());
        if (!folder.isEmpty()) {
            comparison.save(folder + "/disk-catalogs-comparison-" + theme + ".png");
            list.save(folder + "/disk-catalogs-" + theme + ".png");
        }
        page->compareWithCurrentScan("Before");
        ASSERT_TRUE(waitFor([&] { return page->view() == DiskCatalogsPage::View::comparison; }));
    }
}

// "Open" shows the catalog in the Storage Manager, as the disk was when it was saved, with
// everything that would act on the disk off, until the user goes back to the live scan.
TEST_F(DiskCatalogsPageTest, OpensACatalogReadOnlyInTheStorageManagerAndGoesBackToTheLiveScan) {
    auto page = makeCatalogsPage(center);
    clock.setWallClock(QDateTime(QDate(2026, 11, 1), QTime(9, 0)));
    ASSERT_NO_FATAL_FAILURE(scan(*manager, root));
    page->saveCurrentScan(QStringLiteral("Week 1"));
    ASSERT_TRUE(waitForMessage(*page, "Saved Week 1"));
    ASSERT_TRUE(QFile::remove(root + "/medium.bin"));
    manager->startScan();
    ASSERT_TRUE(waitFor([&] { return manager->job()->state() == ScanJob::State::finished; }));
    ScanJob* live = manager->job();

    page->openCatalog(QStringLiteral("Week 1"));
    EXPECT_EQ(navigation.currentPage(), QStringLiteral("storageManager"));
    ASSERT_TRUE(waitFor([&] { return manager->model()->tree() != nullptr; }));
    StorageCatalogScope& catalog = *manager->catalog();
    EXPECT_EQ(manager->job(), nullptr);
    EXPECT_TRUE(catalog.isVisibleTo(manager.get()));
    EXPECT_EQ(catalog.heading(), QStringLiteral("Saved catalog \u201cWeek 1\u201d"));
    EXPECT_TRUE(catalog.detail().contains(
        QLocale().toString(QDateTime(QDate(2026, 11, 1), QTime(9, 0)), QLocale::ShortFormat)));
    EXPECT_TRUE(names(*manager->model()).contains("medium.bin"));
    EXPECT_EQ(manager->breadcrumb(), QStringList{"Week 1"});
    EXPECT_FALSE(manager->chart()->slices().isEmpty());
    EXPECT_TRUE(manager->progressText().contains(StorageChart::itemCount(8)))
        << manager->progressText().toStdString();

    // Nothing that reads or changes the disk, whatever is selected.
    manager->list()->selectAll();
    ASSERT_FALSE(manager->selectedNodes().isEmpty());
    for (const auto kind : {StorageItemActions::moveToTrash, StorageItemActions::deletePermanently,
                            StorageItemActions::rescan})
        EXPECT_FALSE(manager->itemActions()->action(kind)->isEnabled()) << kind;
    for (const QString button : {"Scan Again", "Rescan Folder"}) {
        const auto found = manager->findChildren<QPushButton*>();
        const auto it = std::find_if(found.cbegin(), found.cend(),
                                     [&](const QPushButton* b) { return b->text() == button; });
        ASSERT_NE(it, found.cend()) << button.toStdString();
        EXPECT_FALSE((*it)->isEnabled()) << button.toStdString();
        EXPECT_EQ((*it)->toolTip(), "A saved catalog cannot be scanned or changed");
    }

    // Folders, the largest files and find work on it as on a scan.
    manager->enterFolder(manager->model()->nodeAt(rowNamed(*manager->model(), "big")));
    EXPECT_EQ(manager->breadcrumb(), (QStringList{"Week 1", "big"}));
    manager->goUp(1);
    manager->findField()->setText(QStringLiteral("*.bin"));
    EXPECT_EQ(names(*manager->model()), (QStringList{"medium.bin"}));
    manager->findField()->clear();
    manager->setListView(StorageManagerPage::ListView::largest);
    ASSERT_TRUE(waitFor([&] { return !manager->breakdown()->isComputing(); }));
    ASSERT_FALSE(manager->breakdown()->largestNodes().empty());
    EXPECT_EQ(manager->model()->tree()->name(manager->breakdown()->largestNodes().front()),
              QStringLiteral("a.bin"));

    const QString shots = qEnvironmentVariable("VELMOX_STORAGEPAGE_SHOTS");
    manager->show();
    QCoreApplication::processEvents();
    const QImage shot = manager->grab().toImage();
    ASSERT_FALSE(shot.isNull());
    if (!shots.isEmpty())
        shot.save(shots + "/storage-manager-catalog.png");

    // Back to the live scan the page showed before.
    manager->setListView(StorageManagerPage::ListView::folder);
    catalog.backButton()->click();
    EXPECT_EQ(manager->job(), live);
    EXPECT_FALSE(catalog.isVisibleTo(manager.get()));
    EXPECT_FALSE(names(*manager->model()).contains("medium.bin"));
    manager->list()->selectAll();
    EXPECT_TRUE(manager->itemActions()->action(StorageItemActions::moveToTrash)->isEnabled());
    EXPECT_TRUE(manager->navigationDetail().contains("scope"));

    // Asked for before Storage Manager was made: the page made then opens it.
    manager.reset();
    page->openCatalog(QStringLiteral("Week 1"));
    const auto later = makePage(&store);
    ASSERT_TRUE(waitFor([&] { return later->model()->tree() != nullptr; }));
    EXPECT_EQ(later->job(), nullptr);
    EXPECT_TRUE(names(*later->model()).contains("medium.bin"));
}

} // namespace
