#pragma once

#include <QString>
#include <array>
#include <optional>

namespace velmox {

// The pages of the application, in their fixed order. The raw values double as page
// identifiers in the status centre, the navigation state and the command palette.
enum class Category {
    dashboard,
    cleanup,
    storageOptimizer,
    maintenance,
    appManager,
    startupManager,
    gatekeeper,
    powerUser,
    network,
    defaults,
    storageManager,
    diskCatalogs,
    diskHealth,
    networkTools,
    fanTemp,
    diagnostics,
    tccPermissions,
    openCore,
    systemTools,
};

const std::array<Category, 19>& allCategories();
QString rawValue(Category category);
// The title a page goes by in the sidebar, the window title and the palette.
QString categoryTitle(Category category);
std::optional<Category> categoryFromRaw(const QString& raw);

} // namespace velmox
