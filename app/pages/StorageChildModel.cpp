#include "app/pages/StorageChildModel.h"

#include "services/ShownText.h"
#include "storage/ChartSegment.h"

#include <QColor>
#include <QGuiApplication>
#include <QLocale>
#include <QPalette>
#include <algorithm>

namespace velmox {

namespace {

QString fileKind(const QString& name) {
    // A leading dot marks a hidden file, not an extension.
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return QStringLiteral("File");
    return name.mid(dot + 1).toUpper() + QStringLiteral(" file");
}

// Names compared as people read them: runs of digits by their value ("file 2" before
// "file 10"), letters without regard to case, ties broken by the exact text.
int naturalCompare(const QString& a, const QString& b) {
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            const qsizetype startA = i;
            const qsizetype startB = j;
            while (i < a.size() && a[i].isDigit())
                ++i;
            while (j < b.size() && b[j].isDigit())
                ++j;
            QStringView digitsA = QStringView(a).mid(startA, i - startA);
            QStringView digitsB = QStringView(b).mid(startB, j - startB);
            while (digitsA.size() > 1 && digitsA[0] == QLatin1Char('0'))
                digitsA = digitsA.mid(1);
            while (digitsB.size() > 1 && digitsB[0] == QLatin1Char('0'))
                digitsB = digitsB.mid(1);
            if (digitsA.size() != digitsB.size())
                return digitsA.size() < digitsB.size() ? -1 : 1;
            if (const int order = digitsA.compare(digitsB); order != 0)
                return order;
            continue;
        }
        const QChar left = a[i].toCaseFolded();
        const QChar right = b[j].toCaseFolded();
        if (left != right)
            return left < right ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    return a.compare(b);
}

// The children A to Z in that reading order.
std::shared_ptr<const std::vector<int32_t>> naturalNameOrder(const FileTree& tree, int32_t folder) {
    auto order =
        std::make_shared<std::vector<int32_t>>(*tree.sortedChildren(folder, TreeSortKey::name));
    const uint32_t first = tree.firstChild(folder);
    std::vector<QString> names(order->size());
    for (int32_t child : *order)
        names[size_t(uint32_t(child) - first)] = tree.name(child);
    std::stable_sort(order->begin(), order->end(), [&](int32_t a, int32_t b) {
        return naturalCompare(names[size_t(uint32_t(a) - first)],
                              names[size_t(uint32_t(b) - first)]) < 0;
    });
    return order;
}

} // namespace

void StorageChildModel::setTree(std::shared_ptr<const FileTree> tree, int32_t folder) {
    beginResetModel();
    tree_ = std::move(tree);
    folder_ = tree_ && folder >= 0 && folder < tree_->size() ? folder : 0;
    rebuildOrder();
    endResetModel();
}

void StorageChildModel::setFolder(int32_t folder) {
    setTree(tree_, folder);
}

void StorageChildModel::setSizeKey(TreeSortKey key) {
    if (key == sizeKey_)
        return;
    beginResetModel();
    sizeKey_ = key;
    rebuildOrder();
    endResetModel();
}

void StorageChildModel::sort(int column, Qt::SortOrder order) {
    if (column < 0 || column >= kColumns)
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<int32_t> nodes;
    nodes.reserve(size_t(before.size()));
    for (const QModelIndex& index : before)
        nodes.push_back(nodeAt(index.row()));
    sortColumn_ = column;
    sortOrder_ = order;
    rebuildOrder();
    QModelIndexList after;
    after.reserve(before.size());
    for (qsizetype i = 0; i < before.size(); ++i)
        after.append(index(rowOf(nodes[size_t(i)]), before[i].column()));
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void StorageChildModel::setNameFilter(const NameFilter& filter) {
    beginResetModel();
    filter_ = filter;
    rebuildOrder();
    endResetModel();
}

void StorageChildModel::rebuildOrder() {
    rebuildSortedOrder();
    if (!order_ || filter_.isEmpty())
        return;
    auto kept = std::make_shared<std::vector<int32_t>>();
    for (const int32_t node : *order_)
        if (filter_.matches(tree_->nameBytes(node)))
            kept->push_back(node);
    order_ = std::move(kept);
}

void StorageChildModel::rebuildSortedOrder() {
    order_.reset();
    reversed_ = false;
    if (!tree_)
        return;
    // The tree's orders: sizes and dates largest first, names A to Z.
    switch (sortColumn_) {
    case name:
        order_ = naturalNameOrder(*tree_, folder_);
        reversed_ = sortOrder_ == Qt::DescendingOrder;
        return;
    case size:
    case share:
        order_ = tree_->sortedChildren(folder_, sizeKey_);
        reversed_ = sortOrder_ == Qt::AscendingOrder;
        return;
    case date:
        order_ = tree_->sortedChildren(folder_, TreeSortKey::date);
        reversed_ = sortOrder_ == Qt::AscendingOrder;
        return;
    default:
        break;
    }
    // Item counts and kinds are sorted here, starting from the name order so equal ones
    // stay A to Z.
    auto order = std::make_shared<std::vector<int32_t>>(*naturalNameOrder(*tree_, folder_));
    const FileTree& tree = *tree_;
    if (sortColumn_ == items) {
        std::stable_sort(order->begin(), order->end(),
                         [&tree](int32_t a, int32_t b) { return tree.items(a) < tree.items(b); });
    } else {
        std::vector<QString> kinds(order->size());
        const uint32_t first = tree.firstChild(folder_);
        for (int32_t child : *order)
            kinds[size_t(uint32_t(child) - first)] = kindOf(tree, child);
        std::stable_sort(order->begin(), order->end(), [&](int32_t a, int32_t b) {
            return kinds[size_t(uint32_t(a) - first)] < kinds[size_t(uint32_t(b) - first)];
        });
    }
    order_ = std::move(order);
    reversed_ = sortOrder_ == Qt::DescendingOrder;
}

int32_t StorageChildModel::nodeAt(int row) const {
    if (!order_ || row < 0 || size_t(row) >= order_->size())
        return -1;
    return reversed_ ? (*order_)[order_->size() - 1 - size_t(row)] : (*order_)[size_t(row)];
}

int StorageChildModel::rowOf(int32_t node) const {
    if (!order_)
        return -1;
    const auto found = std::find(order_->begin(), order_->end(), node);
    if (found == order_->end())
        return -1;
    const auto position = int(found - order_->begin());
    return reversed_ ? int(order_->size()) - 1 - position : position;
}

int StorageChildModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || !order_ ? 0 : int(order_->size());
}

int StorageChildModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QString StorageChildModel::dateText(const QDateTime& date) {
    const QLocale locale;
    QString time = locale.timeFormat(QLocale::ShortFormat);
    time.remove(QLatin1String(":ss"));
    return locale.toString(date.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           locale.toString(date.time(), time);
}

QString StorageChildModel::kindText(NodeKind kind) {
    switch (kind) {
    case NodeKind::folder:
        return QStringLiteral("Folder");
    case NodeKind::package:
        return QStringLiteral("Package");
    case NodeKind::file:
        return QStringLiteral("File");
    case NodeKind::symbolicLink:
        return QStringLiteral("Symbolic link");
    case NodeKind::mountPoint:
        return QStringLiteral("Other disk");
    case NodeKind::other:
        break;
    }
    return QStringLiteral("Device or socket");
}

QString StorageChildModel::kindOf(const FileTree& tree, int32_t node) {
    if (tree.hasFlag(node, NodeFlag::linkedFolder))
        return QStringLiteral("Linked folder");
    if (tree.hasFlag(node, NodeFlag::blocked))
        return QStringLiteral("Unreadable folder");
    const NodeKind kind = tree.kind(node);
    return kind == NodeKind::file ? fileKind(tree.name(node)) : kindText(kind);
}

QString StorageChildModel::explanation(const FileTree& tree, int32_t node) {
    if (tree.hasFlag(node, NodeFlag::excluded))
        return QStringLiteral("This item matches one of the scan's exclusions, so it was skipped "
                              "and is not counted.");
    if (tree.hasFlag(node, NodeFlag::mountPoint))
        return QStringLiteral("Another disk is mounted in this folder. It is not part of this "
                              "scan.");
    if (tree.hasFlag(node, NodeFlag::linkedFolder))
        return QStringLiteral("This folder leads back to a folder that is already counted "
                              "elsewhere in this scan.");
    if (tree.hasFlag(node, NodeFlag::blocked))
        return QStringLiteral("This folder could not be opened, so its contents are not "
                              "counted. Double-click it to see why.");
    return {};
}

QVariant StorageChildModel::data(const QModelIndex& index, int role) const {
    const int32_t node = nodeAt(index.row());
    if (node < 0 || !index.isValid())
        return {};
    const FileTree& tree = *tree_;
    if (role == kNodeRole)
        return node;
    if (role == Qt::TextAlignmentRole)
        return index.column() == size || index.column() == share || index.column() == items
                   ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                   : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole) {
        if (const QString why = explanation(tree, node); !why.isEmpty())
            return why;
        return index.column() == name ? QVariant(shownName(QByteArrayView(tree.pathBytes(node))))
                                      : QVariant();
    }
    if (role == Qt::ForegroundRole && tree.hasFlag(node, NodeFlag::blocked))
        return QColor(0xd9, 0x6c, 0x00);
    if (role == Qt::ForegroundRole && tree.hasFlag(node, NodeFlag::excluded))
        return QGuiApplication::palette().color(QPalette::Disabled, QPalette::Text);
    if (role != Qt::DisplayRole)
        return {};
    const QLocale locale;
    // A folder the walk did not enter has no share or contents of its own to show.
    const bool entered = !tree.hasFlag(node, NodeFlag::mountPoint | NodeFlag::linkedFolder |
                                                 NodeFlag::blocked | NodeFlag::excluded);
    switch (index.column()) {
    case name:
        return shownName(tree.nameBytes(node));
    case size:
        if (tree.hasFlag(node, NodeFlag::mountPoint))
            return QStringLiteral("not scanned");
        if (tree.hasFlag(node, NodeFlag::excluded))
            return QStringLiteral("Excluded");
        if (tree.hasFlag(node, NodeFlag::multiplyLinked | NodeFlag::linkedFolder) &&
            tree.size(node, sizeKey_) == 0)
            return QStringLiteral("counted elsewhere");
        return locale.formattedDataSize(tree.size(node, sizeKey_), 1, QLocale::DataSizeSIFormat);
    case share:
        return entered ? StorageChart::percentLabel(tree.size(node, sizeKey_),
                                                    tree.size(folder_, sizeKey_))
                       : QString();
    case items:
        return entered && tree.hasFlag(node, NodeFlag::directory)
                   ? StorageChart::itemCount(tree.items(node))
                   : QString();
    case date:
        return dateText(QDateTime::fromSecsSinceEpoch(tree.mtime(node)));
    case kind:
        return kindOf(tree, node);
    default:
        return {};
    }
}

QVariant StorageChildModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return section == size || section == share || section == items
                   ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                   : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole && section == share)
        return QStringLiteral("Each item's share of the folder shown");
    if (role != Qt::DisplayRole)
        return {};
    static const char* const titles[] = {"Name", "Size", "% of Folder", "Items", "Date", "Kind"};
    return section >= 0 && section < kColumns ? QString::fromLatin1(titles[section]) : QVariant();
}

} // namespace velmox
