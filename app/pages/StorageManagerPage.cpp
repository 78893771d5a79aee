#include "app/pages/StorageManagerPage.h"

#include "app/SidebarItems.h"
#include "app/SymbolIcons.h"
#include "app/pages/EmptyStateView.h"
#include "app/pages/PageHeader.h"
#include "app/pages/StorageBreakdownPanel.h"
#include "app/pages/StorageCatalogScope.h"
#include "app/pages/StorageChildModel.h"
#include "app/pages/StorageExclusionsSheet.h"
#include "app/pages/StorageItemActions.h"
#include "app/pages/StorageRevealer.h"
#include "app/pages/StorageRingChart.h"
#include "app/pages/StorageUnreadableSheet.h"
#include "platform/PlatformPaths.h"
#include "services/AppNavigationState.h"
#include "services/Settings.h"
#include "services/ShownText.h"
#include "storage/ScanCenter.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QSpinBox>
#include <QSplitter>
#include <QStackedWidget>
#include <QStorageInfo>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace velmox {

namespace {

const QString kPage = QStringLiteral("storageManager");

QString elapsedText(double seconds) {
    const auto whole = static_cast<int64_t>(seconds);
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

// "Scanned 5 minutes ago", or the date when the scan is older than a day.
QString scanAge(const QDateTime& when, const QDateTime& now) {
    const int64_t minutes = when.secsTo(now) / 60;
    if (minutes < 1)
        return QStringLiteral("Scanned just now");
    if (minutes < 60)
        return minutes == 1 ? QStringLiteral("Scanned 1 minute ago")
                            : QStringLiteral("Scanned %1 minutes ago").arg(minutes);
    if (minutes < 24 * 60)
        return minutes < 120 ? QStringLiteral("Scanned 1 hour ago")
                             : QStringLiteral("Scanned %1 hours ago").arg(minutes / 60);
    return QStringLiteral("Scanned %1")
        .arg(QLocale().toString(when.toLocalTime(), QLocale::ShortFormat));
}

QPushButton* segmentButton(const QString& title, QWidget* parent) {
    auto* button = new QPushButton(title, parent);
    button->setObjectName(QStringLiteral("segment"));
    button->setCheckable(true);
    return button;
}

} // namespace

StorageManagerPage::StorageManagerPage(ScanCenter& center, AppNavigationState& navigation,
                                       ProtectedScan::PrivilegedRunner privilegedRunner,
                                       Settings* settings, StorageCatalogStore* catalogs,
                                       QWidget* parent)
    : QWidget(parent), center_(center), navigation_(navigation),
      privilegedRunner_(std::move(privilegedRunner)), scopes_(new QComboBox(this)),
      chooseFolder_(new QPushButton(QStringLiteral("Choose Folder..."), this)),
      scan_(new QPushButton(QStringLiteral("Scan"), this)),
      pause_(new QPushButton(QStringLiteral("Pause"), this)),
      resume_(new QPushButton(QStringLiteral("Resume"), this)),
      cancel_(new QPushButton(QStringLiteral("Cancel"), this)), progress_(new QLabel(this)),
      messageBar_(new QFrame(this)), message_(new QLabel(messageBar_)),
      dismissMessage_(new QPushButton(QStringLiteral("Dismiss"), messageBar_)),
      breadcrumbLayout_(new QHBoxLayout),
      allocated_(segmentButton(QStringLiteral("Allocated"), this)),
      logical_(segmentButton(QStringLiteral("Logical"), this)),
      rescan_(new QPushButton(QStringLiteral("Rescan Folder"), this)),
      reveal_(new QPushButton(QStringLiteral("Show in Files"), this)),
      unreadable_(new QPushButton(this)), content_(new QStackedWidget(this)),
      emptyState_(new EmptyStateView(this)), chart_(new StorageRingChart(this)),
      list_(new QTreeView(this)), split_(new QSplitter(Qt::Horizontal, this)), settings_(settings),
      model_(new StorageChildModel(this)), explanation_(new QLabel(this)),
      actions_(new StorageItemActions(this, {list_, chart_})),
      putBackLast_(new QPushButton(QStringLiteral("Put Back"), messageBar_)),
      levels_(new QSpinBox(this)), find_(new QLineEdit(this)), back_(new QToolButton(this)),
      forward_(new QToolButton(this)), listStack_(new QStackedWidget(this)),
      breakdown_(new StorageBreakdownPanel(this)), catalog_(new StorageCatalogScope(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 16);
    layout->setSpacing(10);
    layout->addWidget(new PageHeader(pageSymbol(Category::storageManager),
                                     pageTitle(Category::storageManager),
                                     QStringLiteral("What fills your disks: scan the home "
                                                    "folder, a volume or any folder, then open "
                                                    "the largest folders."),
                                     this));

    auto* toolbar = new QHBoxLayout;
    toolbar->setSpacing(6);
    scopes_->setObjectName(QStringLiteral("scanScope"));
    scopes_->setMinimumWidth(220);
    toolbar->addWidget(scopes_);
    toolbar->addWidget(chooseFolder_);
    if (settings_) {
        exclusions_ = new QPushButton(QStringLiteral("Exclusions..."), this);
        exclusions_->setObjectName(QStringLiteral("scanExclusions"));
        exclusions_->setToolTip(QStringLiteral("Folders and names that scans of this scope skip"));
        connect(exclusions_, &QPushButton::clicked, this, &StorageManagerPage::openExclusionsSheet);
        toolbar->addWidget(exclusions_);
    }
    toolbar->addSpacing(12);
    scan_->setDefault(true);
    for (QPushButton* button : {scan_, pause_, resume_, cancel_})
        toolbar->addWidget(button);
    toolbar->addStretch(1);
    unreadable_->setToolTip(QStringLiteral("The folders this scan could not open, and why"));
    toolbar->addWidget(unreadable_);
    layout->addLayout(toolbar);

    layout->addWidget(catalog_);
    progress_->setObjectName(QStringLiteral("pageSubtitle"));
    layout->addWidget(progress_);
    // The last rescan's or administrator pass's answer stays until the user closes it.
    messageBar_->setObjectName(QStringLiteral("card"));
    auto* messageLayout = new QHBoxLayout(messageBar_);
    messageLayout->setContentsMargins(12, 6, 6, 6);
    message_->setWordWrap(true);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    messageLayout->addWidget(message_, 1);
    dismissMessage_->setObjectName(QStringLiteral("dismissMessage"));
    putBackLast_->setObjectName(QStringLiteral("putBackLast"));
    putBackLast_->setToolTip(QStringLiteral("Moves what was just moved to the Trash back"));
    putBackLast_->hide();
    messageLayout->addWidget(putBackLast_, 0, Qt::AlignTop);
    messageLayout->addWidget(dismissMessage_, 0, Qt::AlignTop);
    connect(dismissMessage_, &QPushButton::clicked, this, &StorageManagerPage::dismissMessage);
    messageBar_->hide();
    layout->addWidget(messageBar_);

    auto* folderBar = new QHBoxLayout;
    folderBar->setSpacing(6);
    back_->setArrowType(Qt::LeftArrow);
    back_->setToolTip(QStringLiteral("Back to the folder shown before (Alt+Left)"));
    forward_->setArrowType(Qt::RightArrow);
    forward_->setToolTip(QStringLiteral("Forward again (Alt+Right)"));
    for (QToolButton* button : {back_, forward_}) {
        button->setAutoRaise(true);
        folderBar->addWidget(button);
    }
    breadcrumbLayout_->setSpacing(2);
    folderBar->addLayout(breadcrumbLayout_);
    folderBar->addStretch(1);
    auto* measures = new QButtonGroup(this);
    allocated_->setChecked(true);
    allocated_->setToolTip(QStringLiteral("Space the files take on the disk"));
    logical_->setToolTip(QStringLiteral("The files' own sizes"));
    measures->addButton(allocated_);
    measures->addButton(logical_);
    folderBar->addWidget(allocated_);
    folderBar->addWidget(logical_);
    folderBar->addSpacing(12);
    levels_->setRange(1, SunburstLayout::kMaxLevels);
    levels_->setPrefix(QStringLiteral("Rings: "));
    levels_->setToolTip(QStringLiteral("How many levels of folders the chart shows"));
    levels_->setValue(settings_ ? settings_->value(QLatin1String(kChartLevelsKey), 3).toInt() : 3);
    chart_->setLevels(levels_->value());
    folderBar->addWidget(levels_);
    folderBar->addSpacing(12);
    rescan_->setToolTip(QStringLiteral("Reads the folder shown again"));
    reveal_->setToolTip(QStringLiteral("Shows the selected item (or this folder) in the file "
                                       "manager"));
    folderBar->addWidget(rescan_);
    folderBar->addWidget(reveal_);
    layout->addLayout(folderBar);

    auto* viewBar = new QHBoxLayout;
    viewBar->setSpacing(6);
    find_->setObjectName(QStringLiteral("storageFind"));
    find_->setPlaceholderText(QStringLiteral("Find by name (text, or a pattern like *.iso)"));
    find_->setClearButtonEnabled(true);
    viewBar->addWidget(find_, 1);
    for (const auto kind :
         {StorageItemActions::open, StorageItemActions::copyPath, StorageItemActions::openTerminal,
          StorageItemActions::moveToTrash, StorageItemActions::deletePermanently}) {
        auto* button = new QToolButton(this);
        button->setDefaultAction(actions_->action(kind));
        viewBar->addWidget(button);
        actionButtons_ << button;
    }
    viewBar->addSpacing(12);
    auto* views = new QButtonGroup(this);
    for (const QString& title : {QStringLiteral("Folder"), QStringLiteral("Largest Files"),
                                 QStringLiteral("File Types")}) {
        QPushButton* button = segmentButton(title, this);
        views->addButton(button);
        viewBar->addWidget(button);
        viewButtons_ << button;
    }
    viewButtons_.first()->setChecked(true);
    layout->addLayout(viewBar);

    list_->setModel(model_);
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setAlternatingRowColors(true);
    list_->setSortingEnabled(true);
    list_->sortByColumn(StorageChildModel::size, Qt::DescendingOrder);
    list_->setSelectionBehavior(QAbstractItemView::SelectRows);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setContextMenuPolicy(Qt::CustomContextMenu);
    chart_->setContextMenuPolicy(Qt::CustomContextMenu);
    fitColumns();
    split_->addWidget(chart_);
    listStack_->addWidget(list_);
    listStack_->addWidget(breakdown_);
    split_->addWidget(listStack_);
    split_->setChildrenCollapsible(false);
    split_->setStretchFactor(0, 0);
    split_->setStretchFactor(1, 1);
    split_->setSizes({200, 680});
    restoreLayout();
    content_->addWidget(emptyState_);
    content_->addWidget(split_);
    layout->addWidget(content_, 1);
    explanation_->setObjectName(QStringLiteral("pageSubtitle"));
    explanation_->setWordWrap(true);
    explanation_->hide();
    layout->addWidget(explanation_);

    connect(scopes_, &QComboBox::activated, this, &StorageManagerPage::scopeChosen);
    connect(chooseFolder_, &QPushButton::clicked, this, &StorageManagerPage::chooseFolder);
    connect(scan_, &QPushButton::clicked, this, &StorageManagerPage::startScan);
    connect(pause_, &QPushButton::clicked, this, [this] {
        if (job_)
            job_->pause();
    });
    connect(resume_, &QPushButton::clicked, this, [this] {
        if (job_)
            job_->resume();
    });
    connect(cancel_, &QPushButton::clicked, this, [this] {
        if (job_)
            job_->cancel();
    });
    connect(allocated_, &QPushButton::toggled, this,
            [this](bool on) { setSizeKey(on ? TreeSortKey::real : TreeSortKey::logical); });
    connect(rescan_, &QPushButton::clicked, this, [this] {
        if (job_)
            job_->rescanFolder(currentFolder());
        updateControls();
    });
    connect(reveal_, &QPushButton::clicked, this, &StorageManagerPage::revealSelection);
    for (const QKeySequence& keys :
         {QKeySequence(Qt::Key_Backspace), QKeySequence(Qt::AltModifier | Qt::Key_Up)}) {
        auto* up = new QShortcut(keys, this);
        up->setContext(Qt::WidgetWithChildrenShortcut);
        connect(up, &QShortcut::activated, this, [this] { goUp(1); });
    }
    // Dragging writes once the drag has settled, not on every step.
    auto* saveLater = new QTimer(this);
    saveLater->setSingleShot(true);
    saveLater->setInterval(400);
    connect(saveLater, &QTimer::timeout, this, &StorageManagerPage::saveLayout);
    connect(split_, &QSplitter::splitterMoved, saveLater, qOverload<>(&QTimer::start));
    connect(list_->header(), &QHeaderView::sectionResized, saveLater, qOverload<>(&QTimer::start));
    connect(unreadable_, &QPushButton::clicked, this, &StorageManagerPage::openUnreadableSheet);
    connect(list_, &QTreeView::activated, this, &StorageManagerPage::activateRow);
    connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &StorageManagerPage::showExplanation);
    connect(model_, &QAbstractItemModel::modelReset, this, &StorageManagerPage::showExplanation);
    connect(model_, &QAbstractItemModel::layoutChanged, this, &StorageManagerPage::showExplanation);
    connect(chart_, &StorageRingChart::segmentClicked, this, &StorageManagerPage::enterFolder);
    connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &StorageManagerPage::updateTargets);
    connect(list_, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& position) { showItemMenu(list_->viewport(), position); });
    connect(chart_, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& position) { showItemMenu(chart_, position); });
    connect(actions_, &StorageItemActions::openFolder, this, [this](int32_t node) {
        const int row = model_->rowOf(node);
        if (row >= 0)
            activateRow(model_->index(row, 0));
        else
            enterFolder(node);
    });
    connect(actions_, &StorageItemActions::message, this, [this](const QString& text) {
        showMessage(text);
        putBackLast_->setVisible(actions_->undoableEntry().has_value());
    });
    connect(putBackLast_, &QPushButton::clicked, actions_, &StorageItemActions::putBackLast);
    actions_->addKeyScope(breakdown_->largestList());
    connect(breakdown_, &StorageBreakdownPanel::selectionChanged, this,
            &StorageManagerPage::updateTargets);
    connect(breakdown_, &StorageBreakdownPanel::showInFolder, this, [this](int32_t node) {
        setListView(ListView::folder);
        enterFolder(model_->tree()->parent(node));
        if (const int row = model_->rowOf(node); row >= 0)
            list_->setCurrentIndex(model_->index(row, 0));
    });
    for (qsizetype i = 0; i < viewButtons_.size(); ++i)
        connect(viewButtons_[i], &QPushButton::clicked, this,
                [this, i] { setListView(ListView(i)); });
    connect(find_, &QLineEdit::textChanged, this, [this](const QString& text) {
        model_->setNameFilter(NameFilter(text));
        refreshBreakdown();
        updateTargets();
    });
    connect(back_, &QToolButton::clicked, this, &StorageManagerPage::goBack);
    connect(forward_, &QToolButton::clicked, this, &StorageManagerPage::goForward);
    for (const auto& [keys, step] : {std::pair{Qt::AltModifier | Qt::Key_Left, -1},
                                     std::pair{Qt::AltModifier | Qt::Key_Right, 1}}) {
        auto* shortcut = new QShortcut(QKeySequence(keys), this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, [this, step] { travel(step); });
    }
    connect(levels_, &QSpinBox::valueChanged, this, [this](int levels) {
        chart_->setLevels(levels);
        if (settings_)
            (void)settings_->setValue(QLatin1String(kChartLevelsKey), levels);
    });
    connect(catalog_, &StorageCatalogScope::loaded, this, [this] {
        scope_ = catalog_->scope();
        showTree();
    });
    connect(catalog_, &StorageCatalogScope::failed, this, [this](const QString& message) {
        leaveCatalog();
        showMessage(message);
    });
    connect(catalog_, &StorageCatalogScope::backRequested, this, &StorageManagerPage::leaveCatalog);
    catalog_->setStore(catalogs);
    scopes_->setPlaceholderText(QStringLiteral("Saved catalog"));
    connect(&navigation_, &AppNavigationState::detailChanged, this,
            [this](const QString& page, const QString& detail) {
                if (page == kPage && detail != navigationDetail())
                    applyNavigationDetail(detail);
            });

    addScopeChoice(homeScope());
    for (const ScanScope& volume : volumeScopes())
        addScopeChoice(volume);
    if (const auto detail = navigation_.detail(kPage); !detail || !applyNavigationDetail(*detail))
        setScope(homeScope());
}

