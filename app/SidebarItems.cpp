#include "app/SidebarItems.h"

namespace velmox {

QList<SidebarGroup> sidebarGroups(bool openCore) {
    QList<SidebarGroup> groups{
        {QStringLiteral("Dashboard"),
         {{Category::dashboard, categoryTitle(Category::dashboard), QStringLiteral("gauge")}}},
        {QStringLiteral("Optimization"),
         {{Category::cleanup, categoryTitle(Category::cleanup), QStringLiteral("trash")},
          {Category::storageOptimizer, categoryTitle(Category::storageOptimizer),
           QStringLiteral("internaldrive")},
          {Category::diskHealth, categoryTitle(Category::diskHealth),
           QStringLiteral("heart.text.square")},
          {Category::maintenance, categoryTitle(Category::maintenance),
           QStringLiteral("wrench.and.screwdriver")}}},
        {QStringLiteral("Management"),
         {{Category::defaults, categoryTitle(Category::defaults), QStringLiteral("link")},
          {Category::storageManager, categoryTitle(Category::storageManager),
           QStringLiteral("externaldrive.fill")},
          {Category::diskCatalogs, categoryTitle(Category::diskCatalogs),
           QStringLiteral("archivebox")},
          {Category::appManager, categoryTitle(Category::appManager), QStringLiteral("app.badge")},
          {Category::startupManager, categoryTitle(Category::startupManager),
           QStringLiteral("macwindow.badge.plus")},
          {Category::tccPermissions, categoryTitle(Category::tccPermissions),
           QStringLiteral("key.fill")}}},
        {QStringLiteral("Advanced"),
         {{Category::network, categoryTitle(Category::network), QStringLiteral("network")},
          {Category::networkTools, categoryTitle(Category::networkTools),
           QStringLiteral("wifi.router")},
          {Category::gatekeeper, categoryTitle(Category::gatekeeper),
           QStringLiteral("lock.shield")},
          {Category::diagnostics, categoryTitle(Category::diagnostics),
           QStringLiteral("stethoscope")},
          {Category::systemTools, categoryTitle(Category::systemTools),
           QStringLiteral("wrench.and.screwdriver.fill")},
          {Category::openCore, categoryTitle(Category::openCore), QStringLiteral("cpu.fill")}}},
        {QStringLiteral("Hardware"),
         {{Category::fanTemp, categoryTitle(Category::fanTemp), QStringLiteral("thermometer")}}},
    };
    if (!openCore)
        groups[3].rows.removeLast();
    return groups;
}

QString pageTitle(Category category) {
    return categoryTitle(category);
}

QString pageSymbol(Category category) {
    if (category == Category::powerUser)
        return QStringLiteral("bolt.circle");
    for (const SidebarGroup& group : sidebarGroups())
        for (const SidebarRow& row : group.rows)
            if (row.category == category)
                return row.symbol;
    return {};
}

} // namespace velmox
