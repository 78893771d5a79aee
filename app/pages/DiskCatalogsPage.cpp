#include "app/pages/DiskCatalogsPage.h"

#include "app/SidebarItems.h"
#include "app/SymbolIcons.h"
#include "app/pages/CatalogDiffModel.h"
#include "app/pages/EmptyStateView.h"
#include "app/pages/PageHeader.h"
#include "app/pages/StorageManagerPage.h"
#include "services/AppNavigationState.h"
#include "services/AppStatusCenter.h"
#include "services/ShownText.h"
#include "storage/CatalogRecords.h"
#include "storage/ChartSegment.h"
#include "storage/ScanCenter.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>

namespace velmox {

namespace {

constexpr int kNameRole = Qt::UserRole + 1;

QString dateText(const QDateTime& date) {
    return date.isValid() ? QLocale().toString(date.toLocalTime(), QLocale::ShortFormat)
                          : QString();
}

bool isCompleteScan(const ScanJob& job) {
    const auto tree = job.tree();
    return job.state() == ScanJob::State::finished && !job.isPaused() && tree &&
           CatalogDiff::canCompare(*tree);
}

QTreeView* makeTable(QAbstractItemModel* model, int stretched, QWidget* parent) {
    auto* view = new QTreeView(parent);
    view->setModel(model);
    view->setRootIsDecorated(false);
    view->setUniformRowHeights(true);
    view->setAlternatingRowColors(true);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->header()->setStretchLastSection(false);
    view->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    view->header()->setSectionResizeMode(stretched, QHeaderView::Stretch);
    return view;
}

// The name a scan is saved under when none is given: its scope and the day, "Home 2026-11-22".
QString defaultName(const ScanJob& job) {
    return QStringLiteral("%1 %2").arg(
        job.scope().title.isEmpty() ? QFileInfo(job.scope().path).fileName() : job.scope().title,
        job.scannedAt().date().toString(Qt::ISODate));
}

// A catalog opened on a worker: its tree and descriptive record.
struct Opened {
    QString name;
    std::shared_ptr<FileTree> tree;
    CatalogMeta meta;
};

Result<Opened> openOne(StorageCatalogStore& store, const QString& name) {
    auto opened = store.openCatalog(name);
    if (!opened)
        return failure(opened.error());
    return Opened{StorageCatalogStore::catalogName(name),
                  std::make_shared<FileTree>(std::move(opened->tree)), opened->meta};
}

} // namespace

struct DiskCatalogsPage::Comparison {
    std::shared_ptr<const CatalogDiff> diff;
    QString title;
    QStringList catalogs; // the ones compared
};

template <typename Work> void DiskCatalogsPage::compare(Work work) {
    inBackground(work, [](DiskCatalogsPage& page, Result<Comparison> compared) {
        if (compared) {
            page.shownCatalogs_ = compared->catalogs;
            page.showComparison(compared->diff, compared->title);
        } else {
            page.showMessage(compared.error(), false);
        }
        emit page.viewReady();
    });
}

template <typename Work, typename Done> void DiskCatalogsPage::inBackground(Work work, Done done) {
    using Value = decltype(work());
    const QPointer<DiskCatalogsPage> page(this);
    workers_.start([work, done, page] {
        auto result = std::make_shared<Value>(work());
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [done, page, result] {
                if (page)
                    done(*page, std::move(*result));
            },
            Qt::QueuedConnection);
    });
}

