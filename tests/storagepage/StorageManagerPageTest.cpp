#include "app/Appearance.h"
#include "app/pages/EmptyStateView.h"
#include "app/pages/StorageRingChart.h"
#include "services/Settings.h"
#include "tests/storagepage/StoragePageFixture.h"

#include <QHeaderView>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <QTreeView>

using namespace velmox;
using namespace velmox::test;

namespace {

using StorageManagerPageTest = StoragePageFixture;

QPushButton* button(QWidget& page, const QString& text) {
    for (QPushButton* candidate : page.findChildren<QPushButton*>())
        if (candidate->text() == text)
            return candidate;
    return nullptr;
}

TEST_F(StorageManagerPageTest, AScanListsTheChildrenWithTheSizesOnDiskAndLeadsTheStatusLineBack) {
    navigation.setCurrentPage(QStringLiteral("storageManager"));
    auto page = makePage();
    page->setScope(StorageManagerPage::folderScope(root));
    page->startScan();
    EXPECT_EQ(status.message(), "Scanning Storage: fixture...");
    EXPECT_EQ(status.originPage(), "storageManager");
    ASSERT_TRUE(status.originDetail().has_value());
    const QJsonObject detail = QJsonDocument::fromJson(status.originDetail()->toUtf8()).object();
    EXPECT_EQ(detail["scope"].toObject()["path"].toString(), root);
    ASSERT_TRUE(waitFor([&] { return page->job()->state() == ScanJob::State::finished; }));

    const StorageChildModel& model = *page->model();
    QStringList shown = names(model);
    shown.sort();
    ASSERT_EQ(shown, (QStringList{"big", "medium.bin", "small.txt", "sparse.img"}));
    // Largest allocated first, each size the file's st_blocks x 512.
    const auto tree = model.tree();
    int64_t previous = INT64_MAX;
    for (int row = 0; row < model.rowCount(); ++row) {
        const int32_t node = model.nodeAt(row);
        EXPECT_LE(tree->alloc(node), previous);
        previous = tree->alloc(node);
        EXPECT_EQ(cell(model, row, StorageChildModel::size),
                  QLocale().formattedDataSize(tree->alloc(node), 1, QLocale::DataSizeSIFormat));
    }
    EXPECT_EQ(cell(model, 0, StorageChildModel::name), "big");
    const int medium = rowNamed(model, "medium.bin");
    EXPECT_EQ(model.tree()->alloc(model.nodeAt(medium)),
              int64_t(statOf(root + "/medium.bin").st_blocks) * 512);
    EXPECT_EQ(cell(model, 0, StorageChildModel::items), "4 items"); // a, b, sub, c
    EXPECT_EQ(cell(model, 0, StorageChildModel::kind), "Folder");
    EXPECT_EQ(cell(model, medium, StorageChildModel::kind), "BIN file");
    EXPECT_EQ(cell(model, medium, StorageChildModel::share),
              StorageChart::percentLabel(tree->alloc(model.nodeAt(medium)), tree->alloc(0)));

    // The ring: "big" first, in the same colour as nowhere else.
    const QList<ChartSlice>& slices = page->chart()->slices();
    ASSERT_FALSE(slices.isEmpty());
    EXPECT_EQ(slices.first().segment.label, "big");
    EXPECT_DOUBLE_EQ(slices.last().endAngle, 360.0);
    EXPECT_TRUE(page->progressText().contains("3 folders")) << page->progressText().toStdString();
    EXPECT_EQ(status.message(), "Success: Scanned fixture.");
}

TEST_F(StorageManagerPageTest, NamesSortAsNumbersReadAndControlCharactersShowOnOneLine) {
    const QString folder = root + "/names";
    for (const char* name : {"file 10", "file 2", "File 1", "line\nbreak", "bell\x07\x1b[31m"})
        writeFile(folder + "/" + QString::fromUtf8(name), 10);
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, folder));
    page->list()->sortByColumn(StorageChildModel::name, Qt::AscendingOrder);
    EXPECT_EQ(names(*page->model()), (QStringList{R"(bell\x07\x1b[31m)", "File 1", "file 2",
                                                  "file 10", R"(line\nbreak)"}));
    const int row = rowNamed(*page->model(), R"(line\nbreak)");
    EXPECT_EQ(page->model()->data(page->model()->index(row, 0), Qt::ToolTipRole).toString(),
              folder + R"(/line\nbreak)");
}

