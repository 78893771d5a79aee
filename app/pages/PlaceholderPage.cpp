#include "app/pages/PlaceholderPage.h"

#include "app/SidebarItems.h"
#include "app/SymbolIcons.h"
#include "app/pages/EmptyStateView.h"
#include "app/pages/PageHeader.h"

#include <QLabel>
#include <QVBoxLayout>

namespace velmox {

QString PlaceholderPage::plannedContent(Category category) {
    switch (category) {
    case Category::dashboard:
        return QStringLiteral("Live processor, memory, network and temperature readouts will "
                              "appear here.");
    case Category::cleanup:
        return QStringLiteral("System junk, caches and old logs you can clean will be listed "
                              "here.");
    case Category::storageOptimizer:
        return QStringLiteral("Large files, duplicates and purgeable space will be found here.");
    case Category::maintenance:
        return QStringLiteral("Maintenance tasks such as cleaning caches, flushing DNS and "
                              "checking disks will run from here.");
    case Category::appManager:
        return QStringLiteral("Installed applications, their leftovers and updates will be "
                              "managed here.");
    case Category::startupManager:
        return QStringLiteral("Login items, background services and user agents will be listed "
                              "here.");
    case Category::gatekeeper:
        return QStringLiteral("Security and system-integrity settings will be shown here.");
    case Category::powerUser:
        return QStringLiteral("The activity log and automation.");
    case Category::network:
        return QStringLiteral("Live network throughput and bandwidth per application will "
                              "appear here.");
    case Category::defaults:
        return QStringLiteral("Hidden system preferences will be adjustable here.");
    case Category::storageManager:
        return QStringLiteral("Scans of volumes and folders, with their sizes and a chart, will "
                              "appear here.");
    case Category::diskCatalogs:
        return QStringLiteral("Saved storage catalogs will be browsed and restored here.");
    case Category::diskHealth:
        return QStringLiteral("The S.M.A.R.T. health grade of every disk will appear here.");
    case Category::networkTools:
        return QStringLiteral("The address blocker, the speed test and network diagnostics "
                              "will live here.");
    case Category::fanTemp:
        return QStringLiteral("Temperature sensors and fan speeds will appear here.");
    case Category::diagnostics:
        return QStringLiteral("System reports and diagnostic checks will run from here.");
    case Category::tccPermissions:
        return QStringLiteral("Privacy permissions and their backups will be managed here.");
    case Category::openCore:
        return QStringLiteral("Boot loader and firmware information will appear here.");
    case Category::systemTools:
        return QStringLiteral("Quick system utilities and tweaks will be gathered here.");
    }
    return {};
}

PlaceholderPage::PlaceholderPage(Category category, QWidget* parent)
    : QWidget(parent), body_(new QVBoxLayout(this)) {
    body_->setContentsMargins(28, 24, 28, 24);
    body_->setSpacing(16);
    body_->addWidget(
        new PageHeader(pageSymbol(category), pageTitle(category), plannedContent(category), this));
    auto* notice = new EmptyStateView(this);
    notice->show(symbolIcon(pageSymbol(category), pageTitle(category)).pixmap(64, 64),
                 QStringLiteral("Coming in a Later Version"),
                 QStringLiteral("This part of Velmox is still being built. The pages without "
                                "this notice work today."));
    body_->addWidget(notice, 1);
}

} // namespace velmox