// The name takes the width the other columns leave; they start as wide as their usual
// contents and the user can drag them wider or narrower.
void StorageManagerPage::fitColumns() {
    QHeaderView* header = list_->header();
    header->setStretchLastSection(false);
    header->setSectionsMovable(false);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(StorageChildModel::name, QHeaderView::Stretch);
    header->setMinimumSectionSize(40);
    // A usual value of each column, by column.
    const QString samples[] = {
        {},
        QStringLiteral("999.9 MB"),
        QStringLiteral("100%"),
        StorageChart::itemCount(9'999),
        StorageChildModel::dateText(QDateTime(QDate(2026, 12, 28), QTime(23, 59))),
        QStringLiteral("JPEG file"),
    };
    const QFontMetrics metrics(list_->font());
    const QFontMetrics headerMetrics(header->font());
    for (int column = StorageChildModel::size; column < StorageChildModel::kColumns; ++column) {
        // Room for the sort arrow beside the title.
        int width = headerMetrics.horizontalAdvance(
                        model_->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString()) +
                    24;
        width = std::max(width, metrics.horizontalAdvance(samples[column]) + 16);
        header->resizeSection(column, width);
    }
}

void StorageManagerPage::restoreLayout() {
    if (!settings_)
        return;
    split_->restoreState(settings_->value(QLatin1String(kSplitterKey)).toByteArray());
    const QByteArray columns = settings_->value(QLatin1String(kColumnsKey)).toByteArray();
    if (!columns.isEmpty() && list_->header()->restoreState(columns))
        list_->header()->setSectionResizeMode(StorageChildModel::name, QHeaderView::Stretch);
}

void StorageManagerPage::saveLayout() {
    if (!settings_)
        return;
    // The layout is a convenience: a settings file that cannot be written loses nothing else.
    (void)settings_->setValue(QLatin1String(kSplitterKey), split_->saveState());
    (void)settings_->setValue(QLatin1String(kColumnsKey), list_->header()->saveState());
}

ScanScope StorageManagerPage::homeScope() {
    return {ScanScope::Kind::home,
            QDir::cleanPath(PlatformPaths::home()),
            QStringLiteral("Home Folder"),
            {}};
}

QList<ScanScope> StorageManagerPage::volumeScopes() {
    QList<ScanScope> volumes;
    for (const QStorageInfo& storage : QStorageInfo::mountedVolumes()) {
        // Disks the user stores files on; pseudo and boot file systems are left out.
        if (!storage.isValid() || !storage.isReady() || !storage.device().startsWith("/dev/") ||
            storage.rootPath().startsWith(QLatin1String("/boot")) ||
            storage.rootPath().startsWith(QLatin1String("/snap")))
            continue;
        const QString title = storage.isRoot() ? QStringLiteral("System Disk")
                                               : QFileInfo(storage.rootPath()).fileName();
        volumes.append({ScanScope::Kind::volume, storage.rootPath(), title, {}});
    }
    return volumes;
}

ScanScope StorageManagerPage::folderScope(const QString& path) {
    const QString clean = QDir::cleanPath(path);
    const QString name = QFileInfo(clean).fileName();
    return {ScanScope::Kind::folder, clean, name.isEmpty() ? clean : name, {}};
}

void StorageManagerPage::addScopeChoice(const ScanScope& scope) {
    if (scopeChoices_.contains(scope))
        return;
    scopeChoices_.append(scope);
    scopes_->addItem(scope.title + QStringLiteral("  —  ") + scope.path);
}

void StorageManagerPage::scopeChosen(int index) {
    if (index >= 0 && index < scopeChoices_.size())
        setScope(scopeChoices_[index]);
}

void StorageManagerPage::chooseFolder() {
    const QString folder = QFileDialog::getExistingDirectory(
        this, QStringLiteral("Choose a Folder to Scan"), scope_.path);
    if (folder.isEmpty())
        return;
    setScope(folderScope(folder));
    startScan();
}

void StorageManagerPage::setScope(const ScanScope& scope) {
    catalog_->close();
    addScopeChoice(scope);
    scopes_->setCurrentIndex(int(scopeChoices_.indexOf(scope)));
    if (job_ && scope == scope_)
        return;
    if (job_) {
        job_->disconnect(this);
        job_->setViewed(false);
    }
    scope_ = scope;
    job_ = center_.job(scope);
    job_->setViewed(true);
    folderPath_.clear();
    visited_.clear();
    visitedAt_ = -1;
    connect(job_, &ScanJob::stateChanged, this, &StorageManagerPage::updateControls);
    connect(job_, &ScanJob::progressChanged, this, &StorageManagerPage::updateProgress);
    connect(job_, &ScanJob::treeChanged, this, &StorageManagerPage::showTree);
    actions_->setJob(job_);
    connect(job_, &ScanJob::messageChanged, this, [this](const QString& message) {
        showMessage(message);
        updateControls();
    });
    dismissMessage();
    job_->openCachedScan();
    showTree();
    publishDetail();
}

QString StorageManagerPage::scopeDetail(const ScanScope& scope) {
    return QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("scope"), toJson(scope)}})
                                 .toJson(QJsonDocument::Compact));
}

