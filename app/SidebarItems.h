#pragma once

#include "services/Category.h"

#include <QList>
#include <QString>

namespace velmox {

struct SidebarRow {
    Category category;
    QString title;
    QString symbol;
};

struct SidebarGroup {
    QString header;
    QList<SidebarRow> rows;
};

// The sidebar's headed groups in their fixed order. `openCore` governs the
// "OpenCore & OCLP" row; the `powerUser` page has no row of its own.
QList<SidebarGroup> sidebarGroups(bool openCore = true);

// The title a page goes by in the sidebar, the window title and the palette.
QString pageTitle(Category category);
QString pageSymbol(Category category);

} // namespace velmox
