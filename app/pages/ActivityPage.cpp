#include "app/pages/ActivityPage.h"

#include "app/StatusReporter.h"
#include "app/SymbolIcons.h"
#include "platform/PlatformPaths.h"
#include "platform/Trash.h"

#include <QButtonGroup>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace velmox {

namespace {

constexpr int kIdRole = Qt::UserRole + 1;

bool askWithMessageBox(QWidget* parent, const ActivityPage::Confirmation& request) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Velmox"), request.question,
                    QMessageBox::NoButton, parent);
    box.setInformativeText(request.informative);
    QPushButton* confirm = box.addButton(request.confirmText, QMessageBox::AcceptRole);
    confirm->setToolTip(request.confirmHelp);
    box.addButton(QMessageBox::Cancel);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == confirm;
}

} // namespace

ActivityPage::ActivityPage(ActionHistoryStore& store, QWidget* parent)
    : QWidget(parent), store_(store), filterButtons_(new QButtonGroup(this)),
      search_(new QLineEdit(this)), export_(new QPushButton(QStringLiteral("Export..."), this)),
      clear_(new QPushButton(QStringLiteral("Clear..."), this)),
      reporter_(new StatusReporter(this)), stack_(new QStackedWidget(this)),
      list_(new QTreeWidget(this)), empty_(new QLabel(this)), detail_(new QLabel(this)),
      putBack_(new QPushButton(this)),
      openTrash_(new QPushButton(QStringLiteral("Open Trash"), this)) {
    openUrl_ = [](const QUrl& url) { QDesktopServices::openUrl(url); };
    confirm_ = [this](const Confirmation& request) { return askWithMessageBox(this, request); };
    chooseSavePath_ = [this](const QString& suggested) {
        return QFileDialog::getSaveFileName(this, QStringLiteral("Export Activity"), suggested,
                                            QStringLiteral("CSV files (*.csv)"));
    };

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 12, 0, 0);
    layout->setSpacing(10);

    auto* about = new QLabel(QStringLiteral("Everything Velmox did, with search, export and Put "
                                            "Back where it is really possible."),
                             this);
    about->setObjectName(QStringLiteral("pageSubtitle"));
    about->setWordWrap(true);
    layout->addWidget(about);

    auto* toolbar = new QHBoxLayout;
    toolbar->setSpacing(6);
    const std::pair<ActionHistoryStore::ResultFilter, QString> filters[] = {
        {ActionHistoryStore::ResultFilter::all, QStringLiteral("All")},
        {ActionHistoryStore::ResultFilter::ok, QStringLiteral("OK")},
        {ActionHistoryStore::ResultFilter::failed, QStringLiteral("Failed")},
    };
    for (const auto& [value, title] : filters) {
        auto* button = new QPushButton(title, this);
        button->setObjectName(QStringLiteral("segment"));
        button->setFixedWidth(76);
        button->setCheckable(true);
        button->setChecked(value == filter_);
        filterButtons_->addButton(button, static_cast<int>(value));
        toolbar->addWidget(button);
    }
    search_->setPlaceholderText(QStringLiteral("Search activity..."));
    search_->setClearButtonEnabled(true);
    search_->setMinimumWidth(220);
    toolbar->addSpacing(8);
    toolbar->addWidget(search_, 1);
    toolbar->addSpacing(8);
    export_->setToolTip(QStringLiteral("Exports the entries shown below"));
    toolbar->addWidget(export_);
    toolbar->addWidget(clear_);
    layout->addLayout(toolbar);
    auto* resultRow = new QHBoxLayout;
    resultRow->addWidget(reporter_, 1);
    openTrash_->setToolTip(QStringLiteral("Shows the Trash in the file manager"));
    openTrash_->setVisible(false);
    resultRow->addWidget(openTrash_, 0, Qt::AlignTop);
    layout->addLayout(resultRow);

    list_->setColumnCount(4);
    list_->setHeaderLabels(
        {QString(), QStringLiteral("Date"), QStringLiteral("Action"), QStringLiteral("Details")});
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setAlternatingRowColors(true);
    list_->header()->setStretchLastSection(true);
    list_->header()->setSectionResizeMode(0, QHeaderView::Fixed);
    list_->setColumnWidth(0, 28);
    list_->setColumnWidth(1, 150);
    list_->setColumnWidth(2, 220);
    empty_->setObjectName(QStringLiteral("emptyState"));
    empty_->setAlignment(Qt::AlignCenter);
    stack_->addWidget(list_);
    stack_->addWidget(empty_);
    layout->addWidget(stack_, 1);

    auto* detailRow = new QHBoxLayout;
    detail_->setWordWrap(true);
    detail_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    putBack_->setToolTip(ActionHistoryStore::putBackHelp());
    detailRow->addWidget(detail_, 1);
    detailRow->addWidget(putBack_, 0, Qt::AlignTop);
    layout->addLayout(detailRow);

    connect(filterButtons_, &QButtonGroup::idClicked, this,
            [this](int id) { setResultFilter(static_cast<ActionHistoryStore::ResultFilter>(id)); });
    connect(search_, &QLineEdit::textChanged, this, [this] { refresh(); });
    connect(export_, &QPushButton::clicked, this, &ActivityPage::exportShown);
    connect(clear_, &QPushButton::clicked, this, &ActivityPage::clearLog);
    connect(putBack_, &QPushButton::clicked, this, &ActivityPage::putBackSelected);
    connect(openTrash_, &QPushButton::clicked, this,
            [this] { openUrl_(QUrl::fromLocalFile(Trash::filesFolder())); });
    connect(list_, &QTreeWidget::currentItemChanged, this, [this] { showSelection(); });
    connect(&store_, &ActionHistoryStore::entriesChanged, this, [this] { refresh(); });
    connect(&store_, &ActionHistoryStore::saveFailed, this,
            [this](const QString& message) { reporter_->show(message, false); });
    refresh();
}

