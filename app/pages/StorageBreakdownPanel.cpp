#include "app/pages/StorageBreakdownPanel.h"

#include "app/pages/StorageChildModel.h"
#include "services/ShownText.h"
#include "storage/ChartSegment.h"

#include <QAbstractTableModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QTreeView>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmox {

namespace {

QString sizeText(int64_t bytes) {
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

constexpr int kKindRole = Qt::UserRole + 1;
constexpr int kExtensionRole = Qt::UserRole + 2;

} // namespace

// The largest files as rows: name, size, the folder they are in (below the scanned root) and
// kind.
class LargestFilesModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;
    enum Column { name, size, folder, kind };

    void set(std::shared_ptr<const FileTree> tree, TreeSortKey key, std::vector<int32_t> nodes) {
        beginResetModel();
        tree_ = std::move(tree);
        key_ = key;
        nodes_ = std::move(nodes);
        endResetModel();
    }
    const std::vector<int32_t>& nodes() const { return nodes_; }

    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : int(nodes_.size());
    }
    int columnCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : kind + 1;
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || size_t(index.row()) >= nodes_.size())
            return {};
        const int32_t node = nodes_[size_t(index.row())];
        if (role == StorageChildModel::kNodeRole)
            return node;
        if (role == Qt::TextAlignmentRole)
            return index.column() == size ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                          : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
        if (role == Qt::ToolTipRole)
            return shownName(QByteArrayView(tree_->pathBytes(node)));
        if (role != Qt::DisplayRole)
            return {};
        switch (index.column()) {
        case name:
            return shownName(tree_->nameBytes(node));
        case size:
            return sizeText(tree_->size(node, key_));
        case folder: {
            const QByteArray root = tree_->pathBytes(0);
            const QByteArray path = tree_->pathBytes(tree_->parent(node));
            return path.size() > root.size()
                       ? shownName(QByteArrayView(path).sliced(root.size() + 1))
                       : QStringLiteral("—");
        }
        case kind:
            return fileKindTitle(TreeBreakdown::kindOf(*tree_, node));
        default:
            return {};
        }
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
            return {};
        static const char* const titles[] = {"Name", "Size", "Folder", "Kind"};
        return section >= 0 && section <= kind ? QString::fromLatin1(titles[section]) : QVariant();
    }

private:
    std::shared_ptr<const FileTree> tree_;
    TreeSortKey key_ = TreeSortKey::real;
    std::vector<int32_t> nodes_;
};

StorageBreakdownPanel::StorageBreakdownPanel(QWidget* parent)
    : QWidget(parent), stack_(new QStackedWidget(this)), largestPage_(new QWidget(this)),
      filterLabel_(new QLabel(largestPage_)),
      clearFilter_(new QPushButton(QStringLiteral("Show All"), largestPage_)),
      largest_(new QTreeView(largestPage_)), model_(new LargestFilesModel(this)),
      types_(new QTreeWidget(this)) {
    pool_.setMaxThreadCount(1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(stack_);

    auto* largestLayout = new QVBoxLayout(largestPage_);
    largestLayout->setContentsMargins(0, 0, 0, 0);
    auto* filterRow = new QHBoxLayout;
    filterLabel_->setObjectName(QStringLiteral("pageSubtitle"));
    filterRow->addWidget(filterLabel_, 1);
    filterRow->addWidget(clearFilter_);
    largestLayout->addLayout(filterRow);
    largestLayout->addWidget(largest_, 1);
    largest_->setModel(model_);
    largest_->setRootIsDecorated(false);
    largest_->setUniformRowHeights(true);
    largest_->setAlternatingRowColors(true);
    largest_->setSelectionBehavior(QAbstractItemView::SelectRows);
    largest_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    largest_->header()->setStretchLastSection(false);
    largest_->header()->setSectionResizeMode(LargestFilesModel::name, QHeaderView::Stretch);
    types_->setColumnCount(3);
    types_->setHeaderLabels(
        {QStringLiteral("Kind"), QStringLiteral("Size"), QStringLiteral("Items")});
    types_->header()->setStretchLastSection(false);
    types_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    types_->setToolTip(QStringLiteral("Double-click a kind or an extension to list its largest "
                                      "files"));
    stack_->addWidget(largestPage_);
    stack_->addWidget(types_);

    connect(clearFilter_, &QPushButton::clicked, this, [this] { setKindFilter(std::nullopt); });
    connect(largest_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &StorageBreakdownPanel::selectionChanged);
    connect(largest_, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        if (index.isValid())
            emit showInFolder(model_->nodes()[size_t(index.row())]);
    });
    connect(types_, &QTreeWidget::itemActivated, this, &StorageBreakdownPanel::typeActivated);
    setKindFilter(std::nullopt);
}

StorageBreakdownPanel::~StorageBreakdownPanel() {
    pool_.waitForDone();
}

void StorageBreakdownPanel::setView(View view) {
    view_ = view;
    stack_->setCurrentIndex(view == View::largest ? 0 : 1);
}

const std::vector<int32_t>& StorageBreakdownPanel::largestNodes() const {
    return model_->nodes();
}

