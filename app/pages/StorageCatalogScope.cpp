#include "app/pages/StorageCatalogScope.h"

#include "services/ShownText.h"
#include "storage/ChartSegment.h"
#include "storage/StorageCatalogStore.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

StorageCatalogScope::StorageCatalogScope(QWidget* parent)
    : QFrame(parent), heading_(new QLabel(this)), detail_(new QLabel(this)),
      back_(new QPushButton(QStringLiteral("Back to Live Scans"), this)) {
    setObjectName(QStringLiteral("card"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 8, 8, 8);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    heading_->setObjectName(QStringLiteral("catalogHeading"));
    heading_->setStyleSheet(QStringLiteral("font-weight: bold;"));
    detail_->setObjectName(QStringLiteral("pageSubtitle"));
    detail_->setWordWrap(true);
    texts->addWidget(heading_);
    texts->addWidget(detail_);
    layout->addLayout(texts, 1);
    back_->setObjectName(QStringLiteral("backToLiveScans"));
    back_->setToolTip(QStringLiteral("Shows the scan of the disk that was open before"));
    layout->addWidget(back_, 0, Qt::AlignTop);
    connect(back_, &QPushButton::clicked, this, &StorageCatalogScope::backRequested);
    hide();
}

StorageCatalogScope::~StorageCatalogScope() = default;

ScanScope StorageCatalogScope::scope() const {
    return {ScanScope::Kind::folder, meta_.rootPath, name_, {}};
}

QString StorageCatalogScope::heading() const {
    return QStringLiteral("Saved catalog \u201c%1\u201d").arg(name_);
}

QString StorageCatalogScope::detail() const {
    if (isLoading())
        return QStringLiteral("Reading the catalog...");
    return QStringLiteral("Scanned %1 from %2. A saved catalog shows the disk as it was then, so "
                          "it can be browsed but not changed: Rescan, Move to Trash and Delete "
                          "work on live scans.")
        .arg(QLocale().toString(meta_.scanDate.toLocalTime(), QLocale::ShortFormat),
             shownName(meta_.rootPath));
}

QString StorageCatalogScope::summary(TreeSortKey key) const {
    if (!tree_)
        return {};
    int64_t folders = 0;
    for (const uint16_t flags : tree_->columns().flags)
        folders += (flags & NodeFlag::directory) ? 1 : 0;
    const QLocale locale;
    QString text =
        QStringLiteral("%1 in %2 · %3 folders")
            .arg(locale.formattedDataSize(tree_->size(0, key), 1, QLocale::DataSizeSIFormat),
                 StorageChart::itemCount(tree_->items(0)), locale.toString(folders));
    if (!meta_.format.isEmpty())
        text +=
            QStringLiteral(" · %1 (%2): %3 free of %4 when scanned")
                .arg(meta_.volumeName, meta_.format,
                     locale.formattedDataSize(meta_.availableSpace, 1, QLocale::DataSizeSIFormat),
                     locale.formattedDataSize(meta_.totalCapacity, 1, QLocale::DataSizeSIFormat));
    return text;
}

void StorageCatalogScope::open(const QString& name) {
    name_ = StorageCatalogStore::catalogName(name);
    meta_ = {};
    tree_.reset();
    const int generation = ++generation_;
    refresh();
    if (!store_) {
        emit failed(QStringLiteral("Saved catalogs cannot be opened here."));
        return;
    }
    // Joined by the next open or this object's end.
    loader_ = std::jthread([this, generation, store = store_, name] {
        auto opened = std::make_shared<Result<CatalogContents>>(store->openCatalog(name));
        QMetaObject::invokeMethod(
            this,
            [this, generation, opened] {
                if (generation != generation_)
                    return;
                if (!*opened) {
                    emit failed(opened->error());
                    return;
                }
                meta_ = (*opened)->meta;
                tree_ = std::make_shared<const FileTree>(std::move((*opened)->tree));
                refresh();
                emit loaded();
            },
            Qt::QueuedConnection);
    });
}

void StorageCatalogScope::close() {
    ++generation_;
    name_.clear();
    meta_ = {};
    tree_.reset();
    refresh();
}

void StorageCatalogScope::refresh() {
    heading_->setText(heading());
    detail_->setText(detail());
    setVisible(isActive());
}

} // namespace velmox
