#include "app/pages/MaintenancePage.h"

#include "app/SidebarItems.h"
#include "app/SymbolIcons.h"
#include "app/TaskStatusOverlay.h"
#include "app/pages/PageHeader.h"
#include "app/pages/PowerUserPage.h"
#include "app/pages/TaskListPanel.h"
#include "services/AppNavigationState.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmox {

namespace {

QFrame* powerUserCard(AppNavigationState& navigation, QWidget* parent) {
    auto* card = new QFrame(parent);
    card->setObjectName(QStringLiteral("card"));
    auto* layout = new QHBoxLayout(card);
    layout->setContentsMargins(16, 10, 16, 10);
    layout->setSpacing(14);
    auto* icon = new QLabel(card);
    icon->setPixmap(
        symbolIcon(QStringLiteral("bolt.circle"), QStringLiteral("Power User")).pixmap(28, 28));
    layout->addWidget(icon);
    auto* texts = new QVBoxLayout;
    texts->addWidget(new QLabel(QStringLiteral("<b>Power User</b>"), card));
    auto* line = new QLabel(
        QStringLiteral("The activity log with Put Back, and automation of maintenance tasks."),
        card);
    line->setWordWrap(true);
    texts->addWidget(line);
    layout->addLayout(texts, 1);
    auto* activity = new QPushButton(QStringLiteral("Show Activity"), card);
    activity->setObjectName(QStringLiteral("showActivity"));
    activity->setToolTip(QStringLiteral("Opens the activity log, where moved items can be put "
                                        "back (Ctrl+Shift+A)"));
    layout->addWidget(activity);
    QObject::connect(activity, &QPushButton::clicked, card,
                     [&navigation] { PowerUserPage::openActivity(navigation); });
    auto* open = new QPushButton(QStringLiteral("Open Power User"), card);
    open->setObjectName(QStringLiteral("openPowerUser"));
    layout->addWidget(open);
    QObject::connect(open, &QPushButton::clicked, card, [&navigation] {
        navigation.navigate(rawValue(Category::powerUser), std::nullopt);
    });
    return card;
}

} // namespace

const QList<TaskCategory>& MaintenancePage::categories() {
    static const QList<TaskCategory> shown{TaskCategory::performanceSuite, TaskCategory::network,
                                           TaskCategory::maintenance, TaskCategory::appManagement};
    return shown;
}

MaintenancePage::MaintenancePage(OptimizationTaskRunner& runner, AppNavigationState& navigation,
                                 Clock& clock, const OptimizationRegistry& registry,
                                 QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 24);
    layout->setSpacing(12);
    layout->addWidget(new PageHeader(pageSymbol(Category::maintenance),
                                     pageTitle(Category::maintenance),
                                     QStringLiteral("Memory, name lookups, the search index and "
                                                    "the system's own maintenance jobs."),
                                     this));
    layout->addWidget(powerUserCard(navigation, this));
    // Made after the card, so that Tab reaches the card first.
    panel_ = new TaskListPanel(registry.allTasks(), categories(), runner, clock, this);
    layout->addWidget(panel_, 1);
    connect(panel_->overlay(), &TaskStatusOverlay::activityRequested, this,
            [&navigation] { PowerUserPage::openActivity(navigation); });
}

} // namespace velmox
