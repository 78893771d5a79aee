#include "services/Category.h"

#include <utility>

namespace velmox {

namespace {

struct CategoryRow {
    Category category;
    const char* raw;
    const char* title;
};

constexpr std::array<CategoryRow, 19> kTable{{
    {Category::dashboard, "dashboard", "Dashboard"},
    {Category::cleanup, "cleanup", "System Cleanup"},
    {Category::storageOptimizer, "storageOptimizer", "Storage Optimizer"},
    {Category::maintenance, "maintenance", "Maintenance"},
    {Category::appManager, "appManager", "App Manager"},
    {Category::startupManager, "startupManager", "Services"},
    {Category::gatekeeper, "gatekeeper", "Security"},
    {Category::powerUser, "powerUser", "Power User"},
    {Category::network, "network", "Network Dashboard"},
    {Category::defaults, "defaults", "Defaults"},
    {Category::storageManager, "storageManager", "Storage Manager"},
    {Category::diskCatalogs, "diskCatalogs", "Disk Catalogs"},
    {Category::diskHealth, "diskHealth", "Disk Health"},
    {Category::networkTools, "networkTools", "Network Tools"},
    {Category::fanTemp, "fanTemp", "Fan & Temperature"},
    {Category::diagnostics, "diagnostics", "Diagnostics"},
    {Category::tccPermissions, "tccPermissions", "TCC Permissions"},
    {Category::openCore, "openCore", "OpenCore & OCLP"},
    {Category::systemTools, "systemTools", "System Tools"},
}};

} // namespace

const std::array<Category, 19>& allCategories() {
    static const std::array<Category, 19> all = [] {
        std::array<Category, 19> result{};
        for (std::size_t i = 0; i < kTable.size(); ++i)
            result[i] = kTable[i].category;
        return result;
    }();
    return all;
}

QString rawValue(Category category) {
    for (const CategoryRow& row : kTable)
        if (row.category == category)
            return QString::fromLatin1(row.raw);
    return {};
}

QString categoryTitle(Category category) {
    for (const CategoryRow& row : kTable)
        if (row.category == category)
            return QString::fromUtf8(row.title);
    return {};
}

std::optional<Category> categoryFromRaw(const QString& raw) {
    for (const CategoryRow& row : kTable)
        if (raw == QLatin1String(row.raw))
            return row.category;
    return std::nullopt;
}

} // namespace velmox
