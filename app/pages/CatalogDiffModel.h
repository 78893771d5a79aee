#pragma once

#include "storage/CatalogDiff.h"

#include <QAbstractTableModel>
#include <QStyledItemDelegate>
#include <memory>

namespace velmox {

// The changed items of one folder of a comparison as table rows, largest change first:
// name, size before, size after, the change and what happened. Main thread only.
class CatalogDiffModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { name, before, after, change, kind };
    static constexpr int kColumns = kind + 1;
    // The row of the comparison a table row stands for.
    static constexpr int kRowRole = Qt::UserRole + 1;
    // The change as a share (-1 to 1) of the largest change in the folder shown.
    static constexpr int kShareRole = Qt::UserRole + 2;

    using QAbstractTableModel::QAbstractTableModel;

    void setDiff(std::shared_ptr<const CatalogDiff> diff, int32_t folder = 0);
    void setFolder(int32_t folder);
    const std::shared_ptr<const CatalogDiff>& diff() const { return diff_; }
    int32_t folder() const { return folder_; }
    int32_t rowAt(int row) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // "+1.2 MB", "-300 kB", "0 B".
    static QString changeText(int64_t change);
    // "Grew", "Shrank", "New", "Gone", "Moved inside".
    static QString kindText(const CatalogDiff::Row& row);

private:
    std::shared_ptr<const CatalogDiff> diff_;
    int32_t folder_ = 0;
    int64_t largest_ = 0;
};

// Draws the change column as a bar out from its middle: growth to the right in green,
// shrinking to the left in red, as long as the change's share of the largest one.
class CatalogChangeDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    static constexpr int kFigureWidth = 84;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

    static QColor growthColor();
    static QColor shrinkColor();
};

} // namespace velmox