QString StorageManagerPage::catalogDetail(const QString& name) {
    return QString::fromUtf8(QJsonDocument(QJsonObject{{QStringLiteral("catalog"), name}})
                                 .toJson(QJsonDocument::Compact));
}

void StorageManagerPage::openCatalog(const QString& name) {
    if (!catalog_->isActive())
        liveScope_ = scope_;
    if (job_) {
        job_->disconnect(this);
        job_->setViewed(false);
        job_ = nullptr;
    }
    actions_->setJob(nullptr);
    catalog_->open(name);
    scope_ = catalog_->scope();
    scopes_->setCurrentIndex(-1);
    folderPath_.clear();
    visited_.clear();
    visitedAt_ = -1;
    dismissMessage();
    showTree();
}

void StorageManagerPage::leaveCatalog() {
    setScope(liveScope_.path.isEmpty() ? homeScope() : liveScope_);
}

void StorageManagerPage::updateCatalogControls() {
    const bool catalog = catalog_->isActive();
    if (exclusions_)
        exclusions_->setEnabled(!catalog);
    for (QPushButton* button : {scan_, pause_, resume_, cancel_, rescan_}) {
        if (!button->property("liveToolTip").isValid())
            button->setProperty("liveToolTip", button->toolTip());
        button->setToolTip(catalog ? QStringLiteral("A saved catalog cannot be scanned or changed")
                                   : button->property("liveToolTip").toString());
        if (catalog)
            button->setEnabled(false);
    }
    if (catalog_->isLoading())
        emptyState_->show(
            symbolIcon(pageSymbol(Category::storageManager), QStringLiteral("S")).pixmap(64, 64),
            QStringLiteral("Opening the Catalog"),
            QStringLiteral("Reading \u201c%1\u201d...").arg(catalog_->name()));
}