QList<int32_t> StorageBreakdownPanel::selectedNodes() const {
    QList<int32_t> nodes;
    if (view_ != View::largest)
        return nodes;
    QModelIndexList rows = largest_->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    for (const QModelIndex& row : rows)
        nodes << model_->nodes()[size_t(row.row())];
    return nodes;
}

QString StorageBreakdownPanel::kindFilterText() const {
    if (!kind_)
        return QStringLiteral("The largest files in this folder and all folders inside it");
    if (!extension_.isEmpty())
        return QStringLiteral("The largest .%1 files").arg(shownName(QByteArrayView(extension_)));
    return QStringLiteral("The largest files of the kind %1").arg(fileKindTitle(*kind_));
}

void StorageBreakdownPanel::showFolder(std::shared_ptr<const FileTree> tree, int32_t folder,
                                       TreeSortKey key, const NameFilter& filter) {
    // The screens let go of a tree before a resumed walk adds to it: nothing of the panel's
    // may still be reading it then.
    if (!tree && tree_)
        pool_.waitForDone();
    tree_ = std::move(tree);
    folder_ = folder;
    key_ = key;
    nameFilter_ = filter;
    compute();
}

void StorageBreakdownPanel::setKindFilter(std::optional<FileKind> kind,
                                          const QByteArray& extension) {
    kind_ = kind;
    extension_ = kind ? extension : QByteArray();
    filterLabel_->setText(kindFilterText());
    clearFilter_->setVisible(kind_.has_value());
    compute();
}

void StorageBreakdownPanel::compute() {
    const int generation = ++generation_;
    if (!tree_) {
        model_->set(nullptr, key_, {});
        types_->clear();
        return;
    }
    ++pending_;
    TreeBreakdown::Filter filter;
    if (!nameFilter_.isEmpty() || kind_)
        filter = [name = nameFilter_, kind = kind_, extension = extension_](const FileTree& tree,
                                                                            int32_t node) {
            if (!name.matches(tree.nameBytes(node)))
                return false;
            if (!kind)
                return true;
            if (!extension.isEmpty())
                return TreeBreakdown::extensionOf(tree.nameBytes(node)) == extension &&
                       !tree.hasFlag(node, NodeFlag::package);
            return TreeBreakdown::kindOf(tree, node) == *kind;
        };
    pool_.start(
        [self = QPointer(this), tree = tree_, folder = folder_, key = key_, filter, generation] {
            std::vector<int32_t> largest =
                TreeBreakdown::largestFiles(*tree, folder, key, kLargestCount, filter);
            QList<KindTotal> kinds = TreeBreakdown::fileTypes(*tree, folder);
            QMetaObject::invokeMethod(
                self.data(),
                [self, tree, key, generation, largest = std::move(largest),
                 kinds = std::move(kinds)]() mutable {
                    if (!self)
                        return;
                    --self->pending_;
                    if (generation != self->generation_)
                        return;
                    self->model_->set(tree, key, std::move(largest));
                    self->showTypes(kinds);
                    emit self->selectionChanged();
                },
                Qt::QueuedConnection);
        });
}

void StorageBreakdownPanel::showTypes(const QList<KindTotal>& kinds) {
    types_->clear();
    const auto sizeOf = [this](int64_t allocated, int64_t logical) {
        return sizeText(key_ == TreeSortKey::logical ? logical : allocated);
    };
    QList<KindTotal> sorted = kinds;
    std::stable_sort(sorted.begin(), sorted.end(), [this](const KindTotal& a, const KindTotal& b) {
        return key_ == TreeSortKey::logical ? a.logical > b.logical : a.allocated > b.allocated;
    });
    for (const KindTotal& kind : sorted) {
        if (kind.items == 0)
            continue;
        auto* item = new QTreeWidgetItem(types_, {fileKindTitle(kind.kind),
                                                  sizeOf(kind.allocated, kind.logical),
                                                  StorageChart::itemCount(kind.items)});
        item->setData(0, kKindRole, int(kind.kind));
        for (const ExtensionTotal& extension : kind.extensions) {
            auto* child = new QTreeWidgetItem(
                item, {extension.extension.isEmpty()
                           ? QStringLiteral("(no extension)")
                           : QStringLiteral(".") + shownName(QByteArrayView(extension.extension)),
                       sizeOf(extension.allocated, extension.logical),
                       StorageChart::itemCount(extension.items)});
            child->setData(0, kKindRole, int(kind.kind));
            child->setData(0, kExtensionRole, extension.extension);
        }
    }
    for (int column : {1, 2})
        types_->headerItem()->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
}

void StorageBreakdownPanel::typeActivated(QTreeWidgetItem* item) {
    if (!item)
        return;
    const auto kind = FileKind(item->data(0, kKindRole).toInt());
    const QByteArray extension = item->data(0, kExtensionRole).toByteArray();
    // "(no extension)" has no extension to narrow by: it lists every file of its kind.
    setKindFilter(kind, extension);
    setView(View::largest);
}

} // namespace velmox