DiskCatalogsPage::DiskCatalogsPage(StorageCatalogStore& store, ScanCenter& center,
                                   AppNavigationState& navigation, AppStatusCenter* status,
                                   QWidget* parent)
    : QWidget(parent), store_(store), center_(center), navigation_(navigation), status_(status),
      saveName_(new QLineEdit(this)),
      save_(new QPushButton(QStringLiteral("Save Current Scan"), this)), message_(new QLabel(this)),
      views_(new QStackedWidget(this)), listStack_(new QStackedWidget(this)),
      emptyState_(new EmptyStateView(this)), listModel_(new QStandardItemModel(0, 5, this)),
      open_(new QPushButton(QStringLiteral("Open"), this)),
      compare_(new QPushButton(QStringLiteral("Compare with Current Scan"), this)),
      rename_(new QPushButton(QStringLiteral("Rename..."), this)),
      delete_(new QPushButton(QStringLiteral("Delete..."), this)), diffTitle_(new QLabel(this)),
      diffSummary_(new QLabel(this)), diffPath_(new QLabel(this)),
      diffModel_(new CatalogDiffModel(this)) {
    workers_.setMaxThreadCount(2);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 16);
    layout->setSpacing(10);
    layout->addWidget(new PageHeader(pageSymbol(Category::diskCatalogs),
                                     pageTitle(Category::diskCatalogs),
                                     QStringLiteral("Scans kept by name: open one later, or "
                                                    "compare it with today's scan to see what "
                                                    "grew."),
                                     this));

    auto* toolbar = new QHBoxLayout;
    saveName_->setPlaceholderText(QStringLiteral("Name of the new catalog"));
    saveName_->setMaximumWidth(320);
    toolbar->addWidget(saveName_);
    save_->setToolTip(QStringLiteral("Saves the last scan shown in Storage Manager by this name"));
    toolbar->addWidget(save_);
    toolbar->addStretch(1);
    layout->addLayout(toolbar);
    message_->setObjectName(QStringLiteral("pageSubtitle"));
    message_->setWordWrap(true);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    message_->hide();
    layout->addWidget(message_);

    // The list of catalogs.
    auto* listPage = new QWidget(this);
    auto* listLayout = new QVBoxLayout(listPage);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listModel_->setHorizontalHeaderLabels({QStringLiteral("Name"), QStringLiteral("Scanned"),
                                           QStringLiteral("Volume"), QStringLiteral("Size"),
                                           QStringLiteral("Items")});
    list_ = makeTable(listModel_, volumeColumn, listPage);
    list_->setObjectName(QStringLiteral("catalogList"));
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    listStack_->addWidget(emptyState_);
    listStack_->addWidget(list_);
    listLayout->addWidget(listStack_, 1);
    auto* actions = new QHBoxLayout;
    open_->setToolTip(QStringLiteral("Shows the catalog in Storage Manager, as the disk was then"));
    compare_->setToolTip(QStringLiteral("Select one catalog to compare it with the current "
                                        "scan, or two to compare them with each other"));
    for (QPushButton* button : {open_, compare_, rename_, delete_})
        actions->addWidget(button);
    actions->addStretch(1);
    listLayout->addLayout(actions);
    views_->addWidget(listPage);

    // A comparison.
    auto* comparison = new QWidget(this);
    auto* diffLayout = new QVBoxLayout(comparison);
    diffLayout->setContentsMargins(0, 0, 0, 0);
    auto* diffBar = new QHBoxLayout;
    auto* diffBack = new QPushButton(QStringLiteral("All Catalogs"), comparison);
    auto* diffUp = new QPushButton(QStringLiteral("Up"), comparison);
    diffTitle_->setObjectName(QStringLiteral("cardTitle"));
    diffTitle_->setWordWrap(true);
    diffBar->addWidget(diffBack);
    diffBar->addWidget(diffUp);
    diffBar->addWidget(diffTitle_, 1);
    diffLayout->addLayout(diffBar);
    diffSummary_->setWordWrap(true);
    diffLayout->addWidget(diffSummary_);
    diffPath_->setObjectName(QStringLiteral("pageSubtitle"));
    diffLayout->addWidget(diffPath_);
    diffList_ = makeTable(diffModel_, CatalogDiffModel::name, comparison);
    diffList_->setObjectName(QStringLiteral("comparisonList"));
    diffList_->setItemDelegateForColumn(CatalogDiffModel::change,
                                        new CatalogChangeDelegate(diffList_));
    diffList_->header()->setSectionResizeMode(CatalogDiffModel::change, QHeaderView::Fixed);
    diffList_->header()->resizeSection(CatalogDiffModel::change, 260);
    diffLayout->addWidget(diffList_, 1);
    views_->addWidget(comparison);
    layout->addWidget(views_, 1);

    connect(save_, &QPushButton::clicked, this, [this] { saveCurrentScan(saveName_->text()); });
    connect(saveName_, &QLineEdit::returnPressed, save_, &QPushButton::click);
    connect(open_, &QPushButton::clicked, this, [this] {
        if (const QStringList names = selectedNames(); names.size() == 1)
            openCatalog(names.first());
    });
    connect(compare_, &QPushButton::clicked, this, &DiskCatalogsPage::compareSelection);
    connect(rename_, &QPushButton::clicked, this, &DiskCatalogsPage::askToRename);
    connect(delete_, &QPushButton::clicked, this, &DiskCatalogsPage::askToDelete);
    connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &DiskCatalogsPage::updateButtons);
    connect(list_, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        const QString name = listModel_->index(index.row(), 0).data(kNameRole).toString();
        if (!name.isEmpty())
            openCatalog(name);
    });
    connect(diffBack, &QPushButton::clicked, this, &DiskCatalogsPage::showList);
    connect(diffUp, &QPushButton::clicked, this, &DiskCatalogsPage::goUp);
    connect(diffList_, &QTreeView::doubleClicked, this,
            [this](const QModelIndex& index) { enterDiffFolder(diffModel_->rowAt(index.row())); });
    connect(&store_, &StorageCatalogStore::catalogsChanged, this, &DiskCatalogsPage::refresh);

    updateButtons();
    refresh();
}