void StorageManagerPage::startScan() {
    if (!job_ || job_->state() == ScanJob::State::scanning)
        return;
    // The status line leads back here, to this scope, while the scan runs.
    publishDetail();
    dismissMessage();
    job_->start();
    updateControls();
}

// The capacity figures of a whole-volume scan, for its ring.
std::optional<VolumeInfo> StorageManagerPage::volumeForRing() const {
    if (scope_.kind != ScanScope::Kind::volume || !job_ || job_->volume().format.isEmpty())
        return std::nullopt;
    return job_->volume();
}

void StorageManagerPage::showTree() {
    const auto tree = job_ ? job_->tree() : catalog_->tree();
    if (job_)
        job_->lastViewed = QDateTime::currentDateTimeUtc();
    int32_t folder = 0;
    if (tree && !folderPath_.isEmpty())
        folder = tree->findPath(folderPath_).value_or(0);
    if (tree && !tree->hasFlag(folder, NodeFlag::directory))
        folder = 0;
    model_->setTree(tree, folder);
    showFolder(model_->folder());
}

void StorageManagerPage::showFolder(int32_t node) {
    const auto& tree = model_->tree();
    if (tree) {
        if (node != model_->folder())
            model_->setFolder(node);
        folderPath_ = tree->pathBytes(model_->folder());
        if (!travelling_ && (visitedAt_ < 0 || visited_[visitedAt_] != folderPath_)) {
            visited_.resize(visitedAt_ + 1);
            visited_.append(folderPath_);
            visitedAt_ = visited_.size() - 1;
        }
        const bool root = model_->folder() == 0;
        const auto volume = root ? volumeForRing() : std::nullopt;
        chart_->setTree(tree, model_->sizeKey());
        chart_->setSegments(
            StorageChart::segments(*tree, model_->folder(), model_->sizeKey(), volume),
            root ? scope_.title : shownName(tree->nameBytes(model_->folder())),
            volume ? QStringLiteral("% of Disk") : QStringLiteral("% of Folder"));
        list_->scrollToTop();
    } else {
        chart_->setTree(nullptr, model_->sizeKey());
        chart_->setSegments({}, {});
        breakdown_->showFolder(nullptr, 0, model_->sizeKey(), model_->nameFilter());
    }
    rebuildBreadcrumb();
    updateControls();
    updateProgress();
    publishDetail();
    refreshBreakdown();
    updateTargets();
}

