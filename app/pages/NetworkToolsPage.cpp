#include "app/pages/NetworkToolsPage.h"

#include "app/AppServices.h"
#include "app/pages/AddressBlockerPage.h"
#include "app/pages/PageTabs.h"
#include "app/pages/SpeedTestPage.h"

#include <QVBoxLayout>

namespace velmox {

NetworkToolsPage::NetworkToolsPage(AppServices& services, QWidget* parent)
    : QWidget(parent),
      tabs_(new PageTabs(services.navigation(), QStringLiteral("networkTools"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 8, 0, 0);
    tabs_->addPageTab(new AddressBlockerPage(services.blocker(), tabs_),
                      QStringLiteral("IP && URL Blocker"), QStringLiteral("blocker"));
    tabs_->addPageTab(new SpeedTestPage(services.speedTest(), tabs_),
                      QStringLiteral("Network Speed Test"), QStringLiteral("speedTest"));
    tabs_->restore();
    layout->addWidget(tabs_);
}

} // namespace velmox