void ActivityPage::setResultFilter(ActionHistoryStore::ResultFilter filter) {
    filter_ = filter;
    if (QAbstractButton* button = filterButtons_->button(static_cast<int>(filter)))
        button->setChecked(true);
    refresh();
}

void ActivityPage::setSearchText(const QString& text) {
    search_->setText(text);
}

QString ActivityPage::emptyStateText() const {
    return stack_->currentWidget() == empty_ ? empty_->text() : QString();
}

QString ActivityPage::reportedMessage() const {
    return reporter_->message();
}

void ActivityPage::refresh() {
    const auto previous = selectedEntry();
    shown_ = store_.filtered(filter_, search_->text());
    list_->clear();
    const QIcon ok = symbolIcon(QStringLiteral("checkmark.circle"), QStringLiteral("OK"));
    const QIcon failed =
        symbolIcon(QStringLiteral("exclamationmark.triangle"), QStringLiteral("Failed"));
    QList<QTreeWidgetItem*> items;
    items.reserve(shown_.size());
    for (const ActionHistoryEntry& entry : shown_) {
        const QString detail = ActionHistoryStore::visibleDetail(entry);
        auto* item = new QTreeWidgetItem;
        item->setIcon(0, entry.success ? ok : failed);
        item->setToolTip(0, entry.success ? QStringLiteral("Succeeded") : QStringLiteral("Failed"));
        item->setText(1, QLocale().toString(entry.date.toLocalTime(), QLocale::ShortFormat));
        item->setText(2, entry.action);
        item->setText(3, detail.section(QLatin1Char('\n'), 0, 0));
        item->setToolTip(3, detail);
        item->setData(0, kIdRole, entry.id);
        items << item;
    }
    list_->addTopLevelItems(items);

    if (shown_.isEmpty()) {
        empty_->setText(store_.entries().isEmpty()
                            ? QStringLiteral("Actions you run in Velmox show up here.")
                            : QStringLiteral("No matching entries"));
        stack_->setCurrentWidget(empty_);
    } else {
        stack_->setCurrentWidget(list_);
    }
    export_->setEnabled(!shown_.isEmpty());
    clear_->setEnabled(!store_.entries().isEmpty());
    if (previous)
        selectEntry(previous->id);
    showSelection();
}

void ActivityPage::selectEntry(const QUuid& id) {
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        if (list_->topLevelItem(i)->data(0, kIdRole).toUuid() == id) {
            list_->setCurrentItem(list_->topLevelItem(i));
            return;
        }
    }
}

std::optional<ActionHistoryEntry> ActivityPage::selectedEntry() const {
    const QTreeWidgetItem* item = list_->currentItem();
    if (!item)
        return std::nullopt;
    const QUuid id = item->data(0, kIdRole).toUuid();
    for (const ActionHistoryEntry& entry : shown_)
        if (entry.id == id)
            return entry;
    return std::nullopt;
}

void ActivityPage::showSelection() {
    const auto entry = selectedEntry();
    detail_->setText(entry ? ActionHistoryStore::visibleDetail(*entry) : QString());
    detail_->setVisible(entry.has_value());
    const bool offered = entry && store_.canPutBack(*entry);
    putBack_->setVisible(offered);
    if (offered)
        putBack_->setToolTip(ActionHistoryStore::putBackHelp(*entry));
    if (offered)
        putBack_->setText(
            ActionHistoryStore::putBackButtonTitle(ActionHistoryStore::putBackItemCount(*entry)));
}

QString ActivityPage::putBackButtonText() const {
    return putBack_->isVisibleTo(this) ? putBack_->text() : QString();
}

void ActivityPage::exportShown() {
    const QList<ActionHistoryEntry> entries = shown_;
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QDir(folder).exists())
        folder = PlatformPaths::home();
    const QString path =
        chooseSavePath_(folder + QLatin1Char('/') +
                        ActionHistoryStore::suggestedExportFileName(QDateTime::currentDateTime()));
    if (path.isEmpty())
        return;
    const Status written = ActionHistoryStore::exportCsv(entries, path);
    openTrash_->setVisible(false);
    if (written)
        reporter_->show(ActionHistoryStore::exportedMessage(entries.size(), path), true);
    else
        reporter_->show(written.error(), false);
}

void ActivityPage::putBackSelected() {
    const auto entry = selectedEntry();
    if (!entry || !store_.canPutBack(*entry))
        return;
    const QString help = ActionHistoryStore::putBackHelp(*entry);
    const Confirmation request{
        QStringLiteral("Put back the items of \"%1\"?").arg(entry->action), help,
        ActionHistoryStore::putBackButtonTitle(ActionHistoryStore::putBackItemCount(*entry)), help};
    if (!confirm_(request))
        return;
    const Result<ActionHistoryStore::PutBackResult> result = store_.putBack(*entry);
    if (result)
        reporter_->show(ActionHistoryStore::putBackSummary(*result), result->restored > 0);
    else
        reporter_->show(result.error(), false);
    openTrash_->setVisible(result && result->anyStillInTrash());
    showSelection();
}

void ActivityPage::clearLog() {
    const Confirmation request{
        QStringLiteral("Clear the activity log?"),
        QStringLiteral("This removes every entry, including ones from other parts of the app. "
                       "Put Back is no longer offered for cleared entries."),
        QStringLiteral("Clear"),
        {}};
    if (!confirm_(request))
        return;
    openTrash_->setVisible(false);
    if (const Status cleared = store_.clear(); cleared)
        reporter_->clear();
    else
        reporter_->show(cleared.error(), false);
}

} // namespace velmox