void StorageManagerPage::setListView(ListView view) {
    listView_ = view;
    viewButtons_[qsizetype(view)]->setChecked(true);
    listStack_->setCurrentIndex(view == ListView::folder ? 0 : 1);
    if (view != ListView::folder)
        breakdown_->setView(view == ListView::largest ? StorageBreakdownPanel::View::largest
                                                      : StorageBreakdownPanel::View::types);
    refreshBreakdown();
    updateTargets();
}

// The largest files and types are worked out only while they are shown.
void StorageManagerPage::refreshBreakdown() {
    if (listView_ != ListView::folder)
        breakdown_->showFolder(model_->tree(), model_->folder(), model_->sizeKey(),
                               model_->nameFilter());
}

bool StorageManagerPage::canGoBack() const {
    return visitedAt_ > 0;
}

bool StorageManagerPage::canGoForward() const {
    return visitedAt_ + 1 < visited_.size();
}

void StorageManagerPage::goBack() {
    travel(-1);
}

void StorageManagerPage::goForward() {
    travel(1);
}

// Steps through the visited folders, passing over any that a removal or rescan took away.
void StorageManagerPage::travel(int step) {
    const auto& tree = model_->tree();
    if (!tree)
        return;
    for (qsizetype at = visitedAt_ + step; at >= 0 && at < visited_.size(); at += step) {
        if (const auto node = tree->findPath(visited_[at]);
            node && tree->hasFlag(*node, NodeFlag::directory)) {
            visitedAt_ = at;
            travelling_ = true;
            showFolder(*node);
            travelling_ = false;
            return;
        }
    }
}

