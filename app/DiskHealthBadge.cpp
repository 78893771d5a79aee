#include "app/DiskHealthBadge.h"

#include "app/SidebarItems.h"
#include "app/SidebarView.h"
#include "app/SymbolIcons.h"
#include "diskhealth/DiskHealthMonitor.h"

namespace velmox {

DiskHealthBadge::DiskHealthBadge(SidebarView& sidebar, DiskHealthMonitor& monitor)
    : QObject(&sidebar), sidebar_(sidebar), monitor_(monitor) {
    connect(&monitor_, &DiskHealthMonitor::checked, this, &DiskHealthBadge::refresh);
    // The sidebar makes its rows again when the theme or its choices change.
    connect(sidebar_.model(), &QAbstractItemModel::rowsInserted, this, &DiskHealthBadge::refresh,
            Qt::QueuedConnection);
    refresh();
}

void DiskHealthBadge::refresh() {
    text_ = monitor_.badge();
    for (const SidebarGroup& group : sidebarGroups()) {
        for (const SidebarRow& row : group.rows) {
            if (row.category != Category::diskHealth)
                continue;
            for (QListWidgetItem* item : sidebar_.findItems(row.title, Qt::MatchExactly)) {
                item->setToolTip(text_);
                item->setIcon(
                    text_.isEmpty()
                        ? symbolIcon(row.symbol, row.title)
                        : symbolIcon(QStringLiteral("exclamationmark.triangle"), row.title));
            }
        }
    }
}

} // namespace velmox
