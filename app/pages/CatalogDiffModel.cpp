#include "app/pages/CatalogDiffModel.h"

#include "services/ShownText.h"

#include <QPainter>

namespace velmox {

void CatalogDiffModel::setDiff(std::shared_ptr<const CatalogDiff> diff, int32_t folder) {
    beginResetModel();
    diff_ = std::move(diff);
    folder_ = 0;
    endResetModel();
    setFolder(folder);
}

void CatalogDiffModel::setFolder(int32_t folder) {
    beginResetModel();
    folder_ = diff_ && folder >= 0 && folder < diff_->size() ? folder : 0;
    largest_ = 0;
    if (diff_)
        for (const int32_t child : diff_->row(folder_).children)
            largest_ = std::max(largest_, std::abs(diff_->row(child).change()));
    endResetModel();
}

int32_t CatalogDiffModel::rowAt(int row) const {
    if (!diff_ || row < 0 || row >= rowCount())
        return -1;
    return diff_->row(folder_).children[static_cast<size_t>(row)];
}

int CatalogDiffModel::rowCount(const QModelIndex& parent) const {
    if (parent.isValid() || !diff_)
        return 0;
    return static_cast<int>(diff_->row(folder_).children.size());
}

int CatalogDiffModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QString CatalogDiffModel::changeText(int64_t change) {
    if (change == 0)
        return byteText(0);
    return (change > 0 ? QStringLiteral("+") : QStringLiteral("-")) + byteText(std::abs(change));
}

QString CatalogDiffModel::kindText(const CatalogDiff::Row& row) {
    switch (row.kind) {
    case CatalogDiff::Kind::grown:
        return QStringLiteral("Grew");
    case CatalogDiff::Kind::shrunk:
        return QStringLiteral("Shrank");
    case CatalogDiff::Kind::appeared:
        return QStringLiteral("New");
    case CatalogDiff::Kind::vanished:
        return QStringLiteral("Gone");
    case CatalogDiff::Kind::unchanged:
        break;
    }
    return QStringLiteral("Moved inside");
}

QVariant CatalogDiffModel::data(const QModelIndex& index, int role) const {
    const int32_t at = rowAt(index.row());
    if (at < 0)
        return {};
    const CatalogDiff::Row& row = diff_->row(at);
    if (role == kRowRole)
        return at;
    if (role == kShareRole)
        return largest_ > 0 ? double(row.change()) / double(largest_) : 0.0;
    if (role == Qt::TextAlignmentRole && index.column() != name && index.column() != kind)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole)
        return shownName(QByteArrayView(diff_->pathBytes(at)));
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case name:
        return shownName(QByteArrayView(row.name)) +
               (row.isFolder ? QStringLiteral("/") : QString());
    case before:
        return row.kind == CatalogDiff::Kind::appeared ? QStringLiteral("-") : byteText(row.before);
    case after:
        return row.kind == CatalogDiff::Kind::vanished ? QStringLiteral("-") : byteText(row.after);
    case change:
        return changeText(row.change());
    case kind:
        return kindText(row);
    default:
        return {};
    }
}

QVariant CatalogDiffModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    static const QStringList titles{QStringLiteral("Name"), QStringLiteral("Before"),
                                    QStringLiteral("After"), QStringLiteral("Change"),
                                    QStringLiteral("What Happened")};
    return titles.value(section);
}

QColor CatalogChangeDelegate::growthColor() {
    return QColor(0x34, 0xa8, 0x53);
}

QColor CatalogChangeDelegate::shrinkColor() {
    return QColor(0xe0, 0x4b, 0x3c);
}

void CatalogChangeDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                  const QModelIndex& index) const {
    const double share = index.data(CatalogDiffModel::kShareRole).toDouble();
    if (share != 0) {
        // The bar keeps clear of the figure, which is drawn right-aligned after it.
        const QRectF area = QRectF(option.rect).adjusted(4, 5, -kFigureWidth, -5);
        const double middle = area.center().x();
        // At least a sliver, so a small change is still seen.
        const double length = std::max(2.0, std::abs(share) * area.width() / 2);
        const QRectF bar = share > 0 ? QRectF(middle, area.top(), length, area.height())
                                     : QRectF(middle - length, area.top(), length, area.height());
        QColor color = share > 0 ? growthColor() : shrinkColor();
        color.setAlphaF(0.55);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush(color);
        painter->drawRoundedRect(bar, 2, 2);
        painter->restore();
    }
    QStyledItemDelegate::paint(painter, option, index);
}

} // namespace velmox