void StorageManagerPage::setHistory(ActionHistoryStore* history) {
    actions_->setHistory(history);
}

QList<int32_t> StorageManagerPage::selectedNodes() const {
    QList<int32_t> nodes;
    QModelIndexList rows = list_->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    for (const QModelIndex& row : rows)
        if (const int32_t node = model_->nodeAt(row.row()); node >= 0)
            nodes << node;
    return nodes;
}

void StorageManagerPage::updateTargets() {
    actions_->setTargets(listView_ == ListView::folder ? selectedNodes()
                                                       : breakdown_->selectedNodes(),
                         model_->folder());
    back_->setEnabled(canGoBack());
    forward_->setEnabled(canGoForward());
}

// The menu acts on the selection in the list; in the chart, on the slice under the pointer
// (the folder shown when there is none).
void StorageManagerPage::showItemMenu(QWidget* over, const QPoint& position) {
    if (!model_->tree())
        return;
    if (over == chart_) {
        const int slice = chart_->sliceAt(position);
        const bool item =
            slice >= 0 && chart_->slices()[slice].segment.kind == ChartSegment::Kind::item;
        actions_->setTargets(item ? QList<int32_t>{chart_->slices()[slice].segment.node}
                                  : QList<int32_t>{},
                             model_->folder());
    } else {
        updateTargets();
    }
    QMenu* menu = actions_->makeMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    connect(
        menu, &QMenu::aboutToHide, this, [this] { updateTargets(); }, Qt::QueuedConnection);
    menu->popup(over->mapToGlobal(position));
}

void StorageManagerPage::enterFolder(int32_t node) {
    const auto& tree = model_->tree();
    if (!tree || node < 0 || node >= tree->size() || !tree->hasFlag(node, NodeFlag::directory) ||
        tree->childCount(node) == 0)
        return;
    showFolder(node);
}

void StorageManagerPage::activateRow(const QModelIndex& index) {
    const int32_t node = model_->nodeAt(index.row());
    if (node >= 0 && model_->tree()->hasFlag(node, NodeFlag::blocked)) {
        if (StorageUnreadableSheet* sheet = openUnreadableSheet())
            sheet->select(model_->tree()->pathBytes(node));
        return;
    }
    enterFolder(node);
}

void StorageManagerPage::showExplanation() {
    const QModelIndex current = list_->currentIndex();
    const int32_t node = current.isValid() ? model_->nodeAt(current.row()) : -1;
    const QString why =
        node >= 0 ? StorageChildModel::explanation(*model_->tree(), node) : QString();
    explanation_->setText(why);
    explanation_->setVisible(!why.isEmpty());
}

QString StorageManagerPage::explanationText() const {
    return explanation_->isHidden() ? QString() : explanation_->text();
}

int32_t StorageManagerPage::currentFolder() const {
    return model_->folder();
}

QStringList StorageManagerPage::breadcrumb() const {
    QStringList names;
    const auto& tree = model_->tree();
    if (!tree)
        return names;
    for (int32_t node = model_->folder(); node > 0; node = tree->parent(node))
        names.prepend(shownName(tree->nameBytes(node)));
    names.prepend(scope_.title);
    return names;
}

void StorageManagerPage::goUp(int levels) {
    const auto& tree = model_->tree();
    if (!tree)
        return;
    int32_t node = model_->folder();
    for (int i = 0; i < levels && node > 0; ++i)
        node = tree->parent(node);
    showFolder(node);
}

