#include "app/SidebarItems.h"

namespace velmox {

QList<SidebarGroup> sidebarGroups(bool openCore) {
    QList<SidebarGroup> groups{
        {QStringLiteral("Dashboard"),
         {{Category::dashboard, QStringLiteral("Dashboard"), QStringLiteral("gauge")}}},
        {QStringLiteral("Optimization"),
         {{Category::cleanup, QStringLiteral("System Cleanup"), QStringLiteral("trash")},
          {Category::storageOptimizer, QStringLiteral("Storage Optimizer"),
           QStringLiteral("internaldrive")},
          {Category::diskHealth, QStringLiteral("Disk Health"),
           QStringLiteral("heart.text.square")},
          {Category::maintenance, QStringLiteral("Maintenance"),
           QStringLiteral("wrench.and.screwdriver")}}},
        {QStringLiteral("Management"),
         {{Category::defaults, QStringLiteral("Defaults"), QStringLiteral("link")},
          {Category::storageManager, QStringLiteral("Storage Manager"),
           QStringLiteral("externaldrive.fill")},
          {Category::diskCatalogs, QStringLiteral("Disk Catalogs"), QStringLiteral("archivebox")},
          {Category::appManager, QStringLiteral("App Manager"), QStringLiteral("app.badge")},
          {Category::startupManager, QStringLiteral("Services"),
           QStringLiteral("macwindow.badge.plus")},
          {Category::tccPermissions, QStringLiteral("TCC Permissions"),
           QStringLiteral("key.fill")}}},
        {QStringLiteral("Advanced"),
         {{Category::network, QStringLiteral("Network Dashboard"), QStringLiteral("network")},
          {Category::networkTools, QStringLiteral("Network Tools"), QStringLiteral("wifi.router")},
          {Category::gatekeeper, QStringLiteral("Security"), QStringLiteral("lock.shield")},
          {Category::diagnostics, QStringLiteral("Diagnostics"), QStringLiteral("stethoscope")},
          {Category::systemTools, QStringLiteral("System Tools"),
           QStringLiteral("wrench.and.screwdriver.fill")},
          {Category::openCore, QStringLiteral("OpenCore & OCLP"), QStringLiteral("cpu.fill")}}},
        {QStringLiteral("Hardware"),
         {{Category::fanTemp, QStringLiteral("Fan & Temperature"), QStringLiteral("thermometer")}}},
    };
    if (!openCore)
        groups[3].rows.removeLast();
    return groups;
}

QString pageTitle(Category category) {
    if (category == Category::powerUser)
        return QStringLiteral("Power User");
    for (const SidebarGroup& group : sidebarGroups())
        for (const SidebarRow& row : group.rows)
            if (row.category == category)
                return row.title;
    return rawValue(category);
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
