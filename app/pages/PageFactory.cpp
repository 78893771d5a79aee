#include "app/pages/PageFactory.h"

#include "app/AppServices.h"
#include "app/pages/CleanupPage.h"
#include "app/pages/DashboardPage.h"
#include "app/pages/DiskCatalogsPage.h"
#include "app/pages/DiskHealthPage.h"
#include "app/pages/FanTempPage.h"
#include "app/pages/MaintenancePage.h"
#include "app/pages/NetworkToolsPage.h"
#include "app/pages/PlaceholderPage.h"
#include "app/pages/PowerUserPage.h"
#include "app/pages/StorageManagerPage.h"
#include "diskhealth/DiskInventory.h"
#include "services/ShellHelper.h"

namespace velmox {

QWidget* createPage(Category category, AppServices& services) {
    switch (category) {
    case Category::dashboard:
        return new DashboardPage(services.monitor());
    case Category::fanTemp:
        return new FanTempPage(services.monitor());
    case Category::cleanup:
        return new CleanupPage(services.taskRunner(), services.navigation(), services.settings(),
                               services.clock());
    case Category::maintenance:
        return new MaintenancePage(services.taskRunner(), services.navigation(), services.clock());
    case Category::powerUser:
        return new PowerUserPage(services);
    case Category::storageManager: {
        auto* page = new StorageManagerPage(
            services.scanCenter(), services.navigation(),
            [&shell = services.shell()](const QString& line) {
                return shell.runPrivileged(line, true);
            },
            &services.settings(), &services.catalogStore());
        page->setHistory(&services.history());
        return page;
    }
    case Category::diskCatalogs:
        return new DiskCatalogsPage(services.catalogStore(), services.scanCenter(),
                                    services.navigation(), &services.status());
    case Category::diskHealth:
        return new DiskHealthPage(makeDiskInventorySource(), services.smartReader(),
                                  DiskHealthPage::desktopEfiActions(services.shell()),
                                  services.settings(), services.clock(), services.checks());
    case Category::networkTools:
        return new NetworkToolsPage(services);
    default:
        return new PlaceholderPage(category);
    }
}

} // namespace velmox