void StorageManagerPage::rebuildBreadcrumb() {
    // A breadcrumb button may be the one being clicked, so it goes after its signal.
    while (QLayoutItem* item = breadcrumbLayout_->takeAt(0)) {
        if (QWidget* widget = item->widget()) {
            widget->hide();
            widget->setParent(nullptr);
            widget->deleteLater();
        }
        delete item;
    }
    const QStringList names = breadcrumb();
    for (qsizetype i = 0; i < names.size(); ++i) {
        if (i > 0) {
            auto* separator = new QLabel(QStringLiteral("›"), this);
            separator->setObjectName(QStringLiteral("pageSubtitle"));
            breadcrumbLayout_->addWidget(separator);
        }
        const QString text = QFontMetrics(font()).elidedText(names[i], Qt::ElideMiddle, 180);
        const int levels = int(names.size() - 1 - i);
        if (levels == 0) {
            // The folder shown: plain bold text, not a greyed-out button.
            auto* current = new QLabel(text, this);
            current->setObjectName(QStringLiteral("currentFolder"));
            current->setStyleSheet(QStringLiteral("font-weight: bold; padding: 0 4px;"));
            current->setToolTip(names[i]);
            breadcrumbLayout_->addWidget(current);
            continue;
        }
        auto* button = new QToolButton(this);
        button->setAutoRaise(true);
        button->setText(text);
        button->setToolTip(names[i]);
        connect(button, &QToolButton::clicked, this, [this, levels] { goUp(levels); });
        breadcrumbLayout_->addWidget(button);
    }
    orderTabs();
}

// Tab goes through the controls row by row as they are laid out, the breadcrumb (made anew for
// every folder) in its place.
void StorageManagerPage::orderTabs() {
    QList<QWidget*> order{scopes_,        chooseFolder_, scan_,       pause_,
                          resume_,        cancel_,       unreadable_, catalog_->backButton(),
                          dismissMessage_};
    if (exclusions_)
        order.insert(2, exclusions_);
    order << back_ << forward_;
    for (int i = 0; i < breadcrumbLayout_->count(); ++i)
        if (auto* button = qobject_cast<QToolButton*>(breadcrumbLayout_->itemAt(i)->widget()))
            order << button;
    order << allocated_ << logical_ << levels_ << rescan_ << reveal_;
    order << find_ << actionButtons_;
    for (QPushButton* button : viewButtons_)
        order << button;
    order << list_;
    for (qsizetype i = 1; i < order.size(); ++i)
        setTabOrder(order[i - 1], order[i]);
}

void StorageManagerPage::setSizeKey(TreeSortKey key) {
    if (key != TreeSortKey::real && key != TreeSortKey::logical)
        return;
    allocated_->setChecked(key == TreeSortKey::real);
    logical_->setChecked(key == TreeSortKey::logical);
    if (key == model_->sizeKey())
        return;
    model_->setSizeKey(key);
    showFolder(model_->folder());
}

void StorageManagerPage::updateControls() {
    const bool scanning = job_ && job_->state() == ScanJob::State::scanning;
    const bool paused = job_ && job_->isPaused();
    const bool hasTree = static_cast<bool>(model_->tree());
    const bool busy = job_ && job_->isBusy();
    // A new rescan or administrator pass answers for itself when it ends.
    if (busy)
        dismissMessage();
    scan_->setEnabled(!scanning && !busy);
    scan_->setText(hasTree ? QStringLiteral("Scan Again") : QStringLiteral("Scan"));
    pause_->setEnabled(scanning);
    resume_->setEnabled(job_ && job_->canResume() && !scanning);
    cancel_->setEnabled(scanning || paused);
    scopes_->setEnabled(!busy);
    rescan_->setEnabled(hasTree && !scanning && !busy);
    reveal_->setEnabled(hasTree);
    allocated_->setEnabled(hasTree);
    logical_->setEnabled(hasTree);
    const int64_t unreadable = job_ ? job_->unreadableCount() : 0;
    unreadable_->setVisible(unreadable > 0 && !scanning);
    unreadable_->setText(unreadable == 1 ? QStringLiteral("1 Unreadable Folder")
                                         : QStringLiteral("%1 Unreadable Folders").arg(unreadable));
    content_->setCurrentIndex(hasTree ? 1 : 0);
    // Filling the empty state shows it, so only while it is the page's content.
    if (!hasTree) {
        const QPixmap picture =
            symbolIcon(pageSymbol(Category::storageManager), QStringLiteral("S")).pixmap(64, 64);
        if (scanning)
            emptyState_->show(picture, QStringLiteral("Scanning"),
                              QStringLiteral("Scanning %1...").arg(scope_.path));
        else if (job_ && job_->state() == ScanJob::State::loadingCache)
            emptyState_->show(picture, QStringLiteral("Opening the Last Scan"),
                              QStringLiteral("Reading the last scan of %1...").arg(scope_.path));
        else if (job_ && job_->state() == ScanJob::State::failed)
            emptyState_->show(picture, QStringLiteral("The Scan Could Not Run"), job_->scanNote());
        else
            emptyState_->show(picture, QStringLiteral("Nothing Scanned Yet"),
                              QStringLiteral("Press Scan to see what fills %1.").arg(scope_.path));
    }
    updateCatalogControls();
    updateProgress();
}

