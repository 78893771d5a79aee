#include "app/pages/CleanupPage.h"

#include "app/SidebarItems.h"
#include "app/pages/PageHeader.h"
#include "app/pages/TaskListPanel.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

const QList<TaskCategory>& CleanupPage::categories() {
    static const QList<TaskCategory> shown{TaskCategory::systemCleanup,
                                           TaskCategory::privacySecurity};
    return shown;
}

CleanupPage::CleanupPage(OptimizationTaskRunner& runner, Settings& settings, Clock& clock,
                         const OptimizationRegistry& registry, QWidget* parent)
    : QWidget(parent), settings_(settings), registry_(registry),
      panel_(new TaskListPanel(registry.allTasks(), categories(), runner, clock, this)),
      smartScan_(new QPushButton(QStringLiteral("Smart Scan"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(12);
    auto* top = new QHBoxLayout;
    top->addWidget(new PageHeader(pageSymbol(Category::cleanup), pageTitle(Category::cleanup),
                                  QStringLiteral("Caches, logs and the Trash, measured and "
                                                 "cleaned. What User Cache Cleaner moves to the "
                                                 "Trash can be put back from the Activity tab; "
                                                 "tasks that delete permanently ask first."),
                                  this),
                   1);
    smartScan_->setObjectName(QStringLiteral("smartScan"));
    smartScan_->setToolTip(QStringLiteral("Shows the Smart Scan's tasks, on this page and on "
                                          "Maintenance, with what each would touch; runs the "
                                          "ones you tick and sums up what they did."));
    top->addWidget(smartScan_, 0, Qt::AlignVCenter);
    layout->addLayout(top);
    layout->addWidget(panel_, 1);
    connect(smartScan_, &QPushButton::clicked, this, &CleanupPage::startSmartScan);
}

bool CleanupPage::startSmartScan() {
    return panel_->runSmartScan(SmartScan::offered(registry_.allTasks()), settings_);
}

} // namespace velmox
