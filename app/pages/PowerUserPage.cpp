#include "app/pages/PowerUserPage.h"

#include "app/AppServices.h"
#include "app/SidebarItems.h"
#include "app/pages/ActivityPage.h"
#include "app/pages/AutomationPage.h"
#include "app/pages/PageHeader.h"

#include <QLabel>
#include <QTabWidget>
#include <QVBoxLayout>

namespace velmox {

namespace {

const QString kPage = QStringLiteral("powerUser");
const QStringList kTabs{QStringLiteral("activity"), QStringLiteral("automation")};

} // namespace

PowerUserPage::PowerUserPage(AppServices& services, QWidget* parent)
    : QWidget(parent), services_(services), tabs_(new QTabWidget(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 16);
    layout->setSpacing(16);
    layout->addWidget(new PageHeader(pageSymbol(Category::powerUser),
                                     pageTitle(Category::powerUser),
                                     QStringLiteral("The activity log and automation."), this));
    tabs_->setDocumentMode(true);
    tabs_->addTab(new ActivityPage(services.history(), this), QStringLiteral("Activity"));
    tabs_->addTab(new AutomationPage(services.automation(), this), QStringLiteral("Automation"));
    layout->addWidget(tabs_, 1);

    AppNavigationState& navigation = services_.navigation();
    showTab(navigation.detail(kPage).value_or(kTabs.first()));
    connect(tabs_, &QTabWidget::currentChanged, this,
            [this](int index) { services_.navigation().setDetail(kPage, kTabs.value(index)); });
    connect(&navigation, &AppNavigationState::detailChanged, this,
            [this](const QString& page, const QString& detail) {
                if (page == kPage && !detail.isEmpty())
                    showTab(detail);
            });
    navigation.setDetail(kPage, currentTab());
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
    return kTabs.value(tabs_->currentIndex());
}

void PowerUserPage::showTab(const QString& tab) {
    const int index = kTabs.indexOf(tab);
    if (index >= 0)
        tabs_->setCurrentIndex(index);
}

} // namespace velmox