DiskCatalogsPage::~DiskCatalogsPage() {
    // A comparison under way stops early rather than keep the page's end waiting.
    closing_->store(true);
    workers_.waitForDone();
}

void DiskCatalogsPage::showMessage(const QString& message, bool success) {
    message_->setText(message);
    message_->setVisible(!message.isEmpty());
    if (status_ && !message.isEmpty())
        status_->report(
            (success ? QStringLiteral("Success: ") : QStringLiteral("Error: ")) + message, false);
}

QString DiskCatalogsPage::messageText() const {
    return message_->isHidden() ? QString() : message_->text();
}

DiskCatalogsPage::View DiskCatalogsPage::view() const {
    return static_cast<View>(views_->currentIndex());
}

void DiskCatalogsPage::showList() {
    views_->setCurrentIndex(static_cast<int>(View::list));
}

void DiskCatalogsPage::refresh() {
    inBackground([&store = store_] { return store.listCatalogs(); },
                 [](DiskCatalogsPage& page, QList<CatalogListEntry> catalogs) {
                     page.catalogs_ = std::move(catalogs);
                     page.fillList();
                     page.noteShownGone();
                     emit page.listChanged();
                 });
}

void DiskCatalogsPage::fillList() {
    const QStringList selected = selectedNames();
    listModel_->removeRows(0, listModel_->rowCount());
    for (const CatalogListEntry& entry : std::as_const(catalogs_)) {
        QList<QStandardItem*> row;
        for (int column = 0; column < 5; ++column)
            row << new QStandardItem;
        row[nameColumn]->setText(entry.name);
        row[nameColumn]->setData(entry.name, kNameRole);
        if (!entry.error.isEmpty()) {
            // A file that cannot be read is listed with the reason, so it can be deleted.
            row[volumeColumn]->setText(entry.error);
            for (QStandardItem* item : row) {
                item->setToolTip(entry.error);
                item->setForeground(CatalogChangeDelegate::shrinkColor());
            }
        } else {
            row[dateColumn]->setText(dateText(entry.meta.scanDate));
            row[volumeColumn]->setText(
                entry.meta.volumeName.isEmpty()
                    ? shownName(entry.meta.rootPath)
                    : QStringLiteral("%1 (%2)").arg(entry.meta.volumeName,
                                                    shownName(entry.meta.rootPath)));
            row[sizeColumn]->setText(byteText(entry.allocated));
            row[itemsColumn]->setText(QLocale().toString(qint64(entry.items)));
            row[sizeColumn]->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            row[itemsColumn]->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            row[nameColumn]->setToolTip(shownName(entry.meta.rootPath));
        }
        listModel_->appendRow(row);
        if (selected.contains(entry.name))
            list_->selectionModel()->select(listModel_->index(listModel_->rowCount() - 1, 0),
                                            QItemSelectionModel::Select |
                                                QItemSelectionModel::Rows);
    }
    listStack_->setCurrentWidget(catalogs_.isEmpty() ? static_cast<QWidget*>(emptyState_) : list_);
    if (catalogs_.isEmpty())
        emptyState_->show(
            symbolIcon(pageSymbol(Category::diskCatalogs), QStringLiteral("C")).pixmap(64, 64),
            QStringLiteral("No Catalogs Yet"),
            QStringLiteral("Scan a folder or a volume in Storage Manager, then save the scan "
                           "here by name to open it later or compare it with a newer scan."));
    updateButtons();
}

