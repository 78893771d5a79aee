#include "services/AppStatusCenter.h"

#include "services/AppNavigationState.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

using namespace velmox;
using namespace std::chrono_literals;

namespace {

struct StatusCenterTest : ::testing::Test {
    test::ManualClock clock;
    AppNavigationState navigation;
    AppStatusCenter center{navigation, clock};
};

} // namespace

TEST_F(StatusCenterTest, ActiveReportsKeepTheFirstOriginWhileTheUserMovesOn) {
    navigation.setDetail("storageManager", "Home");
    navigation.setCurrentPage(QStringLiteral("storageManager"));
    center.report("Scanning Storage: Home...", true);
    EXPECT_EQ(center.originPage(), "storageManager");
    EXPECT_EQ(center.originDetail(), "Home");

    navigation.setCurrentPage(QStringLiteral("dashboard"));
    navigation.setDetail("storageManager", "Other");
    center.report("Scanning Storage: Home... 40%", true);
    EXPECT_EQ(center.originPage(), "storageManager");
    EXPECT_EQ(center.originDetail(), "Home");
    EXPECT_TRUE(center.isActive());
}

TEST_F(StatusCenterTest, AnOriginWithoutDetailTakesTheDetailOnlyOnItsOwnPage) {
    navigation.setCurrentPage(QStringLiteral("cleanup"));
    center.report("Cleaning...", true);
    EXPECT_EQ(center.originPage(), "cleanup");
    EXPECT_FALSE(center.originDetail().has_value());

    navigation.setDetail("dashboard", "cpu");
    navigation.setCurrentPage(QStringLiteral("dashboard"));
    center.report("Cleaning... 2", true);
    EXPECT_FALSE(center.originDetail().has_value());

    navigation.setDetail("cleanup", "caches");
    navigation.setCurrentPage(QStringLiteral("cleanup"));
    center.report("Cleaning... 3", true);
    EXPECT_EQ(center.originPage(), "cleanup");
    EXPECT_EQ(center.originDetail(), "caches");
}

TEST_F(StatusCenterTest, AFinishedMessageClearsAfterFiveSecondsUnlessANewerReportCame) {
    navigation.setCurrentPage(QStringLiteral("cleanup"));
    center.report("Cleaning...", true);
    center.report("Success: Cleaned", false);
    EXPECT_FALSE(center.originPage().has_value());
    EXPECT_EQ(center.message(), "Success: Cleaned");

    clock.advance(4999ms);
    EXPECT_EQ(center.message(), "Success: Cleaned");
    clock.advance(1ms);
    EXPECT_FALSE(center.message().has_value());
    EXPECT_FALSE(center.isActive());

    center.report("Error: first", false);
    clock.advance(3s);
    center.report("Error: second", false);
    clock.advance(3s);
    EXPECT_EQ(center.message(), "Error: second");
    clock.advance(2s);
    EXPECT_FALSE(center.message().has_value());

    center.report("Error: third", false);
    center.report("Scanning...", true);
    clock.advance(10s);
    EXPECT_EQ(center.message(), "Scanning...");
}
