#include "app/pages/AddressBlockerPage.h"

#include "app/SidebarItems.h"
#include "app/pages/PageHeader.h"
#include "network/NetworkBlockerModel.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmox {

namespace {

QString kindTitle(BlockKind kind) {
    switch (kind) {
    case BlockKind::ip:
        return QStringLiteral("IP address");
    case BlockKind::range:
        return QStringLiteral("IP range");
    case BlockKind::domain:
        return QStringLiteral("Domain");
    }
    return {};
}

QLabel* wrapped(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

} // namespace

AddressBlockerPage::AddressBlockerPage(NetworkBlockerModel& model, QWidget* parent)
    : QWidget(parent), model_(model),
      question_([this](const QString& question, const QString& detail) {
          QMessageBox box(QMessageBox::Warning, QStringLiteral("Velmox"), question,
                          QMessageBox::Cancel, this);
          box.setInformativeText(detail);
          QPushButton* restore = box.addButton(QStringLiteral("Restore"), QMessageBox::AcceptRole);
          box.exec();
          return box.clickedButton() == restore;
      }),
      input_(new QLineEdit(this)), inputError_(new QLabel(this)), rules_(new QTreeWidget(this)),
      remove_(new QPushButton(QStringLiteral("Remove"), this)),
      blocking_(new QCheckBox(QStringLiteral("Block these addresses"), this)),
      resolve_(new QCheckBox(
          QStringLiteral("Also block the IP addresses that the domains resolve to"), this)),
      apply_(new QPushButton(QStringLiteral("Apply"), this)), status_(new QLabel(this)),
      backups_(new QListWidget(this)),
      noBackups_(new QLabel(
          QStringLiteral("No backups yet. One is taken automatically before every save."), this)),
      restore_(new QPushButton(QStringLiteral("Restore"), this)) {
    setObjectName(QStringLiteral("addressBlockerPage"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 16);
    layout->setSpacing(12);
    layout->addWidget(new PageHeader(pageSymbol(Category::networkTools),
                                     QStringLiteral("IP & URL Blocker"),
                                     QStringLiteral("Blocks addresses, ranges and sites."), this));
    layout->addWidget(wrapped(
        QStringLiteral("Blocks communication with the addresses below. Domains and URLs "
                       "(blocked by their domain name) go into /etc/hosts; IP addresses and "
                       "ranges go into the nftables firewall. Administrator rights are needed "
                       "to apply the list."),
        this));

    auto* entry = new QHBoxLayout;
    input_->setPlaceholderText(QStringLiteral("IP address, IP range (10.0.0.0/8), domain or URL"));
    auto* add = new QPushButton(QStringLiteral("Add"), this);
    entry->addWidget(input_, 1);
    entry->addWidget(add);
    layout->addLayout(entry);
    inputError_->setObjectName(QStringLiteral("inputError"));
    inputError_->setStyleSheet(QStringLiteral("color: #c0392b;"));
    inputError_->setWordWrap(true);
    inputError_->hide();
    layout->addWidget(inputError_);

    rules_->setColumnCount(3);
    rules_->setHeaderLabels(
        {QStringLiteral("Blocked"), QStringLiteral("Kind"), QStringLiteral("Entered as")});
    rules_->setRootIsDecorated(false);
    rules_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    layout->addWidget(rules_, 2);

    auto* controls = new QHBoxLayout;
    controls->addWidget(remove_);
    controls->addStretch(1);
    controls->addWidget(blocking_);
    controls->addWidget(apply_);
    layout->addLayout(controls);
    layout->addWidget(resolve_);
    status_->setObjectName(QStringLiteral("blockerStatus"));
    status_->setWordWrap(true);
    layout->addWidget(status_);
    auto* warning = wrapped(
        QStringLiteral("Firewall rules are cleared by a restart; press Apply Again after starting "
                       "the computer to load them again. Blocking by URL cannot tell pages of the "
                       "same site apart."),
        this);
    warning->setObjectName(QStringLiteral("blockerWarning"));
    layout->addWidget(warning);

    auto* group = new QGroupBox(QStringLiteral("Hosts File Backups"), this);
    auto* groupLayout = new QVBoxLayout(group);
    groupLayout->addWidget(backups_);
    groupLayout->addWidget(noBackups_);
    auto* restoreRow = new QHBoxLayout;
    restoreRow->addStretch(1);
    restoreRow->addWidget(restore_);
    groupLayout->addLayout(restoreRow);
    layout->addWidget(group, 1);
    // Tab follows the page from top to bottom, not the order the members were made in.
    QWidget* const readingOrder[] = {input_, add, rules_, remove_, blocking_,
                                     apply_, resolve_, backups_, restore_};
    for (std::size_t i = 1; i < std::size(readingOrder); ++i)
        setTabOrder(readingOrder[i - 1], readingOrder[i]);

    connect(add, &QPushButton::clicked, this, &AddressBlockerPage::addTyped);
    connect(input_, &QLineEdit::returnPressed, this, &AddressBlockerPage::addTyped);
    connect(remove_, &QPushButton::clicked, this, [this] {
        if (const Status removed =
                model_.remove(rules_->indexOfTopLevelItem(rules_->currentItem()));
            !removed)
            showError(removed);
    });
    connect(rules_, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int column) {
        if (column != 0)
            return;
        const Status changed = model_.setRuleEnabled(rules_->indexOfTopLevelItem(item),
                                                     item->checkState(0) == Qt::Checked);
        if (!changed)
            showError(changed);
    });
    connect(rules_, &QTreeWidget::currentItemChanged, this,
            [this] { remove_->setEnabled(rules_->currentItem() != nullptr); });
    connect(apply_, &QPushButton::clicked, this, [this] { model_.apply(blocking_->isChecked()); });
    connect(resolve_, &QCheckBox::toggled, this, [this](bool on) {
        if (const Status saved = model_.setResolveIPs(on); !saved)
            showError(saved);
    });
    connect(backups_, &QListWidget::currentRowChanged, this,
            [this] { restore_->setEnabled(backups_->currentRow() >= 0 && !model_.pending()); });
    connect(restore_, &QPushButton::clicked, this, &AddressBlockerPage::restoreSelected);
    connect(&model_, &NetworkBlockerModel::rulesChanged, this, &AddressBlockerPage::showRules);
    connect(&model_, &NetworkBlockerModel::statusChanged, this, &AddressBlockerPage::showStatus);
    connect(&model_, &NetworkBlockerModel::backupsChanged, this, &AddressBlockerPage::showBackups);

    blocking_->setChecked(model_.blockingEnabled());
    resolve_->setChecked(model_.resolveIPs());
    showRules();
    showStatus();
    showBackups();
    model_.refreshBackups();
}

void AddressBlockerPage::showError(const Status& status) {
    inputError_->setVisible(!status);
    if (!status)
        inputError_->setText(status.error());
}

void AddressBlockerPage::addTyped() {
    const Status added = model_.add(input_->text());
    showError(added);
    if (added)
        input_->clear();
}

void AddressBlockerPage::showRules() {
    const QSignalBlocker quiet(rules_);
    const int current = rules_->indexOfTopLevelItem(rules_->currentItem());
    rules_->clear();
    for (const BlockRule& rule : model_.rules()) {
        auto* item =
            new QTreeWidgetItem(rules_, {rule.value, kindTitle(rule.kind),
                                         rule.source == rule.value ? QString() : rule.source});
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(0, rule.enabled ? Qt::Checked : Qt::Unchecked);
    }
    if (QTreeWidgetItem* item =
            rules_->topLevelItem(std::min(current, rules_->topLevelItemCount() - 1)))
        rules_->setCurrentItem(item);
    remove_->setEnabled(rules_->currentItem() != nullptr);
}

void AddressBlockerPage::showStatus() {
    const bool pending = model_.pending();
    apply_->setEnabled(!pending);
    restore_->setEnabled(!pending && backups_->currentRow() >= 0);
    const QSignalBlocker quiet(blocking_);
    if (!pending)
        blocking_->setChecked(model_.blockingEnabled());
    apply_->setText(model_.blockingEnabled() && blocking_->isChecked()
                        ? QStringLiteral("Apply Again")
                        : QStringLiteral("Apply"));
    status_->setText(model_.statusMessage());
    status_->setStyleSheet(model_.statusIsError() ? QStringLiteral("color: #c0392b;") : QString());
    status_->setVisible(!model_.statusMessage().isEmpty());
}

void AddressBlockerPage::showBackups() {
    backups_->clear();
    for (const HostsBackupRecord& backup : model_.backups())
        backups_->addItem(QLocale().toString(backup.created, QLocale::LongFormat) +
                          (backup.signedBackup ? QString() : QStringLiteral("  (no signature)")));
    backups_->setVisible(!model_.backups().isEmpty());
    noBackups_->setVisible(model_.backups().isEmpty());
    restore_->setEnabled(false);
}

void AddressBlockerPage::restoreSelected() {
    const QList<HostsBackupRecord> list = model_.backups();
    const int row = backups_->currentRow();
    if (row < 0 || row >= list.size())
        return;
    const HostsBackupRecord backup = list.at(row);
    bool vouched = false;
    if (!backup.signedBackup)
        vouched =
            question_(HostsBackupManager::unsignedQuestion(), HostsBackupManager::unsignedDetail());
    model_.restore(backup, vouched);
}

} // namespace velmox