void DiskCatalogsPage::noteShownGone() {
    if (view() == View::list)
        return;
    for (const QString& shown : std::as_const(shownCatalogs_))
        if (std::none_of(catalogs_.cbegin(), catalogs_.cend(),
                         [&shown](const CatalogListEntry& entry) { return entry.name == shown; })) {
            // Said on the page only: nothing failed.
            message_->setText(QStringLiteral("\"%1\" was renamed or deleted since it was "
                                             "opened; this is the copy read then.")
                                  .arg(shown));
            message_->show();
            return;
        }
}

QStringList DiskCatalogsPage::selectedNames() const {
    QStringList names;
    for (const QModelIndex& index : list_->selectionModel()->selectedRows())
        names << index.data(kNameRole).toString();
    return names;
}

void DiskCatalogsPage::updateButtons() {
    const qsizetype selected = selectedNames().size();
    open_->setEnabled(selected == 1);
    rename_->setEnabled(selected == 1);
    delete_->setEnabled(selected == 1);
    compare_->setEnabled(selected == 1 || selected == 2);
    compare_->setText(selected == 2 ? QStringLiteral("Compare the Two")
                                    : QStringLiteral("Compare with Current Scan"));
    if (ScanJob* job = currentScan())
        saveName_->setPlaceholderText(defaultName(*job));
}

ScanJob* DiskCatalogsPage::currentScan(const QString& rootPath) const {
    ScanJob* latest = nullptr;
    const auto ofRoot = [&rootPath](const ScanJob* job) {
        return !rootPath.isEmpty() && job->tree()->rootPath == rootPath;
    };
    for (ScanJob* job : center_.jobs()) {
        if (!job->tree() || job->state() != ScanJob::State::finished)
            continue;
        if (latest && ofRoot(latest) != ofRoot(job)) {
            if (ofRoot(job))
                latest = job;
            continue;
        }
        if (!latest || job->lastViewed > latest->lastViewed ||
            (job->lastViewed == latest->lastViewed && job->scannedAt() > latest->scannedAt()))
            latest = job;
    }
    return latest;
}

void DiskCatalogsPage::saveCurrentScan(const QString& name) {
    ScanJob* job = currentScan();
    const QString chosen = name.trimmed().isEmpty() && job ? defaultName(*job) : name;
    std::shared_ptr<const FileTree> tree;
    CatalogMeta meta;
    if (job && isCompleteScan(*job)) {
        tree = job->tree();
        meta = catalogMetaFor(*tree, job->volume(), job->scannedAt());
    }
    // The store answers a missing scan with the sentence that says to run one.
    auto saved = std::make_shared<std::future<Status>>(
        store_.saveCatalog(chosen, tree, std::move(meta), false));
    inBackground([saved] { return saved->get(); },
                 [shown = StorageCatalogStore::catalogName(chosen)](DiskCatalogsPage& page,
                                                                    const Status& done) {
                     if (done) {
                         page.saveName_->clear();
                         page.showMessage(QStringLiteral("Saved %1").arg(shown), true);
                     } else {
                         page.showMessage(done.error(), false);
                     }
                 });
}

