#pragma once

#include "storage/FileTree.h"
#include "storage/NameFilter.h"

#include <QAbstractTableModel>
#include <memory>
#include <vector>

namespace velmox {

// The children of one folder of a scan as table rows: name, size, share of the folder,
// item count, date and kind. Rows are read straight from the tree's columns through one
// index order (no object per row), so a folder with 100,000 children costs one vector.
// Name, size and date orders come from the tree's cached sorted child orders.
class StorageChildModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { name, size, share, items, date, kind };
    static constexpr int kColumns = kind + 1;
    static constexpr int kNodeRole = Qt::UserRole + 1;

    using QAbstractTableModel::QAbstractTableModel;

    void setTree(std::shared_ptr<const FileTree> tree, int32_t folder = 0);
    void setFolder(int32_t folder);
    // `real` (allocated) or `logical`.
    void setSizeKey(TreeSortKey key);
    // Lists only the children whose names pass the filter.
    void setNameFilter(const NameFilter& filter);
    const NameFilter& nameFilter() const { return filter_; }

    const std::shared_ptr<const FileTree>& tree() const { return tree_; }
    int32_t folder() const { return folder_; }
    TreeSortKey sizeKey() const { return sizeKey_; }
    int32_t nodeAt(int row) const;
    int rowOf(int32_t node) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

    // A modification date, short: the locale's short date and hours and minutes.
    static QString dateText(const QDateTime& date);
    static QString kindText(NodeKind kind);
    // The kind shown for a node: a file's by its extension, a folder the walk did not enter
    // by the reason.
    static QString kindOf(const FileTree& tree, int32_t node);
    // Why the walk did not enter a folder (another disk is mounted there, it leads back to a
    // folder counted elsewhere, or it could not be opened); empty for every other node.
    static QString explanation(const FileTree& tree, int32_t node);

private:
    void rebuildOrder();
    void rebuildSortedOrder();

    std::shared_ptr<const FileTree> tree_;
    int32_t folder_ = 0;
    TreeSortKey sizeKey_ = TreeSortKey::real;
    int sortColumn_ = size;
    Qt::SortOrder sortOrder_ = Qt::DescendingOrder;
    // Keeps the tree's cached order alive while it is shown.
    std::shared_ptr<const std::vector<int32_t>> order_;
    bool reversed_ = false;
    NameFilter filter_;
};

} // namespace velmox
