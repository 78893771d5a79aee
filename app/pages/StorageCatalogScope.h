#pragma once

#include "storage/CatalogRecords.h"
#include "storage/ScanScope.h"

#include <QFrame>
#include <memory>
#include <thread>

class QLabel;
class QPushButton;

namespace velmox {

class StorageCatalogStore;

// A saved catalog shown in the Storage Manager in place of a live scan: what was on the disk
// when it was scanned, so it is only read, never acted on (no rescans, moves to the Trash or
// deletions). Also the card that says so above the page's browser, with the way back to
// the live scans.
//
// Lives on the main thread. The catalog is read on a thread of its own, joined by the next
// open() or the destructor; loaded() or failed() follows on the main thread, and an answer
// for a catalog no longer asked for is dropped. The store must outlive this object.
class StorageCatalogScope : public QFrame {
    Q_OBJECT
public:
    explicit StorageCatalogScope(QWidget* parent = nullptr);
    ~StorageCatalogScope() override;

    void setStore(StorageCatalogStore* store) { store_ = store; }
    StorageCatalogStore* store() const { return store_; }

    // A catalog is shown, or being read.
    bool isActive() const { return !name_.isEmpty(); }
    bool isLoading() const { return isActive() && !tree_; }
    const QString& name() const { return name_; }
    const CatalogMeta& meta() const { return meta_; }
    std::shared_ptr<const FileTree> tree() const { return tree_; }
    // What the page names the catalog by: its root folder, titled with the catalog's name.
    ScanScope scope() const;
    // The line under the toolbar: size, items and folders, and the volume scanned.
    QString summary(TreeSortKey key) const;
    // The card's heading and sentence.
    QString heading() const;
    QString detail() const;
    // "Back to Live Scans".
    QPushButton* backButton() const { return back_; }

    // Starts reading the catalog `name`.
    void open(const QString& name);
    // Shows nothing again.
    void close();

signals:
    void loaded();
    // The catalog could not be read; the message says why.
    void failed(const QString& message);
    // "Back to Live Scans".
    void backRequested();

private:
    void refresh();

    StorageCatalogStore* store_ = nullptr;
    QString name_;
    CatalogMeta meta_;
    std::shared_ptr<const FileTree> tree_;
    int generation_ = 0;
    QLabel* heading_;
    QLabel* detail_;
    QPushButton* back_;
    std::jthread loader_; // last: joined first
};

} // namespace velmox
