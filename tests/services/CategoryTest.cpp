#include <QStringList>
#include <gtest/gtest.h>

#include "services/Category.h"

using namespace velmox;

TEST(Category, HasNineteenPagesInOrderWhoseRawValuesRoundTrip) {
    const QStringList expected{
        "dashboard",   "cleanup",      "storageOptimizer", "maintenance",    "appManager",
        "startupManager", "gatekeeper", "powerUser",       "network",        "defaults",
        "storageManager", "diskCatalogs", "diskHealth",    "networkTools",   "fanTemp",
        "diagnostics", "tccPermissions", "openCore",       "systemTools"};
    QStringList actual;
    for (Category category : allCategories()) {
        actual << rawValue(category);
        EXPECT_EQ(categoryFromRaw(rawValue(category)), category);
    }
    EXPECT_EQ(actual, expected);
    EXPECT_FALSE(categoryFromRaw(QStringLiteral("Dashboard")).has_value());
}
