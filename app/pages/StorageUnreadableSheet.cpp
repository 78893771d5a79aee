#include "app/pages/StorageUnreadableSheet.h"

#include "storage/ScanJob.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmox {

StorageUnreadableSheet::StorageUnreadableSheet(ScanJob& job, ProtectedScan::PrivilegedRunner runner,
                                               QWidget* parent)
    : QDialog(parent), job_(&job), runner_(std::move(runner)), summary_(new QLabel(this)),
      list_(new QTreeWidget(this)), explanation_(new QLabel(this)), status_(new QLabel(this)),
      readBlocked_(new QPushButton(QStringLiteral("Read Blocked Folders"), this)) {
    setWindowTitle(QStringLiteral("Unreadable Folders"));
    resize(760, 460);
    auto* layout = new QVBoxLayout(this);
    summary_->setWordWrap(true);
    layout->addWidget(summary_);
    list_->setColumnCount(3);
    list_->setHeaderLabels(
        {QStringLiteral("Folder"), QStringLiteral("Reason"), QStringLiteral("Owner")});
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setAlternatingRowColors(true);
    list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    list_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    list_->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    list_->header()->setStretchLastSection(false);
    layout->addWidget(list_, 1);
    explanation_->setWordWrap(true);
    explanation_->setObjectName(QStringLiteral("pageSubtitle"));
    layout->addWidget(explanation_);
    status_->setWordWrap(true);
    status_->setObjectName(QStringLiteral("protectedScanStatus"));
    layout->addWidget(status_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    readBlocked_->setToolTip(QStringLiteral(
        "Reads these folders with administrator rights (the saved password, or the system's "
        "prompt) and adds them to this scan."));
    buttons->addButton(readBlocked_, QDialogButtonBox::ActionRole);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(readBlocked_, &QPushButton::clicked, this, &StorageUnreadableSheet::readBlockedFolders);
    connect(list_, &QTreeWidget::currentItemChanged, this,
            &StorageUnreadableSheet::showExplanation);
    connect(&job, &ScanJob::stateChanged, this, &StorageUnreadableSheet::updateState);
    connect(&job, &ScanJob::treeChanged, this, &StorageUnreadableSheet::reload);
    connect(&job, &ScanJob::messageChanged, this, [this](const QString& message) {
        status_->setText(message);
        updateState();
    });
    reload();
}

QString StorageUnreadableSheet::statusText() const {
    return status_->text();
}

void StorageUnreadableSheet::reload() {
    if (!job_)
        return;
    folders_.clear();
    list_->clear();
    for (const UnreadableSample& sample : job_->unreadableSamples()) {
        const UnreadableFolderInfo info = UnreadableFolderInfo::inspect(sample.path, sample.reason);
        folders_.append(info);
        auto* item = new QTreeWidgetItem(list_, {info.path, info.reason.label(), info.owner});
        item->setToolTip(0, info.path);
        item->setToolTip(1, info.reason.explanation());
    }
    const int64_t count = job_->unreadableCount();
    QString summary =
        count == 1 ? QStringLiteral("1 folder could not be read during the scan.")
                   : QStringLiteral("%1 folders could not be read during the scan.").arg(count);
    if (count > folders_.size())
        summary += QStringLiteral(" The first %1 are listed.").arg(folders_.size());
    summary_->setText(summary);
    if (list_->topLevelItemCount() > 0)
        list_->setCurrentItem(list_->topLevelItem(0));
    showExplanation();
    updateState();
}

void StorageUnreadableSheet::select(const QByteArray& path) {
    const QString shown = QString::fromUtf8(path);
    for (qsizetype row = 0; row < folders_.size(); ++row)
        if (folders_[row].path == shown)
            list_->setCurrentItem(list_->topLevelItem(int(row)));
    showExplanation();
}

QString StorageUnreadableSheet::explanationText() const {
    return explanation_->text();
}

void StorageUnreadableSheet::showExplanation() {
    const int row = list_->currentItem() ? list_->indexOfTopLevelItem(list_->currentItem()) : -1;
    explanation_->setText(row >= 0 ? folders_[row].reason.explanation() : QString());
}

void StorageUnreadableSheet::updateState() {
    if (!job_)
        return;
    const bool running = job_->awaitingProtected();
    if (running)
        status_->setText(job_->scanPhase());
    readBlocked_->setEnabled(!running && job_->tree() && job_->unreadableCount() > 0 &&
                             job_->state() == ScanJob::State::finished);
}

void StorageUnreadableSheet::readBlockedFolders() {
    if (!job_ || !readBlocked_->isEnabled())
        return;
    job_->readBlockedFolders(ProtectedScan::verifiedExecutable(), runner_);
    updateState();
}

} // namespace velmox
