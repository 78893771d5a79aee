#include "app/pages/CleanupPage.h"

#include "app/SidebarItems.h"
#include "app/TaskStatusOverlay.h"
#include "app/pages/PageHeader.h"
#include "app/pages/PowerUserPage.h"
#include "app/pages/TaskListPanel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

const QList<TaskCategory>& CleanupPage::categories() {
    static const QList<TaskCategory> shown{TaskCategory::systemCleanup,
                                           TaskCategory::privacySecurity};
    return shown;
}

CleanupPage::CleanupPage(OptimizationTaskRunner& runner, AppNavigationState& navigation,
                         Settings& settings, Clock& clock, const OptimizationRegistry& registry,
                         QWidget* parent)
    : QWidget(parent), settings_(settings), registry_(registry), putBackNote_(new QLabel(this)),
      smartScan_(new QPushButton(QStringLiteral("Smart Scan"), this)),
      panel_(new TaskListPanel(registry.allTasks(), categories(), runner, clock, this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(12);
    layout->addWidget(new PageHeader(pageSymbol(Category::cleanup), pageTitle(Category::cleanup),
                                     QStringLiteral("Caches, logs and the Trash, measured and "
                                                    "cleaned."),
                                     this));
    auto* bar = new QHBoxLayout;
    bar->setSpacing(16);
    // Put Back is not what every task here offers: say which one does.
    putBackNote_->setText(QStringLiteral("What User Cache Cleaner moves to the Trash can be put "
                                         "back from <a href=\"activity\">the Activity tab</a>. "
                                         "Tasks marked “Deletes permanently” ask first, saying "
                                         "what goes and how much."));
    putBackNote_->setObjectName(QStringLiteral("pageSubtitle"));
    putBackNote_->setWordWrap(true);
    putBackNote_->setTextInteractionFlags(Qt::TextBrowserInteraction);
    bar->addWidget(putBackNote_, 1);
    smartScan_->setObjectName(QStringLiteral("smartScan"));
    smartScan_->setToolTip(QStringLiteral("Shows the Smart Scan's tasks, on this page and on "
                                          "Maintenance, with what each would touch; runs the "
                                          "ones you tick and sums up what they did."));
    bar->addWidget(smartScan_, 0, Qt::AlignVCenter);
    layout->addLayout(bar);
    layout->addWidget(panel_, 1);
    connect(smartScan_, &QPushButton::clicked, this, &CleanupPage::startSmartScan);
    const auto openActivity = [&navigation] { PowerUserPage::openActivity(navigation); };
    connect(putBackNote_, &QLabel::linkActivated, this, openActivity);
    connect(panel_->overlay(), &TaskStatusOverlay::activityRequested, this, openActivity);
}

bool CleanupPage::startSmartScan() {
    return panel_->runSmartScan(SmartScan::offered(registry_.allTasks()), settings_);
}

} // namespace velmox
