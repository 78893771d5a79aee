#include "services/Category.h"

#include <gtest/gtest.h>

using namespace velmox;

// Raw values are stored in the settings and passed on the command line: each names one page,
// exactly.
TEST(Category, EveryRawValueRoundTripsAndIsCaseSensitive) {
    for (Category category : allCategories())
        EXPECT_EQ(categoryFromRaw(rawValue(category)), category);
    EXPECT_FALSE(categoryFromRaw(QStringLiteral("Dashboard")).has_value());
}
