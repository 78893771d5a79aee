#include "services/Category.h"

#include <utility>

namespace velmox {

namespace {

constexpr std::array<std::pair<Category, const char*>, 19> kTable{{
    {Category::dashboard, "dashboard"},
    {Category::cleanup, "cleanup"},
    {Category::storageOptimizer, "storageOptimizer"},
    {Category::maintenance, "maintenance"},
    {Category::appManager, "appManager"},
    {Category::startupManager, "startupManager"},
    {Category::gatekeeper, "gatekeeper"},
    {Category::powerUser, "powerUser"},
    {Category::network, "network"},
    {Category::defaults, "defaults"},
    {Category::storageManager, "storageManager"},
    {Category::diskCatalogs, "diskCatalogs"},
    {Category::diskHealth, "diskHealth"},
    {Category::networkTools, "networkTools"},
    {Category::fanTemp, "fanTemp"},
    {Category::diagnostics, "diagnostics"},
    {Category::tccPermissions, "tccPermissions"},
    {Category::openCore, "openCore"},
    {Category::systemTools, "systemTools"},
}};

} // namespace

const std::array<Category, 19>& allCategories() {
    static const std::array<Category, 19> all = [] {
        std::array<Category, 19> result{};
        for (std::size_t i = 0; i < kTable.size(); ++i)
            result[i] = kTable[i].first;
        return result;
    }();
    return all;
}

QString rawValue(Category category) {
    for (const auto& [value, raw] : kTable)
        if (value == category)
            return QString::fromLatin1(raw);
    return {};
}

std::optional<Category> categoryFromRaw(const QString& raw) {
    for (const auto& [value, text] : kTable)
        if (raw == QLatin1String(text))
            return value;
    return std::nullopt;
}

} // namespace velmox
