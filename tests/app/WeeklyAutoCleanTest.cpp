#include "app/WeeklyAutoClean.h"

#include "services/Settings.h"
#include "tests/support/ManualClock.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>

using namespace velmox;
using namespace std::chrono_literals;

namespace {

constexpr auto kWeek =
    std::chrono::duration_cast<std::chrono::milliseconds>(WeeklyAutoClean::kInterval);

struct WeeklyAutoCleanTest : ::testing::Test {
    QTemporaryDir folder;
    Settings settings{folder.filePath("Velmox.conf")};
    test::ManualClock clock;
    std::atomic<int> runs{0};
    QStringList askedFor;

    MaintenanceTaskLookup lookup(bool taskExists) {
        return [this, taskExists](const QString& name) -> std::function<void()> {
            askedFor << name;
            if (!taskExists)
                return {};
            return [this] { ++runs; };
        };
    }

    // Advances the clock and waits for the worker's result on the main thread.
    bool advanceAndWaitForRun(WeeklyAutoClean& clean, std::chrono::milliseconds by) {
        QSignalSpy finished(&clean, &WeeklyAutoClean::runFinished);
        clock.advance(by);
        return !finished.isEmpty() || finished.wait(5000);
    }
};

} // namespace

TEST_F(WeeklyAutoCleanTest, RunsTheUserCacheCleanerEveryWeekWhenSwitchedOn) {
    EXPECT_TRUE(settings.setValue(WeeklyAutoClean::kEnabledKey, true));
    WeeklyAutoClean clean(settings, clock, lookup(true));
    clean.start();

    clock.advance(kWeek - 1min);
    EXPECT_EQ(runs, 0);
    ASSERT_TRUE(advanceAndWaitForRun(clean, 1min));
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(askedFor, QStringList{"User Cache Cleaner"});
    EXPECT_EQ(settings.value(WeeklyAutoClean::kLastRunKey).toDateTime(), clock.now());

    ASSERT_TRUE(advanceAndWaitForRun(clean, kWeek));
    EXPECT_EQ(runs, 2);
}

TEST_F(WeeklyAutoCleanTest, TheScheduleSurvivesARestartAndAnOverdueRunComesAtOnce) {
    EXPECT_TRUE(settings.setValue(WeeklyAutoClean::kEnabledKey, true));
    {
        WeeklyAutoClean clean(settings, clock, lookup(true));
        clean.start();
        clock.advance(5 * 24h);
    }
    WeeklyAutoClean restarted(settings, clock, lookup(true));
    restarted.start();
    EXPECT_EQ(restarted.nextRun(), clock.now().addDays(2));
    ASSERT_TRUE(advanceAndWaitForRun(restarted, 2 * 24h));
    EXPECT_EQ(runs, 1);

    EXPECT_TRUE(settings.setValue(WeeklyAutoClean::kLastRunKey, clock.now().addDays(-30)));
    WeeklyAutoClean overdue(settings, clock, lookup(true));
    overdue.start();
    ASSERT_TRUE(advanceAndWaitForRun(overdue, 0ms));
    EXPECT_EQ(runs, 2);
}

TEST_F(WeeklyAutoCleanTest, SwitchedOffOrWithoutTheTaskARunFinishesWithoutWork) {
    {
        WeeklyAutoClean off(settings, clock, lookup(true));
        QSignalSpy offFinished(&off, &WeeklyAutoClean::runFinished);
        off.start();
        clock.advance(kWeek);
        ASSERT_EQ(offFinished.size(), 1);
        EXPECT_FALSE(offFinished.first().first().toBool());
        EXPECT_TRUE(askedFor.isEmpty());
    }

    EXPECT_TRUE(settings.setValue(WeeklyAutoClean::kEnabledKey, true));
    WeeklyAutoClean missing(settings, clock, lookup(false));
    QSignalSpy missingFinished(&missing, &WeeklyAutoClean::runFinished);
    missing.start();
    clock.advance(kWeek);
    ASSERT_GE(missingFinished.size(), 1);
    EXPECT_FALSE(missingFinished.first().first().toBool());
    EXPECT_EQ(runs, 0);
}

TEST_F(WeeklyAutoCleanTest, AnUnsavedRunTimeNeitherLoopsNorGoesUnreported) {
    // A settings file inside a plain file can never be written, not even by root.
    QFile blocker(folder.filePath("not-a-folder"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    Settings unwritable(folder.filePath("not-a-folder/Velmox.conf"));
    WeeklyAutoClean clean(unwritable, clock, lookup(true));
    QSignalSpy failed(&clean, &WeeklyAutoClean::saveFailed);
    QSignalSpy finished(&clean, &WeeklyAutoClean::runFinished);
    clean.start();
    ASSERT_EQ(failed.size(), 1);
    EXPECT_TRUE(failed.first().first().toString().endsWith('.'));

    clock.advance(1h);
    QCoreApplication::processEvents();
    EXPECT_TRUE(finished.isEmpty());
    EXPECT_TRUE(advanceAndWaitForRun(clean, kWeek));
    EXPECT_EQ(finished.size(), 1);
    EXPECT_EQ(failed.size(), 2);
}