TEST_F(StorageManagerPageTest, HeaderClicksSortByNameDateItemsAndBackBySize) {
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    QTreeView& list = *page->list();
    const StorageChildModel& model = *page->model();
    list.sortByColumn(StorageChildModel::name, Qt::DescendingOrder);
    EXPECT_EQ(names(model), (QStringList{"sparse.img", "small.txt", "medium.bin", "big"}));
    list.sortByColumn(StorageChildModel::items, Qt::DescendingOrder);
    EXPECT_EQ(names(model).first(), "big");
    list.sortByColumn(StorageChildModel::kind, Qt::AscendingOrder);
    EXPECT_EQ(names(model), (QStringList{"medium.bin", "big", "sparse.img", "small.txt"}));

    // Dates: the newest first, then oldest first.
    const QString old = root + "/small.txt";
    QFile aged(old);
    ASSERT_TRUE(aged.open(QIODevice::ReadWrite));
    ASSERT_TRUE(aged.setFileTime(QDateTime::currentDateTime().addYears(-3),
                                 QFileDevice::FileModificationTime));
    aged.close();
    page->startScan();
    ASSERT_TRUE(waitFor([&] { return page->job()->state() == ScanJob::State::finished; }));
    list.sortByColumn(StorageChildModel::date, Qt::DescendingOrder);
    EXPECT_GT(names(model).indexOf("small.txt"), names(model).indexOf("medium.bin"));
    list.sortByColumn(StorageChildModel::date, Qt::AscendingOrder);
    EXPECT_LT(names(model).indexOf("small.txt"), names(model).indexOf("medium.bin"));

    // A selected row stays selected through a new order.
    list.sortByColumn(StorageChildModel::size, Qt::DescendingOrder);
    list.setCurrentIndex(model.index(rowNamed(model, "medium.bin"), 0));
    list.sortByColumn(StorageChildModel::size, Qt::AscendingOrder);
    EXPECT_EQ(names(model).last(), "big");
    EXPECT_EQ(cell(model, list.currentIndex().row(), StorageChildModel::name), "medium.bin");
}

TEST_F(StorageManagerPageTest, DoubleClickEntersAFolderAndTheBreadcrumbLeadsBack) {
    auto page = makePage();
    page->show();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    QTreeView& list = *page->list();
    const StorageChildModel& model = *page->model();

    // Files do not open.
    emit list.activated(model.index(rowNamed(model, "medium.bin"), 0));
    EXPECT_EQ(page->currentFolder(), 0);

    const QModelIndex big = model.index(rowNamed(model, "big"), 0);
    list.scrollTo(big);
    const QRect cellRect = list.visualRect(big);
    QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, cellRect.center());
    if (page->currentFolder() == 0) // styles that open on a single click
        emit list.activated(big);
    EXPECT_EQ(page->breadcrumb(), (QStringList{"fixture", "big"}));
    EXPECT_EQ(names(model), (QStringList{"a.bin", "b.bin", "sub"}));
    EXPECT_EQ(page->chart()->slices().first().segment.label, "a.bin");

    emit list.activated(model.index(rowNamed(model, "sub"), 0));
    EXPECT_EQ(page->breadcrumb(), (QStringList{"fixture", "big", "sub"}));
    EXPECT_EQ(names(model), (QStringList{"c.bin"}));
    const QJsonObject detail = QJsonDocument::fromJson(page->navigationDetail().toUtf8()).object();
    EXPECT_EQ(detail["folder"].toString(), root + "/big/sub");

    // Backspace goes up a level.
    page->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(page.get()));
    list.setFocus();
    QTest::keyClick(&list, Qt::Key_Backspace);
    EXPECT_EQ(page->breadcrumb(), (QStringList{"fixture", "big"}));

    // The breadcrumb's first button goes back to the top.
    QToolButton* top = nullptr;
    for (QToolButton* candidate : page->findChildren<QToolButton*>())
        if (candidate->text() == "fixture")
            top = candidate;
    ASSERT_NE(top, nullptr);
    top->click();
    EXPECT_EQ(page->currentFolder(), 0);
    EXPECT_EQ(model.rowCount(), 4);
    emit list.activated(model.index(rowNamed(model, "big"), 0));
    QTest::keyClick(&list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(page->currentFolder(), 0);

    // The status line's way back names the scope and folder; a page shown for another
    // scope follows it.
    auto second = makePage();
    second->setScope(StorageManagerPage::homeScope());
    navigation.navigate(QStringLiteral("storageManager"),
                        QString::fromUtf8(QJsonDocument(QJsonObject{{"scope", detail["scope"]},
                                                                    {"folder", root + "/big"}})
                                              .toJson(QJsonDocument::Compact)));
    EXPECT_EQ(second->scope().path, root);
    EXPECT_EQ(second->breadcrumb(), (QStringList{"fixture", "big"}));
    // A damaged detail changes nothing.
    EXPECT_FALSE(second->applyNavigationDetail("{broken"));
    EXPECT_EQ(second->scope().path, root);
}

