// Runs with TZ=Europe/Berlin (see CMakeLists.txt), where 2026-03-29 skips 02:00-03:00 and
// 2026-10-25 repeats 02:00-03:00.
#include "automation/AutomationSchedule.h"

#include <gtest/gtest.h>

using namespace velmox;

namespace {

QDateTime berlin(int month, int day, int hour, int minute) {
    return QDateTime(QDate(2026, month, day), QTime(hour, minute), Qt::LocalTime);
}

QDateTime utc(int month, int day, int hour, int minute) {
    return QDateTime(QDate(2026, month, day), QTime(hour, minute), Qt::UTC);
}

AutomationSchedulePlan daily(int hour, int minute, std::optional<QDateTime> lastRun) {
    return {AutomationScheduleKind::daily, hour, minute, 1, lastRun};
}

TEST(AutomationSchedule, DailyAndWeeklySlotsAreTheLatestNotAfterNow) {
    ASSERT_EQ(berlin(1, 1, 12, 0).offsetFromUtc(), 3600) << "the test needs TZ=Europe/Berlin";
    // 2026-05-06 is a Wednesday.
    EXPECT_EQ(latestSlot(daily(9, 30, {}), berlin(5, 6, 9, 30)), berlin(5, 6, 9, 30));
    EXPECT_EQ(latestSlot(daily(9, 30, {}), berlin(5, 6, 9, 29)), berlin(5, 5, 9, 30));
    const AutomationSchedulePlan sunday{AutomationScheduleKind::weekly, 8, 0, 1, {}};
    EXPECT_EQ(latestSlot(sunday, berlin(5, 6, 12, 0)), berlin(5, 3, 8, 0));
    EXPECT_EQ(latestSlot(sunday, berlin(5, 10, 7, 59)), berlin(5, 3, 8, 0));
    const AutomationSchedulePlan wednesday{AutomationScheduleKind::weekly, 8, 0, 4, {}};
    EXPECT_EQ(latestSlot(wednesday, berlin(5, 6, 8, 0)), berlin(5, 6, 8, 0));
    EXPECT_FALSE(latestSlot({}, berlin(5, 6, 8, 0)));

    // Never run: never due. Slept through two slots: due once.
    EXPECT_FALSE(isDue(daily(9, 30, {}), berlin(5, 6, 10, 0)));
    EXPECT_TRUE(isDue(daily(9, 30, berlin(5, 4, 9, 30)), berlin(5, 6, 10, 0)));
    EXPECT_FALSE(isDue(daily(9, 30, berlin(5, 6, 9, 30)), berlin(5, 6, 10, 0)));
    EXPECT_FALSE(
        isDue({AutomationScheduleKind::off, 9, 30, 1, berlin(5, 1, 0, 0)}, berlin(5, 6, 10, 0)));
}

TEST(AutomationSchedule, SlotInTheSpringGapMovesToTheEndOfTheGap) {
    const auto plan = daily(2, 30, berlin(3, 28, 2, 30));
    EXPECT_EQ(latestSlot(plan, berlin(3, 29, 3, 10)), utc(3, 29, 1, 0)); // 03:00 summer time
    EXPECT_FALSE(isDue(plan, utc(3, 29, 0, 59)));                        // 01:59 winter time
    EXPECT_TRUE(isDue(plan, utc(3, 29, 1, 0)));
    const AutomationSchedulePlan sunday{AutomationScheduleKind::weekly, 2, 30, 1,
                                        berlin(3, 22, 2, 30)};
    EXPECT_TRUE(isDue(sunday, utc(3, 29, 1, 0)));
}

TEST(AutomationSchedule, SlotInTheRepeatedAutumnHourCountsOnce) {
    const auto plan = daily(2, 30, berlin(10, 24, 2, 30));
    const QDateTime firstPass = utc(10, 25, 0, 30); // 02:30 summer time
    EXPECT_EQ(latestSlot(plan, utc(10, 25, 1, 45)), firstPass);
    EXPECT_FALSE(isDue(plan, utc(10, 25, 0, 29)));
    EXPECT_TRUE(isDue(plan, firstPass));
    // Ran on the first pass; the second pass of 02:30 (winter time) is not a new slot.
    EXPECT_FALSE(isDue(daily(2, 30, firstPass), utc(10, 25, 1, 30)));
    EXPECT_FALSE(isDue(daily(2, 30, firstPass), utc(10, 25, 22, 59)));
    EXPECT_TRUE(isDue(daily(2, 30, firstPass), utc(10, 26, 1, 30)));
}

} // namespace
