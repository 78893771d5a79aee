#include "app/pages/PowerUserPage.h"

#include "app/AppServices.h"
#include "app/SidebarItems.h"
#include "app/pages/ActivityPage.h"
#include "app/pages/AutomationPage.h"
#include "app/pages/AutomationSafetyTab.h"
#include "app/pages/PageHeader.h"
#include "app/pages/PageTabs.h"

#include <QVBoxLayout>

namespace velmox {

namespace {

const QString kPage = QStringLiteral("powerUser");
const QStringList kTabs{QStringLiteral("activity"), QStringLiteral("automation"),
                        QStringLiteral("safety")};

} // namespace

PowerUserPage::PowerUserPage(AppServices& services, QWidget* parent)
    : QWidget(parent), tabs_(new PageTabs(services.navigation(), kPage, this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 16);
    layout->setSpacing(16);
    layout->addWidget(new PageHeader(pageSymbol(Category::powerUser),
                                     pageTitle(Category::powerUser),
                                     QStringLiteral("The activity log and automation."), this));
    tabs_->addPageTab(new ActivityPage(services.history(), this), QStringLiteral("Activity"),
                      kTabs.first());
    tabs_->addPageTab(
        new AutomationPage(services.automation(), services.settings(), &services.status(), this),
        QStringLiteral("Automation"), kTabs.at(1));
    tabs_->addPageTab(new AutomationSafetyTab(services.automation(), services.settings(),
                                              services.automationNotifier(), this),
                      QStringLiteral("Safety"), kTabs.at(2));
    tabs_->restore();
    layout->addWidget(tabs_, 1);
}

void PowerUserPage::openActivity(AppNavigationState& navigation) {
    navigation.navigate(kPage, kTabs.first());
}

bool PowerUserPage::showsActivity(const AppNavigationState& navigation) {
    return navigation.currentPage() == kPage && navigation.detail(kPage) == kTabs.first();
}

bool PowerUserPage::pointsToActivity(const QString& text) {
    return text.contains(QLatin1String("the Activity tab"));
}

QString PowerUserPage::currentTab() const {
    return tabs_->currentKey();
}

void PowerUserPage::showTab(const QString& tab) {
    tabs_->showKey(tab);
}

} // namespace velmox