TEST_F(StorageManagerPageTest, TheSizeMeasureSwitchReordersRowsAndRing) {
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    const StorageChildModel& model = *page->model();
    EXPECT_EQ(names(model).last(), "sparse.img") << "a sparse file takes almost no space";

    QPushButton* logical = button(*page, "Logical");
    ASSERT_NE(logical, nullptr);
    logical->click();
    EXPECT_EQ(model.sizeKey(), TreeSortKey::logical);
    EXPECT_EQ(names(model).first(), "sparse.img");
    EXPECT_EQ(cell(model, 0, StorageChildModel::size),
              QLocale().formattedDataSize(8'000'000, 1, QLocale::DataSizeSIFormat));
    EXPECT_EQ(page->chart()->slices().first().segment.label, "sparse.img");

    button(*page, "Allocated")->click();
    EXPECT_EQ(names(model).first(), "big");
    EXPECT_EQ(page->chart()->slices().first().segment.label, "big");
}

TEST_F(StorageManagerPageTest, RescanningAFolderShowsWhatChangedAndStaysInIt) {
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    page->enterFolder(page->model()->nodeAt(rowNamed(*page->model(), "big")));
    writeFile(root + "/big/new.bin", 400'000);
    const auto before = page->model()->tree();
    const auto total = [](const FileTree& tree) {
        return QLocale().formattedDataSize(tree.alloc(0), 1, QLocale::DataSizeSIFormat);
    };
    button(*page, "Rescan Folder")->click();
    ASSERT_TRUE(waitFor([&] { return page->model()->tree() != before; }));
    EXPECT_EQ(page->breadcrumb(), (QStringList{"fixture", "big"}));
    EXPECT_EQ(names(*page->model()).first(), "new.bin");
    // The summary counts the new file, and says how old the scan is.
    EXPECT_TRUE(page->progressText().startsWith(total(*page->model()->tree())));
    EXPECT_FALSE(page->progressText().contains(total(*before)))
        << page->progressText().toStdString();
    clock.advance(std::chrono::minutes(5));
    page->setScope(StorageManagerPage::homeScope());
    page->setScope(StorageManagerPage::folderScope(root));
    EXPECT_TRUE(page->progressText().contains("Scanned 5 minutes ago"))
        << page->progressText().toStdString();
    page->enterFolder(page->model()->nodeAt(rowNamed(*page->model(), "big")));

    // A folder that is gone keeps the old result and says so.
    QDir(root + "/big").removeRecursively();
    button(*page, "Rescan Folder")->click();
    EXPECT_EQ(page->messageText(),
              "\"big\" could not be opened, so it was not rescanned and the previous result is "
              "kept.");
    EXPECT_EQ(names(*page->model()).first(), "new.bin");
}

TEST_F(StorageManagerPageTest, ScanControlsFollowTheJob) {
    auto page = makePage();
    page->setScope(StorageManagerPage::folderScope(root));
    EXPECT_TRUE(button(*page, "Scan")->isEnabled());
    EXPECT_FALSE(button(*page, "Pause")->isEnabled());
    EXPECT_FALSE(button(*page, "Rescan Folder")->isEnabled());
    page->startScan();
    button(*page, "Cancel")->click();
    EXPECT_EQ(page->job()->state(), ScanJob::State::idle);
    EXPECT_EQ(page->model()->rowCount(), 0);
    EXPECT_TRUE(button(*page, "Scan")->isEnabled());
    EXPECT_FALSE(status.isActive());

    // A paused scan cannot resume while a rescan copies its tree (the administrator pass:
    // ProtectedScanTest).
    for (int i = 0; i < 300; ++i)
        writeFile(root + QStringLiteral("/more%1/f").arg(i), 10);
    for (int attempt = 0; attempt < 5 && !page->job()->isPaused(); ++attempt) {
        page->job()->start(false, 1); // a busy machine may finish it before the pause
        button(*page, "Pause")->click();
        ASSERT_TRUE(waitFor([&] { return page->job()->state() != ScanJob::State::scanning; }));
    }
    ASSERT_TRUE(page->job()->isPaused());
    EXPECT_TRUE(button(*page, "Resume")->isEnabled());
    button(*page, "Rescan Folder")->click();
    ASSERT_TRUE(page->job()->rescanningFolder());
    EXPECT_FALSE(button(*page, "Resume")->isEnabled());
    EXPECT_FALSE(page->job()->resume());
    ASSERT_TRUE(waitFor([&] { return !page->job()->rescanningFolder(); }));
    EXPECT_TRUE(button(*page, "Resume")->isEnabled());
    button(*page, "Resume")->click();
    ASSERT_TRUE(waitFor([&] { return page->job()->state() == ScanJob::State::finished; }));
    EXPECT_FALSE(button(*page, "Resume")->isEnabled());
    EXPECT_EQ(page->model()->tree()->items(0), 8u + 600u);
}

// Folders the walk did not enter say why instead of passing for empty folders.
TEST(StorageChildModelTest, FoldersTheWalkDidNotEnterSayWhy) {
    auto tree = std::make_shared<FileTree>(QStringLiteral("/data"), QStringLiteral("data"));
    tree->append(-1, NodeFlag::directory, 4096, 4096, 0, "data");
    tree->append(0, NodeFlag::directory | NodeFlag::mountPoint, 0, 0, 0, "disk");
    tree->append(0, NodeFlag::directory | NodeFlag::linkedFolder, 0, 0, 0, "loop");
    tree->append(0, NodeFlag::directory, 4096, 4096, 0, "plain");
    tree->sumFolderSizes();
    StorageChildModel model;
    model.setTree(tree);
    const auto tip = [&](int row) {
        return model.data(model.index(row, StorageChildModel::size), Qt::ToolTipRole).toString();
    };
    const int disk = rowNamed(model, "disk");
    EXPECT_EQ(cell(model, disk, StorageChildModel::kind), "Other disk");
    EXPECT_EQ(cell(model, disk, StorageChildModel::size), "not scanned");
    EXPECT_EQ(cell(model, disk, StorageChildModel::share), "");
    EXPECT_EQ(cell(model, disk, StorageChildModel::items), "");
    EXPECT_EQ(tip(disk), "Another disk is mounted in this folder. It is not part of this scan.");
    const int loop = rowNamed(model, "loop");
    EXPECT_EQ(cell(model, loop, StorageChildModel::kind), "Linked folder");
    EXPECT_EQ(cell(model, loop, StorageChildModel::size), "counted elsewhere");
    EXPECT_EQ(tip(loop), "This folder leads back to a folder that is already counted elsewhere "
                         "in this scan.");
    const int plain = rowNamed(model, "plain");
    EXPECT_EQ(cell(model, plain, StorageChildModel::kind), "Folder");
    EXPECT_TRUE(tip(plain).isEmpty());
}

// Renders the page after a scan in both appearances; VELMOX_STORAGEPAGE_SHOTS names a
// folder to keep the pictures in for a look.
TEST_F(StorageManagerPageTest, RendersInBothAppearances) {
    for (int i = 0; i < 12; ++i)
        writeFile(root + QStringLiteral("/many/file%1.dat").arg(i), 20'000 * (i + 1));
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    Settings settings(QDir::homePath() + "/appearance.conf");
    for (const QString theme : {"dark", "light"}) {
        EXPECT_TRUE(settings.setValue(kAppearanceKey, theme));
        AppearanceController(settings).apply();
        page->show();
        QCoreApplication::processEvents();
        EXPECT_FALSE(page->findChild<EmptyStateView*>()->isVisible()) << "it would show through";
        const QImage image = page->grab().toImage();
        ASSERT_FALSE(image.isNull());
        const QString folder = qEnvironmentVariable("VELMOX_STORAGEPAGE_SHOTS");
        if (!folder.isEmpty()) {
            image.save(folder + "/storage-page-" + theme + ".png");
            page->chart()->grab().save(folder + "/storage-chart-" + theme + ".png");
        }
        // The ring's first colour is somewhere in the picture.
        const QColor first = StorageRingChart::colorFor(page->chart()->slices().first().segment);
        bool found = false;
        for (int y = 0; y < image.height() && !found; y += 2)
            for (int x = 0; x < image.width() && !found; x += 2)
                found = image.pixelColor(x, y) == first;
        EXPECT_TRUE(found) << theme.toStdString();
    }
}

} // namespace