void StorageManagerPage::updateProgress() {
    if (!job_) {
        progress_->setText(catalog_->summary(model_->sizeKey()));
        return;
    }
    const QLocale locale;
    const ScanProgress& p = job_->progress();
    const QString figures =
        QStringLiteral("%1 folders · %2 · %3 unreadable · %4")
            .arg(locale.toString(p.folders),
                 locale.formattedDataSize(p.bytes, 1, QLocale::DataSizeSIFormat),
                 locale.toString(p.unreadable), elapsedText(p.elapsed));
    QString text;
    if (job_->state() == ScanJob::State::scanning || job_->awaitingProtected()) {
        text = job_->scanPhase() + QStringLiteral("  ") + figures;
    } else if (const auto& tree = model_->tree()) {
        // From the tree, which a rescan of one folder updates, not from the walk's figures.
        int64_t folders = 0;
        for (const uint16_t flags : tree->columns().flags)
            folders += (flags & NodeFlag::directory) ? 1 : 0;
        text = QStringLiteral("%1 in %2 · %3 folders · %4 unreadable")
                   .arg(locale.formattedDataSize(tree->size(0, model_->sizeKey()), 1,
                                                 QLocale::DataSizeSIFormat),
                        StorageChart::itemCount(tree->items(0)), locale.toString(folders),
                        locale.toString(job_->unreadableCount()));
        if (job_->scannedAt().isValid())
            text += QStringLiteral(" · ") + scanAge(job_->scannedAt(), job_->clock().now());
        if (const VolumeInfo& volume = job_->volume(); !volume.format.isEmpty())
            text += QStringLiteral(" · %1 (%2): %3 free of %4")
                        .arg(volume.name, volume.format,
                             locale.formattedDataSize(volume.freeAvailable, 1,
                                                      QLocale::DataSizeSIFormat),
                             locale.formattedDataSize(volume.total, 1, QLocale::DataSizeSIFormat));
        if (job_->isPaused())
            text += QStringLiteral(" · paused");
        if (!job_->scanNote().isEmpty())
            text += QStringLiteral("\n") + job_->scanNote();
    }
    progress_->setText(text);
}

QString StorageManagerPage::progressText() const {
    return progress_->text();
}

QString StorageManagerPage::messageText() const {
    return messageBar_->isHidden() ? QString() : message_->text();
}

void StorageManagerPage::showMessage(const QString& message) {
    putBackLast_->hide();
    message_->setText(message);
    messageBar_->setVisible(!message.isEmpty());
}

void StorageManagerPage::dismissMessage() {
    showMessage({});
}

void StorageManagerPage::revealSelection() {
    const auto& tree = model_->tree();
    if (!tree)
        return;
    const QModelIndex current = list_->currentIndex();
    const int32_t node = current.isValid() ? model_->nodeAt(current.row()) : model_->folder();
    if (!StorageRevealer::reveal(tree->path(node)))
        showMessage(
            QStringLiteral("No file manager could be asked to show \"%1\".").arg(tree->path(node)));
}

StorageUnreadableSheet* StorageManagerPage::openUnreadableSheet() {
    if (!job_)
        return nullptr;
    if (sheet_) {
        sheet_->reload(); // folders may have changed since it was last open
    } else {
        sheet_ = new StorageUnreadableSheet(*job_, privilegedRunner_, this);
        sheet_->setAttribute(Qt::WA_DeleteOnClose);
    }
    sheet_->open();
    return sheet_;
}

StorageExclusionsSheet* StorageManagerPage::openExclusionsSheet() {
    if (!settings_)
        return nullptr;
    auto* sheet = new StorageExclusionsSheet(*settings_, scope_, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
    return sheet;
}

QString StorageManagerPage::navigationDetail() const {
    QJsonObject detail = catalog_->isActive()
                             ? QJsonObject{{QStringLiteral("catalog"), catalog_->name()}}
                             : QJsonObject{{QStringLiteral("scope"), toJson(scope_)}};
    if (!folderPath_.isEmpty())
        detail.insert(QStringLiteral("folder"), QString::fromUtf8(folderPath_));
    return QString::fromUtf8(QJsonDocument(detail).toJson(QJsonDocument::Compact));
}

bool StorageManagerPage::applyNavigationDetail(const QString& detail) {
    const QJsonObject object = QJsonDocument::fromJson(detail.toUtf8()).object();
    const QString catalog = object.value(QStringLiteral("catalog")).toString();
    const auto scope = scanScopeFromJson(object.value(QStringLiteral("scope")).toObject());
    if (!catalog.isEmpty())
        openCatalog(catalog);
    else if (scope)
        setScope(*scope);
    else
        return false;
    const QString folder = object.value(QStringLiteral("folder")).toString();
    if (const auto& tree = model_->tree(); tree && !folder.isEmpty()) {
        if (const auto node = tree->findPath(folder.toUtf8()))
            enterFolder(*node);
    } else {
        // Opened once the scan has a result.
        folderPath_ = folder.toUtf8();
        publishDetail();
    }
    return true;
}

void StorageManagerPage::publishDetail() {
    navigation_.setDetail(kPage, navigationDetail());
}

void StorageManagerPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    updateProgress(); // the scan's age
    if (job_)
        job_->lastViewed = QDateTime::currentDateTimeUtc();
}

} // namespace velmox