void DiskCatalogsPage::renameCatalog(const QString& oldName, const QString& newName) {
    auto renamed = std::make_shared<std::future<Status>>(store_.renameCatalog(oldName, newName));
    inBackground(
        [renamed] { return renamed->get(); },
        [oldName, shown = StorageCatalogStore::catalogName(newName)](DiskCatalogsPage& page,
                                                                     const Status& done) {
            page.showMessage(done ? QStringLiteral("Renamed \"%1\" to \"%2\".").arg(oldName, shown)
                                  : done.error(),
                             done.has_value());
        });
}

void DiskCatalogsPage::deleteCatalog(const QString& name) {
    auto deleted = std::make_shared<std::future<Status>>(store_.deleteCatalog(name));
    inBackground([deleted] { return deleted->get(); },
                 [name](DiskCatalogsPage& page, const Status& done) {
                     page.showMessage(done ? QStringLiteral("Deleted the catalog \"%1\".").arg(name)
                                           : done.error(),
                                      done.has_value());
                 });
}

void DiskCatalogsPage::askToRename() {
    const QStringList names = selectedNames();
    if (names.size() != 1)
        return;
    bool ok = false;
    const QString newName =
        QInputDialog::getText(this, QStringLiteral("Rename Catalog"),
                              QStringLiteral("New name for \"%1\":").arg(names.first()),
                              QLineEdit::Normal, names.first(), &ok);
    if (ok && !newName.trimmed().isEmpty() && newName != names.first())
        renameCatalog(names.first(), newName);
}

void DiskCatalogsPage::askToDelete() {
    const QStringList names = selectedNames();
    if (names.size() != 1)
        return;
    const auto answer = QMessageBox::question(
        this, QStringLiteral("Delete Catalog"),
        QStringLiteral("Delete the catalog \"%1\"? This cannot be undone.").arg(names.first()),
        QMessageBox::Cancel | QMessageBox::Yes, QMessageBox::Cancel);
    if (answer == QMessageBox::Yes)
        deleteCatalog(names.first());
}

void DiskCatalogsPage::openCatalog(const QString& name) {
    const QString listedName = StorageCatalogStore::catalogName(name);
    for (const CatalogListEntry& entry : std::as_const(catalogs_))
        if (entry.name == listedName && !entry.error.isEmpty()) {
            showMessage(entry.error, false);
            return;
        }
    showMessage({}, true);
    navigation_.navigate(rawValue(Category::storageManager),
                         StorageManagerPage::catalogDetail(listedName));
}

void DiskCatalogsPage::compareSelection() {
    const QStringList names = selectedNames();
    if (names.size() == 1)
        compareWithCurrentScan(names.first());
    else if (names.size() == 2)
        compareCatalogs(names.at(0), names.at(1));
}

void DiskCatalogsPage::compareWithCurrentScan(const QString& name) {
    // A scan of the catalog's own folder, when there is one, whichever was viewed last.
    const auto listed =
        std::find_if(catalogs_.cbegin(), catalogs_.cend(), [&name](const CatalogListEntry& entry) {
            return entry.name == StorageCatalogStore::catalogName(name);
        });
    ScanJob* job = currentScan(listed == catalogs_.cend() ? QString() : listed->meta.rootPath);
    if (!job || !isCompleteScan(*job)) {
        showMessage(QStringLiteral("Open a finished, complete scan first."), false);
        emit viewReady();
        return;
    }
    const std::shared_ptr<const FileTree> current = job->tree();
    const QString other = QStringLiteral("the scan of %1 from %2")
                              .arg(shownName(current->rootPath), dateText(job->scannedAt()));
    compare([&store = store_, name, current, other, closing = closing_]() -> Result<Comparison> {
        auto base = openOne(store, name);
        if (!base)
            return failure(base.error());
        auto diff = CatalogDiff::compare(*base->tree, *current, TreeSortKey::real, closing.get());
        if (!diff)
            return failure(diff.error());
        return Comparison{std::make_shared<const CatalogDiff>(std::move(*diff)),
                          QStringLiteral("\"%1\" (%2) compared with %3")
                              .arg(base->name, dateText(base->meta.scanDate), other),
                          {base->name}};
    });
}

