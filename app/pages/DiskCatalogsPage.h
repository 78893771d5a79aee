#pragma once

#include "storage/CatalogDiff.h"
#include "storage/StorageCatalogStore.h"

#include <QThreadPool>
#include <QWidget>
#include <atomic>
#include <functional>
#include <memory>

class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QTreeView;
class QStandardItemModel;

namespace velmox {

class AppNavigationState;
class AppStatusCenter;
class CatalogDiffModel;
class EmptyStateView;
class ScanCenter;
class ScanJob;

// The Disk Catalogs page: scans saved by name. It saves the current scan of the Storage
// Manager as a catalog, lists the catalogs with their date, volume, size and item count
// (a damaged file with the reason it cannot be read), opens one in the Storage Manager,
// renames and deletes them, and compares a catalog with the current scan or two catalogs
// with each other: per folder what grew, shrank, appeared and vanished, largest change
// first, folder by folder.
//
// Lives on the main thread. Files are read and compared on the page's own worker threads,
// and saved, renamed and deleted through the store's write queues; answers come back to the
// main thread and are dropped when the page has gone (the destructor waits for the
// workers). The store, the scan centre and the navigation state must outlive the page. The
// list follows the store's catalogsChanged, so every page over the same store stays in step.
class DiskCatalogsPage : public QWidget {
    Q_OBJECT
public:
    enum class View { list, comparison };
    enum Column { nameColumn, dateColumn, volumeColumn, sizeColumn, itemsColumn };

    DiskCatalogsPage(StorageCatalogStore& store, ScanCenter& center, AppNavigationState& navigation,
                     AppStatusCenter* status = nullptr, QWidget* parent = nullptr);
    ~DiskCatalogsPage() override;

    // Reads the list again (off the main thread); listChanged() follows.
    void refresh();
    const QList<CatalogListEntry>& catalogs() const { return catalogs_; }
    QTreeView* catalogList() const { return list_; }
    QStandardItemModel* listModel() const { return listModel_; }
    View view() const;
    void showList();
    // The answer of the last action, shown under the toolbar.
    QString messageText() const;

    // The finished scan that "Save" saves and a comparison compares with: the Storage
    // Manager's most recently viewed one, preferring a scan of `rootPath` when one is
    // given; null when there is none.
    ScanJob* currentScan(const QString& rootPath = {}) const;
    void saveCurrentScan(const QString& name);
    void renameCatalog(const QString& oldName, const QString& newName);
    void deleteCatalog(const QString& name);

    // Shows a catalog in the Storage Manager; one listed as damaged is refused here with the
    // reason.
    void openCatalog(const QString& name);

    // Compares a catalog (the older scan) with the current finished scan, or with another
    // catalog (the older of the two is the base).
    void compareWithCurrentScan(const QString& name);
    void compareCatalogs(const QString& first, const QString& second);
    CatalogDiffModel* diffModel() const { return diffModel_; }
    QTreeView* diffList() const { return diffList_; }
    void enterDiffFolder(int32_t row);
    // The names from the compared roots down to the folder shown.
    QStringList diffBreadcrumb() const;
    QString comparisonTitle() const;
    QString comparisonSummary() const;
    void goUp();

signals:
    void listChanged();
    // A comparison is ready, or it failed (see messageText()).
    void viewReady();

private:
    // Runs `work` on a worker of the page and hands its result to `done` on the main
    // thread, if the page is still there.
    template <typename Work, typename Done> void inBackground(Work work, Done done);
    struct Comparison;
    // Runs a comparison made by `work` off the main thread and shows it.
    template <typename Work> void compare(Work work);
    void showMessage(const QString& message, bool success);
    void fillList();
    void updateButtons();
    QStringList selectedNames() const;
    void compareSelection();
    void askToRename();
    void askToDelete();
    void showComparison(std::shared_ptr<const CatalogDiff> diff, const QString& title);
    void updateDiffFolder();
    // Says so when a catalog compared is no longer listed.
    void noteShownGone();

    StorageCatalogStore& store_;
    ScanCenter& center_;
    AppNavigationState& navigation_;
    AppStatusCenter* status_;
    QList<CatalogListEntry> catalogs_;
    QStringList shownCatalogs_; // in the comparison

    QLineEdit* saveName_;
    QPushButton* save_;
    QLabel* message_;
    QStackedWidget* views_;
    QStackedWidget* listStack_;
    EmptyStateView* emptyState_;
    QTreeView* list_;
    QStandardItemModel* listModel_;
    QPushButton* open_;
    QPushButton* compare_;
    QPushButton* rename_;
    QPushButton* delete_;

    QLabel* diffTitle_;
    QLabel* diffSummary_;
    QLabel* diffPath_;
    QTreeView* diffList_;
    CatalogDiffModel* diffModel_;

    std::shared_ptr<std::atomic_bool> closing_ = std::make_shared<std::atomic_bool>(false);
    QThreadPool workers_; // last: destroyed, and so waited for, first
};

} // namespace velmox