void DiskCatalogsPage::compareCatalogs(const QString& first, const QString& second) {
    compare([&store = store_, first, second, closing = closing_]() -> Result<Comparison> {
        auto one = openOne(store, first);
        if (!one)
            return failure(one.error());
        auto two = openOne(store, second);
        if (!two)
            return failure(two.error());
        if (two->meta.scanDate < one->meta.scanDate)
            std::swap(*one, *two);
        auto diff = CatalogDiff::compare(*one->tree, *two->tree, TreeSortKey::real, closing.get());
        if (!diff)
            return failure(diff.error());
        return Comparison{std::make_shared<const CatalogDiff>(std::move(*diff)),
                          QStringLiteral("\"%1\" (%2) compared with \"%3\" (%4)")
                              .arg(one->name, dateText(one->meta.scanDate), two->name,
                                   dateText(two->meta.scanDate)),
                          {one->name, two->name}};
    });
}

void DiskCatalogsPage::showComparison(std::shared_ptr<const CatalogDiff> diff,
                                      const QString& title) {
    showMessage({}, true);
    diffTitle_->setText(title);
    const CatalogDiff::Row& total = diff->row(0);
    int64_t counts[4] = {};
    // Files that changed, and folders that came or went as a whole.
    for (const int32_t row : diff->largestChanges()) {
        const CatalogDiff::Row& item = diff->row(row);
        if (!item.isFolder || item.kind == CatalogDiff::Kind::appeared ||
            item.kind == CatalogDiff::Kind::vanished)
            ++counts[static_cast<int>(item.kind)];
    }
    diffSummary_->setText(QStringLiteral("%1 \u2192 %2 (%3). %4 grew, %5 shrank, %6 new, %7 gone.")
                              .arg(byteText(total.before), byteText(total.after),
                                   CatalogDiffModel::changeText(total.change()))
                              .arg(counts[0])
                              .arg(counts[1])
                              .arg(counts[2])
                              .arg(counts[3]));
    diffModel_->setDiff(std::move(diff));
    updateDiffFolder();
    views_->setCurrentIndex(static_cast<int>(View::comparison));
}

void DiskCatalogsPage::enterDiffFolder(int32_t row) {
    const auto& diff = diffModel_->diff();
    if (diff && row >= 0 && row < diff->size() && !diff->row(row).children.empty()) {
        diffModel_->setFolder(row);
        updateDiffFolder();
    }
}

void DiskCatalogsPage::updateDiffFolder() {
    const auto& diff = diffModel_->diff();
    if (!diff)
        return;
    const CatalogDiff::Row& folder = diff->row(diffModel_->folder());
    diffPath_->setText(diffModel_->rowCount() == 0
                           ? QStringLiteral("Nothing changed in size.")
                           : QStringLiteral("%1: %2").arg(
                                 shownName(QByteArrayView(diff->pathBytes(diffModel_->folder()))),
                                 CatalogDiffModel::changeText(folder.change())));
}

QStringList DiskCatalogsPage::diffBreadcrumb() const {
    const auto& diff = diffModel_->diff();
    QStringList names;
    for (int32_t at = diff ? diffModel_->folder() : -1; at > 0; at = diff->row(at).parent)
        names.prepend(shownName(QByteArrayView(diff->row(at).name)));
    return names;
}

QString DiskCatalogsPage::comparisonTitle() const {
    return diffTitle_->text();
}

QString DiskCatalogsPage::comparisonSummary() const {
    return diffSummary_->text();
}

void DiskCatalogsPage::goUp() {
    if (view() == View::comparison && diffModel_->diff() && diffModel_->folder() > 0) {
        diffModel_->setFolder(diffModel_->diff()->row(diffModel_->folder()).parent);
        updateDiffFolder();
    }
}

} // namespace velmox
